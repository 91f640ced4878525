"""Damages images reproducibly: the same seed gives the same damage."""

import random

SECTOR = 512
STRUCTURES = (b"FILE", b"INDX", b"KDMV")
MOST_FIELDS = 24


def places(image):
    """Returns the offsets of all sectors with data, and those of file records and index blocks."""
    empty = bytes(SECTOR)
    used = [at for at in range(0, len(image), SECTOR) if image[at:at + SECTOR] != empty]
    structures = [at for at in used if image[at:at + 4] in STRUCTURES]
    return used, structures or used


def field_value(chance, old):
    """Returns a new value for a field: a limit of its width, a small or random number, a flipped bit."""
    width = len(old)
    top = 1 << (8 * width - 1)
    value = chance.choice((
        0, 1, top, top - 1, 2 * top - 1, chance.randrange(2 * top), chance.randrange(2 * top),
        chance.randrange(64), int.from_bytes(old, "little") ^ 1 << chance.randrange(8 * width),
        int.from_bytes(old, "little") | top))
    return (value % (2 * top)).to_bytes(width, "little")


def damaged(image, seed):
    """Returns a copy of the image with 1 to 24 fields overwritten, most of them in file records and
    index blocks."""
    chance = random.Random(seed)
    used, structures = places(image)
    copy = bytearray(image)
    for _ in range(chance.randint(1, MOST_FIELDS)):
        sector = chance.choice(structures if chance.random() < 0.8 else used)
        width = chance.choice((1, 2, 2, 4, 8))
        at = sector + chance.randrange(SECTOR - width)
        copy[at:at + width] = field_value(chance, copy[at:at + width])
    return bytes(copy)
