"""Pages of quorvel-convert for the tests that look at one."""

import os
import subprocess


def write_pages(convert, sample, folder):
    """Writes the pages of two volumes into a folder: the sample with something of everything and the
    one with misleading names. Returns the path of each page by the name of its volume."""
    pages = {}
    for kind in ("demo", "hostile"):
        image = os.path.join(folder, kind + ".dd")
        pages[kind] = os.path.join(folder, kind + ".html")
        subprocess.run([sample, kind, image], check=True)
        subprocess.run([convert, "--to", "html", "--output", pages[kind], "--", "-image", image,
                        "-level", "99", "-objid"], check=True, stderr=subprocess.DEVNULL)
    return pages
