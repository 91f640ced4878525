"""Shared by the scripts of this folder: the command line, and the program's list of options."""

import argparse
import os
import shutil
import subprocess
import sys
import unittest

SKIPPED = 77


def parse(names):
    """Parses the command line: one path for each of `names`. Makes the paths absolute."""
    parser = argparse.ArgumentParser()
    for name in names:
        parser.add_argument(name)
    options = parser.parse_args()
    for name in names:
        setattr(options, name, os.path.abspath(getattr(options, name)))
    return options


def need(*programs):
    """Skips the test if one of the programs is not installed."""
    missing = [name for name in programs if not shutil.which(name)]
    if missing:
        print("skipped: not installed here:", ", ".join(missing))
        sys.exit(SKIPPED)


def words_of(table_program):
    """Returns {option: form} as quorvel-option-table prints it; forms are flag, value and values."""
    text = subprocess.run([table_program], check=True, stdout=subprocess.PIPE).stdout.decode()
    return dict(line.split("\t") for line in text.splitlines())


def run_checks():
    unittest.main(argv=sys.argv[:1], verbosity=2)
