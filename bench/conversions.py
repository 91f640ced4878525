"""Measures quorvel-convert on the listing of a large volume."""

import os
import pathlib
import statistics
import tempfile

from measuring import TIME, run, say, silent
from volumes import BUILD, VOLUMES

CONVERT = BUILD / "src" / "quorvel-convert"

# Of each format: seconds and MiB of memory for a listing of a million rows. None is not limited.
LIMITS = {
    "body": (2, 32), "csv": (2, 32), "jsonl": (2, 32), "timeline": (15, 64), "sqlite": (10, None),
    "html": (5, None),
}
DIFF_SECONDS = 5


def write_listing(volume, path):
    """Writes the listing of a volume in the form that quorvel-convert reads."""
    command = run([CONVERT, "--print-command", "--", "-image", volume.path, "-level", "99"],
                  capture_output=True).stdout
    words = {**os.environ, "PATH": f"{BUILD / 'src'}:{os.environ['PATH']}"}
    with open(path, "w", encoding="utf-8") as listing:
        run(["sh", "-c", command], stdout=listing, env=words)


def write_later_listing(path, later):
    """Writes a listing that lacks one row in 1,000, and in which one row in 100 has another name."""
    with open(path, "rb") as source, open(later, "wb") as target:
        for number, line in enumerate(source):
            if number < 10 or number % 1000 != 0:
                changed = number >= 10 and number % 100 == 1
                target.write(line.replace(b".txt", b".old", 1) if changed else line)


def measured(command):
    """Returns the seconds and the peak MiB of a run."""
    with tempfile.NamedTemporaryFile("r") as report:
        silent([TIME, "-f", "%e %M", "-o", report.name, *command])
        seconds, kilobytes = report.read().split()[-2:]
    return float(seconds), int(kilobytes) / 1024


def measured_format(words, output, rounds):
    """Returns the median of the seconds, and the largest peak, of several runs of one format."""
    runs = []
    for _ in range(rounds):
        pathlib.Path(output).unlink(missing_ok=True)
        runs.append(measured([CONVERT, *words, "--output", output]))
    size = pathlib.Path(output).stat().st_size
    pathlib.Path(output).unlink()
    return statistics.median(seconds for seconds, _ in runs), max(peak for _, peak in runs), size


def compare(volume, limits, rounds):
    """Times each format and a comparison of two listings of the volume, from files to files."""
    say(f"quorvel-convert: the listing of {volume.files} files, from a file to a file")
    listing, later, output = (VOLUMES / f"listing{end}" for end in (".csv", ".later", ".output"))
    write_listing(volume, listing)
    write_later_listing(listing, later)
    rows = {name: measured_format(["--to", name, "--input", listing], output, rounds)
            for name in LIMITS}
    rows["--diff"] = measured_format(["--diff", listing, later], output, rounds)
    print("\n| format | s | peak MiB | output, MB |\n|---|---:|---:|---:|")
    for name, (seconds, peak, size) in rows.items():
        print(f"| {name} | {seconds:.2f} | {peak:.1f} | {size / 1e6:.0f} |")
    limits.head()
    for name, (most_seconds, most_memory) in {**LIMITS, "--diff": (DIFF_SECONDS, None)}.items():
        limits.row(f"s, {name}", rows[name][0], most_seconds)
        if most_memory is not None:
            limits.row(f"peak MiB, {name}", rows[name][1], most_memory)
    listing.unlink()
    later.unlink()
