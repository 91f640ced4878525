#!/usr/bin/env python3
"""Runs the examples of a document and compares what they print.

    check_documents.py --program <quorvel> --sample <quorvel-sample> [--convert <quorvel-convert>]
        [--write] <document>

An example is a fenced block marked "console": lines that begin with "$ " are commands, continued by
lines that begin with "> ", and the lines after a command are its output. All examples of a document
run in order in one shell, in a temporary directory, with the programs in PATH. The output is compared
byte for byte, as a terminal shows it: the sequence that clears a line removes the text of that line.
Only the time of a run and the machine are ignored, in the second line of a report head and in the
frame of an XML report. The programs start through the command in $QUORVEL_RUNNER, such as an
emulator, if it is set.

Comments in the document control the test:

    <!-- needs: sqlite3 parallel -->     programs without which the document is not tested
    <!-- before: ln -s a b -->           a hidden command that runs before the next example
    <!-- only with: fuse ewfmount -->    what the next example needs; without it, the example is
                                         skipped, and the reason is printed

An example can need programs, "fuse" (a FUSE file system can be mounted) and files of the folder that
$QUORVEL_REAL_VOLUMES names, whose names end in ".xz".

--write replaces the output in the document with the current one, for review before a commit.
Exit status: 0 if the output is as shown, 1 if not, 77 if a program is missing.
"""

import argparse
import difflib
import functools
import os
import pathlib
import re
import shlex
import shutil
import socket
import subprocess
import sys
import tempfile

NOT_TESTED = 77
SECONDS = 300
RUNNER = os.environ.get("QUORVEL_RUNNER", "")
CLEARING = re.compile(rb"[^\n]*\x1b\[2K\r    \r")
RUN_LINE = re.compile(r"^run time: \d\d/\d\d/\d{4} \d\d:\d\d:\d\d \[UTC\]; host: [^;]*; system: "
                      r"[^;]+;[^;]*;[^;]*;(32|64)$")
FRAME_LINE = re.compile(r'^( starting_path=".*") date="\d{4}-\d\d-\d\d" '
                        r'time="\d\d:\d\d:\d\d\.\d{3}">$')


class Command:
    """One command of a document, with its expected output."""

    def __init__(self, text, line, shown):
        self.text = text
        self.line = line  # 1 is the first
        self.shown = shown  # False: of a "before" comment
        self.needed = []
        self.expected = []
        self.printed = []


def read_commands(lines):
    """Returns the commands of a document, in order."""
    commands = []
    in_example = False
    needed = []
    for number, line in enumerate(lines, 1):
        comment = re.match(r"<!-- (before|only with): (.*) -->$", line)
        if not in_example:
            in_example = line == "```console"
            if comment and comment.group(1) == "before":
                commands.append(Command(comment.group(2), number, False))
            elif comment:
                needed = comment.group(2).split()
        elif line == "```":
            in_example = False
            needed = []
        elif line.startswith("$ "):
            commands.append(Command(line[2:], number, True))
            commands[-1].needed = needed
        elif line.startswith("> ") and not commands[-1].expected:
            commands[-1].text += "\n" + line[2:]
        else:
            commands[-1].expected.append(line)
    return commands


def prepare_programs(folder, options):
    """Fills a folder, which is the first in PATH, with the programs."""
    folder.mkdir()
    programs = [("quorvel", options.program), ("quorvel-sample", options.sample)]
    if options.convert and not RUNNER:  # it starts quorvel itself, without the runner
        programs.append(("quorvel-convert", options.convert))
    for name, path in programs:
        place = folder / name
        if RUNNER:
            place.write_text(f'#!/bin/sh\nexec {RUNNER} {shlex.quote(str(path.resolve()))} "$@"\n',
                             encoding="utf-8")
            place.chmod(0o755)
        else:
            place.symlink_to(path.resolve())
    if not has_loop_devices():
        print("no loop devices can be created here: the examples for a device node use a file")
        shutil.copy(pathlib.Path(__file__).parent / "losetup_file", folder / "losetup")


def has_loop_devices():
    """Returns whether a loop device can be created, by creating one."""
    if os.geteuid() != 0 or not shutil.which("losetup"):
        return False
    with tempfile.NamedTemporaryFile() as file:
        file.truncate(1 << 20)
        made = subprocess.run(["losetup", "--find", "--show", "--read-only", file.name],
                              capture_output=True, text=True, check=False)
        if made.returncode != 0:
            return False
        subprocess.run(["losetup", "--detach", made.stdout.strip()], check=True)
    return True


@functools.lru_cache
def has_fuse():
    """Returns whether FUSE can mount here, by mounting an empty file system."""
    helper = shutil.which("fusermount3")
    if not helper:
        return False
    with tempfile.TemporaryDirectory() as folder:
        ours, of_helper = socket.socketpair()
        with ours, of_helper:  # the helper sends the descriptor of the mount here
            descriptor = of_helper.fileno()
            mounted = subprocess.run([helper, "-o", "ro", "--", folder], pass_fds=[descriptor],
                                     env=dict(os.environ, _FUSE_COMMFD=str(descriptor)),
                                     capture_output=True, check=False).returncode == 0
            if mounted:
                subprocess.run([helper, "-u", "-z", folder], check=True)
    return mounted


def missing_need(word, programs):
    """Returns why an example cannot run here, or None. `programs` is the folder of the programs."""
    if word == "fuse":
        return None if has_fuse() else "FUSE cannot mount here"
    if word.endswith(".xz"):
        found = os.path.exists(os.path.join(os.environ.get("QUORVEL_REAL_VOLUMES", ""), word))
        return None if found else f"QUORVEL_REAL_VOLUMES names no folder with {word}"
    if (programs / word).exists() or shutil.which(word):
        return None
    return f"{word} is not installed, or cannot run here"


