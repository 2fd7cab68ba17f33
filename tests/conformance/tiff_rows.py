"""TIFF."""

import struct

from harness import add_format, convert, exiftool, kept, refused, require, run, told
from pictures import by_imagemagick, deep_ppm, few_colors, pam, photograph, ppm, profile
from tiff_parts import Tiff, every_tag, exif_with_maker_note, ifd, strile_count, tags, with_entries

T = "TIFF"
add_format(T, "public.tiff", by_imagemagick("tiff"), "ImageMagick", 0)
TAGS = "directories read byte by byte"
HAND = "put together byte by byte"
BITS, COMPRESSION, PHOTOMETRIC, FILL_ORDER, ROWS, PLANAR, PREDICTOR = 258, 259, 262, 266, 278, 284, 317
TILE_WIDTH, TILE_LENGTH, EXTRA, ICC, XMP, IPTC, IRB, JPEG_TABLES = (
    322, 323, 338, 34675, 700, 33723, 34377, 347)


def plain(*options, picture=None, name="plain.tif"):
    return lambda work: work.put(name, convert("-", "-compress", "None", *options, "tiff:-",
                                               stdin=picture or ppm()))


def copied(*options, make=plain()):
    """tiffcp's copy of a plain file."""
    def copy(work):
        run("tiffcp", *options, make(work), work.path("photo.tif"))
        return work.path("photo.tif")
    return copy


def numbers(*wanted):
    """The whole numbers of these tags, of each frame, and how many strips or tiles there are."""
    def read(path):
        tiff = Tiff(path.read_bytes())
        require(all(tag in tiff.directories[0] for tag in wanted), f"it lacks a tag of {wanted}")
        return ([[tiff.numbers(frame[tag]) for tag in wanted] for frame in tiff.directories],
                strile_count(path))
    return read


def valued(read, *values):
    """A file whose first frame must have these numbers."""
    def checked_read(path):
        found = read(path)
        require([entry[0] for entry in found[0][0]] == list(values), f"they are {found[0][0]}")
        return found
    return checked_read


for _name, _option, _value in (("none", "none", 1), ("LZW", "lzw", 5), ("Deflate", "zip", 8),
                               ("PackBits", "packbits", 32773), ("Zstandard", "zstd", 50000),
                               ("LZMA", "lzma", 34925)):
    kept(T, "compression", _name, copied("-c", _option), valued(numbers(COMPRESSION), _value),
         made="tiffcp", compared=TAGS)
kept(T, "compression", "JPEG of RGB, its tables too", copied("-r", "16", "-c", "jpeg:r:80"), lambda path: (
    valued(numbers(COMPRESSION), 7)(path), tags(JPEG_TABLES, PHOTOMETRIC)(path)), tolerance=4,
     made="tiffcp", compared=TAGS)
kept(T, "compression", "JPEG with chroma sampling", copied(
    "-r", "16", "-c", "jpeg:80"), lambda path: (
        valued(numbers(COMPRESSION, PHOTOMETRIC), 7, 6)(path), tags(JPEG_TABLES)(path)),
     tolerance=4, made="tiffcp", compared=TAGS)


def by_vips(*options):
    def save(work):
        run("vips", "tiffsave", plain()(work), work.path("photo.tif"), *options)
        return work.path("photo.tif")
    return save


kept(T, "compression", "WebP, lossless", by_vips("--compression", "webp", "--lossless"),
     valued(numbers(COMPRESSION), 50001), made="vips", compared=TAGS)
refused(T, "compression", "WebP, lossy", by_vips("--compression", "webp", "--Q", "70"), made="vips")
for _predictor, _case in ((1, "none"), (2, "differences")):
    kept(T, "predictor", _case, copied("-c", f"lzw:{_predictor}"),
         valued(numbers(COMPRESSION, PREDICTOR), 5, _predictor), made="tiffcp", compared=TAGS)
kept(T, "strips or tiles", "strips of 5 rows", copied("-r", "5"), valued(numbers(ROWS), 5),
     made="tiffcp", compared=TAGS)
kept(T, "strips or tiles", "one strip", copied("-r", "-1"), numbers(ROWS), made="tiffcp",
     compared=TAGS)
kept(T, "strips or tiles", "tiles of 32 x 16", copied("-t", "-w", "32", "-l", "16", "-c", "zip"),
     valued(numbers(TILE_WIDTH, TILE_LENGTH), 32, 16), made="tiffcp", compared=TAGS)
kept(T, "planar arrangement", "strips", copied("-p", "separate"), valued(numbers(PLANAR), 2),
     made="tiffcp", compared=TAGS)
kept(T, "planar arrangement", "tiles", copied("-p", "separate", "-t", "-w", "32", "-l", "32"),
     valued(numbers(PLANAR, TILE_WIDTH), 2, 32), made="tiffcp", compared=TAGS)


def head(path):
    data = path.read_bytes()
    return data[:4 if data[2:4] in (b"*\0", b"\0*") else 8]


