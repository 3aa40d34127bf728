"""Runs kx_bench and kx_measure, and counts instructions."""

import json
import os
import pathlib
import re
import statistics
import subprocess
import tempfile

from bars import BAR_ROWS

# Memory that was taken once stays with the program. Else the system takes it back, and gives it page
# by page again, or does not, depending on what was measured before.
KEPT_MEMORY = "glibc.malloc.mmap_threshold=4294967296:glibc.malloc.trim_threshold=68719476736"

NANOSECONDS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}
COUNTED_ROWS = 10_000
SMALL_DOCUMENT_ROWS = 10


def run(command, **options):
    return subprocess.run(command, check=True, capture_output=True, text=True, **options).stdout


def times(programs, names, repetitions, seconds, kind):
    """The median of each benchmark whose name matches. The repetitions of all of them are mixed, so
    that what disturbs the machine for a while disturbs no engine alone."""
    with tempfile.TemporaryDirectory() as folder:
        out = pathlib.Path(folder, "times.json")
        run([programs / "kx_bench", f"--benchmark_filter={names}",
             f"--benchmark_repetitions={repetitions}", f"--benchmark_min_time={seconds}",
             "--benchmark_enable_random_interleaving=true", "--benchmark_out_format=json",
             f"--benchmark_out={out}"], env={**os.environ, "GLIBC_TUNABLES": KEPT_MEMORY})
        runs = json.loads(out.read_text())["benchmarks"]
    values = {}
    for one in runs:
        if one["run_type"] == "iteration" and not one.get("error_occurred"):
            time = one[f"{kind}_time"] * NANOSECONDS[one["time_unit"]]
            values.setdefault(one["run_name"], []).append(time)
    sizes = {one["run_name"]: int(one["size"]) for one in runs if "size" in one}
    return {name: statistics.median(all_of) for name, all_of in values.items()}, sizes


class Measure:
    """kx_measure in a folder of its own."""

    def __init__(self, programs, folder):
        self.program = programs / "kx_measure"
        self.folder = folder

    def call(self, *arguments, under=()):
        return run([*under, self.program, *map(str, arguments)], cwd=self.folder)

    def numbers(self, *arguments):
        return [int(word) for word in self.call(*arguments).split()]

    def instructions(self, *arguments):
        self.call(*arguments, under=["valgrind", "--tool=cachegrind", "--cache-sim=no",
                                     "--cachegrind-out-file=counts", "--log-file=log"])
        counts = pathlib.Path(self.folder, "counts").read_text()
        return int(re.search(r"^summary: (\d+)", counts, re.MULTILINE).group(1))


def work_folder():
    return tempfile.TemporaryDirectory(dir=os.environ.get("KX_BENCH_FOLDER"))


def memory_and_opening(programs):
    with work_folder() as folder:
        measure = Measure(programs, folder)
        measure.call("make", "many.kxo", BAR_ROWS)
        measure.call("make", "small.kxo", SMALL_DOCUMENT_ROWS)
        return measure.numbers("memory", "many.kxo", "new.kxo"), measure.numbers("open", "small.kxo")


def instruction_counts(programs):
    """Instructions of an operation on that many rows: with rows less without."""
    with work_folder() as folder:
        measure = Measure(programs, folder)
        measure.call("make", "rows.kxo", COUNTED_ROWS)
        measure.call("make", "none.kxo", 0)
        read = measure.instructions("read", "rows.kxo")
        save = measure.instructions("save", "rows.kxo", "new.kxo") - read
        save_none = (measure.instructions("save", "none.kxo", "new.kxo") -
                     measure.instructions("read", "none.kxo"))
        return {
            "read": read - measure.instructions("read", "none.kxo"),
            "save": save - save_none,
            "append": measure.instructions("append", COUNTED_ROWS) - measure.instructions("append", 0),
        }
