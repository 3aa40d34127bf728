#!/usr/bin/env python3
"""Measures the library beside its peers, prints the figures and writes docs/performance.md.

Called by scripts/bench, which builds the programs.
"""

import argparse
import pathlib
import platform
import re
import subprocess
import sys

import measure
from bars import BAR_FILES, BAR_ROWS, Figures, bars
from charts import Chart

ROOT = pathlib.Path(__file__).resolve().parent.parent
PAGE = ROOT / "docs/performance.md"
CHARTS = ROOT / "docs/performance"
TEMPLATE = pathlib.Path(__file__).with_name("performance.md.in")

ENGINES = ("kx", "sqlite", "opml", "raw")
CODERS = ("kx", "lz4", "snappy", "zlib1", "memcpy", "plain")
CHARTED = {
    "OutlineRead": "Reading an outline",
    "OutlineSave": "Saving an outline",
    "OutlineEditOne": "Changing one text, and saving",
    "FieldGet": "Getting id, indent and text of all rows",
    "FieldSet": "Setting id, indent and text of all rows",
    "Append": "Creating and filling rows",
    "DeleteAll": "Deleting all rows",
    "Purge": "Purging every second row",
    "InsertAfterLast": "Inserting each row after the last",
    "CategoryRename": "Renaming the category of files",
}


def human(nanoseconds):
    for unit, size in (("s", 1e9), ("ms", 1e6), ("µs", 1e3)):
        if nanoseconds >= size:
            return f"{nanoseconds / size:.3g} {unit}"
    return f"{nanoseconds:.3g} ns"


def table(head, rows):
    """A table of Markdown that reads as one on a terminal too."""
    widths = [max(len(row[i]) for row in [head, *rows]) for i in range(len(head))]
    line = lambda row: "| " + " | ".join(cell.ljust(w) for cell, w in zip(row, widths)) + " |"
    rule = "|" + "|".join("-" * (w + 2) for w in widths) + "|"
    return "\n".join([line(head), rule, *map(line, rows)])


def bar_table(figures):
    rows = [[bar.subject, bar.wanted, f"{bar.value:.2f}", "pass" if bar.passed else "FAIL"]
            for bar in bars(figures)]
    return table(["bar", "wanted", "measured", ""], rows)


def times_beside_kx(times, operation, engines, size):
    """A cell for each engine: its time, and how many times that of `kx` it is."""
    own = times.get(f"{operation}/kx/{size}")
    for engine in engines:
        time = times.get(f"{operation}/{engine}/{size}")
        if time is None or own is None:
            yield ""
        elif engine == "kx":
            yield human(time)
        else:
            yield f"{human(time)} ({time / own:.2f})"


def ratio_table(times):
    rows = []
    for operation in CHARTED:
        size = BAR_FILES if operation == "CategoryRename" else BAR_ROWS
        if f"{operation}/kx/{size}" in times:
            rows.append([f"{operation}, {size:,}", *times_beside_kx(times, operation, ENGINES, size)])
    return table(["operation", *ENGINES], rows)


def picture_table(times, sizes):
    rows = []
    for operation in ("Compress", "Decompress"):
        for picture in ("sketch1", "sketch24", "page8", "photo"):
            if f"{operation}/kx/{picture}" in times:
                rows.append([f"{operation}, {picture}",
                             *times_beside_kx(times, operation, CODERS, picture)])
    for picture in ("sketch1", "sketch24", "page8", "photo"):
        coded = [sizes.get(f"Compress/{coder}/{picture}") for coder in CODERS]
        if all(coded):
            rows.append([f"bytes, {picture}", *(f"{size:,}" for size in coded)])
    return table(["operation", *CODERS], rows)


def growth_table(times):
    rows = []
    for operation in CHARTED:
        for engine in ENGINES:
            name = f"{operation}/{engine}"
            per_row = [times.get(f"{name}/{size}", 0) / size
                       for size in (1_000, 10_000, 100_000, 1_000_000)]
            if all(per_row):
                rows.append([name, *map(human, per_row), f"{per_row[3] / per_row[1]:.2f}"])
    return table(["per row", "1,000", "10,000", "100,000", "1,000,000", "growth from 10,000"], rows)


def chart_of(times, operation):
    series = {}
    for name, time in times.items():
        what, engine, size = name.split("/")
        if what == operation:
            series.setdefault(engine, []).append((int(size), time))
    what = "files of 100 rows" if operation == "CategoryRename" else "rows"
    ordered = {engine: sorted(series[engine]) for engine in ENGINES if engine in series}
    return Chart(CHARTED[operation], what, ordered).svg()