for _case, _options, _start in (("little endian", ("-L",), b"II*\0"), ("big endian", ("-B",), b"MM\0*")):
    kept(T, "byte order", _case, copied(*_options), lambda path, start=_start: (
        require(head(path) == start, "another byte order"), head(path)), made="tiffcp",
         compared="byte by byte")
for _case, _options in (("little endian", ("-L",)), ("big endian, tiles", ("-B", "-t", "-c", "lzw"))):
    kept(T, "BigTIFF", _case, copied("-8", *_options), lambda path: (
        require(Tiff(path.read_bytes()).big, "it is no BigTIFF"), head(path), strile_count(path)),
         made="tiffcp", compared=TAGS)
kept(T, "bit order", "reversed", copied("-f", "lsb2msb", "-c", "zip"),
     valued(numbers(FILL_ORDER), 2), made="tiffcp", compared=TAGS)


def pages(work):
    names = [plain("-compress", kind, picture=ppm(96 + 8 * i, 64, i), name=f"page{i}.tif")(work)
             for i, kind in enumerate(("None", "LZW", "Zip"))]
    run("tiffcp", *names, work.path("photo.tif"))
    return work.path("photo.tif")


kept(T, "pages", "each stored in its own way", pages, lambda path: (
    require(len(Tiff(path.read_bytes()).directories) == 3, "three pages"), every_tag()(path)),
     made="tiffcp", compared=TAGS)
for _kind, _value in (("associated", 1), ("unassociated", 2)):
    kept(T, "alpha", _kind, plain("-define", f"tiff:alpha={_kind}", picture=pam()),
         valued(numbers(EXTRA), _value), tolerance=1, made="ImageMagick", compared=TAGS)


def palette_file(path):
    """All tags but the colours, and the pixel data."""
    tiff = Tiff(path.read_bytes())
    frame, = tiff.directories
    places = zip(tiff.numbers(frame[273]), tiff.numbers(frame[279]))
    require(320 in frame, "it has no colour map")
    return (every_tag(frozenset({320}))(path), frame[320][:2],
            b"".join(tiff.data[at:at + size] for at, size in places))


kept(T, "colour map", "indices bit for bit", plain("-type", "Palette", picture=few_colors(12)),
     palette_file, made="ImageMagick", compared=TAGS)
deep = plain("-depth", "16", picture=deep_ppm())
kept(T, "depth", "16 bits, unless asked otherwise", deep,
     lambda path: [entry[2] for frame in tags(BITS)(path) for entry in frame.values()],
     change=lambda old: [value.replace(b"\x10", b"\x08") for value in old], tolerance=1,
     outcome="becomes 8 bits", made="ImageMagick", compared=TAGS)
kept(T, "depth, with --depth keep", "16 bits", deep, tags(BITS), options=("--depth", "keep"),
     tolerance=1, made="ImageMagick", compared=TAGS)


def with_exiftool(*arguments):
    return lambda work: exiftool(plain()(work), *arguments)


kept(T, "ICC profile", "", lambda work: exiftool(
    plain()(work), f"-icc_profile<={work.put('wide.icc', profile())}"), tags(ICC),
     made="exiftool", compared=TAGS)
kept(T, "Exif", "", with_exiftool("-ExposureTime=1/125", "-FNumber=5.6", "-UserComment=words"),
     tags(34665), made="exiftool", compared=TAGS)
kept(T, "GPS position", "", with_exiftool("-GPSLatitude=48.2", "-GPSLatitudeRef=N"), tags(34853),
     made="exiftool", compared=TAGS)
kept(T, "orientation", "", with_exiftool("-n", "-Orientation=6"), tags(274), made="exiftool",
     compared=TAGS)
kept(T, "XMP", "", with_exiftool("-XMP-dc:Title=A title"), tags(XMP), made="exiftool",
     compared=TAGS)
kept(T, "IPTC", "", with_exiftool("-IPTC:Keywords=harbour", "-IPTC:City=Trieste"), tags(IPTC),
     made="exiftool", compared=TAGS)
kept(T, "image resources", "unknown ones too", lambda work: work.put("photo.tif", with_entries(
    plain()(work).read_bytes(), (IRB, 7, 40, b"8BIM\x04\x0a\0\0\0\0\0\x01\x01\0"
                                 + b"8BIM\x0b\xb7\x03abc\0\0\0\x0bhello world\0"[:26]))),
     tags(IRB), made=HAND, compared=TAGS)


def texts(work):
    path = plain()(work)
    for tag, words in ((315, "A. Photographer"), (270, "What it shows"), (33432, "No rights"),
                       (305, "a program"), (285, "a page"), (306, "2020:02:03 04:05:06")):
        run("tiffset", "-s", tag, words, path)
    return path


kept(T, "texts", "", texts, tags(315, 270, 33432, 305, 285, 306), made="tiffset", compared=TAGS)
kept(T, "resolution", "", plain("-density", "240x300", "-units", "PixelsPerInch"),
     tags(282, 283, 296), made="ImageMagick", compared=TAGS)
