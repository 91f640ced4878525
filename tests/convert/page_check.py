#!/usr/bin/env python3
"""Reads pages of quorvel-convert with a strict HTML parser and with tidy.

usage: page_check.py <quorvel-convert> <quorvel-sample>

The volumes are the sample with something of everything and the one with misleading names. The parser
is that of html5lib (package python3-html5lib), which may belong to another Python than this one.
"""

import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

from read_back import FOLDER, NAMES, STREAM, shown
from sample_pages import write_pages

# Prints a line of JSON for each path in the tables and each kind of element. Fails at the first
# error of the page.
PARSE = r"""
import html5lib, json, sys
with open(sys.argv[1], "rb") as file:
    page = html5lib.HTMLParser(strict=True, namespaceHTMLElements=False).parse(
        file, transport_encoding="utf-8")
cells = [(section.get("id"), "".join(cell.itertext())) for section in page.iter("section")
         for cell in section.iter("td") if cell.get("class") == "p"]
ids = [element.get("id") for element in page.iter() if element.get("id")]
attributes = sorted({name for element in page.iter() for name in element.attrib
                     if isinstance(name, str)})
elements = sorted({element.tag.rpartition("}")[2] for element in page.iter()
                   if isinstance(element.tag, str)})
json.dump({"cells": cells, "ids": ids, "elements": elements, "attributes": attributes,
           "links": [link.get("href") for link in page.iter("a")]}, sys.stdout)
"""
ELEMENTS = {
    "html", "head", "meta", "title", "style", "body", "header", "nav", "main", "section", "footer",
    "h1", "h2", "h3", "p", "dl", "dt", "dd", "ul", "li", "a", "code", "bdi", "span", "b", "wbr", "div",
    "figure", "figcaption", "svg", "desc", "line", "rect", "text", "details", "summary", "table",
    "caption", "thead", "tbody", "tr", "th", "td",
}


def python_with_html5lib():
    """A Python that has html5lib, or None."""
    for python in (sys.executable, "/usr/bin/python3"):
        run = subprocess.run([python, "-c", "import html5lib"], stderr=subprocess.DEVNULL)
        if run.returncode == 0:
            return python
    return None


def escaped(path):
    """The path as the page shows it."""
    return re.sub(r"[\x00-\x1f\x7f-\x9f]", lambda match: f"\\x{ord(match[0]):02x}",
                  shown(path)).replace("\u202e", "\\u202e")


class Page(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.pages = write_pages(CONVERT, SAMPLE, cls.folder.name)

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def parsed(self, kind):
        python = python_with_html5lib()
        if python is None:
            self.skipTest("html5lib is not installed")
        run = subprocess.run([python, "-c", PARSE, self.pages[kind]], stdout=subprocess.PIPE,
                             stderr=subprocess.PIPE)
        self.assertEqual((run.returncode, run.stderr.decode()), (0, ""))
        return json.loads(run.stdout)

    def test_strict_parser_finds_only_the_elements_of_the_page(self):
        for kind in self.pages:
            page = self.parsed(kind)
            self.assertEqual(set(page["elements"]) - ELEMENTS, set())
            self.assertEqual([name for name in page["attributes"]
                              if name.startswith("on") or name in ("src", "style")], [])
            self.assertEqual(len(page["ids"]), len(set(page["ids"])))
            for link in page["links"]:
                self.assertIn(link.removeprefix("#"), page["ids"])

    def test_misleading_names_are_text(self):
        cells = self.parsed("hostile")["cells"]
        streams = sorted(text for section, text in cells if section == "streams")
        expected = [FOLDER[:-1] + ":s\n,1", *(FOLDER + name + STREAM for name in NAMES)]
        self.assertEqual(streams, sorted(map(escaped, expected)))
        odd = {text for section, text in cells if section == "odd-names"}
        for name in NAMES:
            harmless = re.fullmatch(r"100%25%7C%|=1\+1|@sum|looks \(.*\)|'; DROP.*|\U0001f600.txt|\u20ac+",
                                    name)
            self.assertEqual(escaped(FOLDER + name) in odd, not harmless, name)

    @unittest.skipUnless(shutil.which("tidy"), "tidy is not installed")
    def test_tidy_has_nothing_to_say(self):
        for page in self.pages.values():
            run = subprocess.run(["tidy", "-quiet", "-errors", page], stdout=subprocess.PIPE,
                                 stderr=subprocess.STDOUT)
            self.assertEqual((run.returncode, run.stdout.decode()), (0, ""))


if __name__ == "__main__":
    CONVERT, SAMPLE = map(os.path.abspath, sys.argv[1:3])
    unittest.main(argv=sys.argv[:1], verbosity=2)
