#!/usr/bin/env python3
"""Compares every timestamp of the CSV and the XML report with the output of istat.

For each entry of a volume these are the four timestamps of $STANDARD_INFORMATION and the four of each
$FILE_NAME of the row: of the long name, and of the DOS name if there is one. Other tests check the
attribute flags and the discrepancy test.
"""

import os
import re
import sys
import tempfile
import xml.etree.ElementTree

import cross_check

STAMPS = ("Created", "File Modified", "MFT Modified", "Accessed")
XML_STAMPS = ("create", "altered", "mft_changed", "accessed")
DOS_NAME = re.compile(r"^[^a-z]{1,6}~\d(\.[^a-z]{0,3})?$")


def stamps_of(section):
    """Returns the four timestamps in a section of istat's output."""
    found = []
    for label in STAMPS:
        match = re.search(rf"^{label}:\t(.*)$", section, re.M)
        found.append(cross_check.stamp(match.group(1)) if match else None)
    return found


def facts_of(options, entry):
    """Returns an entry's $STANDARD_INFORMATION timestamps, and (name, parent, timestamps) per name."""
    text = cross_check.output_of("istat", "-z", "UTC", "-o", str(options.offset // 512),
                                 options.image, str(entry)).decode(errors="replace")
    sections = re.split(r"^(?=\$[A-Z_]+ Attribute Values:)", text, flags=re.M)
    standard, names = None, []
    for section in sections:
        if section.startswith("$STANDARD_INFORMATION"):
            standard = stamps_of(section)
        elif section.startswith("$FILE_NAME"):
            name = re.search(r"^Name: (.*)$", section, re.M).group(1)
            parent = int(re.search(r"^Parent MFT Entry: (\d+)", section, re.M).group(1))
            names.append((name, parent, stamps_of(section)))
    return standard, names


def run_report(options, *arguments):
    command = [options.program, "-image", options.image, "-level", "99", "-alldates", "-timeformat",
               "hh:mm:ss.xxxxxxx", "-quiet", *arguments]
    if options.offset:
        command += ["-offset", hex(options.offset)]
    return cross_check.output_of(*command).decode()


def csv_rows(options):
    """Yields (type, path, entry, standard, long, short) for each row of the CSV report."""
    text = run_report(options, "-csv", "-csv_separator", "tab", "-base10", "-pair_datetime")
    for line in text.split("\n")[cross_check.HEAD_LINES + 1:]:
        if line:
            fields = [field.strip() for field in line.split("\t")]
            yield (fields[0], fields[1], int(fields[5]), fields[8:12], fields[12:16], fields[16:20])


def xml_rows(options):
    """Yields (path, standard, long, short) for each element of the XML report."""
    with tempfile.TemporaryDirectory() as folder:
        name = os.path.join(folder, "report.xml")
        run_report(options, "-xml", name)
        with open(name, encoding="utf-8") as report:
            document = report.read()
    document = document[document.index("<?xml"):].encode()
    for entry in xml.etree.ElementTree.fromstring(document):

        def four(prefix, element=entry):
            return [" ".join(filter(None, (element.findtext(f"{prefix}_{name}_date"),
                                           element.findtext(f"{prefix}_{name}_time"))))
                    for name in XML_STAMPS]

        yield entry.findtext("directory"), four("file"), four("name"), four("shortname")


def expected_names(names, parent):
    """Returns the timestamps of the long and of the DOS names with this parent."""
    here = [(name, stamps) for name, where, stamps in names if where == parent]
    is_dos = {name for name, _ in here if DOS_NAME.match(name) and len(here) > 1}
    return ([stamps for name, stamps in here if name not in is_dos],
            [stamps for name, stamps in here if name in is_dos])


def compare(options):
    tails = cross_check.SectorTails(options)
    wrong, compared = [], 0
    directories, facts, order = {"": 5}, {}, []
    for kind, path, entry, standard, long, short in csv_rows(options):
        order.append((standard, long, short))
        path = path.strip("\\")
        if kind == "dir":
            directories[path] = entry
        if kind in ("ads", "indx") or tails.record_is_hit(entry):
            continue
        if entry not in facts:
            facts[entry] = facts_of(options, entry)
        expected_standard, names = facts[entry]
        parent = directories.get(path.rpartition("\\")[0], None)
        expected_long, expected_short = expected_names(names, parent)
        if standard != expected_standard:
            wrong.append(f"$STANDARD_INFORMATION of {entry} {path}: {standard}, "
                         f"not {expected_standard}")
        if not any(long == stamps for stamps in expected_long):
            wrong.append(f"$FILE_NAME of {entry} {path}: {long}, not one of {expected_long}")
        if short != ([""] * 4 if not expected_short else expected_short[0]):
            wrong.append(f"DOS name of {entry} {path}: {short}, not {expected_short}")
        compared += 8 + (4 if expected_short else 0)

    elements = 0
    for row, (directory, *stamps) in zip(order, xml_rows(options), strict=True):
        elements += 1
        if list(row) != stamps:
            wrong.append(f"XML element {elements} in {directory}: {stamps}, not {row}")

    print(f"{options.label}: {compared} timestamps of {len(facts)} entries equal those of istat, "
          f"{elements} XML elements equal the CSV rows")
    for text in wrong:
        print(f"  DIFFERENT: {text}")
    return not wrong and compared > 0 and elements > 0


if __name__ == "__main__":
    sys.exit(0 if compare(cross_check.volume_options(__doc__)) else 1)
