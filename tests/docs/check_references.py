#!/usr/bin/env python3
"""Checks that the things that documents refer to exist.

    check_references.py <root> <document>...

Checked are links to files and headings, and words in backticks or indented blocks:

- paths that begin with one of the root's folders;
- `class::member`, and names of classes and test suites in mixed case: words of one file of src or
  tests;
- `--gtest_filter='Suite*'`: a test suite begins so.

In docs/architecture.md, paths that begin with a folder of src need no file extension, and a line of
its pictures that begins with a layer may only name files of that layer; each layer has a line. There
and in docs/testing.md, names with an underscore must be words of the sources as well. Prints what is
missing; the exit status is 1 then.
"""

import functools
import pathlib
import re
import sys

LINK = re.compile(r"\]\(([^)\s]+)\)")
CODE = re.compile(r"`([^`\n]+)`")
MEMBER = re.compile(r"(\w+)::(\w+)")
MIXED_CASE = re.compile(r"[A-Z]\w*[a-z]\w*[A-Z]\w*")
UNDERSCORE = re.compile(r"[a-z]\w*_\w+")
GTEST_FILTER = re.compile(r"--gtest_filter='?(\w+)")
FOLDERS = ("bench", "cmake", "completion", "debian", "docs", "examples", "fuzz", "scripts", "src",
           "tests")
SOURCES = ("src", "tests", "fuzz", "bench")


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
    """Paths of the repository that the text names, without their arguments."""
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
    parts = {path.parent.name for path in (root / "src").glob("*/CMakeLists.txt")}
    for path in CODE.findall(text):
        part, slash, name = path.partition("/")
        if slash and part in parts and not (root / "src" / path).exists() \
                and not list((root / "src" / part).glob(f"{name}.*")):
            yield path


def wrong_picture(root, text):
    """Files in the pictures that are not in their layer, and layers that they lack."""
    picture = "".join(block for block in re.findall(r"^```text\n(.*?)^```", text,
                                                    re.DOTALL | re.MULTILINE)
                      if "run/driver" in block or "convert/command" in block)
    if not picture:
        return
    layers = {path.relative_to(root / "src").as_posix()
              for path in (root / "src").glob("*/*") if path.is_dir()}
    for layer, rest in re.findall(r"^ (\w+(?:/\w+)?) +(\w.*)$", picture, re.MULTILINE):
        folder = root / "src" / layer
        for name in re.findall(r"(?:^|, )([a-z]\w+)", rest):
            if not list(folder.glob(f"{name}*")):
                yield f"{layer}/{name}"
        layers -= {layer} | {f"{layer}/{name}" for name in re.findall(r"\w+", rest)}
    yield from sorted(layers)


@functools.lru_cache
def words_of_sources(root):
    """The words of each source file and of its path."""
    return [set(re.findall(r"\w+", path.read_text(encoding="utf-8"))) | {path.stem}
            for folder in SOURCES for path in sorted((root / folder).rglob("*"))
            if path.suffix in (".cpp", ".h", ".c")]


@functools.lru_cache
def test_suites(root):
    """The names of all GoogleTest suites."""
    return {suite for path in (root / "tests").rglob("*.cpp") for suite in
            re.findall(r"^TEST(?:_F|_P)?\((\w+),", path.read_text(encoding="utf-8"), re.MULTILINE)}


def missing_names(root, document, text):
    """Names of code and of tests that do not exist."""
    all_words = words_of_sources(root)
    with_underscore = document.name in ("architecture.md", "testing.md")
    for code in CODE.findall(text):
        for suite in GTEST_FILTER.findall(code):
            if not any(name.startswith(suite) for name in test_suites(root)):
                yield suite
        for word in code.split():
            member = MEMBER.fullmatch(word)
            wanted = set(member.groups()) if member else {word}
            is_name = member or MIXED_CASE.fullmatch(word) or (
                with_underscore and UNDERSCORE.fullmatch(word))
            if is_name and "std" not in wanted and not any(wanted <= words for words in all_words):
                yield word


def main():
    """See above."""
    root = pathlib.Path(sys.argv[1])
    wrong = 0
    for name in sys.argv[2:]:
        document = root / name
        text = document.read_text(encoding="utf-8")
        for missing in [*missing_links(document, text), *missing_paths(root, document, text),
                        *wrong_picture(root, text), *missing_names(root, document, text)]:
            print(f"{name}: {missing} is missing")
            wrong += 1
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