kept(T, "private tags", "of every type", lambda work: work.put("photo.tif", with_entries(
    plain()(work).read_bytes(), *((65000 + kind, kind, 3, bytes(range(3 * size)))
                                  for kind, size in enumerate((1, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4,
                                                               8)) if kind))),
     tags(*range(65001, 65013)), made=HAND, compared=TAGS)
kept(T, "sub-directories", "without pictures", lambda work: work.put("photo.tif", with_entries(
    plain()(work).read_bytes(), sub=([(65010, 2, 6, b"below\0")], [(65011, 4, 1, b"\1\2\3\4")]))),
     tags(330), made=HAND, compared=TAGS)


def at_its_place(work):
    """A block as a camera writes it, at the start of the file; its note counts from there."""
    exif = exif_with_maker_note()
    tiff = Tiff(exif)
    body = ppm()[-96 * 64 * 3:]
    at = len(exif) + len(exif) % 2
    pixels = exif + bytes(len(exif) % 2) + body
    word = lambda v: struct.pack("<I", v)
    entries = [(tag, *entry) for tag, entry in tiff.directories[0].items()]
    entries += [(256, 4, 1, word(96)), (257, 4, 1, word(64)), (258, 3, 3, b"\10\0\10\0\10\0"),
                (259, 3, 1, b"\1\0"), (262, 3, 1, b"\2\0"), (273, 4, 1, word(at)),
                (277, 3, 1, b"\3\0"), (278, 4, 1, word(64)), (279, 4, 1, word(len(body)))]
    return work.put("photo.tif", pixels[:4] + word(len(pixels)) + pixels[8:]
                    + ifd("<", len(pixels), entries))


kept(T, "maker notes", "at their place in the file", at_its_place,
     lambda path: (told("-MakerNotes:all")(path), path.read_bytes()[8:len(exif_with_maker_note())]),
     made=HAND, compared="byte by byte, exiftool")
kept(T, "other bytes", "that no tag points at", lambda work: work.put(
    "photo.tif", plain()(work).read_bytes() + b"what follows"),
     lambda path: b"what follows" in path.read_bytes(), made=HAND, compared="byte by byte")
refused(T, "colours", "grey", plain("-colorspace", "Gray"), made="ImageMagick")
refused(T, "colours", "CMYK", plain("-colorspace", "CMYK"), made="ImageMagick")
refused(T, "colours", "L*a*b*", plain("-colorspace", "Lab"), made="ImageMagick")


def smaller_picture(kind):
    """A file with another picture in a sub-directory: 48 x 32 RGB, one strip."""
    def make(work):
        data = plain()(work).read_bytes()
        data += bytes(len(data) % 2)
        at, pixels = len(data), photograph(48, 32, 1)
        word = lambda v: struct.pack(Tiff(data).order + "I", v)
        half = lambda *v: struct.pack(f"{Tiff(data).order}{len(v)}H", *v)
        return work.put("photo.tif", with_entries(data + pixels, sub=([
            (254, 4, 1, word(kind)), (256, 4, 1, word(48)), (257, 4, 1, word(32)),
            (258, 3, 3, half(8, 8, 8)), (259, 3, 1, half(1)), (262, 3, 1, half(2)),
            (273, 4, 1, word(at)), (277, 3, 1, half(3)), (278, 4, 1, word(32)),
            (279, 4, 1, word(len(pixels)))],)))
    return make


def with_smaller(path):
    """The frame, and the picture of the sub-directory."""
    tiff = Tiff(path.read_bytes())
    (below,), = tiff.sub_directories(tiff.directories[0]).values()
    at, size = tiff.numbers(below[273])[0], tiff.numbers(below[279])[0]
    pixels = tiff.data[at:at + size]
    opaque = b"".join(pixels[i:i + 3] + b"\xff" for i in range(0, size, 3))
    return by_imagemagick("tiff")(path) + [(48, 32, opaque)]


kept(T, "sub-directories", "with the picture in another size", smaller_picture(1), tags(330),
     outcome="adjusted, too", decode=with_smaller, made=HAND, compared=TAGS)
refused(T, "layers", "of an image editor", lambda work: work.put("photo.tif", with_entries(
    plain()(work).read_bytes(), (37724, 7, 44, b"Adobe Photoshop Document Data Block\0MIB8ryaL"))),
        made=HAND)
refused(T, "raw camera data", "", lambda work: work.put("photo.tif", with_entries(
    plain()(work).read_bytes(), (50706, 1, 4, b"\1\4\0\0"))), made=HAND)
refused(T, "damage", "cut short", lambda work: work.put(
    "photo.tif", copied("-c", "lzw")(work).read_bytes()[:-300]), made="tiffcp, cut")
refused(T, "damage", "a strip's checksum", lambda work: work.put("photo.tif", (
    lambda data, strip: data[:strip + 40] + bytes([data[strip + 40] ^ 0x10]) + data[strip + 41:])(
        *(lambda data: (data, Tiff(data).numbers(Tiff(data).directories[0][273])[0]))(
            copied("-c", "zip")(work).read_bytes()))), made="tiffcp, one bit changed")
