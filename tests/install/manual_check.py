#!/usr/bin/env python3
"""Checks the manual page: its options against the program, its examples, and its form.

usage: manual_check.py <option table program> <quorvel> <quorvel-sample> <man page> <src/run>
"""

import collections
import glob
import os
import re
import shlex
import subprocess
import tempfile
import unittest

import command_line

OPTION = re.compile(r"(?:Fl (?P<flag>\S+)|Cm (?P<plain>\S+))(?P<value> Ar \S.*)?$")


def shown(report):
    """Returns a report as text: a broken surrogate in a name is not valid UTF-8."""
    return report.decode(errors="replace")


def read(path):
    with open(path, "rb") as file:
        return shown(file.read())


def documented_options(page):
    """Returns [(option, has a value)] for the items of OPTIONS, in order."""
    section = page.split(".Sh OPTIONS\n")[1].split("\n.Sh ")[0]
    out = []
    for line in section.splitlines():
        if not line.startswith(".It "):
            continue
        match = OPTION.match(line[4:])
        if not match:
            raise AssertionError("not an option: " + line)
        word = "-" + match["flag"] if match["flag"] else match["plain"]
        out.append((word, match["value"] is not None))
    return out


def examples(page):
    """Returns the command lines of EXAMPLES."""
    section = page.split(".Sh EXAMPLES\n")[1].split("\n.Sh ")[0]
    lines = [line[6:] for line in section.splitlines() if line.startswith(".Dl $ ")]
    return [line.replace("\\e", "\\") for line in lines]


