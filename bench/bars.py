"""The bars that the library has to meet, each computed from the figures of one run."""

import dataclasses

BAR_ROWS = 100_000
BAR_FILES = 1_000
FEW_ROWS = 10_000
MANY_ROWS = 1_000_000
MIB = 1 << 20

SKETCHES = ("sketch1", "sketch24")
OTHER_PICTURES = ("page8", "photo")

# Operations in memory; each is compared with a loop that allocates, touches and frees the same blocks.
IN_MEMORY = ("FieldGet", "FieldSet", "Append", "DeleteAll", "Purge", "InsertAfterLast")
LOOP = "Append/raw"


@dataclasses.dataclass
class Bar:
    subject: str
    value: float
    limit: float
    at_most: bool
    unit: str = "x"

    @property
    def passed(self):
        return self.value <= self.limit if self.at_most else self.value >= self.limit

    @property
    def wanted(self):
        return f"{'at most' if self.at_most else 'at least'} {self.limit:g} {self.unit}"


class Figures:
    """Medians in nanoseconds by the name of the benchmark, and what kx_measure measured."""

    def __init__(self, times, memory=None, opening=None):
        self.times = times
        self.memory = memory  # bytes: of the file, resident after reading, more while saving
        self.opening = opening  # nanoseconds: the library, stdio

    def ratio(self, over, under):
        return self.times[over] / self.times[under]

    def growth(self, operation):
        """How much longer a row takes among many than among few."""
        many = self.times[f"{operation}/{MANY_ROWS}"] / MANY_ROWS
        few = self.times[f"{operation}/{FEW_ROWS}"] / FEW_ROWS
        return many / few


def at_most(subject, limit, compute, unit="x"):
    return subject, limit, True, compute, unit


def at_least(subject, limit, compute):
    return subject, limit, False, compute, "x"


def slower_than(operation, peer, limit):
    return at_most(f"{operation}: time of `kx` over `{peer}`", limit,
                   lambda f: f.ratio(f"{operation}/kx/{BAR_ROWS}", f"{operation}/{peer}/{BAR_ROWS}"))


def faster_than(operation, peer, size, limit):
    subject = f"{operation}, {size:,}" if isinstance(size, int) else f"{operation}, {size}"
    return at_least(f"{subject}: time of `{peer}` over `kx`", limit,
                    lambda f: f.ratio(f"{operation}/{peer}/{size}", f"{operation}/kx/{size}"))


def grows_as(operation, other, limit):
    return at_most(f"{operation}: growth of `kx` over `{other}`", limit,
                   lambda f: f.growth(f"{operation}/kx") / f.growth(other))


def definitions():
    yield slower_than("OutlineRead", "raw", 2.0)
    yield faster_than("OutlineRead", "sqlite", BAR_ROWS, 3)
    yield slower_than("OutlineSave", "raw", 1.3)
    yield faster_than("OutlineSave", "sqlite", BAR_ROWS, 4)
    yield faster_than("FieldGet", "sqlite", BAR_ROWS, 4)
    yield faster_than("Append", "sqlite", BAR_ROWS, 2)
    yield faster_than("CategoryRename", "sqlite", BAR_FILES, 3)
    for picture in SKETCHES:
        yield faster_than("Compress", "zlib1", picture, 4)
    for picture in OTHER_PICTURES:
        yield faster_than("Compress", "zlib1", picture, 3)
    for picture in SKETCHES:
        yield faster_than("Decompress", "zlib1", picture, 3)
    for operation in ("OutlineRead", "OutlineSave"):
        yield grows_as(operation, f"{operation}/raw", 1.3)
    for operation in IN_MEMORY:
        yield grows_as(operation, LOOP, 1.5)
    yield at_most("resident growth by reading over the file's size", 2.0,
                  lambda f: f.memory[1] / f.memory[0])
    yield at_most("resident growth while saving", 2.0, lambda f: f.memory[2] / MIB, "MiB")
    yield at_most("opening a small document: time over stdio and two log lines", 2.5,
                  lambda f: f.opening[0] / f.opening[1])


def bars(figures):
    """Every bar that the figures suffice for."""
    for subject, limit, is_at_most, compute, unit in definitions():
        try:
            yield Bar(subject, compute(figures), limit, is_at_most, unit)
        except (KeyError, TypeError):
            continue
