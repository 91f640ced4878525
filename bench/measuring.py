"""Runs commands for bench/run and measures their time, memory and system calls."""

import json
import os
import pathlib
import re
import resource
import statistics
import subprocess
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
TIME = "/usr/bin/time"


class Failure(Exception):
    """A step that the measurement needs has failed."""


def say(text):
    print(f"\n== {text}", flush=True)


def run(command, **options):
    """Runs a command and returns it with its output. Raises Failure if it fails."""
    done = subprocess.run([str(word) for word in command], cwd=ROOT, text=True, **options)
    if done.returncode != 0:
        raise Failure("failed: " + " ".join(map(str, command)))
    return done


def silent(command):
    """Runs a command without its output."""
    return run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def first_line(*command):
    return subprocess.run(command, capture_output=True, text=True).stdout.strip().split("\n")[0]


class Runs:
    """How commands are run: where their output goes, and whether the volume is in the page cache."""

    def __init__(self, output="null", forget=()):
        self.output = output
        self.forget = [str(path) for path in forget]  # files that are not cached at the start

    def prepare(self, command):
        """Returns a command that removes the reports that `command` names, and the cached pages."""
        made = [str(word) for word in command if str(word).endswith(".report")]
        steps = ["rm -f " + " ".join(made)] if made else []
        steps += [f"dd if={path} iflag=nocache count=0 status=none" for path in self.forget]
        return "sh -c '" + " && ".join(steps or ["true"]) + "'"

    def once(self, commands):
        """Returns the wall seconds of one run of each command."""
        report = pathlib.Path(tempfile.gettempdir()) / f"quorvel-bench-{os.getpid()}.json"
        words = ["hyperfine", "--style", "none", "--shell", "none", "--warmup", "0", "--runs", "1",
                 "--output", self.output, "--export-json", report]
        for command in commands:
            words += ["--prepare", self.prepare(command)]
        silent(words + [" ".join(map(str, command)) for command in commands])
        results = json.loads(report.read_text())["results"]
        report.unlink()
        return [result["times"][0] for result in results]

    def timed(self, commands, rounds):
        """Returns the wall seconds of each command in each round."""
        if not self.forget:
            self.once(commands)  # fills the page cache
        return list(zip(*(self.once(commands) for _ in range(rounds))))


def ratio(times, others):
    """Returns the median of the ratios within a round: a slower machine affects both runs of a round
    alike."""
    return statistics.median(time / other for time, other in zip(times, others))


def milliseconds(times):
    return statistics.median(times) * 1000


def peak_memory(command):
    """Returns the peak memory of a run in KiB."""
    with tempfile.NamedTemporaryFile("r") as report:
        silent([TIME, "-f", "%M", "-o", report.name, *command])
        return int(report.read().split()[-1])


def user_seconds(command):
    """Returns the user seconds of a run, whose output is discarded."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime
    silent(command)
    return resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime - before


def traced(command, trace):
    """Runs a command and writes its reads and writes to the file `trace`."""
    silent(["strace", "-s", "0", "-e", "trace=preadv2,pread64,write", "-o", trace, *command])


def count_reads(command):
    """Returns the number of reads of a run. One that must not wait, and that fails for this reason,
    does not count: it has read nothing."""
    with tempfile.NamedTemporaryFile("r") as trace:
        traced(command, trace.name)
        return sum(re.match(r"pread(v2|64)\(.* = \d+$", line) is not None for line in trace)