class Manual(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.words = command_line.words_of(OPTIONS.table)
        cls.page = read(OPTIONS.page)

    def test_documents_each_option_once(self):
        counts = collections.Counter(word for word, _ in documented_options(self.page))
        self.assertEqual(sorted(counts), sorted(self.words))
        self.assertEqual([word for word, count in counts.items() if count > 1], [])

    def test_options_with_a_value_show_it(self):
        shown = {word for word, has_value in documented_options(self.page) if has_value}
        self.assertEqual(shown, {word for word, form in self.words.items() if form != "flag"})

    def test_options_that_may_be_repeated_say_so(self):
        section = self.page.split(".Sh OPTIONS\n")[1]
        repeated = set()
        for item in section.split("\n.It Fl ")[1:]:
            if "be repeated" in " ".join(item.split()):
                repeated.add("-" + item.split()[0])
        self.assertEqual(repeated, {word for word, form in self.words.items() if form == "values"})

    def test_source_has_no_options_outside_the_tables(self):
        found = set()
        for file in glob.glob(os.path.join(OPTIONS.source, "**", "*.cpp"), recursive=True) + \
                glob.glob(os.path.join(OPTIONS.source, "**", "*.h"), recursive=True):
            code = re.sub(r"//.*", "", read(file))
            found.update(re.findall(r'"(--?[a-z][a-z_0-9]*|/\?)"', code))
        self.assertEqual(found, set(self.words))

    def test_page_passes_mandoc_lint(self):
        run = subprocess.run(["mandoc", "-T", "lint", "-W", "style", OPTIONS.page],
                             stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        # Which manuals are installed here does not matter.
        lines = [line for line in run.stdout.decode().splitlines()
                 if "referenced manual not found" not in line and "outdated mandoc.db" not in line]
        self.assertEqual(lines, [])

    def test_footer_names_the_program_and_its_version(self):
        run = subprocess.run([OPTIONS.program, "-h"], stderr=subprocess.PIPE)
        version = re.search(r"quorvel ver: (\S+)", run.stderr.decode())[1]
        self.assertIn(f"\n.Os quorvel {version}\n", self.page)

    def test_examples_come_before_the_options(self):
        sections = re.findall(r"^\.Sh (.*)$", self.page, re.MULTILINE)
        self.assertLess(sections.index("EXAMPLES"), sections.index("OPTIONS"))


class SampleManual(unittest.TestCase):
    """Compares the manual of quorvel-sample with its usage."""

    @classmethod
    def setUpClass(cls):
        path = os.path.join(os.path.dirname(OPTIONS.page), "quorvel-sample.1")
        cls.page = read(path)
        cls.lint = subprocess.run(["mandoc", "-T", "lint", "-W", "style", path],
                                  stdout=subprocess.PIPE, stderr=subprocess.STDOUT).stdout.decode()
        cls.usage = subprocess.run([OPTIONS.sample], stderr=subprocess.PIPE).stderr.decode()

    def test_documents_each_kind_once(self):
        kinds = re.findall(r"quorvel-sample (\w+) ", self.usage)
        kinds += re.findall(r"^ {9}([a-z-]+)  ", self.usage, re.MULTILINE)
        self.assertGreater(len(kinds), 10)
        self.assertEqual(sorted(re.findall(r"^\.It Cm (\S+)$", self.page, re.MULTILINE)),
                         sorted(kinds))

    def test_page_passes_mandoc_lint(self):
        lines = [line for line in self.lint.splitlines()
                 if "referenced manual not found" not in line and "outdated mandoc.db" not in line]
        self.assertEqual(lines, [])

    def test_footer_names_the_program_and_the_version_of_quorvel(self):
        version = re.search(r"^\.Os quorvel (\S+)$", read(OPTIONS.page), re.MULTILINE)[1]
        self.assertIn(f"\n.Os quorvel-sample {version}\n", self.page)


class Examples(unittest.TestCase):
    """Runs every example in a folder of sample images with the names that it uses."""

    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        for words in (["demo", "sample.dd"], ["mbr", "disk.dd"],
                      ["chain", "base.vmdk", "snapshot.vmdk"]):
            subprocess.run([OPTIONS.sample] + words, cwd=cls.folder.name, check=True)
        cls.runs = {}
        for line in examples(read(OPTIONS.page)):
            words = shlex.split(line)
            assert words[0] == "quorvel", line
            run = subprocess.run([OPTIONS.program] + words[1:], cwd=cls.folder.name,
                                 stdout=subprocess.PIPE, stderr=subprocess.PIPE)
            cls.runs[line] = (run.returncode, shown(run.stdout), shown(run.stderr))

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def only(self, text):
        """Returns status, output and messages of the one example that contains `text`."""
        hits = [run for line, run in self.runs.items() if text in line]
        self.assertEqual(len(hits), 1, text)
        return hits[0]

    def file(self, name):
        return read(os.path.join(self.folder.name, name))

    def test_there_are_eight(self):
        self.assertEqual(len(self.runs), 8)

    def test_folder_of_a_partitioned_disk(self):
        status, out, _ = self.only("quorvel '\\users\\kim' -image disk.dd -offset 0x100000")
        self.assertEqual(status, 0)
        self.assertIn("  dir  \\users\\kim\\\n", out)
        self.assertIn("\\users\\kim\\setback.exe\n", out)

    def test_volumes_of_a_disk(self):
        runs = [run for line, run in self.runs.items() if line.endswith(" disk.dd")]
        self.assertEqual(len(runs), 1)
        self.assertEqual(runs[0][0], 255)
        self.assertIn("use option [-offset 0x100000]", runs[0][2])

    def test_all_timestamps_in_a_file(self):
        status, out, _ = self.only("-out all.csv")
        self.assertEqual((status, out), (0, ""))
        rows = self.file("all.csv").splitlines()[4:]
        header = rows[0].split(",")
        # 8 fields, 12 timestamps of one field each, and the discrepancy test.
        self.assertEqual(len(header), 8 + 12 + 1)
        setback = [row.split(",") for row in rows if "setback.exe" in row]
        self.assertEqual([row[20] for row in setback], ["true"])
        self.assertIn("2008-04-14 12:00:00.000", setback[0][9])

    def test_bare_paths(self):
        status, out, _ = self.only("-filepath_only")
        self.assertEqual(status, 0)
        files = [line for line in out.splitlines() if not line.endswith("\\")]
        self.assertIn("\\windows\\notepad.exe", files)
        self.assertEqual([name for name in files if not name.lower().endswith((".exe", ".dll"))
                          and ":" not in name], [])

    def test_entry(self):
        status, out, _ = self.only("-mft 52")
        self.assertEqual(status, 0)
        self.assertIn("  \\users\\kim\\quarterly report.docx  [objid ", out)
        self.assertIn("Zone.Identifier", out)

    def test_stream(self):
        status, out, _ = self.only("report.docx:Zone.Identifier'")
        self.assertEqual(status, 0)
        rows = out.splitlines()[6:]
        self.assertEqual(len(rows), 1)
        self.assertTrue(rows[0].endswith("Zone.Identifier"), rows[0])

    def test_snapshot(self):
        status, out, _ = self.only("-vmdk")
        self.assertEqual(status, 0)
        self.assertIn("  dir  \\users\\\n", out)

    def test_path_that_does_not_exist(self):
        status, out, _ = self.only("-diags why.txt")
        self.assertEqual((status, len(out.splitlines())), (0, 4))
        self.assertIn("->inode not found for \\users\\nobody\n", self.file("why.txt"))


if __name__ == "__main__":
    OPTIONS = command_line.parse(["table", "program", "sample", "page", "source"])
    command_line.need("mandoc")
    command_line.run_checks()
