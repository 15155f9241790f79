"""Compares the symbols that a shared library exports with the list of those that it is known to export.

usage: symbols.py [--accept] LIST LIBRARY

LIST holds demangled names, sorted. Instantiations of other libraries' templates do not count: whether they are there
depends on the compiler alone. With --accept the list becomes what the library exports.
"""

import pathlib
import re
import subprocess
import sys

FOREIGN = re.compile(r"(std|__gnu_cxx|Q[A-Z]\w*)(::|$)")
ABOUT = re.compile(r"^(typeinfo name for|typeinfo for|vtable for|VTT for|guard variable for) ")


def without_template_arguments(name):
    previous = None
    while previous != name:
        previous, name = name, re.sub(r"<[^<>]*>", "", name)
    return name


def is_foreign(kind, name):
    """True for a weak symbol that belongs to a name space or class of another library."""
    if kind not in "WVu":
        return False
    subject = without_template_arguments(ABOUT.sub("", name)).split("(")[0]
    return bool(FOREIGN.match(subject.split(" ")[-1]))


def exported(library):
    lines = subprocess.run(["nm", "--dynamic", "--demangle", "--defined-only", library], check=True, text=True,
                           stdout=subprocess.PIPE).stdout.splitlines()
    symbols = (line.split(" ", 2)[1:] for line in lines)
    return sorted({name for kind, name in symbols if not is_foreign(kind, name)})


def main(arguments):
    accept = arguments[:1] == ["--accept"]
    if len(arguments) != 2 + accept:
        sys.exit(__doc__)
    names, library = pathlib.Path(arguments[-2]), arguments[-1]
    actual = exported(library)
    if accept:
        names.write_text("".join(name + "\n" for name in actual))
        return 0
    expected = names.read_text().splitlines()
    if actual == expected:
        return 0
    for name in sorted(set(expected) - set(actual)):
        print(f"no longer exported: {name}")
    for name in sorted(set(actual) - set(expected)):
        print(f"exported now:       {name}")
    print(f"{names} does not say what {library} exports. If that is intended: ./dev symbols --accept, and raise "
          "QUENLOFAR_ABI in CMakeLists.txt where something is no longer exported.")
    return 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
