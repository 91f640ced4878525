#!/usr/bin/env python3
"""Runs two builds of the program in the same way and compares all their output byte for byte:
standard output, standard error, exit status and written files.

  compare.py --program <program> --other <program> [--emulator "<command>"] --samples <folder>
             [--real <folder>] [--copies <n>]

The other program starts through the emulator, if any, which must accept "-0 <name>" for the name that
the program sees. Both get the name "quorvel", the same command line, an equal working directory and the
same files. The comparison ignores only the run time in the report head and in the XML document. Each
image is listed in every report form, and then in damaged copies, which are the same in every run.

If the damage of a copy causes a run without an end, it must do so in both builds. These are counted.
"""

import argparse
import concurrent.futures
import os
import pathlib
import re
import shlex
import subprocess
import sys
import tempfile

import damage

NAME = "quorvel"
RUN_TIME = re.compile(rb'run time: [^\[\n]{1,40} \[UTC\]|(?<=") date="[^"]*" time="[^"]*">(?=\n)')
SECONDS = 10  # a listing takes milliseconds
EMULATED_SECONDS = 120
COPIES_TOGETHER = 8

OUT, TRACE, XML = "report.txt", "trace.txt", "report.xml"
HIGH_BYTES = b"\xff\x80\xfe"

# Every report form, and options whose values have bytes above 0x7F.
FORMS = [
    [],
    ["-level", "99"],
    ["-level", "99", "-indx", "-objid"],
    ["-level", "1", "-dateformat", "mm/dd/yyyy", "-timeformat", "hh:mm:ss.xxxxxxxxx"],
    ["-level", "99", "-csv"],
    ["-level", "99", "-alldates", "-indx", "-objid"],
    ["-level", "99", "-csv", "-alldates", "-base10", "-no_whitespace", "-pair_datetime",
     "-split_pathfile", "-csv_separator", "|"],
    ["-level", "99", "-csv", "-csv_separator", "§"],
    ["-level", "99", "-csv", "-csv_separator", HIGH_BYTES],
    ["-level", "99", "-xml", XML],
    ["-level", "99", "-xml", XML, "-alldates", "-base10", "-indx", "-objid"],
    ["-level", "99", "-filepath_only"],
    ["-level", "99", "-filepath_only", "-out", OUT, "-diags", TRACE],
    ["-level", "99", "-csv", "-out", OUT, "-append", "-pipe"],
    ["-level", "99", "-filter", "*.exe|größe*|*ß*"],
    ["-level", "99", "-filter", HIGH_BYTES],
    ["-level", "99", "-cmd_start_time", "2020-06-15 10:25:00.5"],
    ["-level", "99", "-dateformat", b"dd\xffmm\xffyyyy", "-timeformat", b"hh:mm:ss\x80"],
    ["-csvl2t"],
]
# The forms that show all fields of a damaged volume.
DAMAGED_FORMS = [
    ["-level", "99"],
    ["-level", "99", "-alldates", "-indx", "-objid", "-diags", TRACE],
    ["-level", "99", "-xml", XML, "-base10"],
]
PATHS = ["\\users\\kim", "/USERS/kim/Größe öäü.txt", "\\users\\kim\\quarterly report.docx:big",
         "c:\\windows\\system32\\drivers", "%PLACE%", b"\\users\\\xff\xfe", "\\users\\😀.txt", "\\$Secure",
         "\\windows\\hal link.dll", "\\many\\file 299.txt", "\\no such place"]
ENTRIES = [0, 5, 9, 16, 44, 45, 46, 47, 48, 52, 58, 60, 63, 64, 81, 150, 2**32, "0x2f", "o57", "-1"]
# Command lines that list nothing.
BARE = [
    [], ["-h"], ["-image"], ["-image", "missing.dd"], ["-image", b"\xc3\x28\xff"], [b"\xff\x80"],
    ["-level", b"\xb2"], ["-image", "missing.dd", "-offset", "0xzz"], ["-sqlite", "x"],
    ["-drivenum", "99"], ["-image", "missing.dd", "-vmdk", "a|b;c"], ["-dateformat", b"\xff"],
    ["-image", "missing.dd", "-" + "ä" * 40], ["-image", "missing.dd", "-diags", TRACE],
]


class Builds:
    """The two programs, and how to start each."""

    def __init__(self, program, other, emulator):
        self.program = program
        self.other = other
        self.emulator = [*shlex.split(emulator), "-0", NAME, other] if emulator else None
        self.environment = {"PATH": os.environ.get("PATH", ""), "PLACE": "\\users\\kim"}

    def outcome(self, of_other, arguments, images):
        """Returns the exit status, both outputs and written files of a run; None if it does not end."""
        emulated = of_other and self.emulator is not None
        program = self.other if of_other else self.program
        with tempfile.TemporaryDirectory(dir=images) as folder:
            command = [*(self.emulator if emulated else [NAME]), *arguments]
            try:
                done = subprocess.run(
                    command, executable=None if emulated else program, cwd=folder,
                    env=self.environment, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                    stderr=subprocess.PIPE, check=False,
                    timeout=EMULATED_SECONDS if emulated else SECONDS)
            except subprocess.TimeoutExpired:
                return None
            written = {path.name: RUN_TIME.sub(b"", path.read_bytes())
                       for path in pathlib.Path(folder).iterdir()}
            return {"status": done.returncode, "standard output": RUN_TIME.sub(b"", done.stdout),
                    "standard error": RUN_TIME.sub(b"", done.stderr), **written}


