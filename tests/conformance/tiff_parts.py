"""TIFF directories, read and put together by the letter of TIFF 6.0 and of BigTIFF."""

import struct
from pathlib import Path

from harness import require

SIZES = {1: 1, 2: 1, 3: 2, 4: 4, 5: 8, 6: 1, 7: 1, 8: 2, 9: 4, 10: 8, 11: 4, 12: 8, 13: 4, 16: 8,
         17: 8, 18: 8}
POINTERS = {330, 34665, 34853, 40965}  # to sub-directories: SubIFDs, Exif, GPS, interoperability
PLACES = {273, 279, 324, 325}          # where the pixels are and how long


class Tiff:
    def __init__(self, data):
        self.data = data
        require(data[:2] in (b"II", b"MM"), "not a TIFF file")
        self.order = "<" if data[:2] == b"II" else ">"
        self.big = self.number("H", 2) == 43
        self.directories = []
        at = self.number("Q", 8) if self.big else self.number("I", 4)
        while at:
            entries, at = self.directory(at)
            self.directories.append(entries)

    def number(self, code, at):
        return struct.unpack_from(self.order + code, self.data, at)[0]

    def directory(self, at):
        """Entries as tag: (type, count, value bytes), and the next directory's place."""
        word, size, entry = ("Q", 8, 20) if self.big else ("I", 4, 12)
        count = self.number("Q" if self.big else "H", at)
        at += 8 if self.big else 2
        entries = {}
        for _ in range(count):
            tag, kind = self.number("H", at), self.number("H", at + 2)
            values = self.number(word, at + 4)
            length = SIZES[kind] * values
            place = at + 4 + size
            if length > size:
                place = self.number(word, place)
            entries[tag] = (kind, values, self.data[place:place + length])
            at += entry
        return entries, self.number(word, at)

    def numbers(self, entry):
        kind, count, value = entry
        code = {1: "B", 3: "H", 4: "I", 13: "I", 16: "Q", 18: "Q"}[kind]
        return list(struct.unpack(f"{self.order}{count}{code}", value))

    def sub_directories(self, entries):
        return {tag: [self.directory(at)[0] for at in self.numbers(entries[tag])]
                for tag in POINTERS if tag in entries}

    def tree(self, entries, leave_out=frozenset()):
        """Every tag with its value; pointers as what they point at. Places are left out."""
        found = {tag: entry for tag, entry in entries.items()
                 if tag not in PLACES | POINTERS | leave_out}
        for tag, below in self.sub_directories(entries).items():
            found[tag] = [self.tree(directory) for directory in below]
        return found


def tags(*wanted):
    """A reader of these tags' values in every directory, pointers followed."""
    def read(path):
        tiff = Tiff(Path(path).read_bytes())
        found = [{tag: value for tag, value in tiff.tree(directory).items() if tag in wanted}
                 for directory in tiff.directories]
        require(all(tag in found[0] for tag in wanted), f"the file lacks one of the tags {wanted}")
        return found
    return read


def every_tag(leave_out=frozenset()):
    return lambda path: [
        Tiff(Path(path).read_bytes()).tree(directory, leave_out)
        for directory in Tiff(Path(path).read_bytes()).directories]


def strile_count(path):
    """How many strips or tiles each frame has."""
    tiff = Tiff(Path(path).read_bytes())
    return [sorted((tag, entry[1]) for tag, entry in directory.items() if tag in PLACES)
            for directory in tiff.directories]


def ifd(order, at, entries, following=0):
    """A classic directory that stands at `at`; entries are (tag, type, count, value bytes)."""
    entries = sorted(entries)
    table, body = struct.pack(order + "H", len(entries)), b""
    start = at + 2 + 12 * len(entries) + 4
    for tag, kind, count, value in entries:
        table += struct.pack(order + "HHI", tag, kind, count)
        if len(value) <= 4:
            table += value + bytes(4 - len(value))
        else:
            table += struct.pack(order + "I", start + len(body))
            body += value + bytes(len(value) % 2)
    return table + struct.pack(order + "I", following) + body


def with_entries(data, *entries, sub=()):
    """The file with more entries in its first directory, which moves to the end; `sub` are lists of
    entries that become sub-directories."""
    tiff = Tiff(data)
    require(not tiff.big, "classic files only")
    data += bytes(len(data) % 2)
    pointers = []
    for below in sub:
        pointers.append(len(data))
        data += ifd(tiff.order, len(data), below)
        data += bytes(len(data) % 2)
    if pointers:
        entries += ((330, 13, len(pointers),
                     struct.pack(f"{tiff.order}{len(pointers)}I", *pointers)),)
    first = tiff.number("I", 4)
    following = tiff.directory(first)[1]
    old = [(tag, *value) for tag, value in tiff.directories[0].items()]
    table = ifd(tiff.order, len(data), old + list(entries), following)
    return data[:4] + struct.pack(tiff.order + "I", len(data)) + data[8:] + table


def exif_with_maker_note(order="<"):
    """An Exif block as a camera of Canon's writes it: the maker note is a directory whose values
    stand outside of it, at offsets that count from the start of the block."""
    mark = b"II*\0" if order == "<" else b"MM\0*"
    number = lambda v: struct.pack(order + "I", v)
    make = (271, 2, 6, b"Canon\0")
    model = (272, 2, 16, b"Canon PowerShot\0")
    # Sizes do not depend on the values, so the places can be found by laying it out twice.
    note_at = exif_at = 0
    for _ in range(2):
        first = ifd(order, 8, [make, model, (34665, 4, 1, number(exif_at))])
        exif_at = 8 + len(first)
        firmware = b"Firmware Version 1.00\0"
        owner = b"The owner of the camera\0"
        note = ifd(order, note_at, [(6, 2, 14, b"IMG:PowerShot\0"),
                                    (7, 2, len(firmware), firmware), (9, 2, len(owner), owner)])
        exif = ifd(order, exif_at, [(33434, 5, 1, number(1) + number(125)),
                                    (37500, 7, len(note), note)])
        note_at = exif_at + len(exif) - len(note)
    return mark + number(8) + first + exif
