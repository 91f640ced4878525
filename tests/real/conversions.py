#!/usr/bin/env python3
"""Checks quorvel-convert on a real volume.

    conversions.py --convert <quorvel-convert> --label <text> --image <image> --offset <bytes>

The body file is compared with that of fls (see body_check.py), and the timeline that mactime makes of
it with that of quorvel-convert. The other formats are written and read: JSON lines and the database
have the rows of the CSV form, the database is intact, and the page has the number of rows of each
kind. A listing compared with itself has no changes.
"""

import argparse
import csv
import json
import pathlib
import re
import sqlite3
import subprocess
import sys
import tempfile

sys.path.append(str(pathlib.Path(__file__).resolve().parent.parent / "convert"))

from body_check import compared, lines_of  # pylint: disable=wrong-import-position

FORMATS = ("body", "timeline", "csv", "jsonl", "sqlite", "html")


class Volume:
    """A volume, and its listing in every format."""

    def __init__(self, wanted, folder):
        self.convert = wanted.convert
        self.image = wanted.image
        self.offset = wanted.offset
        self.source = ["-image", wanted.image, "-offset", str(wanted.offset), "-level", "99"]
        self.folder = pathlib.Path(folder)
        for form in FORMATS:
            subprocess.run([self.convert, "--to", form, "--output", self.path(form), "--",
                            *self.source], check=True, stderr=subprocess.DEVNULL)
        self.rows = self.table("csv")

    def path(self, form):
        return self.folder / form

    def table(self, form):
        """The rows of a CSV file."""
        with open(self.path(form), encoding="utf-8", newline="") as file:
            return list(csv.DictReader(file, strict=True))


def key(row):
    """The columns that every format has."""
    return row["type"], row["path"], int(row["entry"]), int(row["sequence"])


def wrong_body(volume):
    """Differences from the body file of fls, and from the timeline that mactime makes of it."""
    lines, _, wrong = compared(volume.convert, volume.image, volume.offset)
    yield from wrong
    if lines < 50:
        yield f"only {lines} lines in the body file"
    listed = lines_of(["mactime", "-b", volume.path("body"), "-d", "-y", "-z", "UTC"])[1:]
    seconds = {row["time"][:19] for row in volume.table("timeline")}
    found = {line.split(",")[0][:19] for line in listed}
    if seconds != found:
        yield f"seconds only in one timeline: {sorted(seconds ^ found)}"


def wrong_rows(volume):
    """Formats whose rows differ from those of the CSV form."""
    rows = [key(row) for row in volume.rows]
    lines = volume.path("jsonl").read_text(encoding="utf-8").splitlines()
    if [key(json.loads(line)) for line in lines] != rows:
        yield "the rows of the JSON lines differ"
    database = sqlite3.connect(volume.path("sqlite"))
    if database.execute("PRAGMA integrity_check").fetchone()[0] != "ok":
        yield "the database is damaged"
    columns = "SELECT type, path, entry, sequence FROM entries ORDER BY row"
    if list(database.execute(columns)) != rows:
        yield "the rows of the database differ"
    database.close()


def wrong_page(volume):
    """Kinds of rows whose number in the page is wrong."""
    page = volume.path("html").read_text(encoding="utf-8")
    counts = dict(re.findall(r'<tr><td class="">([^<]*)</td><td class="n">([0-9,]*)</td>', page))
    for kind, name in (("file", "Files"), ("dir", "Directories"), ("ads", "Alternate data streams")):
        number = sum(row["type"] == kind for row in volume.rows)
        if counts.get(name) != f"{number:,}":
            yield f"{name} in the page: {counts.get(name)}, not {number:,}"


def wrong_comparison(volume):
    """Changes between two listings of the volume."""
    command = subprocess.run([volume.convert, "--print-command", "--", *volume.source], check=True,
                             stdout=subprocess.PIPE, text=True).stdout
    program = pathlib.Path(volume.convert).resolve().parent
    listing = volume.folder / "listing"
    subprocess.run(["sh", "-c", f'PATH={program}:$PATH; exec {command.strip()} >"$0"', listing],
                   check=True)
    changes = lines_of([volume.convert, "--diff", listing, listing, "--to", "jsonl"])
    if changes:
        yield f"{len(changes)} changes of a listing and itself"


def main():
    parser = argparse.ArgumentParser(description="Checks quorvel-convert on a real volume.")
    parser.add_argument("--convert", required=True)
    parser.add_argument("--label", required=True)
    parser.add_argument("--image", required=True)
    parser.add_argument("--offset", type=int, required=True)
    wanted = parser.parse_args()
    with tempfile.TemporaryDirectory() as folder:
        volume = Volume(wanted, folder)
        wrong = [text for check in (wrong_body, wrong_rows, wrong_page, wrong_comparison)
                 for text in check(volume)]
    print(f"{wanted.label}: " + ("; ".join(wrong) or f"{len(volume.rows)} rows in each format"))
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
