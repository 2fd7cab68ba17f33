"""The parts that files are made of, read and put together by the letter of each format, without any
library and without a line of Kelvo's."""

import struct
import zlib
from pathlib import Path

from harness import require

# --- JPEG (ITU-T T.81) ---


def jpeg_parts(data):
    """Segments as (marker, payload), scans' data left out, and what follows the end marker."""
    require(data[:2] == b"\xff\xd8", "not a JPEG file")
    segments, at = [], 2
    while True:
        require(data[at] == 0xFF, f"no marker at {at}")
        marker = data[at + 1]
        if marker == 0xD9:
            return segments, data[at + 2:]
        length = struct.unpack_from(">H", data, at + 2)[0]
        segments.append((marker, data[at + 4:at + 2 + length]))
        at += 2 + length
        if marker == 0xDA:
            while data[at] != 0xFF or data[at + 1] == 0 or 0xD0 <= data[at + 1] <= 0xD7:
                at += 1


def jpeg_segments(*markers, begins=b""):
    """A reader of a file's segments with these markers, in order."""
    def read(path):
        return [part for part in jpeg_parts(Path(path).read_bytes())[0]
                if part[0] in markers and part[1].startswith(begins)]
    return read


def with_jpeg_segments(data, *segments):
    """Segments put right after the file's JFIF header, or first of all."""
    at = 2
    if data[2:4] == b"\xff\xe0":
        at += 2 + struct.unpack_from(">H", data, 4)[0]
    new = b"".join(struct.pack(">BBH", 0xFF, marker, len(payload) + 2) + payload
                   for marker, payload in segments)
    return data[:at] + new + data[at:]


# --- PNG ---

PNG_SIGNATURE = b"\x89PNG\r\n\x1a\n"


def png_chunks(data):
    """Chunks as (type, data), checksums verified, up to IEND."""
    require(data.startswith(PNG_SIGNATURE), "not a PNG file")
    chunks, at = [], 8
    while not chunks or chunks[-1][0] != b"IEND":
        length, = struct.unpack_from(">I", data, at)
        kind, body = data[at + 4:at + 8], data[at + 8:at + 8 + length]
        require(struct.unpack_from(">I", data, at + 8 + length)[0] == zlib.crc32(kind + body),
                f"the checksum of {kind} is wrong")
        chunks.append((kind, body))
        at += 12 + length
    return chunks


def png_bytes(chunks):
    return PNG_SIGNATURE + b"".join(
        struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body))
        for kind, body in chunks)


def png_order(path):
    """The kinds of chunks in their order; neighbours that hold pixels count once."""
    order = []
    for kind, _ in png_chunks(Path(path).read_bytes()):
        if kind not in (b"IDAT", b"fdAT") or not order or order[-1] != kind:
            order.append(kind)
    return order


def png_of(*kinds):
    def read(path):
        return [chunk for chunk in png_chunks(Path(path).read_bytes()) if chunk[0] in kinds]
    return read


def with_png_chunks(data, *chunks, before=b"IDAT"):
    old = png_chunks(data)
    at = [kind for kind, _ in old].index(before)
    return png_bytes(old[:at] + list(chunks) + old[at:])


# --- RIFF ---


def riff_chunks(data):
    """Chunks of a RIFF file as (type, data), and what follows its length."""
    require(data[:4] == b"RIFF", "not a RIFF file")
    size, = struct.unpack_from("<I", data, 4)
    return _riff_list(data[12:8 + size]), data[8 + size:]


def _riff_list(data):
    chunks, at = [], 0
    while at < len(data):
        length, = struct.unpack_from("<I", data, at + 4)
        chunks.append((data[at:at + 4], data[at + 8:at + 8 + length]))
        at += 8 + length + length % 2
    return chunks


def riff_bytes(kind, chunks):
    body = kind + b"".join(name + struct.pack("<I", len(data)) + data + bytes(len(data) % 2)
                           for name, data in chunks)
    return b"RIFF" + struct.pack("<I", len(body)) + body


def webp_frames(data):
    """Each animation frame: its 16 bytes of place and timing, and its chunks."""
    return [(body[:16], _riff_list(body[16:]))
            for kind, body in riff_chunks(data)[0] if kind == b"ANMF"]


# --- GIF ---


def gif_blocks(data):
    """Blocks as (what, bytes): header, tables, extensions by label, frames, their indices, and the
    rest from the trailer on."""
    require(data[:3] == b"GIF", "not a GIF file")

    def table(packed):
        return 3 << ((packed & 7) + 1) if packed & 0x80 else 0

    def sub_blocks(at):
        while data[at]:
            at += 1 + data[at]
        return at + 1

    blocks, at = [("header", data[:13])], 13
    blocks.append(("global table", data[at:at + table(data[10])]))
    at += table(data[10])
    while data[at] != 0x3B:
        if data[at] == 0x21:
            end = sub_blocks(at + 2)
            blocks.append((f"extension {data[at + 1]:#x}", data[at:end]))
        else:
            require(data[at] == 0x2C, f"no block at {at}")
            blocks.append(("frame", data[at:at + 10]))
            size = table(data[at + 9])
            blocks.append(("local table", data[at + 10:at + 10 + size]))
            start = at + 10 + size
            end = sub_blocks(start + 1)
            blocks.append(("indices", data[start:end]))
        at = end
    return blocks + [("rest", data[at:])]


def gif_of(*kinds):
    def read(path):
        return [block for block in gif_blocks(Path(path).read_bytes()) if block[0] in kinds]
    return read


def with_gif_block(data, block):
    """An extension put before the first frame, or before its control block."""
    blocks = gif_blocks(data)
    at = next(i for i, (kind, _) in enumerate(blocks) if kind in ("frame", "extension 0xf9"))
    return b"".join(body for _, body in blocks[:at]) + block + b"".join(
        body for _, body in blocks[at:])


# --- ISO base media files ---

CONTAINERS = {b"iprp", b"ipco", b"dinf", b"meta"}


def boxes(data, start=0, end=None, inside=b""):
    """Boxes as (path, data), containers opened."""
    end = len(data) if end is None else end
    found = []
    while start < end:
        size, kind = struct.unpack_from(">I4s", data, start)
        head = 8
        if size == 1:
            size, head = struct.unpack_from(">Q", data, start + 8)[0], 16
        size = size or end - start
        require(head <= size <= end - start, f"a box at {start} does not fit")
        name = inside + b"/" + kind
        if kind in CONTAINERS:
            skip = 4 if kind == b"meta" else 0
            found.append((name, data[start + head:start + head + skip]))
            found += boxes(data, start + head + skip, start + size, name)
        else:
            found.append((name, data[start + head:start + size]))
        start += size
    return found


def box_of(*kinds):
    def read(path):
        return [(name, body) for name, body in boxes(Path(path).read_bytes())
                if name.rsplit(b"/", 1)[1] in kinds]
    return read


def after_end(read_rest):
    """A reader of what follows the end of a file's own structure."""
    return lambda path: read_rest(Path(path).read_bytes())
