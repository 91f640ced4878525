#!/usr/bin/env python3
"""Checks that what documents refer to is there.

    check_references.py <root> <document>...

Links to other files and to headings, and every word in backticks or in an indented block that begins
with one of the root's folders. In docs/architecture.md words that begin with a folder of src
count as well, without the ending of the file's name. Prints what is missing; exit status 1 then.
"""

import pathlib
import re
import sys

LINK = re.compile(r"\]\(([^)\s]+)\)")
CODE = re.compile(r"`([^`\n]+)`")
ROOMS = ("foundation", "ntfs", "report", "run", "storage")
FOLDERS = ("bench", "cmake", "completion", "docs", "fuzz", "scripts", "src", "tests")


def anchors(text):
    """The names by which the headings of a document are linked."""
    found = set()
    for heading in re.findall(r"^#+ (.*)$", text, re.MULTILINE):
        kept = re.sub(r"[^\w\- ]", "", heading.lower())
        found.add(kept.replace(" ", "-"))
    return found


def missing_links(document, text):
    """Links that lead nowhere."""
    for target in LINK.findall(text):
        if "://" in target:
            continue
        name, _, anchor = target.partition("#")
        other = document.parent / name if name else document
        if not other.exists():
            yield target
        elif anchor and anchor not in anchors(other.read_text(encoding="utf-8")):
            yield target


def named_paths(text):
    """Paths of the repository that the text names, without what is typed behind them."""
    blocks = re.findall(r"^    (.*)$", text, re.MULTILINE)
    for words in CODE.findall(text) + blocks:
        for word in words.split():
            word = word.rstrip(",.;:")
            if re.fullmatch(r"[\w./-]+", word) and word.partition("/")[0] in FOLDERS:
                yield word


def missing_paths(root, document, text):
    """Paths in the text that are not in the repository."""
    for path in named_paths(text):
        if not (root / path).exists():
            yield path
    if document.name != "architecture.md":
        return
    for path in CODE.findall(text):
        room, slash, name = path.partition("/")
        if slash and room in ROOMS and not list((root / "src" / room).glob(f"{name}.*")):
            yield path


def missing_names(root, text):
    """Names in the picture's boxes that are no file of their room, and stand in no header of it."""
    for room, box in re.findall(r"^\+-- src/(\w+) -+\+\n((?:\|.*\n)+)", text, re.MULTILINE):
        headers = sorted((root / "src" / room).glob("*.h"))
        known = "".join(header.read_text(encoding="utf-8") for header in headers)
        known += " ".join(path.stem for path in (root / "src" / room).iterdir())
        for name in re.findall(r"\b[a-z]+_[a-z_]*[a-z]\b", box):
            if not re.search(rf"\b{name}\b", known):
                yield f"{room}/{name}"


def main():
    """See above."""
    root = pathlib.Path(sys.argv[1])
    wrong = 0
    for name in sys.argv[2:]:
        document = root / name
        text = document.read_text(encoding="utf-8")
        for missing in [*missing_links(document, text), *missing_paths(root, document, text),
                        *missing_names(root, text)]:
            print(f"{name}: {missing} is not there")
            wrong += 1
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
