#!/usr/bin/env python3
"""Shows pages of quorvel-convert in a headless Chromium.

usage: browser_check.py <quorvel-convert> <quorvel-sample> [<folder>]

The pages are shown in windows of 320 to 1600 pixels, light and dark, and printed. Checked are: no
message on the console, no request except for the page itself, nothing wider than the window, and text
that contrasts with its background. The screenshots and PDF files are written to the folder, if there
is one.
"""

import os
import sys
import tempfile
import unittest

from chromium import Chromium, find_chromium
from sample_pages import write_pages

WIDTHS = (320, 360, 768, 1280, 1600)
# The contrast of the text of each element with the page, as the guidelines for accessibility define
# it; the least one.
CONTRAST = r"""
(() => {
  const light = colour => {
    const part = value => value / 255 <= 0.03928 ? value / 255 / 12.92
                                                 : ((value / 255 + 0.055) / 1.055) ** 2.4;
    const [red, green, blue] = colour.match(/[\d.]+/g).map(Number);
    return 0.2126 * part(red) + 0.7152 * part(green) + 0.0722 * part(blue);
  };
  const background = element => {
    for (; element; element = element.parentElement) {
      const colour = getComputedStyle(element).backgroundColor;
      if (!colour.startsWith('rgba(0, 0, 0, 0')) return colour;
    }
    return 'rgb(255, 255, 255)';
  };
  const contrast = element => {
    const style = getComputedStyle(element);
    const ink = light(element instanceof SVGElement ? style.fill : style.color);
    const paper = light(background(element));
    return (Math.max(ink, paper) + 0.05) / (Math.min(ink, paper) + 0.05);
  };
  return Math.min(...[...document.querySelectorAll('h1,h2,p,a,dt,dd,th,td,caption,.esc,svg text')]
    .map(contrast));
})()
"""


class Browser(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        if not find_chromium():
            raise unittest.SkipTest("chromium is not installed")
        cls.folder = tempfile.TemporaryDirectory()
        cls.pages = write_pages(CONVERT, SAMPLE, cls.folder.name)
        cls.pictures = PICTURES or cls.folder.name
        cls.browser = Chromium()
        cls.browser.__enter__()

    @classmethod
    def tearDownClass(cls):
        cls.browser.__exit__()
        cls.folder.cleanup()

    def picture(self, name):
        return os.path.join(self.pictures, name)

    def check_events(self):
        """No message, no error and one request."""
        events = self.browser.events
        said = [event for event in events if event["method"] in
                ("Runtime.consoleAPICalled", "Runtime.exceptionThrown", "Log.entryAdded")]
        self.assertEqual(said, [])
        requests = [event["params"]["request"]["url"] for event in events
                    if event["method"] == "Network.requestWillBeSent"]
        self.assertEqual(len(requests), 1, requests)

    def test_each_width_and_colour_scheme(self):
        for kind, page in self.pages.items():
            for width in WIDTHS:
                for dark in (False, True):
                    with self.subTest(page=kind, width=width, dark=dark):
                        self.browser.show(page, width, dark)
                        self.assertLessEqual(
                            self.browser.value("document.documentElement.scrollWidth"), width)
                        self.assertGreaterEqual(self.browser.value(CONTRAST), 4.5)
                        colour = self.browser.value(
                            "getComputedStyle(document.body).backgroundColor")
                        self.assertEqual(colour == "rgb(255, 255, 255)", not dark)
                        scheme = "dark" if dark else "light"
                        self.browser.screenshot(self.picture(f"{kind}-{width}-{scheme}.png"))
                        self.check_events()

    def test_prints(self):
        for kind, page in self.pages.items():
            self.browser.show(page, 1280, dark=True)
            path = self.picture(kind + ".pdf")
            self.browser.pdf(path)
            with open(path, "rb") as file:
                content = file.read()
            self.assertTrue(content.startswith(b"%PDF-"))
            self.assertGreater(len(content), 20000)
            self.check_events()

    def test_charts_have_names(self):
        self.browser.show(self.pages["demo"], 1280, dark=False)
        tree = self.browser.call("Accessibility.getFullAXTree")["nodes"]
        names = [node["name"]["value"] for node in tree
                 if node.get("role", {}).get("value") in ("image", "img", "graphics-document")]
        self.assertEqual(sum(", timestamps by " in name for name in names), 12, names)


if __name__ == "__main__":
    CONVERT, SAMPLE = map(os.path.abspath, sys.argv[1:3])
    PICTURES = sys.argv[3] if len(sys.argv) > 3 else None
    unittest.main(argv=sys.argv[:1], verbosity=2)
