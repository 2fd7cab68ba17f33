"""BMP."""

import struct

from harness import add_format, convert, kept, refused, require
from pictures import by_imagemagick, few_colors, pam, photograph, ppm, profile, rgba

B = "BMP"
add_format(B, "com.microsoft.bmp", by_imagemagick("bmp"), "ImageMagick", 0)
HAND = "put together byte by byte"
HEADER = "headers read byte by byte"
WIDTH, HEIGHT = 96, 64


def converted(kind="bmp", *options, picture=None):
    return lambda work: work.put("photo.bmp", convert("-", *options, f"{kind}:-",
                                                      stdin=picture or ppm()))


def head(path):
    """Everything before the pixels and the colour table."""
    data = path.read_bytes()
    size, = struct.unpack_from("<I", data, 14)
    return data[:14 + size]


def header(size, bits, compression=None):
    """The same of a file that must be of this kind."""
    def read(path):
        data = head(path)
        own_bits, = struct.unpack_from("<H", data, 24 if size == 12 else 28)
        require((len(data) - 14, own_bits) == (size, bits),
                f"header of {len(data) - 14} bytes, {own_bits} bits")
        if compression is not None:
            require(struct.unpack_from("<I", data, 30)[0] == compression, "another compression")
        return data
    return read


def pixel_data(path):
    data = path.read_bytes()
    return data[struct.unpack_from("<I", data, 10)[0]:]


