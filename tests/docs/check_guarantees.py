#!/usr/bin/env python3
"""Checks the guarantees of README.md in the system calls of whole runs.

    check_guarantees.py --program <quorvel> --sample <quorvel-sample>

The source is opened for reading only. A run is one process with one thread and without network. It
opens no files except the source, the files of the C library and the output files that the command
line names, and leaves no other files. Exit status: 0, 1, or 77 if strace cannot be used.
"""

import argparse
import hashlib
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

NOT_TESTED = 77
# Files of libraries, files that the sanitizers read about the process, and the counters of a coverage
# build.
OF_THE_SYSTEM = re.compile(r".*/lib[^/]*\.so[.\d]*|/etc/(ld\.so\..*|localtime)"
                           r"|/usr/share/zoneinfo/.*|/proc/.*|.*\.gcda")
OPEN = re.compile(r'^(?:\d+ +)?open(?:at)?\((?:AT_FDCWD, )?"([^"]*)", ([A-Z_|]+)')
FORBIDDEN = re.compile(r"^(?:\d+ +)?(socket|connect|bind|clone3?|v?fork|kill|ptrace|mount)\(")
EXECVE = re.compile(r"^(?:\d+ +)?execve\(")
CHANGES = ("O_WRONLY", "O_RDWR", "O_CREAT", "O_TRUNC", "O_APPEND")

# Command lines, and the files that each must write.
RUNS = (
    (["-image", "disk.dd", "-offset", "0x100000", "-level", "999"], []),
    (["-image", "disk.dd", "-offset", "0x100000", "-level", "999", "-csv", "-alldates"], []),
    (["-image", "volume.dd", "-xml", "report.xml", "-objid", "-indx"], ["report.xml"]),
    (["\\users", "-image", "volume.dd", "-out", "list.txt"], ["list.txt"]),
    (["\\no such path", "-image", "volume.dd", "-diags", "trace.txt"], ["trace.txt"]),
    (["-image", "volume.dd", "-mft", "47"], []),
    (["-image", "volume.dd", "-vmdk", "base.vmdk | snapshot.vmdk"], []),
    (["-image", "disk.dd"], []),
    (["-image", "no such file"], []),
)


def content(folder):
    """Returns the digests of the files in a folder by name."""
    return {path.name: hashlib.sha256(path.read_bytes()).hexdigest() for path in folder.iterdir()}


def violations(calls, sources, outputs):
    """Yields the calls that break a guarantee."""
    if sum(1 for call in calls if EXECVE.match(call)) != 1:
        yield "more than one program ran"
    for call in calls:
        if FORBIDDEN.match(call):
            yield call
        opened = OPEN.match(call)
        if not opened:
            continue
        name, flags = opened.groups()
        if name in outputs or (name not in sources and OF_THE_SYSTEM.fullmatch(name)):
            continue
        if name not in sources:
            yield f"opens another file: {call}"
        if any(flag in flags for flag in CHANGES):
            yield f"opens for writing: {call}"


def check_run(arguments, outputs, program, work, log):
    """Checks one run and prints its violations. Returns whether it keeps all guarantees."""
    before = content(work)
    environment = dict(os.environ, ASAN_OPTIONS="detect_leaks=0")
    subprocess.run(["strace", "-f", "-o", str(log), str(program), *arguments, "-quiet"], cwd=work,
                   env=environment, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                   stdin=subprocess.DEVNULL, timeout=100, check=False)
    calls = log.read_text(encoding="utf-8", errors="replace").splitlines()
    wrong = list(violations(calls, [*before, "no such file"], outputs))
    for name in outputs:
        if not (work / name).exists():
            wrong.append(f"{name} is not written")
        (work / name).unlink(missing_ok=True)
    if content(work) != before:
        wrong.append("the folder has changed")
    for line in wrong:
        print(f"{arguments}: {line}")
    return not wrong


def main():
    """See above."""
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--program", type=pathlib.Path, required=True)
    parser.add_argument("--sample", type=pathlib.Path, required=True)
    options = parser.parse_args()
    if os.environ.get("QUORVEL_RUNNER"):
        print("not tested: the system calls would be those of the runner, not the program's")
        return NOT_TESTED
    strace = shutil.which("strace")
    if not strace or subprocess.run([strace, "-o", "/dev/null", "true"], check=False).returncode:
        print("not tested: strace is not installed, or must not trace here")
        return NOT_TESTED

    with tempfile.TemporaryDirectory(prefix="quorvel-docs-") as name:
        work = pathlib.Path(name) / "work"
        work.mkdir()
        for words in (["mbr", "disk.dd"], ["demo", "volume.dd"],
                      ["chain", "base.vmdk", "snapshot.vmdk"]):
            subprocess.run([options.sample.resolve(), *words], cwd=work, check=True)
        log = pathlib.Path(name) / "calls"
        good = [check_run(arguments, outputs, options.program.resolve(), work, log)
                for arguments, outputs in RUNS]
    print(f"{len(good)} runs, {good.count(False)} with violations")
    return 0 if all(good) else 1


if __name__ == "__main__":
    sys.exit(main())
