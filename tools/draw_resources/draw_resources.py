#!/usr/bin/env python3
"""Draws the curves view's cursors, point boxes and value labels, each at 1x and 2x.

    draw_resources.py FOLDER            writes them
    draw_resources.py --check FOLDER    compares them with the files that are there

Shapes are given in view units with the origin at the top left, and sampled eight times a unit each
way; nothing but the numbers below decides what comes out."""

import argparse
import struct
import sys
import zlib
from pathlib import Path

SAMPLES = 8  # a view unit and direction, whatever the scale
SCALES = (1, 2)
POINTS_PER_INCH = 72
METRES_PER_INCH = 0.0254

BLACK = (0, 0, 0, 1)
WHITE = (1, 1, 1, 1)
INK = (0.13, 0.13, 0.14, 1)
TAG = (0.16, 0.17, 0.19, 1)
TAG_EDGE = (0.75, 0.76, 0.78, 1)
SHADE = (0, 0, 0, 0.12)


def rectangle(left, top, right, bottom):
    return lambda x, y: left <= x < right and top <= y < bottom


def polygon(*points):
    edges = list(zip(points, points[1:] + points[:1]))

    def inside(x, y):
        crossings = 0
        for (x0, y0), (x1, y1) in edges:
            if (y0 <= y) != (y1 <= y) and x < x0 + (y - y0) * (x1 - x0) / (y1 - y0):
                crossings += 1
        return crossings % 2 == 1

    return inside


def grown(by, *points):
    """A polygon and all within a distance of it, which rounds its corners."""
    inside = polygon(*points)
    edges = list(zip(points, points[1:] + points[:1]))

    def near(x, y):
        if inside(x, y):
            return True
        for (x0, y0), (x1, y1) in edges:
            dx, dy = x1 - x0, y1 - y0
            along = ((x - x0) * dx + (y - y0) * dy) / (dx * dx + dy * dy)
            along = min(max(along, 0), 1)
            if (x - x0 - along * dx) ** 2 + (y - y0 - along * dy) ** 2 <= by * by:
                return True
        return False

    return near


def outlined(*points):
    return [(grown(1, *points), WHITE), (polygon(*points), BLACK)]


def moved(dx, dy, points):
    return [(x + dx, y + dy) for x, y in points]


# The tip lies on the hot spot, (3.0, 1.5).
ARROW = [(3, 1.5), (3, 16.5), (6.5, 13.2), (9, 19), (11.4, 18), (9, 12.4), (13.8, 12.4)]
PLUS = [(-1, -4), (1, -4), (1, -1), (4, -1), (4, 1), (1, 1), (1, 4), (-1, 4), (-1, 1), (-4, 1),
        (-4, -1), (-1, -1)]
FOUR_WAYS = [(0, -6), (2.5, -3.5), (0.5, -3.5), (0.5, -0.5), (3.5, -0.5), (3.5, -2.5), (6, 0),
             (3.5, 2.5), (3.5, 0.5), (0.5, 0.5), (0.5, 3.5), (2.5, 3.5), (0, 6), (-2.5, 3.5),
             (-0.5, 3.5), (-0.5, 0.5), (-3.5, 0.5), (-3.5, 2.5), (-6, 0), (-3.5, -2.5),
             (-3.5, -0.5), (-0.5, -0.5), (-0.5, -3.5), (-2.5, -3.5)]


def tag(points):
    """A rounded plate with a point to it and a soft shade below."""
    layers = [(grown(3 + more, *moved(0, 1, points)), SHADE) for more in (2, 1.5, 1)]
    return layers + [(grown(3, *points), TAG_EDGE), (grown(2, *points), TAG)]


# name, width, height, layers from the bottom to the top
IMAGES = [
    ("CurvesCursor.tif", 16, 21, outlined(*ARROW)),
    ("CurvesAdd.tif", 24, 24, outlined(*ARROW) + outlined(*moved(18, 18, PLUS))),
    ("CurvesMove.tif", 25, 25, outlined(*ARROW) + outlined(*moved(17.5, 17.5, FOUR_WAYS))),
    ("CurvesBoxNormal.png", 7, 7,
     [(rectangle(1, 1, 6, 6), INK), (rectangle(2, 2, 5, 5), WHITE)]),
    ("CuvesBoxSelected.png", 7, 7, [(rectangle(1, 1, 6, 6), INK)]),
    # Beside the plot, its point towards it; the text's baseline is 13 above the lower edge.
    ("CurvesLabelLeft.png", 52, 37,
     tag([(7, 11), (41, 11), (47, 18.5), (41, 26), (7, 26)])),
    # Below the plot.
    ("CurvesLabelBottom.png", 51, 39,
     tag([(8, 14), (21.5, 14), (25.5, 8), (29.5, 14), (43, 14), (43, 29), (8, 29)])),
]


