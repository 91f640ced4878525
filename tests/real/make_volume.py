#!/usr/bin/env python3
"""Creates an NTFS volume with mkntfs, and a tree on it that covers much of the format.

Writes the tree through a read-write ntfs-3g mount: alternate data streams, hard links, directories
with several index blocks, sparse and compressed files, names outside ASCII. If FUSE cannot mount, the
script says so, and ntfscp copies files and one stream.
"""

import argparse
import os
import pathlib
import subprocess
import sys
import tempfile

VOLUME_BYTES = 96 * 1024 * 1024


def run(*command, check=True):
    return subprocess.run(command, check=check, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          text=True)


def write(path, content):
    path.write_bytes(content)


def set_compressed(path):
    """Marks a file or folder as compressed, so that its data is stored in compression units."""
    os.setxattr(path, "system.ntfs_attrib_be", (0x820).to_bytes(4, "big"))


def fill_by_mount(root, streams):
    root = pathlib.Path(root)
    write(root / "empty.txt", b"")
    write(root / "hello.txt", b"hello\n")
    write(root / "two clusters.bin", bytes(range(256)) * 512)

    # Streams on files and on a directory.
    if streams:
        write(root / "hello.txt:zone", b"[ZoneTransfer]\r\nZoneId=3\r\n")
        write(root / "hello.txt:large", b"x" * 70000)
        (root / "with stream").mkdir()
        write(root / "with stream:note", b"a stream of a directory")
        write(root / "with stream" / "inside.txt", b"i")

    # Hard links in one directory and across two.
    (root / "links").mkdir()
    write(root / "links" / "first.txt", b"linked")
    os.link(root / "links" / "first.txt", root / "links" / "second.txt")
    os.link(root / "links" / "first.txt", root / "linked from the root.txt")

    # Directories: one level with several index blocks, deep levels, an empty one.
    many = root / "many"
    many.mkdir()
    for number in range(400):
        write(many / f"a file with a rather long name {number:04d}.dat", b"%d" % number)
    deep = root
    for level in range(12):
        deep = deep / f"level {level}"
        deep.mkdir()
        write(deep / "leaf.txt", b"leaf %d" % level)
    (root / "empty folder").mkdir()

    # Sparse and compressed content.
    with open(root / "sparse.bin", "wb") as sparse:
        sparse.write(b"start")
        sparse.seek(3 * 1024 * 1024)
        sparse.write(b"end")
    compressed = root / "compressed"
    compressed.mkdir()
    try:
        set_compressed(compressed)
    except OSError as error:
        print(f"no compressed folder on this volume: {error.strerror}")
    write(compressed / "text.txt", b"the same line again and again\n" * 8000)

    # Names: other scripts, a surrogate pair, the maximum length.
    names = root / "names"
    names.mkdir()
    for name in ("größe.txt", "日本語.txt", "Ωμέγα", "emoji \U0001f600.txt", "x" * 250 + ".txt",
                 "comma, and ; and 'quotes'.txt", "UPPER lower.TXT", "trailing.dots..x"):
        write(names / name, name.encode())

    # Entries that are written, deleted and written again: reused records with higher sequence numbers.
    again = root / "again"
    again.mkdir()
    for number in range(40):
        write(again / f"short lived {number}", b"s")
    for number in range(0, 40, 2):
        (again / f"short lived {number}").unlink()
    for number in range(20):
        write(again / f"successor {number}", b"n")


def fill_by_ntfscp(image, streams):
    with tempfile.NamedTemporaryFile() as source:
        source.write(b"copied without a mount\n")
        source.flush()
        for number in range(60):
            run("ntfscp", "-f", image, source.name, f"/a copied file {number:03d}.txt")
        if streams:
            run("ntfscp", "-f", "-N", "zone", image, source.name, "/a copied file 000.txt")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("image")
    parser.add_argument("--sector", type=int, default=512)
    parser.add_argument("--cluster", type=int, default=4096)
    parser.add_argument("--no-streams", action="store_true")
    options = parser.parse_args()

    with open(options.image, "wb") as image:
        image.truncate(VOLUME_BYTES)
    made = run("mkntfs", "-F", "-q", "-s", str(options.sector), "-c", str(options.cluster), "-p", "0",
               "-H", "16", "-S", "63", "-L", "check", options.image, check=False)
    if made.returncode != 0:
        sys.exit(f"mkntfs failed: {made.stdout}")

    with tempfile.TemporaryDirectory() as mount_point:
        mounted = run("ntfs-3g", "-o", "streams_interface=windows,compression", options.image,
                      mount_point, check=False)
        if mounted.returncode == 0:
            try:
                fill_by_mount(mount_point, not options.no_streams)
            finally:
                run("umount", mount_point)
            print("filled through a read-write ntfs-3g mount")
        else:
            print(f"no FUSE mount here ({mounted.stdout.strip()}); filled by ntfscp instead")
            fill_by_ntfscp(options.image, not options.no_streams)


if __name__ == "__main__":
    main()