class Tally:
    """Counts what was compared, and collects the differences."""

    def __init__(self):
        self.runs = self.bytes = self.endless = 0
        self.differences = []

    def add(self, arguments, ours, theirs):
        self.runs += 1
        if ours is None and theirs is None:
            self.endless += 1
        elif ours is None or theirs is None:
            self.differences.append((arguments, "only one run ends"))
        else:
            self.bytes += sum(len(part) for part in ours.values() if isinstance(part, bytes))
            self.differences += [(arguments, name) for name in sorted({*ours, *theirs})
                                 if ours.get(name) != theirs.get(name)]


def run_both(builds, tally, pool, folder, command_lines):
    """Runs each command line in both builds."""
    def pair(arguments):
        return [builds.outcome(of_other, arguments, folder) for of_other in (False, True)]
    for arguments, outcomes in zip(command_lines, pool.map(pair, command_lines)):
        tally.add(arguments, *outcomes)


def with_source(source, forms):
    return [[*source, *form] for form in forms]


def image_sources(name):
    """Returns the options that name an image, those that list its volume first."""
    path = f"../{name}"
    image = ["-image", path]
    # With a chain, "-image" must name a valid image, which is not read.
    chain = ["-image", "../demo.dd", "-vmdk", path]
    offset = ["-offset", "0x100000"]
    if name.startswith("disk"):
        return [[*chain, *offset], chain, image]
    if name.endswith(".vmdk"):
        return [chain, image]  # lists the first partition
    if name.startswith("mbr"):
        return [[*image, *offset], image]
    return [image]


def valid_command_lines(name):
    sources = image_sources(name)
    lines = with_source(sources[0], FORMS)
    for source in sources[1:]:
        lines += with_source(source, DAMAGED_FORMS)
    lines += [[path, *sources[0], "-diags", TRACE] for path in PATHS]
    lines += [[*sources[0], "-mft", str(entry), "-alldates"] for entry in ENTRIES]
    return lines


def write_sparse(path, content):
    """Writes a file without its blocks of zeros: most of a real volume is empty."""
    zeros = bytes(1 << 20)
    with open(path, "wb") as out:
        for at in range(0, len(content), len(zeros)):
            block = content[at:at + len(zeros)]
            if block != zeros[:len(block)]:
                out.seek(at)
                out.write(block)
        out.truncate(len(content))


def compare_damaged(builds, tally, pool, folder, name, copies):
    image = (folder / name).read_bytes()
    path = pathlib.Path(name)
    for first in range(0, copies, COPIES_TOGETHER):
        lines, files = [], []
        for seed in range(first, min(copies, first + COPIES_TOGETHER)):
            copy = folder / f"{path.stem}-{seed}{path.suffix}"
            write_sparse(copy, damage.damaged(image, f"{name} {seed}"))
            files.append(copy)
            lines += with_source(image_sources(copy.name)[0], DAMAGED_FORMS)
        run_both(builds, tally, pool, folder, lines)
        for copy in files:
            copy.unlink()


def unpack_real(real, folder):
    """Unpacks the real volumes to `folder`. Returns their names."""
    names = []
    for packed in sorted(real.glob("*.xz")) if real else []:
        target = folder / packed.stem
        with open(target, "wb") as out:
            subprocess.run(["xz", "-dc", packed], stdout=out, check=True)
        names.append(target.name)
    if not names:
        print("no real volumes are compared")
    return names


def parsed_options():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--program", required=True, type=os.path.abspath)
    parser.add_argument("--other", required=True, type=os.path.abspath)
    parser.add_argument("--emulator", default="")
    parser.add_argument("--samples", required=True, type=pathlib.Path)
    parser.add_argument("--real", type=pathlib.Path)
    parser.add_argument("--copies", type=int, default=60, help="damaged copies of each image")
    return parser.parse_args()


def main():
    options = parsed_options()
    builds = Builds(options.program, options.other, options.emulator)
    failed = False
    with tempfile.TemporaryDirectory() as work, \
            concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        folder = pathlib.Path(work)
        names = []
        for sample in sorted(options.samples.iterdir()):
            (folder / sample.name).write_bytes(sample.read_bytes())
            names.append(sample.name)
        names += unpack_real(options.real, folder)
        parts = [("command lines without an image",
                  lambda tally: run_both(builds, tally, pool, folder, BARE))]
        for name in names:
            parts.append((name, lambda tally, name=name: run_both(
                builds, tally, pool, folder, valid_command_lines(name))))
            parts.append((f"{options.copies} damaged copies of {name}",
                          lambda tally, name=name: compare_damaged(
                              builds, tally, pool, folder, name, options.copies)))
        for label, compare in parts:
            tally = Tally()
            compare(tally)
            print(f"{label}: {tally.runs} runs, {tally.bytes} bytes, {tally.endless} without end, "
                  f"{len(tally.differences)} differences", flush=True)
            for arguments, what in tally.differences[:20]:
                print(f"  {what} differs: {arguments}")
            failed |= bool(tally.differences) or tally.runs == 0 or tally.bytes == 0
    if failed:
        sys.exit("compare.py: the builds write different bytes, or none")


if __name__ == "__main__":
    main()
