#!/usr/bin/env python3
"""Compares a whole listing of an NTFS volume with the output of The Sleuth Kit for the same image.

Compares names, entry numbers, sequence numbers and modified times of every file, directory and stream
with fls and istat. Prints how much was compared, and the differences that have a known reason. The
exit status is 1 if there is any other difference.

Known reasons:
  same directory   two hard links to a file in the same directory are one row, with the first name
  split index      a directory whose index continues in extension records is listed in part
  same stream id   if two streams have the same attribute id, only the first in the attribute list is
                   listed
  deleted entry    a deleted entry is listed if the index still contains it and its record still has
                   a name with this parent; fls marks it as deleted
  sector tails     with sectors larger than 512 bytes the update sequence is applied per sector, so the
                   last two bytes of the other 512-byte blocks keep the check value
"""

import argparse
import collections
import concurrent.futures
import re
import subprocess
import sys

HEAD_LINES = 4
TABLE_HEAD_LINES = 2
ROW = re.compile(r"^(.{27}) *(\d+) +(\d+) (.{12}) (.{7})(.*)$", re.S)
FLS_ROW = re.compile(r"^(\S)/(\S) (\* )?(\d+)(?:-(\d+)-(\d+))?(\(realloc\))?:\t(.*)$", re.S)

Row = collections.namedtuple("Row", "entry sequence modified")


class Differences:
    """Differences with a known reason, and the others."""

    def __init__(self):
        self.known = collections.Counter()
        self.unknown = []

    def add(self, reason, text):
        if reason:
            self.known[reason] += 1
            print(f"  known ({reason}): {text}")
        else:
            self.unknown.append(text)


def output_of(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE).stdout


def listing(options):
    """Returns the program's rows, {path: [Row]}, for entries and for streams."""
    command = [options.program, "-image", options.image, "-level", "99", "-timeformat",
               "hh:mm:ss.xxxxxxx", "-quiet"]
    if options.offset:
        command += ["-offset", hex(options.offset)]
    text = output_of(*command).decode()
    entries, streams = collections.defaultdict(list), collections.defaultdict(list)
    for line in text.split("\n")[HEAD_LINES + TABLE_HEAD_LINES:]:
        if not line:
            continue
        match = ROW.match(line)
        if not match:
            sys.exit(f"unexpected row: {line!r}")
        modified, entry, sequence, _, label, path = match.groups()
        row = Row(int(entry), int(sequence), modified.strip())
        path = path.strip("\\")
        kind = label.strip()
        if kind == "ads":
            streams[path].append(row)
        elif path:  # fls does not list the root
            entries[path].append(row)
    return entries, streams