def sample(layers, x, y):
    """Premultiplied r, g, b and alpha of one point."""
    color = (0.0, 0.0, 0.0, 0.0)
    for inside, (red, green, blue, alpha) in reversed(layers):
        if inside(x, y):
            left = (1 - color[3]) * alpha
            color = (color[0] + red * left, color[1] + green * left, color[2] + blue * left,
                     color[3] + left)
            if color[3] == 1:
                break
    return color


def sampled(width, height, layers):
    return [[sample(layers, (x + 0.5) / SAMPLES, (y + 0.5) / SAMPLES)
             for x in range(width * SAMPLES)] for y in range(height * SAMPLES)]


def pixels_of(samples, scale):
    """Rows of straight 8-bit r, g, b, a."""
    per_pixel = SAMPLES // scale
    rows = []
    for top in range(0, len(samples), per_pixel):
        row = bytearray()
        for left in range(0, len(samples[0]), per_pixel):
            block = [samples[y][x] for y in range(top, top + per_pixel)
                     for x in range(left, left + per_pixel)]
            red, green, blue, alpha = (sum(channel) for channel in zip(*block))
            for value in (red, green, blue):
                row.append(int(255 * value / alpha + 0.5) if alpha > 0 else 0)
            row.append(int(255 * alpha / len(block) + 0.5))
        rows.append(bytes(row))
    return rows


def png(rows, scale):
    def chunk(kind, data):
        return (struct.pack(">I", len(data)) + kind + data +
                struct.pack(">I", zlib.crc32(kind + data)))

    per_metre = round(scale * POINTS_PER_INCH / METRES_PER_INCH)
    return (b"\x89PNG\r\n\x1a\n" +
            chunk(b"IHDR", struct.pack(">IIBBBBB", len(rows[0]) // 4, len(rows), 8, 6, 0, 0, 0)) +
            chunk(b"pHYs", struct.pack(">IIB", per_metre, per_metre, 1)) +
            chunk(b"IDAT", zlib.compress(b"".join(b"\0" + row for row in rows), 9)) +
            chunk(b"IEND", b""))


def tiff(rows, scale):
    """One uncompressed strip; straight alpha."""
    width, height, pixels = len(rows[0]) // 4, len(rows), b"".join(rows)
    short, long, rational = 3, 4, 5
    entries = [(256, long, 1, width), (257, long, 1, height), (258, short, 4, None),
               (259, short, 1, 1), (262, short, 1, 2), (273, long, 1, None), (277, short, 1, 4),
               (278, long, 1, height), (279, long, 1, len(pixels)), (282, rational, 1, None),
               (283, rational, 1, None), (284, short, 1, 1), (296, short, 1, 2),
               (338, short, 1, 2)]
    bits = 8 + 2 + 12 * len(entries) + 4
    resolution = bits + 8
    offsets = {258: bits, 273: resolution + 8, 282: resolution, 283: resolution}
    directory = b"".join(struct.pack("<HHII", number, kind, count, offsets.get(number, value))
                         for number, kind, count, value in entries)
    return (struct.pack("<2sHI", b"II", 42, 8) + struct.pack("<H", len(entries)) + directory +
            struct.pack("<I4HII", 0, 8, 8, 8, 8, scale * POINTS_PER_INCH, 1) + pixels)


def inflated(data):
    """A PNG with its pixels in plain, since compressors differ in how they compress."""
    parts, at = [data[:8]], 8
    while at + 12 <= len(data):
        (length,) = struct.unpack_from(">I", data, at)
        kind, body = data[at + 4:at + 8], data[at + 8:at + 8 + length]
        parts.append((kind, zlib.decompress(body) if kind == b"IDAT" else body))
        at += 12 + length
    return parts, data[at:]


def same(name, ours, theirs):
    if name.endswith(".png"):
        try:
            return inflated(ours) == inflated(theirs)
        except zlib.error:
            return False
    return ours == theirs


def files():
    """(file name, contents) of each picture."""
    for name, width, height, layers in IMAGES:
        stem, _, extension = name.rpartition(".")
        encode = {"png": png, "tif": tiff}[extension]
        samples = sampled(width, height, layers)
        for scale in SCALES:
            suffix = "" if scale == 1 else f"@{scale}x"
            yield f"{stem}{suffix}.{extension}", encode(pixels_of(samples, scale), scale)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("folder", type=Path)
    parser.add_argument("--check", action="store_true", help="compare, write nothing")
    arguments = parser.parse_args()
    wrong = 0
    for name, contents in files():
        path = arguments.folder / name
        if not arguments.check:
            path.write_bytes(contents)
        elif not path.is_file() or not same(name, contents, path.read_bytes()):
            print(f"{name}: is not what {Path(__file__).name} draws")
            wrong += 1
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
