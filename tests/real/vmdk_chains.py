#!/usr/bin/env python3
"""Compares listings of VMDK chains made by qemu-img with those of their raw images.

Three states of one NTFS volume become a base file and two deltas with the changes. The volume is bare
or in an MBR partition. Each listing through "-vmdk" must equal the listing of the raw image that
qemu-img makes of the same files, in every report form that shows all fields. So must the listings of
the real virtual disks (*.vmdk.xz) in the folder of --real.
"""

import argparse
import pathlib
import shutil
import subprocess
import sys
import tempfile

from volume_offset import volume_offset

GRAIN = 65536
PARTITION_OFFSET = 1024 * 1024
HEAD_LINES = 4
FORMS = (["-level", "99"], ["-level", "99", "-csv", "-alldates"])


def run(*command):
    done = subprocess.run([str(word) for word in command], stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, check=False)
    if done.returncode != 0:
        sys.exit(f"failed: {' '.join(map(str, command))}\n{done.stdout}")
    return done.stdout


def listing(program, *arguments):
    done = subprocess.run([program, *map(str, arguments), "-quiet"], stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, check=False)
    if done.returncode != 0:
        sys.exit(f"the program ended with {done.returncode} on {arguments}: "
                 f"{done.stderr.decode(errors='replace')}")
    return done.stdout.split(b"\n", HEAD_LINES)[-1]


def change_volume(image, work, text):
    """Writes files to the volume; without FUSE, ntfscp adds one file."""
    mount_point = work / "mount"
    mount_point.mkdir(exist_ok=True)
    mounted = subprocess.run(["ntfs-3g", image, mount_point], check=False,
                             stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    if mounted.returncode == 0:
        try:
            folder = mount_point / f"folder {text}"
            folder.mkdir()
            for number in range(30):
                (folder / f"{text} {number}.txt").write_bytes(text.encode() * 500)
            (mount_point / "always there.txt").write_bytes(text.encode())
        finally:
            run("umount", mount_point)
    else:
        source = work / "source.txt"
        source.write_bytes(text.encode() * 500)
        run("ntfscp", "-f", image, source, f"/{text}.txt")


def whole_disk(volume, disk, in_partition):
    """Writes the disk that contains the volume: the volume itself, or an MBR with one partition."""
    if not in_partition:
        shutil.copy(volume, disk)
        return
    size = volume.stat().st_size
    with open(disk, "wb") as out:
        out.truncate(PARTITION_OFFSET + size)
    subprocess.run(["sfdisk", "-q", disk], input=f"start={PARTITION_OFFSET // 512}, type=7\n",
                   text=True, check=True, stdout=subprocess.DEVNULL)
    with open(disk, "r+b") as out, open(volume, "rb") as content:
        out.seek(PARTITION_OFFSET)
        shutil.copyfileobj(content, out)


def write_changes(before, after, vmdk, work):
    """Writes the grains that differ between two raw disks to a delta file."""
    commands = []
    piece = work / "piece"
    piece.mkdir(exist_ok=True)
    with open(before, "rb") as old, open(after, "rb") as new:
        at = 0
        while block := new.read(GRAIN):
            if block != old.read(GRAIN):
                part = piece / f"{at}"
                part.write_bytes(block)
                commands += ["-c", f"write -s {part} {at} {len(block)}"]
            at += GRAIN
    run("qemu-io", "-f", "vmdk", *commands, vmdk)
    shutil.rmtree(piece)
    return len(commands) // 2


def make_chain(work, in_partition):
    """Creates a chain of three files. Returns them, oldest first, and the bare volume of the base."""
    volume = work / "volume.dd"
    with open(volume, "wb") as out:
        out.truncate(48 * 1024 * 1024)
    run("mkntfs", "-F", "-q", "-p", "0", "-H", "16", "-S", "63", "-s", "512", "-c", "4096", volume)
    bare = work / "bare.dd"
    states, files = [], []
    for state in ("base", "first", "second"):
        change_volume(volume, work, state)
        disk = work / f"{state}.dd"
        whole_disk(volume, disk, in_partition)
        vmdk = work / f"{state}.vmdk"
        if not files:
            shutil.copy(volume, bare)
            run("qemu-img", "convert", "-f", "raw", "-O", "vmdk", "-o", "subformat=monolithicSparse",
                disk, vmdk)
        else:
            run("qemu-img", "create", "-q", "-f", "vmdk", "-F", "vmdk", "-o",
                "subformat=monolithicSparse", "-b", files[-1], vmdk)
            grains = write_changes(states[-1], disk, vmdk, work)
            print(f"  delta '{state}': {grains} pieces of {GRAIN} bytes differ")
        states.append(disk)
        files.append(vmdk)
    return files, bare


def compare(program, files, bare, raw, offset, label):
    """Compares the chain, in both orders, with the raw image. Returns whether all forms are equal."""
    same, rows = True, 0
    for order in (files, files[::-1]):
        for form in FORMS:
            chain = listing(program, "-vmdk", "|".join(map(str, order)), "-image", bare, *form,
                            *(["-offset", hex(offset)] if offset else []))
            flat = listing(program, "-image", raw, *form,
                           *(["-offset", hex(offset)] if offset else []))
            rows = flat.count(b"\n")
            if chain != flat or rows < 10:
                print(f"  DIFFERENT: {label}, {' '.join(form)}: {chain.count(bytes([10]))} lines "
                      f"from the chain, {rows} from the raw image")
                same = False
    print(f"{label}: {len(files)} files, {len(FORMS)} report forms, {rows} lines each: "
          f"{'equal' if same else 'DIFFERENT'}")
    return same


def compare_real(program, packed, work):
    """Compares a real virtual disk with its raw content. Returns whether all forms are equal."""
    vmdk, raw, bare = work / packed.stem, work / "disk.dd", work / "bare.dd"
    with open(vmdk, "wb") as out:
        subprocess.run(["xz", "-dc", packed], stdout=out, check=True)
    run("qemu-img", "convert", "-O", "raw", vmdk, raw)
    offset = volume_offset(raw)
    if offset is None:
        sys.exit(f"{packed.name}: no NTFS volume")
    with open(raw, "rb") as disk, open(bare, "wb") as out:
        disk.seek(offset)
        shutil.copyfileobj(disk, out)
    return compare(program, [vmdk], bare, raw, offset, packed.stem)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--program", required=True)
    parser.add_argument("--real", help="folder of real virtual disks (*.vmdk.xz)")
    options = parser.parse_args()
    same = True
    for in_partition in (False, True):
        with tempfile.TemporaryDirectory() as folder:
            work = pathlib.Path(folder)
            files, bare = make_chain(work, in_partition)
            for count in (1, 3):
                raw = work / f"raw{count}.dd"
                run("qemu-img", "convert", "-O", "raw", files[count - 1], raw)
                same &= compare(options.program, files[:count], bare, raw,
                                PARTITION_OFFSET if in_partition else 0,
                                f"{'MBR partition' if in_partition else 'bare volume'}, "
                                f"{'base alone' if count == 1 else 'base and two deltas'}")
    real = sorted(pathlib.Path(options.real).glob("*.vmdk.xz")) if options.real else []
    for packed in real:
        with tempfile.TemporaryDirectory() as folder:
            same &= compare_real(options.program, packed, pathlib.Path(folder))
    if not real:
        print("no real virtual disks are compared")
    sys.exit(0 if same else 1)


if __name__ == "__main__":
    main()
