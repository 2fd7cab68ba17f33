"""What a row of the table is, and the ways to check one. A row makes a file with other programs,
has Kelvo adjust copies of it, and compares before and after with other programs again, or byte by
byte with the parsers of this folder."""

import os
import re
import shutil
import subprocess
import tempfile
from dataclasses import dataclass
from functools import cached_property
from pathlib import Path
from typing import Callable

ADJUSTMENTS = ("invert", "equalize")  # pixel by pixel, and one that measures the whole picture
ROWS = []
NAMES = set()
FORMATS = {}


# The packages' own programs come before whatever else has their names.
os.environ["PATH"] = "/usr/bin:" + os.environ["PATH"]


class Failure(Exception):
    pass


def require(condition, message):
    if not condition:
        raise Failure(message)


def require_equal(before, after, what):
    if before == after:
        return
    if isinstance(before, (list, tuple)) and isinstance(after, (list, tuple)):
        for number, (old, new) in enumerate(zip(before, after)):
            if old != new:
                raise Failure(f"{what}, entry {number}: was {old!r:.300}, is {new!r:.300}")
    raise Failure(f"{what}: was {before!r:.300}, is {after!r:.300}")


def run(*command, stdin=b"", ok=(0,)):
    done = subprocess.run([str(part) for part in command], input=stdin, capture_output=True,
                          timeout=120, check=False)
    if done.returncode not in ok:
        raise Failure(f"{' '.join(str(part) for part in command)}: status {done.returncode}: "
                      f"{(done.stderr or done.stdout).decode(errors='replace'):.400}")
    return done.stdout


def convert(*arguments, stdin=b""):
    return run("convert", *arguments, stdin=stdin)


def exiftool(path, *arguments):
    """Changes a file with exiftool, in place."""
    run("exiftool", "-q", "-m", "-overwrite_original", *arguments, path)
    return path


def told(*tags):
    """What exiftool tells of these tags, with their groups."""
    def read(path):
        lines = run("exiftool", "-a", "-G1", "-s", *tags, path).decode(errors="replace")
        return [line for line in lines.splitlines() if line.strip()]
    return read


class Work:
    """One row's folder and its Kelvo."""

    def __init__(self, kelvo):
        self.kelvo = kelvo
        self.folder = Path(tempfile.mkdtemp(prefix="conformance-"))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        shutil.rmtree(self.folder)

    def path(self, name):
        return self.folder / name

    def put(self, name, contents):
        self.path(name).write_bytes(contents)
        return self.path(name)

    def adjust(self, adjustment, path, *options):
        """Runs Kelvo over a file; gives its exit status and what it says about the file."""
        done = subprocess.run([self.kelvo, adjustment, *options, str(path)], capture_output=True,
                              stdin=subprocess.DEVNULL, timeout=300, check=False,
                              env={**os.environ, "LC_ALL": "C"})
        said = done.stderr.decode().replace(str(path), path.name).strip()
        return done.returncode, said

    def adjusted(self, adjustment, original, *options):
        """An adjusted copy of a file."""
        folder = Path(tempfile.mkdtemp(dir=self.folder))
        copy = folder / original.name
        shutil.copyfile(original, copy)
        status, said = self.adjust(adjustment, copy, *options)
        require(status == 0, f"kelvo {adjustment}: status {status}: {said}")
        require([entry.name for entry in folder.iterdir()] == [copy.name],
                f"kelvo {adjustment} left something behind")
        require(copy.read_bytes() != original.read_bytes(), f"kelvo {adjustment} changed nothing")
        return copy


@dataclass(frozen=True)
class Row:
    format: str
    topic: str     # what is kept, in the words of `kelvo formats`
    case: str      # which kind of it; may be empty
    made: str      # by what
    compared: str  # by what
    check: Callable  # of a Work; gives the outcome

    @cached_property
    def name(self):
        words = f"{self.format}.{self.topic}" + (f".{self.case}" if self.case else "")
        return re.sub(r"[^A-Za-z0-9.]+", "-", words).strip("-").lower()

    @property
    def what(self):
        return self.topic + (f": {self.case}" if self.case else "")


