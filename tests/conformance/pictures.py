"""The pictures that files are made of, and the independent ways back to pixels."""

import struct
from functools import lru_cache
from pathlib import Path

from harness import convert, require, run

WIDTH, HEIGHT = 96, 64


@lru_cache(None)
def photograph(width=WIDTH, height=HEIGHT, turn=0):
    """RGB bytes: slopes, a bright disc and a dark stripe, a little different for each turn."""
    pixels = bytearray()
    for y in range(height):
        for x in range(width):
            disc = 70 if (x - width * 0.6) ** 2 + (y - height * 0.4) ** 2 < (height / 4) ** 2 else 0
            stripe = -50 if (x + y + 7 * turn) % 40 < 9 else 0
            pixels += bytes(max(0, min(255, int(v))) for v in (
                30 + 150 * x / width + disc, 60 + 120 * y / height + stripe,
                200 - 130 * (x + y) / (width + height) + disc + stripe + 3 * turn))
    return bytes(pixels)


def ppm(width=WIDTH, height=HEIGHT, turn=0):
    return b"P6\n%d %d\n255\n" % (width, height) + photograph(width, height, turn)


def pam(width=WIDTH, height=HEIGHT, turn=0):
    """The same with alpha: opaque on the left, then less and less, a transparent corner."""
    rgb = photograph(width, height, turn)
    pixels = bytearray()
    for i in range(width * height):
        x, y = i % width, i // width
        alpha = 255 if x < width / 2 else 0 if y < 8 else int(255 - 200 * (x - width / 2) / width)
        pixels += rgb[3 * i:3 * i + 3] + bytes([alpha])
    return (b"P7\nWIDTH %d\nHEIGHT %d\nDEPTH 4\nMAXVAL 255\nTUPLTYPE RGB_ALPHA\nENDHDR\n"
            % (width, height) + bytes(pixels))


def deep_ppm(width=WIDTH, height=HEIGHT):
    """16 bits a sample, with something in the lower eight."""
    samples = photograph(width, height)
    pixels = b"".join(struct.pack(">BB", v, (37 * i + v) % 256) for i, v in enumerate(samples))
    return b"P6\n%d %d\n65535\n" % (width, height) + pixels


def few_colors(colors, width=WIDTH, height=HEIGHT, turn=0):
    """Few enough colours for a palette; both rows and columns change often."""
    table = [(40 + 37 * i % 200, 250 - 53 * i % 240, (90 * i + 11 * turn) % 256)
             for i in range(colors)]
    pixels = b"".join(bytes(table[(x // 3 + y // 2 + turn) % colors])
                      for y in range(height) for x in range(width))
    return b"P6\n%d %d\n255\n" % (width, height) + pixels


def profile(surplus=0):
    """A colour profile (ICC.1:2001-04): a display with wide primaries and a gamma of 1.8. `surplus`
    bytes of a private tag make it large."""
    def xyz(*values):
        return b"XYZ \0\0\0\0" + b"".join(struct.pack(">i", round(v * 65536)) for v in values)

    def text(words):
        return b"text\0\0\0\0" + words + b"\0"

    curve = b"curv\0\0\0\0" + struct.pack(">IH", 1, round(1.8 * 256)) + b"\0\0"
    name = b"Wide test display"
    description = (b"desc\0\0\0\0" + struct.pack(">I", len(name) + 1) + name + b"\0"
                   + bytes(4 + 4 + 2 + 1 + 67))
    tags = [(b"desc", description), (b"cprt", text(b"No rights reserved")),
            (b"wtpt", xyz(0.9642, 1.0, 0.8249)), (b"rXYZ", xyz(0.6097, 0.3111, 0.0195)),
            (b"gXYZ", xyz(0.2053, 0.6257, 0.0609)), (b"bXYZ", xyz(0.1492, 0.0632, 0.7445)),
            (b"rTRC", curve), (b"gTRC", curve), (b"bTRC", curve)]
    if surplus:
        tags.append((b"zxtr", text(bytes(65 + i * 7 % 26 for i in range(surplus)))))
    table, body = struct.pack(">I", len(tags)), b""
    start = 128 + 4 + 12 * len(tags)
    for tag, value in tags:
        table += tag + struct.pack(">II", start + len(body), len(value))
        body += value + bytes(-len(value) % 4)
    size = start + len(body)
    header = (struct.pack(">I4sI4s4s4s", size, b"test", 0x02400000, b"mntr", b"RGB ", b"XYZ ")
              + struct.pack(">6H", 2020, 2, 3, 4, 5, 6) + b"acsp" + bytes(28)
              + struct.pack(">3i", 63190, 65536, 54061) + bytes(48))
    return header + table + body


def rgba(data, *before):
    """Frames of a file as ImageMagick reads them."""
    pams = convert(*before, "-depth", "8", "-type", "TrueColorAlpha", "pam:-", stdin=data)
    frames = []
    while pams:
        head, _, rest = pams.partition(b"ENDHDR\n")
        fields = dict(line.split(None, 1) for line in head.split(b"\n")[1:] if line)
        require(fields[b"DEPTH"] == b"4", "ImageMagick gives a picture without alpha")
        width, height = int(fields[b"WIDTH"]), int(fields[b"HEIGHT"])
        frames.append((width, height, rest[:4 * width * height]))
        pams = rest[4 * width * height:]
    require(frames, "ImageMagick gives no picture")
    return frames


def by_imagemagick(kind):
    return lambda path: rgba(Path(path).read_bytes(), f"{kind}:-")


def from_pnm(data):
    """A binary PPM, or a PAM with alpha, as one frame."""
    if data.startswith(b"P7"):
        head, _, pixels = data.partition(b"ENDHDR\n")
        fields = dict(line.split(None, 1) for line in head.split(b"\n")[1:] if b" " in line)
        width, height = int(fields[b"WIDTH"]), int(fields[b"HEIGHT"])
        if int(fields[b"DEPTH"]) == 4:
            return width, height, pixels
    else:
        kind, width, height, _, pixels = _ppm_parts(data)
        require(kind == b"P6", "not a colour picture")
    opaque = bytearray(b"\xff" * (4 * width * height))
    for c in range(3):
        opaque[c::4] = pixels[c::3]
    return width, height, bytes(opaque)


def _ppm_parts(data):
    kind, size, most, pixels = data.split(b"\n", 3)
    width, height = size.split()
    return kind, int(width), int(height), int(most), pixels


def by_djpeg(path):
    return [from_pnm(run("djpeg", "-ppm", path))]
