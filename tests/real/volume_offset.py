#!/usr/bin/env python3
"""Prints the byte offset of the NTFS volume in a raw image.

    volume_offset.py <image>

The offset is 0 if the image starts with an NTFS boot sector; otherwise it is that of the first
partition with one. Only the four entries of an MBR are read. Exit status: 1 if there is no volume.
"""

import sys

SECTOR = 512
TABLE = 446


def is_ntfs(image, offset):
    image.seek(offset + 3)
    return image.read(8) == b"NTFS    "


def volume_offset(path):
    """See above; None if there is no volume."""
    with open(path, "rb") as image:
        first_sector = image.read(SECTOR)
        starts = [int.from_bytes(first_sector[at + 8:at + 12], "little")
                  for at in range(TABLE, TABLE + 64, 16)]
        return next((start * SECTOR for start in [0, *starts] if is_ntfs(image, start * SECTOR)),
                    None)


if __name__ == "__main__":
    found = volume_offset(sys.argv[1])
    if found is None:
        sys.exit(f"{sys.argv[1]}: no NTFS volume")
    print(found)
