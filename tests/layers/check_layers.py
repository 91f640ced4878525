#!/usr/bin/env python3
"""Checks that the layers of src depend on each other in one direction.

    check_layers.py <src> <layers.txt> [--nm PROGRAM] [--without SUBSYSTEM]

layers.txt is written by CMake. It has a line for each layer: folder, colon, the targets that its
target depends on, a second colon, its library ("-" if it only has headers). Checked are:

- the targets: no layer depends on itself, directly or through others;
- the sources: each file of src, except main.cpp and the files of a subsystem that is not built, is
  in the folder of a layer;
- the includes: a file includes only files of its own layer and of layers that it depends on;
- the files: no two include each other, directly or through others. A header and the source of the
  same name count as one;
- the symbols: a library needs only functions of layers that it depends on.

Prints the layers from the lowest to the highest, then what is wrong; the exit status is 1 then.
"""

import argparse
import functools
import graphlib
import pathlib
import re
import subprocess
import sys

INCLUDE = re.compile(r'^#include "([^"]+)"', re.MULTILINE)
PREFIX = "quorvel_"


class Layers:
    """The layers that CMake has listed: what they depend on, and their libraries."""

    def __init__(self, listing):
        self.below = {}
        self.library = {}
        lines = [line.split(": ", 2) for line in listing.splitlines()]
        names = {PREFIX + folder.replace("/", "_"): folder for folder, _, _ in lines}
        for folder, targets, library in lines:
            self.below[folder] = [names[target] for target in targets.split() if target in names]
            self.library[folder] = library if library != "-" else None

    @functools.cache
    def reachable(self, folder):
        """The layers that a layer depends on, directly or through others."""
        found = set(self.below[folder])
        for lower in self.below[folder]:
            found |= self.reachable(lower)
        return found


def circle_in(graph, kind):
    """A text about one circle in a graph, or an empty list."""
    try:
        graphlib.TopologicalSorter(graph).prepare()
    except graphlib.CycleError as error:
        return [f"circle of {kind}: " + " > ".join(reversed(error.args[1]))]
    return []


def source_files(src, without):
    """Each file of src, except those of one folder, with its text, by its path."""
    return {path.relative_to(src): path.read_text(encoding="utf-8")
            for path in sorted(src.rglob("*"))
            if path.suffix in (".h", ".cpp") and path.relative_to(src).parts[0] != without}


def wrong_includes(layers, files):
    """Files outside of the layers, and includes of what is not below."""
    for path, text in files.items():
        layer = path.parent.as_posix()
        if path.name == "main.cpp":
            continue
        if layer not in layers.below:
            yield f"{path} is in no layer"
            continue
        for name in INCLUDE.findall(text):
            other = pathlib.PurePosixPath(name).parent.as_posix()
            if other != layer and other not in layers.reachable(layer):
                yield f"{path} includes {name}, which is not below {layer}"


def circle_of_files(files):
    """A text about files that include each other."""
    graph = {}
    for path, text in files.items():
        stem = path.with_suffix("").as_posix()
        included = {name.rpartition(".")[0] for name in INCLUDE.findall(text)}
        graph.setdefault(stem, set()).update(included - {stem})
    return circle_in(graph, "files")


def symbols(nm, library):
    """The symbols that a library defines, and those that it needs."""
    output = subprocess.run([nm, "--format=posix", library], check=True, capture_output=True,
                            text=True).stdout
    defined, needed = set(), set()
    for name, kind in re.findall(r"^(\S+) (\w)\b", output, re.MULTILINE):
        if kind == "U":
            needed.add(name)
        elif kind in "TDBRVW":
            defined.add(name)
    return defined, needed - defined


def wrong_symbols(layers, nm):
    """Functions of a layer that call those of a layer which is not below."""
    known = {folder: symbols(nm, library)
             for folder, library in layers.library.items() if library}
    owner = {}
    for folder, (defined, _) in known.items():
        for name in defined:
            owner.setdefault(name, set()).add(folder)
    for folder, (_, needed) in known.items():
        for name in sorted(needed & owner.keys()):
            if not owner[name] & layers.reachable(folder):
                yield f"{folder} needs {name} of {' '.join(sorted(owner[name]))}, not below it"


def main():
    """See above."""
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("src", type=pathlib.Path)
    parser.add_argument("listing", type=pathlib.Path)
    parser.add_argument("--nm", default="nm")
    parser.add_argument("--without", default="")
    wanted = parser.parse_args()
    layers = Layers(wanted.listing.read_text(encoding="utf-8"))
    files = source_files(wanted.src, wanted.without)
    wrong = circle_in(layers.below, "layers")
    if not wrong:
        print("\n".join(graphlib.TopologicalSorter(layers.below).static_order()))
        wrong = [*wrong_includes(layers, files), *circle_of_files(files),
                 *wrong_symbols(layers, wanted.nm)]
    print("\n".join(wrong))
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
