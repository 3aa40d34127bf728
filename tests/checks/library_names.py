"""The names that a shared library exports, which several checks compare with their lists."""

import pathlib
import re
import subprocess

DLL_NAME = re.compile(r"^\s*\[\s*\d+\]\s(?:\+base\[\s*\d+\]\s+[0-9a-f]+\s)?(\w+)$", re.MULTILINE)


def is_dll(library):
    return pathlib.Path(library).read_bytes()[:2] == b"MZ"


def has_64_bits(library):
    """Whether a shared object is for a processor of 64 bits."""
    return pathlib.Path(library).read_bytes()[4] == 2


def exported(tool, library):
    """The names as the linker has them. TOOL is nm for a shared object, objdump for a DLL."""
    if is_dll(library):
        return set(DLL_NAME.findall(output_of(tool, "-p", library)))
    # A line is an address, a kind and a name.
    return {line.split()[-1] for line in output_of(tool, "-D", "--defined-only", library).splitlines()}


def demangled(names):
    """The names as C++ has them."""
    listed = "".join(name + "\n" for name in sorted(names))
    return set(output_of("c++filt", input=listed).splitlines())


def output_of(*command, **options):
    return subprocess.run(command, check=True, capture_output=True, text=True, **options).stdout
