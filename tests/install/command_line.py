"""What the checks of this folder share: their command line and the program's own list of words."""

import argparse
import os
import shutil
import subprocess
import sys
import unittest

SKIPPED = 77


def parse(names):
    """The command line: one path for each of `names`, all of them made absolute."""
    parser = argparse.ArgumentParser()
    for name in names:
        parser.add_argument(name)
    options = parser.parse_args()
    for name in names:
        setattr(options, name, os.path.abspath(getattr(options, name)))
    return options


def need(*programs):
    """Ends the check as skipped when this machine lacks a program that it needs."""
    missing = [name for name in programs if not shutil.which(name)]
    if missing:
        print("skipped: not installed here:", ", ".join(missing))
        sys.exit(SKIPPED)


def words_of(table_program):
    """{word: form} as quorvel-option-table prints it; a form is flag, value or values."""
    text = subprocess.run([table_program], check=True, stdout=subprocess.PIPE).stdout.decode()
    return dict(line.split("\t") for line in text.splitlines())


def run_checks():
    unittest.main(argv=sys.argv[:1], verbosity=2)
