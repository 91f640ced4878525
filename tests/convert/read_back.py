#!/usr/bin/env python3
"""Converts a volume of misleading names to each format and reads the results with other programs.

usage: read_back.py <quorvel-convert> <quorvel-sample>

The names are those of tests/support/hostile_volume.cpp. Every name must come back from every format,
up to a zero unit, which ends it in the listing.
"""

import csv
import importlib.util
import io
import json
import os
import re
import shutil
import sqlite3
import subprocess
import sys
import tempfile
import unittest

FOLDER = "\\hostile\n=1\\"
NAMES = [
    "line\nfeed.txt", "a\nfile@0123456789a\\evil", "\r\n0|/fake|1|r/r|0|0|0|1|1|1|1",
    "carriage\rreturn", "esc\x1b[31mred", "delete\x7fc1\x9b", "tab\tbell\a", "quote\"'s",
    '""","""', "pipe|comma,semi;", "<script>alert(1)</script>&amp;", "100%25%7C%", "=1+1", "@sum",
    "back\\slash/slash", "looks (deleted)", "looks ($FILE_NAME)", '{"json":"\\u0041"}',
    "'; DROP TABLE entries; --", "\u202egnp.exe", "\U0001f600.txt", "\ud800x", "x\udc00",
    "\ud83d\ude00\ud800", 255 * "\u20ac", "nul",
]
STREAM = ':Zone|%7C."\x1b'
FIRST_ENTRY = 41


def listing_bytes(text):
    """The bytes of a listing: surrogates have three bytes each."""
    return text.encode("utf-8", "surrogatepass")


def shown(path):
    """The path with U+FFFD for each surrogate."""
    return "".join("\ufffd" if 0xD800 <= ord(c) <= 0xDFFF else c for c in path)


def expected_rows():
    """(type, path, entry) of each row, in any order."""
    rows = [("dir", "\\", 5), ("dir", FOLDER, 40), ("ads", FOLDER[:-1] + ":s\n,1", 40)]
    for entry, name in enumerate(NAMES, FIRST_ENTRY):
        rows.append(("file", FOLDER + name, entry))
        rows.append(("ads", FOLDER + name + STREAM, entry))
    return sorted(rows)


def path_of(row):
    """The path of a row of a format with path and path_hex, as text with surrogates."""
    if row["path_hex"]:
        return bytes.fromhex(row["path_hex"]).decode("utf-8", "surrogatepass")
    return row["path"]


def body_path(text):
    """Undoes the escapes of a path in a body file, except those of percent signs."""
    text = text.replace("/", "\\")
    text = re.sub(r"\\x([0-9a-f]{2})", lambda match: chr(int(match[1], 16)), text)
    return re.sub("%([0-9A-F]{2})", lambda match: chr(int(match[1], 16)), text)


