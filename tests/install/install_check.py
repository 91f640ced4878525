#!/usr/bin/env python3
"""Installs the programs to an empty folder and checks the files there.

usage: install_check.py <cmake> <build folder> <source folder> <"convert" or "">
"""

import os
import re
import stat
import subprocess
import sys
import tempfile
import unittest

import command_line

# Installed files and their sources; the program is built.
FILES = {
    "bin/quorvel": None,
    "share/bash-completion/completions/quorvel": "completion/quorvel.bash",
    **{f"share/doc/quorvel/{name}": name for name in (
        "CHANGELOG.md", "LICENSE", "README.md", "docs/behaviour.md", "docs/coming-from.md",
        "docs/containers.md", "docs/convert.md", "docs/cookbook.md", "docs/page.png",
        "docs/releasing.md", "docs/reports.md", "examples/list-volumes")},
    "share/man/man1/quorvel.1": "docs/quorvel.1",
    "share/zsh/site-functions/_quorvel": "completion/_quorvel",
}
CONVERT_FILES = {
    "bin/quorvel-convert": None,
    "share/bash-completion/completions/quorvel-convert": "completion/quorvel-convert.bash",
    "share/doc/quorvel/examples/volume-timeline": "examples/volume-timeline",
    "share/man/man1/quorvel-convert.1": "docs/quorvel-convert.1",
    "share/zsh/site-functions/_quorvel-convert": "completion/_quorvel-convert",
}


def content_of(path):
    with open(path, "rb") as file:
        return file.read()


class Install(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.prefix = os.path.join(cls.folder.name, "prefix")
        subprocess.run([OPTIONS.cmake, "--install", OPTIONS.build, "--prefix", cls.prefix],
                       check=True, stdout=subprocess.DEVNULL)

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def path(self, name):
        return os.path.join(self.prefix, name)

    def test_installs_these_files_only(self):
        found = [os.path.relpath(os.path.join(folder, name), self.prefix)
                 for folder, _, names in os.walk(self.prefix) for name in names]
        self.assertEqual(sorted(found), sorted(FILES))

    def test_files_equal_their_sources(self):
        for name, source in FILES.items():
            if source:
                self.assertEqual(content_of(self.path(name)),
                                 content_of(os.path.join(OPTIONS.source, source)), name)

    def test_modes_are_readable_by_all(self):
        for name in FILES:
            mode = stat.S_IMODE(os.stat(self.path(name)).st_mode)
            is_program = name.startswith("bin/") or "/examples/" in name
            self.assertEqual(mode, 0o755 if is_program else 0o644, name)

    def test_installed_program_runs(self):
        run = subprocess.run([self.path("bin/quorvel"), "-h"], stdout=subprocess.PIPE,
                             stderr=subprocess.PIPE)
        self.assertEqual((run.returncode, run.stdout), (0, b""))
        self.assertIn(b"\nUsage:\n", run.stderr)
        self.assertIn(b"quorvel ver: " + self.version() + b"\n", run.stderr)

    @unittest.skipUnless("convert" in sys.argv, "quorvel-convert is not built")
    def test_installed_converter_finds_the_program(self):
        run = subprocess.run([self.path("bin/quorvel-convert"), "--to", "csv", "--", "-image",
                              "/none"], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.assertEqual((run.returncode, run.stdout), (1, b""))
        self.assertIn(b"quorvel ended with status 255", run.stderr)

    def test_package_has_the_version_of_the_program(self):
        changes = content_of(os.path.join(OPTIONS.source, "debian/changelog"))
        self.assertTrue(changes.startswith(b"quorvel (" + self.version() + b") "), changes[:30])

    def test_changes_for_users_begin_with_the_version_of_the_program(self):
        changes = content_of(os.path.join(OPTIONS.source, "CHANGELOG.md"))
        self.assertEqual(re.search(rb"^## (\S+)$", changes, re.MULTILINE)[1], self.version())

    @staticmethod
    def version():
        project = content_of(os.path.join(OPTIONS.source, "CMakeLists.txt"))
        return re.search(rb"project\(quorvel VERSION (\S+)", project)[1]


if __name__ == "__main__":
    if sys.argv.pop() == "convert":
        FILES.update(CONVERT_FILES)
    OPTIONS = command_line.parse(["cmake", "build", "source"])
    command_line.run_checks()