def written(bits, row, *, info=40, compression=0, masks=b"", table=b"", gap=b"", down=False,
            extra=b"", tail=b"", size_x=WIDTH):
    """A file put together here: `row` gives the packed samples of row y."""
    pixels = b"".join((lambda packed: packed + bytes(-len(packed) % 4))(row(y))
                      for y in (range(HEIGHT) if down else reversed(range(HEIGHT))))
    fields = struct.pack("<IiiHHIIiiII", info, size_x, -HEIGHT if down else HEIGHT, 1, bits,
                         compression, len(pixels), 3937, 2835, len(table) // 4, 0)
    start = 14 + info + len(table) + len(gap) + (len(masks) if info == 40 else 0)
    begin = (b"BM" + struct.pack("<IHHI", start + len(pixels) + len(extra), 7, 9, start) + fields
             + masks + extra_fields(info, len(masks), start + len(pixels) - 14, len(extra)))
    return begin + table + gap + pixels + extra + tail


def extra_fields(info, masks, profile_at, profile_size):
    """What versions 4 and 5 have after the masks."""
    if info < 108:
        return b""
    kind = b"DEBM" if profile_size else b"BGRs"
    fields = kind + bytes(48)
    if info == 124:
        fields += struct.pack("<4I", 4, profile_at if profile_size else 0, profile_size, 0)
    return fields + bytes(info - 40 - masks - len(fields))


RGB = photograph()


def bgr(y):
    row = RGB[3 * WIDTH * y:3 * WIDTH * (y + 1)]
    return b"".join(row[i:i + 3][::-1] for i in range(0, len(row), 3))


def packed_565(y):
    row = RGB[3 * WIDTH * y:3 * WIDTH * (y + 1)]
    return b"".join(struct.pack("<H", (row[i] >> 3) << 11 | (row[i + 1] >> 2) << 5 | row[i + 2] >> 3)
                    for i in range(0, len(row), 3))


def packed_555(y):
    row = RGB[3 * WIDTH * y:3 * WIDTH * (y + 1)]
    return b"".join(struct.pack("<H", (row[i] >> 3) << 10 | (row[i + 1] >> 3) << 5 | row[i + 2] >> 3)
                    for i in range(0, len(row), 3))


def fourth_byte(y):
    row = bgr(y)
    return b"".join(row[i:i + 3] + bytes([(5 * i + y) % 256]) for i in range(0, len(row), 3))


def by_hand(*arguments, **options):
    return lambda work: work.put("photo.bmp", written(*arguments, **options))


def table(colors):
    return b"".join(bytes([90 * i % 256, (250 - 53 * i) % 256, (40 + 37 * i) % 256, 0])
                    for i in range(colors))


M565 = struct.pack("<3I", 0xF800, 0x07E0, 0x001F)
MASKS = struct.pack("<4I", 0xFF0000, 0xFF00, 0xFF, 0xFF000000)
kept(B, "version of the header", "Windows 3, 24 bits", converted("bmp3"), header(40, 24),
     made="ImageMagick", compared=HEADER)
kept(B, "version of the header", "OS/2 1", converted("bmp2"), header(12, 24), made="ImageMagick",
     compared=HEADER)
kept(B, "version of the header", "Windows 4", by_hand(32, fourth_byte, info=108, compression=3,
                                                      masks=MASKS),
     header(108, 32), made=HAND, compared=HEADER)
kept(B, "version of the header", "Windows 5", converted(), header(124, 24), made="ImageMagick",
     compared=HEADER)
kept(B, "depth and masks", "16 bits, 5-6-5", by_hand(16, packed_565, compression=3, masks=M565),
     header(40, 16, 3), tolerance=4, made=HAND, compared=HEADER)
kept(B, "depth and masks", "16 bits, 5-5-5",
     by_hand(16, packed_555), header(40, 16, 0), tolerance=4, made=HAND, compared=HEADER)
kept(B, "depth and masks", "32 bits with alpha", converted(picture=pam()), header(124, 32, 3),
     made="ImageMagick", compared=HEADER)
kept(B, "unnamed bits", "the fourth byte of 32 bits", by_hand(32, fourth_byte),
     lambda path: (header(40, 32, 0)(path), pixel_data(path)[3::4]), made=HAND,
     compared="byte by byte")
for _bits in (1, 4, 8):
    kept(B, "indices", f"of {_bits} bits", by_hand(
        _bits, lambda y, bits=_bits: bytes((29 * x + 31 * y) % 256
                                           for x in range(WIDTH * bits // 8)),
        table=table(1 << _bits)), lambda path: (head(path), pixel_data(path)), made=HAND,
         compared="byte by byte")
kept(B, "runs", "of 8 bits", converted(
    "bmp3", "-type", "Palette", "-compress", "RLE", picture=few_colors(12)),
     lambda path: (header(40, 8, 1)(path), pixel_data(path)), made="ImageMagick",
     compared="byte by byte")


def runs_of_4(work):
    rows = b"".join(bytes([40, (0x12 + y) % 256, 0, 8, 0x12, 0x34, 0x56, 0x78, 48, 0x9A, 0, 0])
                    for y in range(HEIGHT)) + b"\0\1"
    fields = struct.pack("<IiiHHIIiiII", 40, WIDTH, HEIGHT, 1, 4, 2, len(rows), 0, 0, 16, 0)
    start = 14 + 40 + 64
    return work.put("photo.bmp", b"BM" + struct.pack("<IHHI", start + len(rows), 0, 0, start)
                    + fields + table(16) + rows)


kept(B, "runs", "of 4 bits", runs_of_4, lambda path: (header(40, 4, 2)(path), pixel_data(path)),
     made=HAND, compared="byte by byte")
kept(B, "row order", "top-down", by_hand(24, bgr, down=True), header(40, 24), made=HAND,
     compared=HEADER)
kept(B, "resolution", "", by_hand(24, bgr), lambda path: struct.unpack_from("<2i", head(path), 38),
     made=HAND, compared=HEADER)
kept(B, "ICC profile", "", by_hand(32, fourth_byte, info=124, compression=3, masks=MASKS,
                                   extra=profile()),
     lambda path: (header(124, 32)(path), path.read_bytes()[-len(profile()):] == profile()),
     made=HAND, compared="byte by byte")
kept(B, "other bytes", "reserved, between the parts and after them",
     by_hand(24, bgr, gap=b"in between", tail=b"and after"),
     lambda path: (path.read_bytes()[6:10], path.read_bytes()[54:64], path.read_bytes()[-9:]),
     decode=lambda path: rgba(path.read_bytes()[:-9], "bmp:-"),  # ImageMagick takes no more
     made=HAND, compared="byte by byte")
refused(B, "other contents", "a PNG picture inside", by_hand(0, bgr, compression=5), made=HAND)
refused(B, "damage", "cut short", lambda work: work.put(
    "photo.bmp", converted("bmp3")(work).read_bytes()[:-200]), made="ImageMagick, cut")