@dataclass(frozen=True)
class Format:
    name: str
    type: str
    decode: Callable    # path -> frames, each (width, height, RGBA bytes), by another program
    decoder: str        # that program
    tolerance: float    # mean distance, in levels, that storing the inverted pixels may cost


def add_format(*values):
    FORMATS[values[0]] = Format(*values)


def add(row):
    require(row.name not in NAMES, f"two rows are named {row.name}")
    NAMES.add(row.name)
    ROWS.append(row)


def check_inverted(before, after, tolerance):
    """Frames hold the inverse of each other's colours, weighted with alpha, and the same alpha."""
    require(len(before) == len(after), f"{len(before)} frames became {len(after)}")
    for number, ((width, height, old), (new_width, new_height, new)) in enumerate(zip(before, after)):
        require((width, height) == (new_width, new_height), f"frame {number} has another size")
        require(len(old) == len(new) == 4 * width * height, f"frame {number} was not decoded")
        distance = worst = 0
        for i in range(0, len(old), 4):
            alpha = old[i + 3]
            require(abs(alpha - new[i + 3]) <= (0 if tolerance == 0 else 2),
                    f"frame {number}, pixel {i // 4}: alpha {alpha} became {new[i + 3]}")
            for c in range(3):
                off = abs(255 - old[i + c] - new[i + c]) * alpha / 255
                distance += off
                worst = max(worst, off)
        mean = distance / (3 * width * height)
        if tolerance == 0:
            # Colours under alpha are rounded when they are multiplied by it.
            require(worst <= 1, f"frame {number}: a pixel is {worst:.1f} levels from the inverse")
        require(mean <= max(tolerance, 0.5),
                f"frame {number}: {mean:.2f} levels from the inverse on average")


def kept(format_name, topic, case, make, read, *, made, compared, options=(), outcome="kept",
         adjustments=ADJUSTMENTS, decode=None, tolerance=None, change=None):
    """A row whose thing must read the same before and after each adjustment. `change` gives what is
    expected to be read afterwards, of what was read before."""
    def check(work):
        form = FORMATS[format_name]
        decoded = decode or form.decode
        original = make(work)
        before = read(original)
        require(before, "the file made for this row does not have it")
        expected = change(before) if change else before
        pixels = decoded(original)
        for adjustment in adjustments:
            copy = work.adjusted(adjustment, original, *options)
            require_equal(expected, read(copy), f"after kelvo {adjustment}")
            now = decoded(copy)
            if adjustment == "invert":
                check_inverted(pixels, now, form.tolerance if tolerance is None else tolerance)
            else:
                require(pixels != now, f"kelvo {adjustment} changed no pixel")
        return outcome
    add(Row(format_name, topic, case, made, compared, check))


def refused(format_name, topic, case, make, *, made, adjustment="invert", options=()):
    """A row whose file must be left alone, with a message that becomes part of the table."""
    def check(work):
        original = make(work)
        before = original.read_bytes()
        folder = sorted(entry.name for entry in original.parent.iterdir())
        status, said = work.adjust(adjustment, original, *options)
        require(status == 1, f"status {status}: {said}")
        require(original.read_bytes() == before, "the file was touched")
        require(sorted(entry.name for entry in original.parent.iterdir()) == folder,
                "something was left behind")
        lines = [line for line in said.splitlines() if line.startswith(original.name)]
        require(lines, f"no word about the file: {said}")
        cause = re.search(r"\((.*)\)$", lines[0]) or re.search(r": ([^:]*)$", lines[0])
        # Sizes and places are those of one encoder's version.
        return "refused: " + re.sub(r"\b\d{2,}\b", "N", cause[1])
    add(Row(format_name, topic, case, made, "byte by byte", check))


def checked(format_name, topic, case, check, *, made, compared):
    """A row with a check of its own."""
    add(Row(format_name, topic, case, made, compared, check))