def write_charts(times):
    CHARTS.mkdir(exist_ok=True)
    links = []
    for operation, title in CHARTED.items():
        (CHARTS / f"{operation}.svg").write_text(chart_of(times, operation), encoding="utf-8")
        links.append(f"![{title}](performance/{operation}.svg)")
    return "\n".join(links)


def first_match(pattern, text, otherwise="unknown"):
    found = re.search(pattern, text, re.MULTILINE)
    return found.group(1) if found else otherwise


def tell(command):
    return subprocess.run(command, capture_output=True, text=True, check=False).stdout


def machine():
    cpu = tell(["lscpu"])
    memory = int(first_match(r"^MemTotal:\s+(\d+)", pathlib.Path("/proc/meminfo").read_text(), "0"))
    with measure.work_folder() as folder:
        files = tell(["stat", "-f", "-c", "%T", folder]).strip()
    return "\n".join([
        f"- processor: {first_match(r'^Model name: +(.*)$', cpu)}, "
        f"{first_match(r'^CPU.s.: +(.*)$', cpu)} in use, L2 {first_match(r'^L2 cache: +(.*)$', cpu)}, "
        f"L3 {first_match(r'^L3 cache: +(.*)$', cpu)}",
        f"- memory: {memory / (1 << 20):.0f} GiB; files on {files}",
        f"- system: {platform.system()} {platform.release()}, "
        f"{platform.freedesktop_os_release()['PRETTY_NAME']}",
        f"- compiler: {tell(['c++', '--version']).splitlines()[0]}",
    ])


def counts_table(counts):
    rows = [[name, f"{count:,}", f"{count / measure.COUNTED_ROWS:,.0f}"]
            for name, count in counts.items()]
    return table(["operation", "instructions", "a row"], rows)


def memory_table(figures):
    size, reading, saving = figures.memory
    library, stdio = figures.opening
    return table(["figure", "measured"], [
        [f"file of {BAR_ROWS:,} rows", f"{size:,} bytes"],
        ["more resident after reading it", f"{reading:,} bytes"],
        ["more resident while saving it", f"{saving:,} bytes"],
        ["opening a small document", human(library)],
        ["the same by stdio, with the log lines", human(stdio)],
    ])


def write_page(parts):
    page = TEMPLATE.read_text(encoding="utf-8")
    for name, text in parts.items():
        page = page.replace("@" + name + "@", text)
    PAGE.write_text(page, encoding="utf-8")


def arguments():
    parser = argparse.ArgumentParser(prog="scripts/bench", description=__doc__.splitlines()[0])
    parser.add_argument("--programs", type=pathlib.Path, required=True, help=argparse.SUPPRESS)
    parser.add_argument("--only", metavar="REGEX",
                        help="measure only the benchmarks that match, and write no page")
    parser.add_argument("--counts", action="store_true",
                        help="only count the instructions, and write no page")
    parser.add_argument("--time", choices=["real", "cpu"], default="real",
                        help="on a busy machine, processor time tells more")
    parser.add_argument("--repetitions", type=int, default=5)
    parser.add_argument("--min-time", type=float, default=0.05, metavar="SECONDS",
                        help="of one repetition")
    return parser.parse_args()


def main():
    options = arguments()
    if options.counts:
        print(counts_table(measure.instruction_counts(options.programs)))
        return 0
    times, sizes = measure.times(options.programs, options.only or ".", options.repetitions,
                                 options.min_time, options.time)
    memory, opening = measure.memory_and_opening(options.programs)
    figures = Figures(times, memory, opening)
    parts = {"ratios": ratio_table(times), "pictures": picture_table(times, sizes),
             "growth": growth_table(times), "bars": bar_table(figures)}
    print("\n\n".join(parts.values()))
    if not options.only:
        counts = counts_table(measure.instruction_counts(options.programs))
        print("\n" + counts)
        write_page({**parts, "machine": machine(), "charts": write_charts(times), "counts": counts,
                    "memory": memory_table(figures)})
        print(f"\nwritten: {PAGE.relative_to(ROOT)}")
    failed = sum(not bar.passed for bar in bars(figures))
    print(f"\n{failed} bars are missed" if failed else "\nevery bar is met")
    return 1 if failed else 0


sys.exit(main())
