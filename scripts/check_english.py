#!/usr/bin/env python3
"""Lists wordings in comments, documents and messages that are not plain English.

    scripts/check_english.py [--count] [<file or folder>...]

Reads all tracked files, or the given ones: comments of C++ and CMake files, comments and messages
of shell and Python scripts, and the text of Markdown files and of the manual, without code blocks
and words in backticks. String literals of C++ are program texts and are not read. Prints one line per
hit; with --count, only the number of hits per folder. The exit status is 1 if there is a hit.
"""

import argparse
import collections
import io
import pathlib
import re
import subprocess
import sys
import tokenize

ROOT = pathlib.Path(__file__).resolve().parent.parent

# Each pattern is matched at word boundaries, without regard to case.
PATTERNS = {
    "behind": "after, past",
    "in front of": "before",
    "ahead of": "before",
    "(?:is|are) none": "is not one, are not",
    "(?:holds?|held|holding) [^.;]{0,60}?against": "checks ... against",
    "(?:goes|go|going) on for ever": "never ends",
    "(?:mak(?:es?|ing)|made|starts?|started) (?:\\w+ )?anew": "recreates, clears first",
    "stands? (?:in|at|for|on|there|behind|beside)": "is in, is at, means",
}
COMPILED = {re.compile(rf"\b(?:{pattern})\b", re.IGNORECASE): advice
            for pattern, advice in PATTERNS.items()}
# Quotes and backticks on one line. An apostrophe does not open a quote.
QUOTED = re.compile(r"`[^`\n]*`|\"[^\"\n]*\"")

CPP_TOKEN = re.compile(
    r"R\"(?P<tag>\w*)\(.*?\)(?P=tag)\"|\"(?:\\.|[^\"\\\n])*\"|(?<!\w)'(?:\\.|[^'\\\n])+'"
    r"|(?P<comment>//[^\n]*|/\*.*?\*/)", re.DOTALL)
SHELL_MESSAGE = re.compile(r"^(\s*)(?:say|fail|echo|printf)\b.*$")


def blanked(text):
    """`text` with everything but line ends replaced by blanks."""
    return re.sub(r"[^\n]", " ", text)


def without_quotes(text):
    return QUOTED.sub(lambda quoted: blanked(quoted.group()), text)


def keep(text, spans):
    """`text` with everything outside of `spans` blanked, so that positions do not change."""
    kept, at = [], 0
    for start, end in spans:
        kept += [blanked(text[at:start]), text[start:end]]
        at = end
    return "".join([*kept, blanked(text[at:])])


def prose_of_cpp(text):
    spans = [token.span("comment") for token in CPP_TOKEN.finditer(text) if token["comment"]]
    # The slashes are blanked, so that a phrase may continue in the next line.
    return re.sub(r"//", "  ", without_quotes(keep(text, spans)))


def comment_start(line):
    """The position of the comment in a line of a script, or the line's length."""
    hit = re.search(r"(?:^|\s)(#)", line)
    return hit.start(1) if hit else len(line)


def prose_of_script(text):
    """Comments, and the messages of a shell script, which are quoted themselves."""
    lines = []
    for line in text.split("\n"):
        if SHELL_MESSAGE.match(line):
            lines.append(line)
        else:
            at = comment_start(line)
            lines.append(" " * at + without_quotes(line[at:].replace("#", " ")))
    return "\n".join(lines)


def prose_of_python(text):
    """Comments and strings: docstrings and messages."""
    starts = [0]
    for line in text.split("\n"):
        starts.append(starts[-1] + len(line) + 1)
    spans = []
    for token in tokenize.generate_tokens(io.StringIO(text).readline):
        if token.type in (tokenize.COMMENT, tokenize.STRING):
            spans.append(tuple(starts[row - 1] + column
                               for row, column in (token.start, token.end)))
    return re.sub(r"[#\"]", " ", re.sub(r"`[^`\n]*`", lambda code: blanked(code.group()),
                                        keep(text, spans)))


def prose_of_markdown(text):
    text = re.sub(r"^```.*?^```", lambda block: blanked(block.group()), text,
                  flags=re.DOTALL | re.MULTILINE)
    text = re.sub(r"^(?: {4}|\t).*$", lambda line: blanked(line.group()), text, flags=re.MULTILINE)
    return without_quotes(text)


def prose_of_manual(text):
    """The text without macros that quote code."""
    return re.sub(r"^\.(?:Dl|Li|Ql|Fl|Pa|\\\").*$", lambda line: blanked(line.group()), text,
                  flags=re.MULTILINE)


def reader_of(path):
    """The function that returns the prose of this file; None if it has none."""
    by_suffix = {".cpp": prose_of_cpp, ".h": prose_of_cpp, ".c": prose_of_cpp,
                 ".py": prose_of_python, ".md": prose_of_markdown, ".1": prose_of_manual,
                 ".cmake": prose_of_script, ".txt": prose_of_script, ".bash": prose_of_script,
                 ".same": lambda text: re.sub(r"^src/.*$", "", text, flags=re.MULTILINE),
                 ".suppressions": prose_of_script, ".supp": prose_of_script}
    if path == pathlib.Path(__file__).resolve():
        return None
    if path.suffix in by_suffix:
        return by_suffix[path.suffix]
    with open(path, "rb") as file:
        first_line = file.readline(100)
    if first_line.startswith(b"#!"):
        return prose_of_python if b"python" in first_line else prose_of_script
    return None


def hits(path):
    """(line number, the words found, advice) of each hit in a file."""
    reader = reader_of(path)
    if reader is None:
        return
    prose = re.sub(r"[ \t]", " ", reader(path.read_text(encoding="utf-8")))
    # A phrase may be broken over two lines: blanks around the line end count as one blank.
    offsets = [at for at, c in enumerate(prose)
               if not (c in " \n" and at > 0 and prose[at - 1] in " \n")]
    joined = "".join(" " if prose[at] == "\n" else prose[at] for at in offsets)
    for pattern, advice in COMPILED.items():
        for hit in pattern.finditer(joined):
            yield prose.count("\n", 0, offsets[hit.start()]) + 1, hit.group(), advice


def tracked_files():
    listed = subprocess.run(["git", "ls-files", "-z"], cwd=ROOT, capture_output=True, check=True)
    return [ROOT / name for name in listed.stdout.decode().split("\0") if name]


def wanted_files(names):
    if not names:
        return tracked_files()
    given = [pathlib.Path(name).resolve() for name in names]
    return [path for path in tracked_files()
            if any(path == name or name in path.parents for name in given)]


def main():
    """See above."""
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--count", action="store_true")
    parser.add_argument("names", nargs="*", metavar="file or folder")
    options = parser.parse_args()

    folders = collections.Counter()
    for path in wanted_files(options.names):
        if not path.is_file():
            continue
        name = path.relative_to(ROOT)
        for line, words, advice in sorted(hits(path)):
            folders["/".join(name.parts[:-1][:2]) or "."] += 1
            if not options.count:
                print(f"{name}:{line}: {words!r}; write: {advice}")
    for folder, count in sorted(folders.items()):
        if options.count:
            print(f"{count:6} {folder}")
    print(f"{sum(folders.values())} hits", file=sys.stderr)
    return 1 if folders else 0


if __name__ == "__main__":
    sys.exit(main())
