#!/usr/bin/env python3
"""Checks that the unit tests mirror src.

    check_tests.py <src> <tests/unit> <layers.txt> [--without SUBSYSTEM]

layers.txt is the file that check_layers.py reads. The files of a subsystem that is not built are
skipped. A test file is named after a source file, or after a header without one: <name>_test.cpp, or
<name>_<subject>_test.cpp for a part of its tests. If several names fit, the longest is meant. Checked
are:

- the sources: each source file of src, except main.cpp, has a test file in the same folder of
  tests/unit;
- the folders: each test file is in the folder of a layer;
- the names: each test file is named after a file of that layer;
- the targets: each test file is in the CMakeLists.txt of its subsystem.

Prints what is wrong; the exit status is 1 then.
"""

import argparse
import pathlib
import sys

SUFFIX = "_test.cpp"


def files_below(folder, pattern, without):
    """The files that match a pattern, relative to the folder, except for one subsystem."""
    found = (path.relative_to(folder) for path in folder.rglob(pattern))
    return sorted(path for path in found if path.parts[0] != without)


def tested_file(test, names):
    """The longest of the names that a test file begins with, or None."""
    subject = test.name[:-len(SUFFIX)] + "_"
    fitting = [name for name in names if subject.startswith(name + "_")]
    return max(fitting, key=len, default=None)


def names_by_folder(src, without):
    """The names of the files in each folder of src, without their suffixes."""
    names = {}
    for path in [*files_below(src, "*.cpp", without), *files_below(src, "*.h", without)]:
        names.setdefault(path.parent, set()).add(path.stem)
    return names


def is_in_target(unit, test):
    """Whether the CMakeLists.txt of a subsystem names a test file."""
    lists = unit / test.parts[0] / "CMakeLists.txt"
    name = test.relative_to(test.parts[0]).as_posix()
    return lists.is_file() and name in lists.read_text(encoding="utf-8").split()


def wrong_tests(src, unit, layers, without):
    """Test files in the wrong place, and source files without one."""
    names = names_by_folder(src, without)
    tested = set()
    for test in files_below(unit, "*.cpp", without):
        folder = test.parent
        if not test.name.endswith(SUFFIX):
            yield f"{test} does not end in {SUFFIX}"
            continue
        if folder.as_posix() not in layers:
            yield f"{test} is not in the folder of a layer"
            continue
        name = tested_file(test, names.get(folder, ()))
        if name is None:
            yield f"{test} is not named after a file of {folder}"
        if not is_in_target(unit, test):
            yield f"{test} is in no target"
        tested.add((folder, name))
    for source in files_below(src, "*.cpp", without):
        if source.name != "main.cpp" and (source.parent, source.stem) not in tested:
            yield f"{source} has no test file"


def main():
    """See above."""
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("src", type=pathlib.Path)
    parser.add_argument("unit", type=pathlib.Path)
    parser.add_argument("listing", type=pathlib.Path)
    parser.add_argument("--without", default="")
    wanted = parser.parse_args()
    lines = wanted.listing.read_text(encoding="utf-8").splitlines()
    layers = {line.split(": ", 1)[0] for line in lines}
    wrong = list(wrong_tests(wanted.src, wanted.unit, layers, wanted.without))
    print("\n".join(wrong))
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
