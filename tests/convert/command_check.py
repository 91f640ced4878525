#!/usr/bin/env python3
"""Compares the manual, the completions and docs/convert.md with the options, formats and columns of
quorvel-convert.

usage: command_check.py <quorvel-convert> <quorvel-sample> <source folder>
"""

import csv
import json
import os
import re
import shutil
import sqlite3
import subprocess
import sys
import tempfile
import unittest


def read(name):
    with open(os.path.join(SOURCE, name), encoding="utf-8") as file:
        return file.read()


def options_of_help():
    """The long options and the formats in the text of --help."""
    text = subprocess.run([CONVERT, "--help"], check=True, stdout=subprocess.PIPE).stdout.decode()
    options = re.findall(r"^ +(?:-\w,)?(--[\w-]+)", text, re.MULTILINE)
    formats = re.search(r"FORMAT:\{(.*?)\}", text)[1].split(",")
    return sorted(options), formats


class Command(unittest.TestCase):
    def test_manual_documents_each_option_and_format(self):
        page = read("docs/quorvel-convert.1").split(".Sh OPTIONS\n")[1].split("\n.Sh ")[0]
        options, formats = options_of_help()
        found = ["-" + name for name in re.findall(r"^\.It Fl (-[\w-]+)", page, re.MULTILINE)]
        self.assertEqual(sorted(found), options)
        self.assertEqual(re.findall(r"^\.It Li (\w+)", page, re.MULTILINE), formats)

    def test_manual_names_each_refused_option(self):
        page = read("docs/quorvel-convert.1").split(".Sh DESCRIPTION\n")[1].split("\n.Sh ")[0]
        refused = re.findall(r'"(-\w+)"', read("src/convert/command/user_options.cpp"))
        named = re.findall(r"^\.Fl (\w+)", page.split("are refused:")[1], re.MULTILINE)
        self.assertEqual(sorted("-" + name for name in named),
                         sorted(set(refused) - {"-h", "-help"}))

    @unittest.skipUnless(shutil.which("mandoc"), "mandoc is not installed")
    def test_manual_is_valid(self):
        page = os.path.join(SOURCE, "docs/quorvel-convert.1")
        run = subprocess.run(["mandoc", "-T", "lint", "-W", "warning", page],
                             stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self.assertEqual((run.returncode, run.stdout.decode()), (0, ""))

    def test_bash_completes_options_and_formats(self):
        options, formats = options_of_help()
        ask = r"""
            source "$1/completion/quorvel.bash"; source "$1/completion/quorvel-convert.bash"; shift
            COMP_WORDS=(quorvel-convert "$@"); COMP_CWORD=$#; _quorvel_convert
            printf '%s\n' "${COMPREPLY[@]}" """
        def suggested(*words):
            run = subprocess.run(["bash", "-c", ask, "bash", SOURCE, *words], check=True,
                                 stdout=subprocess.PIPE)
            return run.stdout.decode().split()
        self.assertEqual(sorted(suggested("--")), sorted(["--", *options]))
        self.assertEqual(suggested("--to", ""), formats)
        self.assertEqual(suggested("--to", "csv", "--", "-ima"), ["-image"])

    @unittest.skipUnless(shutil.which("zsh"), "zsh is not installed")
    def test_zsh_completes_options_and_formats(self):
        options, formats = options_of_help()
        ask = """
            _arguments() { print -rl -- "$@" }
            _quorvel() { print -r -- "$CURRENT $words" }
            words=("${(@)argv[2,-1]}"); CURRENT=$#words; source $1 """
        def printed(*words):
            run = subprocess.run(["zsh", "-f", "-c", ask, "zsh", SOURCE + "/completion/_quorvel-convert",
                                  "quorvel-convert", *words], check=True, stdout=subprocess.PIPE)
            return run.stdout.decode()
        text = printed("-")
        self.assertEqual(sorted(re.findall(r"(--[\w-]+)\[", text)), options)
        self.assertIn("(" + " ".join(formats) + ")", text)
        self.assertEqual(printed("--to", "csv", "--", "-image", "x"), "3 quorvel -image x\n")

    def test_each_column_and_view_is_documented(self):
        page = read("docs/convert.md")
        with tempfile.TemporaryDirectory() as folder:
            image, output = os.path.join(folder, "x.dd"), os.path.join(folder, "out")
            subprocess.run([SAMPLE, "demo", image], check=True)

            def convert(form):
                subprocess.run([CONVERT, "--to", form, "--force", "--output", output, "--",
                                "-image", image], check=True, stderr=subprocess.DEVNULL)
            names = set()
            for form in ("csv", "timeline"):
                convert(form)
                with open(output, encoding="utf-8", newline="") as file:
                    names.update(next(csv.reader(file)))
            convert("jsonl")
            with open(output, encoding="utf-8") as file:
                fields = set(json.loads(file.readline()))
            self.assertLess(fields, names)
            convert("sqlite")
            database = sqlite3.connect(output)
            names.update(row[1] for row in database.execute("PRAGMA table_info(entries)"))
            views = {row[0] for row in
                     database.execute("SELECT name FROM sqlite_master WHERE type = 'view'")}
            for view in views:
                cursor = database.execute(f"SELECT * FROM {view} LIMIT 0")
                if view in ("timestomped", "streams"):
                    names.update(column[0] for column in cursor.description)
            database.close()
        documented = set(re.findall(r"`(\w+)`", page))
        self.assertEqual((names | views) - documented, set())


if __name__ == "__main__":
    CONVERT, SAMPLE, SOURCE = map(os.path.abspath, sys.argv[1:4])
    unittest.main(argv=sys.argv[:1], verbosity=2)
