#!/usr/bin/env python3
"""Compares body files with those of fls of sleuthkit: paths, entries, times.

usage: body_check.py <quorvel-convert> <quorvel-sample>

The volume is the sample with something of everything; tests/real/conversions.py compares the real
ones. Differences that are removed before the comparison:

- fls lists no root, but a folder of orphans and the indexes of metadata files, which it lists in
  place of these files, and a file without unnamed data only if it has no stream;
- fls writes "." into the path of a directory's stream, "^" for a character that it does not print,
  and no mark for a deleted entry that the directory's index still names;
- fls has a time outside of 1970 to 3000 where the listing is blank;
- the name of entry 60 is not valid Unicode, and fls takes a character of it for a surrogate.
"""

import os
import re
import shutil
import subprocess
import sys
import tempfile

LONE_SURROGATE = "60"
ROOT = "5"
INDEXES = {"/$Secure:$SDH", "/$Secure:$SII", "/$Extend/$ObjId:$O", "/$Extend/$Quota:$O",
           "/$Extend/$Quota:$Q", "/$Extend/$Reparse:$R"}
INDEXED = {path.partition(":")[0] for path in INDEXES}
SKIPPED = 77


def lines_of(command, **options):
    run = subprocess.run(command, check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                         **options)
    return run.stdout.decode(errors="replace").splitlines()


def parts(line):
    """(path, entry, times) of a line. fls does not escape "|" in a path."""
    fields = line.split("|")
    return "|".join(fields[1:-9]), fields[-9].partition("-")[0], tuple(fields[-4:])


def rows_of_fls(image, offset):
    for line in lines_of(["fls", "-r", "-p", "-m", "/", "-o", str(offset // 512), image]):
        path, entry, times = parts(line)
        if not path.startswith("/$OrphanFiles") and path not in INDEXES:
            yield path.replace("/.:", ":"), entry, times


def rows_of_convert(convert, image, offset):
    for line in lines_of([convert, "--to", "body", "--", "-image", image, "-offset", str(offset),
                          "-level", "99"]):
        path, entry, times = parts(line)
        if entry == ROOT or path in INDEXED:
            continue
        path = re.sub(r"\\x..", "^", path.replace(" (deleted)", ""))
        yield re.sub("%(..)", lambda match: chr(int(match[1], 16)), path), entry, times


def compared(convert, image, offset=0):
    """The number of lines of an image that both have, that of blank times, and the differences."""
    theirs = {(path, entry): times for path, entry, times in rows_of_fls(image, offset)
              if entry != LONE_SURROGATE}
    ours = {(path, entry): times for path, entry, times in rows_of_convert(convert, image, offset)
            if entry != LONE_SURROGATE}
    wrong = [f"only fls: {row}" for row in sorted(theirs.keys() - ours.keys())]
    wrong += [f"only quorvel-convert: {row}" for row in sorted(ours.keys() - theirs.keys())]
    blank = 0
    for row in sorted(ours.keys() & theirs.keys()):
        pairs = list(zip(ours[row], theirs[row]))
        blank += sum(our == "0" for our, _ in pairs)
        if any(our not in ("0", their) for our, their in pairs):
            wrong.append(f"times of {row}: {pairs}")
    return len(ours), blank, wrong


def main():
    if not shutil.which("fls"):
        print("skipped: fls of sleuthkit is not installed")
        return SKIPPED
    with tempfile.TemporaryDirectory() as folder:
        image = os.path.join(folder, "demo.dd")
        subprocess.run([SAMPLE, "demo", image], check=True)
        lines, blank, wrong = compared(CONVERT, image)
    if lines < 600:
        wrong.append(f"only {lines} lines")
    if blank != 12:  # all of zero.dat and of its name, and those of far.dat
        wrong.append(f"{blank} blank times instead of 12")
    print("\n".join(wrong) or f"{lines} lines are equal")
    return 1 if wrong else 0


if __name__ == "__main__":
    CONVERT, SAMPLE = map(os.path.abspath, sys.argv[1:3])
    sys.exit(main())
