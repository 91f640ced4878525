#!/usr/bin/env python3
"""Lists each volume as a raw image and as a sparse VMDK file, and compares the rows.

The volumes are those that quorvel-sample writes and, where their folder exists, the real ones.
qemu-img makes the VMDK file, after the image is padded to whole grains: the disk of a VMDK file ends
with a grain. The files that quorvel-sample writes as VMDK are compared with the raw image of the
same disk. Compared are all report forms, without the report head. Prints how many rows were compared
and ends with status 1 if one differs.
"""

import argparse
import pathlib
import subprocess
import sys
import tempfile

from vmdk_chains import run

SECTOR = 512
GRAIN = 65536
PARTITION_OFFSET = 1024 * 1024
HEAD_LINES = 4
# Options of each report form, and the lines before its rows.
FORMS = (([], 2), (["-csv", "-alldates"], 1), (["-xml"], 0), (["-filepath_only"], 0))
SELECTIONS = (["-level", "99"], ["-level", "99", "-objid", "-indx"])
LEAST_ROWS = 10

# Arguments of quorvel-sample, and the offset of the volume.
SAMPLES = ((["demo"], 0),
           (["mbr"], PARTITION_OFFSET),
           (["later"], PARTITION_OFFSET),
           (["behaviour"], 0),
           (["many", "20", "100"], 0),
           (["many-streams", "5", "50"], 0),
           (["many-mft-fragments", "60", "100"], 0),
           (["many-index-fragments", "5", "500"], 0))
REAL = (("windows_volume.dd.xz", 0),
        ("vss_volume.dd.xz", 0),
        ("monolithic_sparse.vmdk.xz", 65536))


class Comparison:
    """Compares listings of two sources and counts their rows."""

    def __init__(self, program, work):
        self.program, self.work = program, work
        self.rows, self.volumes, self.same = 0, 0, True

    def listing(self, options, head_lines, source, offset):
        """A report without its head, as bytes, and the number of rows after `head_lines` lines."""
        command = [self.program, *map(str, source), *options, "-quiet"]
        command += ["-offset", hex(offset)] if offset else []
        report = self.work / "report.xml"
        is_xml = "-xml" in options
        if is_xml:
            command.insert(command.index("-xml") + 1, report)
        done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False)
        if done.returncode != 0:
            sys.exit(f"the program ended with {done.returncode} on {command}: "
                     f"{done.stderr.decode(errors='replace')}")
        if is_xml:
            text = report.read_bytes()
            report.unlink()
            text = text[max(text.find(b"<data_entry>"), 0):]
            return text, text.count(b"<data_entry>")
        text = done.stdout.split(b"\n", HEAD_LINES)[-1]
        return text, text.count(b"\n") - head_lines

    def compare(self, label, raw, chain, bare, offset):
        """A raw image against VMDK files; `bare` is a volume for the option that a run needs."""
        total = 0
        for form, head_lines in FORMS:
            for selection in SELECTIONS:
                options = [*form, *selection]
                flat, rows = self.listing(options, head_lines, ["-image", raw], offset)
                source = ["-vmdk", "|".join(map(str, chain)), "-image", bare]
                sparse, others = self.listing(options, head_lines, source, offset)
                if flat != sparse or rows < LEAST_ROWS:
                    print(f"  DIFFERENT: {label}, {' '.join(options)}: {rows} rows from the raw "
                          f"image, {others} from the VMDK file")
                    self.same = False
                total += rows
        print(f"  {label}: {total} rows")
        self.rows += total
        self.volumes += 1

    def compare_converted(self, label, raw, bare, offset):
        """A raw image against the VMDK file that qemu-img makes of it."""
        size = raw.stat().st_size
        if size % SECTOR != 0:
            print(f"  {label}: skipped, its {size} bytes are not whole sectors")
            return
        with open(raw, "r+b") as image:
            image.truncate((size + GRAIN - 1) // GRAIN * GRAIN)
        vmdk = self.work / "converted.vmdk"
        run("qemu-img", "convert", "-f", "raw", "-O", "vmdk", "-o", "subformat=monolithicSparse",
            raw, vmdk)
        self.compare(label, raw, [vmdk], bare, offset)
        vmdk.unlink()


def compare_samples(comparison, sample, work):
    """All kinds of quorvel-sample. Returns a bare volume."""
    images = {}
    for words, offset in SAMPLES:
        image = work / f"{words[0]}.dd"
        run(sample, *words, image)
        images[words[0]] = image
        comparison.compare_converted(" ".join(words), image, images["demo"], offset)
    vmdk, base, snapshot = work / "disk.vmdk", work / "base.vmdk", work / "snapshot.vmdk"
    run(sample, "vmdk", vmdk)
    comparison.compare("vmdk", images["mbr"], [vmdk], images["demo"], PARTITION_OFFSET)
    run(sample, "chain", base, snapshot)
    comparison.compare("chain", images["later"], [snapshot, base], images["demo"], PARTITION_OFFSET)
    return images["demo"]


def compare_real(comparison, folder, bare, work):
    """The real volumes."""
    for name, offset in REAL:
        packed = folder / name
        if not packed.exists():
            print(f"  {name}: skipped, it is not in the folder with real volumes")
            continue
        image = work / "real.dd"
        unpacked = work / "unpacked"
        with open(unpacked, "wb") as out:
            subprocess.run(["xz", "-dc", packed], stdout=out, check=True)
        run("qemu-img", "convert", "-O", "raw", *(["-f", "raw"] if ".dd" in name else []),
            unpacked, image)
        unpacked.unlink()
        comparison.compare_converted(name, image, bare, offset)
        image.unlink()


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--program", required=True)
    parser.add_argument("--sample", required=True, help="the program quorvel-sample")
    parser.add_argument("--real", help="folder with real volumes")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory() as folder:
        work = pathlib.Path(folder)
        comparison = Comparison(options.program, work)
        bare = compare_samples(comparison, options.sample, work)
        real = pathlib.Path(options.real or "none")
        if real.is_dir():
            compare_real(comparison, real, bare, work)
        else:
            print("  no folder with real volumes here: they are not compared")
    print(f"raw image and sparse VMDK: {comparison.volumes} volumes, "
          f"{len(FORMS) * len(SELECTIONS)} reports each, {comparison.rows} rows: "
          f"{'equal' if comparison.same else 'DIFFERENT'}")
    sys.exit(0 if comparison.same else 1)


if __name__ == "__main__":
    main()