class ReadBack(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.image = os.path.join(cls.folder.name, "hostile.dd")
        subprocess.run([SAMPLE, "hostile", cls.image], check=True)

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def convert(self, form):
        output = os.path.join(self.folder.name, "out." + form)
        subprocess.run([CONVERT, "--to", form, "--force", "--output", output, "--", "-image",
                        self.image, "-level", "99"], check=True, stderr=subprocess.PIPE)
        return output

    def read(self, form):
        with open(self.convert(form), encoding="utf-8", errors="strict", newline="") as file:
            return file.read()

    def check(self, rows):
        found = [(row["type"], path_of(row), int(row["entry"])) for row in rows]
        self.assertEqual(sorted(found), expected_rows())

    def test_csv(self):
        rows = list(csv.DictReader(io.StringIO(self.read("csv"), newline=""), strict=True))
        for row in rows:
            self.assertNotIn(None, row)  # a field too many
            self.assertNotIn(None, row.values())  # a field too few
            for field in row.values():
                self.assertNotIn(field[:1] or "x", "=+-@\t\r\n")
            self.assertEqual(row["path"], shown(path_of(row)))
        self.check(rows)

    @unittest.skipUnless(importlib.util.find_spec("pandas"), "pandas is not installed")
    def test_pandas_reads_csv_without_arguments(self):
        pandas = importlib.import_module("pandas")
        table = pandas.read_csv(self.convert("csv"))
        kinds = {name: table[name].dtype.kind for name in table.columns}
        for name in ("allocated_size", "attributes", "entry", "sequence", "flags"):
            self.assertEqual(kinds[name], "i", name)
        self.assertEqual((kinds["deleted"], kinds["set_back"]), ("b", "b"))
        times = pandas.to_datetime(table["si_created"])
        self.assertEqual(str(times.dtype), "datetime64[ns, UTC]")
        self.assertEqual(set(times.astype("int64")), {1614834367_123456700})
        rows = table.fillna("").to_dict("records")
        self.check(rows)

    def test_timeline(self):
        rows = list(csv.DictReader(io.StringIO(self.read("timeline"), newline=""), strict=True))
        self.assertEqual([row["time"] for row in rows], sorted(row["time"] for row in rows))
        found = [(row["type"], path_of(row), int(row["entry"])) for row in rows]
        entries = [row for row in expected_rows() if row[0] != "ads"]
        self.assertEqual(sorted(found), sorted(8 * entries))  # four times of two sources

    def test_jsonl(self):
        lines = self.read("jsonl").split("\n")
        self.assertEqual(lines.pop(), "")
        rows = [json.loads(line) for line in lines]
        for line, row in zip(lines, rows):
            self.assertTrue(all(c >= " " and not "\x7f" <= c < "\xa0" for c in line), line)
            joined = path_of(row).encode("utf-16", "surrogatepass")  # a pair becomes a character
            self.assertEqual(row["path"].encode("utf-16", "surrogatepass"), joined)
        self.check(rows)

    def test_sqlite(self):
        timeline = list(csv.DictReader(io.StringIO(self.read("timeline"), newline="")))
        database = sqlite3.connect(self.convert("sqlite"))
        database.row_factory = sqlite3.Row
        self.assertEqual(database.execute("PRAGMA integrity_check").fetchone()[0], "ok")
        rows = [dict(row) for row in database.execute("SELECT * FROM entries ORDER BY row")]
        self.check(rows)
        self.assertEqual([row["path"] for row in rows], [shown(path_of(row)) for row in rows])
        zones = list(database.execute("SELECT owner, stream FROM streams ORDER BY row"))
        expected = sorted((shown(FOLDER + name), STREAM[1:]) for name in NAMES)
        self.assertEqual(sorted(map(tuple, zones))[1:], expected)
        self.assertEqual(tuple(sorted(map(tuple, zones))[0]), (FOLDER[:-1], "s\n,1"))
        events = [dict(row) for row in database.execute("SELECT * FROM timeline")]
        for event in events:
            event["deleted"] = "true" if event["deleted"] else "false"
        found = [(e["time"], e["macb"], e["source"], e["type"], path_of(e), str(e["entry"]),
                  str(e["sequence"]), str(e["allocated_size"]), e["deleted"]) for e in events]
        same = [(e["time"], e["macb"], e["source"], e["type"], path_of(e), e["entry"],
                 e["sequence"], e["allocated_size"], e["deleted"]) for e in timeline]
        self.assertEqual(found, same)
        database.close()

    def test_body(self):
        text = self.read("body")
        self.assertTrue(all(c in "\n" or c >= " " and not "\x7f" <= c < "\xa0" for c in text))
        found = []
        for line in text.splitlines():
            fields = line.split("|")
            self.assertEqual(len(fields), 11, line)
            if not fields[1].endswith(" ($FILE_NAME)"):
                found.append((body_path(fields[1]), int(fields[2])))
            self.assertFalse(fields[1].endswith(" (deleted)"), line)
        expected = [(shown(path[:-1] if kind == "dir" and len(path) > 1 else path), entry)
                    for kind, path, entry in expected_rows()]
        self.assertEqual(sorted(found), sorted(expected))

    @unittest.skipUnless(shutil.which("mactime"), "mactime of sleuthkit is not installed")
    def test_mactime_reads_each_line_of_the_body_file(self):
        body = self.convert("body")
        run = subprocess.run(["mactime", "-b", body, "-d", "-y"], check=True,
                             stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.assertEqual(run.stderr, b"")
        lines = run.stdout.decode().splitlines()[1:]
        found = {line.split(",", 7)[6] for line in lines}
        self.assertEqual(found, {str(entry) for _, _, entry in expected_rows()})
        script = '<script>alert(1)<%2Fscript>'.replace("%2F", "/")
        self.assertTrue(any(script in line for line in lines))


if __name__ == "__main__":
    CONVERT, SAMPLE = map(os.path.abspath, sys.argv[1:3])
    unittest.main(argv=sys.argv[:1], verbosity=2)