def skip_commands(commands, programs):
    """Returns the commands that can run here. Prints why the others cannot."""
    kept = []
    for command in commands:
        reasons = [missing_need(word, programs) for word in command.needed]
        reasons = [reason for reason in reasons if reason]
        if reasons:
            print(f"line {command.line} is skipped: {'; '.join(reasons)}")
        else:
            kept.append(command)
    return kept


def unmount_leftovers(folder):
    """Unmounts file systems that a failed example has left."""
    for line in pathlib.Path("/proc/self/mounts").read_text(encoding="utf-8").splitlines():
        place = line.split()[1]
        if place.startswith(str(folder)):
            subprocess.run(["fusermount3", "-u", "-z", place], check=False)


def detach_loop_devices(folder):
    """Detaches devices that a failed example has left."""
    if os.geteuid() != 0 or not shutil.which("losetup"):
        return
    listed = subprocess.run(["losetup", "--noheadings", "--output", "NAME,BACK-FILE", "--list"],
                            capture_output=True, text=True, check=False)
    for line in listed.stdout.splitlines():
        device, _, backing = line.partition(" ")
        if backing.strip().startswith(str(folder)):
            subprocess.run(["losetup", "--detach", device], check=False)


def as_a_terminal_shows(output):
    """Returns the output without the lines that were cleared."""
    return CLEARING.sub(b"", output)


def to_lines(output):
    """Returns the lines of the output; the last one may lack its line end."""
    text = as_a_terminal_shows(output).decode("utf-8", "surrogateescape")
    return text.removesuffix("\n").split("\n") if text else []


def run_commands(commands, options):
    """Runs the commands and stores their output. Returns those that ran."""
    with tempfile.TemporaryDirectory(prefix="quorvel-docs-") as name:
        folder = pathlib.Path(name).resolve()
        prepare_programs(folder / "bin", options)
        commands = skip_commands(commands, folder / "bin")
        for part in ("home", "printed", "work"):
            (folder / part).mkdir()
        outputs = [folder / "printed" / str(index) for index in range(len(commands))]
        script = "".join(f"eval {shlex.quote(command.text)} >{shlex.quote(str(output))} 2>&1\n"
                         for command, output in zip(commands, outputs))
        environment = dict(os.environ, HOME=str(folder / "home"), LC_ALL="C.UTF-8",
                           PATH=f"{folder / 'bin'}:{os.environ['PATH']}", TERM="dumb")
        try:
            subprocess.run(["bash", "-c", script], cwd=folder / "work", env=environment,
                           stdin=subprocess.DEVNULL, timeout=SECONDS, check=False)
        finally:
            unmount_leftovers(folder)
            detach_loop_devices(folder)
        for command, output in zip(commands, outputs):
            command.printed = to_lines(output.read_bytes()) if output.exists() else ["(not run)"]
    return commands


def without_run(line):
    """Returns the line without the parts that differ between runs."""
    if RUN_LINE.match(line):
        return "run time: (any)"
    if RUNNER:  # starts the program with its path as name
        line = re.sub(r'^"command line: \S*quorvel', '"command line: quorvel', line)
    return FRAME_LINE.sub(r'\1 date="(any)" time="(any)">', line)


def is_as_shown(command):
    """Compares the output of a command with the document, and prints the difference."""
    expected = [without_run(line) for line in command.expected]
    printed = [without_run(line) for line in command.printed]
    if expected == printed:
        return True
    print(f"line {command.line}: $ {command.text}")
    for line in difflib.unified_diff(expected, printed, "the document", "this run", lineterm=""):
        print(line.encode("utf-8", "backslashreplace").decode())
    return False


def written(lines, commands):
    """Returns the document with the current output; lines without a relevant difference are kept."""
    shown = {command.line: command for command in commands if command.shown}
    result = []
    at = 0
    while at < len(lines):
        command = shown.get(at + 1)
        if command is None:
            result.append(lines[at])
            at += 1
            continue
        length = 1 + command.text.count("\n")
        result += lines[at:at + length]
        if not is_as_shown(command):
            result += command.printed
        else:
            result += command.expected
        at += length + len(command.expected)
    return result


def missing_programs(lines):
    """Returns the programs that the document needs and that are not installed."""
    needed = " ".join(re.findall(r"^<!-- needs: (.*) -->$", "\n".join(lines), re.MULTILINE))
    return [name for name in needed.split() if not shutil.which(name)]


def main():
    """See above."""
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--program", type=pathlib.Path, required=True)
    parser.add_argument("--sample", type=pathlib.Path, required=True)
    parser.add_argument("--convert", type=pathlib.Path)
    parser.add_argument("--write", action="store_true")
    parser.add_argument("document", type=pathlib.Path)
    options = parser.parse_args()

    os.environ["PATH"] += ":/usr/sbin:/sbin"
    lines = options.document.read_text(encoding="utf-8").split("\n")
    missing = missing_programs(lines)
    if missing:
        print(f"{options.document.name} is not tested: not installed: {', '.join(missing)}")
        return NOT_TESTED
    commands = read_commands(lines)
    ran = run_commands(commands, options)
    if options.write:
        options.document.write_text("\n".join(written(lines, ran)), encoding="utf-8")
        return 0
    wrong = [command for command in ran if not is_as_shown(command)]
    print(f"{options.document.name}: {len(ran)} commands, {len(wrong)} print something else, "
          f"{len(commands) - len(ran)} skipped")
    return 1 if wrong or not ran else 0


if __name__ == "__main__":
    sys.exit(main())