def other_listing(options):
    """Returns the entries, streams and deleted entries of fls, as pairs of path and entry number."""
    entries, streams, deleted = set(), collections.defaultdict(list), set()
    text = output_of("fls", "-r", "-p", "-o", str(options.offset // 512), options.image).decode()
    for line in text.split("\n"):
        if not line:
            continue
        match = FLS_ROW.match(line)
        if not match:
            sys.exit(f"unexpected line of fls: {line!r}")
        kind, _, star, entry, type_, id_, realloc, path = match.groups()
        if kind == "V" or path.startswith("$OrphanFiles/"):
            continue
        entry = int(entry)
        directory, _, name = path.rpartition("/")
        base, colon, stream = name.partition(":")
        # fls also lists a directory's stream as one of "." inside the directory.
        base_path = "/".join(part for part in (directory, base) if part not in ("", "."))
        base_path = base_path.replace("/", "\\")
        if star or realloc:
            deleted.add((base_path, entry))
            continue
        entries.add((base_path, entry))
        if colon and type_ == "128":
            streams[(base_path + ":" + stream, entry)].append(int(id_))
    return entries, streams, deleted


# istat counts seconds modulo 2^32, so it prints a timestamp of 0 (the year 1601) as this time.
ZERO_STAMP = "2076-11-29 08:54:34.0000000"


def stamp(text):
    """Converts a time from istat's format to the listing's; empty if the listing leaves it blank."""
    match = re.match(r"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d)\.(\d{7})\d* \(UTC\)", text)
    if not match or match.group(1) < "1970-01-01 00:00:01":
        return ""
    time = f"{match.group(1)}.{match.group(2)}"
    return "" if time == ZERO_STAMP else time


def details(options, entry):
    """Returns sequence number, modified time and attribute types of an entry from istat."""
    text = output_of("istat", "-z", "UTC", "-o", str(options.offset // 512), options.image,
                     str(entry)).decode(errors="replace")
    sequence = re.search(r"^Entry: \d+\s+Sequence: (\d+)", text, re.M)
    standard = text.partition("$STANDARD_INFORMATION Attribute Values:")[2]
    modified = re.search(r"^File Modified:\t(.*)$", standard, re.M)
    types = set(re.findall(r"^Type: \S+ \((\d+)-\d+\)", text, re.M))
    return (int(sequence.group(1)), stamp(modified.group(1)) if modified else "", types)


class SectorTails:
    """Finds records whose used part includes the end of a 512-byte block that was not fixed up."""

    def __init__(self, options):
        self.options = options
        with open(options.image, "rb") as image:
            image.seek(options.offset)
            boot = image.read(512)
        self.sector = int.from_bytes(boot[11:13], "little")
        self.active = self.sector > 512
        self.mft = b""
        if self.active:
            self.mft = output_of("icat", "-o", str(options.offset // 512), options.image, "0")
        exponent = boot[64]
        self.record = (1 << (256 - exponent)) if exponent > 127 else (
            exponent * boot[13] * self.sector)

    def record_is_hit(self, entry):
        """Returns whether the used part of a record includes such a block end."""
        if not self.active:
            return False
        record = self.mft[entry * self.record:(entry + 1) * self.record]
        return int.from_bytes(record[24:28], "little") > 510


def compare(options):
    entries, streams = listing(options)
    other_entries, other_streams, deleted = other_listing(options)
    tails = SectorTails(options)
    differences = Differences()

    with concurrent.futures.ThreadPoolExecutor(2) as pool:
        numbers = sorted({entry for _, entry in other_entries})
        facts = dict(zip(numbers, pool.map(lambda n: details(options, n), numbers)))

    # A file has one row per directory: its first link in key order.
    links = collections.defaultdict(set)
    for path, entry in other_entries:
        links[(path.rpartition("\\")[0], entry)].add(path)

    def on_the_way(directory):
        """Yields the entries of a directory and of its parents, without the root."""
        while directory:
            yield from (e for p, e in other_entries if p == directory)
            directory = directory.rpartition("\\")[0]

    def lists_in_parts(directory):
        return any("32" in facts[entry][2] for entry in on_the_way(directory))

    def parent_is_hit(directory):
        """Returns whether an index from the root to the directory has blocks or such a record."""
        return any(tails.record_is_hit(entry) or "160" in facts[entry][2]
                   for entry in [*on_the_way(directory), 5] if entry in facts)

    compared = stamps = 0
    for path, entry in sorted(other_entries):
        sequence, modified, _ = facts[entry]
        directory = path.rpartition("\\")[0]
        rows = [row for row in entries.get(path, []) if row.entry == entry]
        if not rows:
            reason = None
            if len(links[(directory, entry)]) > 1:
                shown = [p for p in links[(directory, entry)]
                         if any(row.entry == entry for row in entries.get(p, []))]
                reason = "same directory" if shown else None
            if not reason and lists_in_parts(directory):
                reason = "split index"
            if not reason and tails.active and (tails.record_is_hit(entry)
                                                or parent_is_hit(directory)):
                reason = "sector tails"
            differences.add(reason, f"not listed here: {entry} {path}")
            continue
        compared += 1
        for row in rows:
            hit = "sector tails" if tails.record_is_hit(entry) else None
            if row.sequence != sequence:
                differences.add(hit, f"sequence of {entry} {path}: {row.sequence}, not {sequence}")
            if row.modified != modified:
                differences.add(hit, f"time of {entry} {path}: {row.modified!r}, not {modified!r}")
            stamps += 1

    for path, rows in sorted(entries.items()):
        for row in rows:
            if (path, row.entry) in other_entries:
                continue
            reason = "deleted entry" if (path, row.entry) in deleted else None
            if tails.record_is_hit(row.entry):
                reason = "sector tails"
            differences.add(reason, f"listed here only: {row.entry} {path}")

    compared_streams = 0
    for (path, entry), ids in sorted(other_streams.items()):
        if any(row.entry == entry for row in streams.get(path, [])):
            compared_streams += 1
            continue
        clash = [p for (p, e), other in other_streams.items()
                 if e == entry and p != path and set(other) & set(ids)]
        base = path.partition(":")[0]
        reason = "same stream id" if clash else None
        if not any(row.entry == entry for row in entries.get(base, [])):
            continue  # the entry itself was reported above
        if tails.record_is_hit(entry):
            reason = "sector tails"
        differences.add(reason, f"stream not listed here: {entry} {path}")
    for path, rows in sorted(streams.items()):
        for row in rows:
            if (path, row.entry) not in other_streams:
                reason = "deleted entry" if any(e == row.entry for _, e in deleted) else None
                if tails.record_is_hit(row.entry):
                    reason = "sector tails"
                differences.add(reason, f"stream listed here only: {row.entry} {path}")

    known = ", ".join(f"{count} {reason}" for reason, count in sorted(differences.known.items()))
    print(f"{options.label}: compared {compared} entries, {compared_streams} streams, "
          f"{stamps} sequence numbers and modified times; known differences: {known or 'none'}")
    for text in differences.unknown:
        print(f"  DIFFERENT: {text}")
    if not compared:
        print("  DIFFERENT: nothing was compared")
    return not differences.unknown and compared > 0


def volume_options(description):
    """Parses the command line of the scripts that check one volume."""
    parser = argparse.ArgumentParser(description=description)
    parser.add_argument("--program", required=True)
    parser.add_argument("--image", required=True)
    parser.add_argument("--offset", type=int, default=0)
    parser.add_argument("--label", default="volume")
    return parser.parse_args()


if __name__ == "__main__":
    sys.exit(0 if compare(volume_options(__doc__)) else 1)
