"""The volumes that bench/run lists."""

from measuring import ROOT, Failure, run, say

BUILD = ROOT / "build" / "bench"
QUORVEL = BUILD / "src" / "quorvel"
SAMPLE = BUILD / "tests" / "support" / "quorvel-sample"
VOLUMES = BUILD / "volumes"


def quorvel(volume, *options, program=QUORVEL):
    return [program, "-image", volume, "-level", "99", "-quiet", *options]


class Volume:
    """A volume of many files, written if it does not exist yet."""

    def __init__(self, kind, directories, files, streams=0):
        self.kind = kind
        self.directories = directories
        self.files = directories * files
        self.each = files
        self.rows = self.files * (1 + streams)
        self.path = VOLUMES / f"{kind}-{directories}-{files}.dd"

    def write(self):
        if self.path.exists():
            return
        VOLUMES.mkdir(parents=True, exist_ok=True)
        part = self.path.with_suffix(".part")
        say(f"Writing {self.path.relative_to(ROOT)}")
        run([SAMPLE, self.kind, self.directories, self.each, part])
        run(["sync", part])  # pages that are not yet written cannot be dropped from the cache
        part.rename(self.path)

    def check(self):
        """Raises Failure unless each file is listed once, or each directory of an empty one."""
        listed = run(quorvel(self.path, "-filepath_only"), capture_output=True).stdout
        what, wanted = (".txt", self.rows) if self.files else ("dir", self.directories)
        rows = sum(what in row for row in listed.splitlines())
        if rows != wanted:
            raise Failure(f"{rows} rows of {self.path.name} are listed, not {wanted}")


def check_other_readers(volume):
    """Raises Failure unless the other readers list all files, too."""
    for command in other_readers(volume.path).values():
        listed = run(command, capture_output=True).stdout
        names = sum(".txt" in row for row in listed.splitlines())
        if names < volume.files:
            raise Failure(f"{' '.join(map(str, command))}: {names} files, not {volume.files}")


def other_readers(volume):
    """Returns the commands of other readers that print a list of all files."""
    return {
        "fls -r -l": ["fls", "-r", "-l", volume],
        "fls -r -m /": ["fls", "-r", "-m", "/", volume],
        "fsntfsinfo -H": ["fsntfsinfo", "-H", volume],
        "ntfsls -lRaf -p /": ["ntfsls", "-lRaf", "-p", "/", volume],
    }
