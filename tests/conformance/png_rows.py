"""PNG and animated PNG."""

import struct
import zlib

from harness import add_format, convert, exiftool, kept, refused, require, run, told
from parts import PNG_SIGNATURE, after_end, png_bytes, png_chunks, png_of, png_order, with_png_chunks
from pictures import by_imagemagick, deep_ppm, few_colors, pam, photograph, ppm, profile, rgba

P = "PNG"
add_format(P, "public.png", by_imagemagick("png"), "ImageMagick", 0)
CHUNKS = "chunks read byte by byte"
HAND = "put together byte by byte"


def converted(*options, picture=None, name="photo.png"):
    """ImageMagick's own notes about dates are left out, to have less to tell apart."""
    return lambda work: work.put(name, convert(
        "-", *options, "-define", "png:exclude-chunks=date", "png:-", stdin=picture or ppm()))


def header(color, depth, interlaced=0):
    """The header of a file that must be of this kind."""
    def read(path):
        chunks = png_chunks(path.read_bytes())
        require(chunks[0][1][8:13] == bytes([depth, color, 0, 0, interlaced]),
                f"its header is {chunks[0][1][8:13]}")
        return chunks[0]
    return read


def with_chunks(*chunks, before=b"IDAT", make=converted("-define", "png:color-type=2")):
    return lambda work: work.put("photo.png", with_png_chunks(
        make(work).read_bytes(), *chunks, before=before))


def by_exiftool(*arguments):
    return lambda work: exiftool(converted()(work), *arguments)


def written(color, depth, rows, *before):
    """A file put together here: rows are packed samples."""
    height, width = len(rows), len(rows[0]) * 8 // depth // (3 if color == 2 else 1)
    body = zlib.compress(b"".join(b"\0" + row for row in rows))
    return png_bytes([(b"IHDR", struct.pack(">IIBBBBB", width, height, depth, color, 0, 0, 0)),
                      *before, (b"IDAT", body), (b"IEND", b"")])


def with_color_key(work):
    rgb = photograph()
    rows = [rgb[i:i + 288] for i in range(0, len(rgb), 288)]
    return work.put("photo.png", written(2, 8, rows, (
        b"tRNS", struct.pack(">3H", *rgb[300:303]))))


def indexed(depth, *before):
    def make(work):
        colors = 1 << depth
        table = b"".join(bytes([(40 + 37 * i) % 200, (250 - 53 * i) % 240, 90 * i % 256])
                         for i in range(colors))
        rows = [bytes((29 * x + 31 * y) % 256 for x in range(12 * depth)) for y in range(64)]
        return work.put("photo.png", written(3, depth, rows, (b"PLTE", table), *before))
    return make


def table_of(path):
    """How many colours and translucent entries, and the picture data."""
    chunks = png_chunks(path.read_bytes())
    return [len(body) if kind == b"PLTE" else body for kind, body in chunks
            if kind in (b"PLTE", b"tRNS", b"IDAT", b"IHDR")]


def translucency(path):
    chunk, = png_of(b"tRNS")(path)
    return len(chunk[1]), header(2, 8)(path)


rgba_picture = converted("-define", "png:color-type=6", picture=pam())
kept(P, "colour type", "RGB", converted("-define", "png:color-type=2"), header(2, 8),
     made="ImageMagick", compared=CHUNKS)
kept(P, "colour type", "RGB with alpha", rgba_picture, header(6, 8), made="ImageMagick",
     compared=CHUNKS)
kept(P, "colour type", "RGB with a transparent colour", with_color_key, translucency,
     made=HAND, compared=CHUNKS)
for _bits in (1, 2, 4, 8):
    kept(P, "colour table", f"of {_bits} bits, indices bit for bit", indexed(_bits), table_of,
         made=HAND, compared=CHUNKS)
kept(P, "colour table", "with alpha", indexed(4, (b"tRNS", bytes([0, 80, 160, 255]))), table_of,
     made=HAND, compared=CHUNKS)
kept(P, "colour table", "suggested for RGB", with_chunks((b"PLTE", bytes(range(30)))),
     png_of(b"PLTE"), made=HAND, compared=CHUNKS)
kept(P, "interlacing", "RGB", converted("-interlace", "PNG", "-define", "png:color-type=2"),
     header(2, 8, 1), made="ImageMagick", compared=CHUNKS)
kept(P, "interlacing", "colour table",
     converted("-interlace", "PNG", "-define", "png:color-type=3", picture=few_colors(12)),
     table_of, made="ImageMagick", compared=CHUNKS)
deep = converted("-define", "png:color-type=2", "-define", "png:bit-depth=16", picture=deep_ppm())
kept(P, "depth", "16 bits, unless asked otherwise", deep,
     lambda path: png_chunks(path.read_bytes())[0],
     change=lambda old: (old[0], old[1][:8] + b"\x08" + old[1][9:]), tolerance=1,
     outcome="becomes 8 bits", made="ImageMagick", compared=CHUNKS)
kept(P, "depth, with --depth keep", "16 bits", deep, header(2, 16), options=("--depth", "keep"),
     tolerance=1, made="ImageMagick", compared=CHUNKS)


def with_profile(surplus):
    return lambda work: exiftool(
        converted()(work), f"-icc_profile<={work.put('wide.icc', profile(surplus))}")


kept(P, "ICC profile", "", with_profile(0),
     lambda path: (png_of(b"iCCP")(path), run("exiftool", "-icc_profile", "-b", path)),
     made="exiftool", compared=CHUNKS + ", exiftool")
kept(P, "colour space", "sRGB, gAMA and cHRM", with_chunks(
    (b"sRGB", b"\0"), (b"gAMA", struct.pack(">I", 45455)),
    (b"cHRM", struct.pack(">8I", 31270, 32900, 64000, 33000, 30000, 60000, 15000, 6000))),
     png_of(b"sRGB", b"gAMA", b"cHRM"), made=HAND, compared=CHUNKS)
kept(P, "colour space", "cICP", with_chunks((b"cICP", bytes([1, 13, 0, 1]))), png_of(b"cICP"),
     made=HAND, compared=CHUNKS)
kept(P, "Exif", "", by_exiftool("-Artist=A. Photographer", "-ExposureTime=1/125"),
     lambda path: (png_of(b"eXIf")(path), told("-Exif:all")(path)), made="exiftool",
     compared=CHUNKS + ", exiftool")
kept(P, "GPS position", "", by_exiftool("-GPSLatitude=48.2", "-GPSLatitudeRef=N"),
     told("-GPS:all"), made="exiftool", compared="exiftool")
kept(P, "orientation", "", by_exiftool("-n", "-Orientation=6"), told("-Orientation"),
     made="exiftool", compared="exiftool")
kept(P, "XMP", "", by_exiftool("-XMP-dc:Title=A title", "-XMP-xmp:Rating=4"),
     lambda path: (png_of(b"iTXt")(path), told("-XMP:all")(path)), made="exiftool",
     compared=CHUNKS + ", exiftool")
kept(P, "IPTC", "", by_exiftool("-IPTC:Keywords=harbour", "-IPTC:City=Trieste"),
     lambda path: (png_of(b"zTXt", b"tEXt")(path), told("-IPTC:all")(path)), made="exiftool",
     compared=CHUNKS + ", exiftool")
kept(P, "texts", "plain, compressed, international, twice", with_chunks(
    (b"tEXt", b"Comment\0words"), (b"tEXt", b"Comment\0other words"),
    (b"zTXt", b"Comment\0\0" + zlib.compress(b"packed words")),
    (b"iTXt", b"Title\0\1\0de\0Titel\0" + zlib.compress("Wörter".encode()))),
     lambda path: (png_of(b"tEXt", b"zTXt", b"iTXt")(path), told("-PNG:Comment", "-PNG:Title*")(path)),
     made=HAND, compared=CHUNKS + ", exiftool")
kept(P, "resolution", "", converted("-density", "300", "-units", "PixelsPerInch"), png_of(b"pHYs"),
     made="ImageMagick", compared=CHUNKS)
kept(P, "time of change", "", by_exiftool("-PNG:ModifyDate=2020:02:03 04:05:06"), png_of(b"tIME"),
     made="exiftool", compared=CHUNKS)
kept(P, "other chunks", "sBIT, bKGD, sPLT, unknown ones", with_chunks(
    (b"sBIT", b"\5\6\5"), (b"bKGD", struct.pack(">3H", 1, 2, 3)),
    (b"sPLT", b"few\0\x08" + bytes(range(12))), (b"vpAg", b"\0\0\0\7\0\0\0\x09\0"),
    (b"prVt", b"safe to copy"), (b"prVT", b"not safe to copy"), (b"prVt", b"")),
     png_of(b"sBIT", b"bKGD", b"sPLT", b"vpAg", b"prVt", b"prVT"), made=HAND, compared=CHUNKS)
kept(P, "order of chunks", "around the picture data", lambda work: with_chunks(
    (b"prVt", b"after it"), (b"tEXt", b"Author\0me"), before=b"IEND",
    make=with_chunks((b"tEXt", b"Title\0it"), (b"prVT", b"before it")))(work), png_order,
     made=HAND, compared=CHUNKS)
kept(P, "bytes after the end", "", lambda work: work.put(
    "photo.png", converted()(work).read_bytes() + b"what a program keeps here"),
     after_end(lambda data: data[data.index(b"IEND") + 8:]), made=HAND, compared="byte by byte")
refused(P, "colours", "grey", converted("-colorspace", "Gray"), made="ImageMagick")
refused(P, "colours", "grey with alpha",
        converted("-colorspace", "Gray", "-define", "png:color-type=4", picture=pam()),
        made="ImageMagick")
refused(P, "damage", "a wrong checksum", lambda work: work.put("photo.png", (
    lambda data: data[:-20] + bytes([data[-20] ^ 1]) + data[-19:])(converted()(work).read_bytes())),
        made="ImageMagick, one bit changed")
refused(P, "damage", "cut short", lambda work: work.put(
    "photo.png", converted()(work).read_bytes()[:-12]), made="ImageMagick, cut")

# --- animated ---

A = "animated PNG"


def animation_frames(path):
    """Each frame as a file of its own, read by ImageMagick."""
    chunks = png_chunks(path.read_bytes())
    size = dict(chunks)[b"IHDR"]
    shared = [chunk for chunk in chunks if chunk[0] in (b"PLTE", b"tRNS")]
    frames, data = [], []
    for kind, body in chunks:
        if kind in (b"fcTL", b"IEND") and data:
            frames.append((size, b"".join(data)))
            data = []
        if kind == b"fcTL":
            size = body[4:12] + dict(chunks)[b"IHDR"][8:]
        elif kind == b"IDAT":
            data.append(body)
        elif kind == b"fdAT":
            data.append(body[4:])
    return [rgba(png_bytes([(b"IHDR", size), *shared, (b"IDAT", body), (b"IEND", b"")]), "png:-")[0]
            for size, body in frames]


add_format(A, "public.png", animation_frames, "ImageMagick, frame by frame", 0)


def assembled(*options, colors=0):
    """apngasm's animation; pictures differ in part, so that frames get rectangles of their own."""
    def make(work):
        for i in range(3):
            rgb = bytearray(photograph())
            for y in range(10 + 4 * i, 30):
                rgb[3 * (96 * y + 20):3 * (96 * y + 50)] = bytes([50 * i, 200 - 60 * i, 90]) * 30
            picture = few_colors(colors, turn=i) if colors else b"P6\n96 64\n255\n" + bytes(rgb)
            kind = "3" if colors else "2"
            work.put(f"frame{i}.png", convert(
                "-", "-define", f"png:color-type={kind}", "png:-", stdin=picture))
        run("apngasm", work.path("photo.png"), work.path("frame0.png"), *options)
        return work.path("photo.png")
    return make


def control(path):
    """Rectangle, delay, disposal and blending of each frame."""
    return [body[4:] for kind, body in png_chunks(path.read_bytes()) if kind == b"fcTL"]


def in_sequence(read):
    """Frames' numbers must have no gaps, as readers demand."""
    def checked(path):
        numbers = [struct.unpack_from(">I", body)[0] for kind, body in
                   png_chunks(path.read_bytes()) if kind in (b"fcTL", b"fdAT")]
        require(numbers == list(range(len(numbers))), f"frames are numbered {numbers}")
        return read(path)
    return checked


def rectangles(path):
    require(len({entry[:16] for entry in control(path)}) > 1, "all frames have the same rectangle")
    return [entry[:16] for entry in control(path)]


def still_first(path):
    order = png_order(path)
    require(order.index(b"IDAT") < order.index(b"fcTL"), "the still picture is the first frame")
    return order


PART = "apngasm"
kept(A, "timing", "", assembled("3", "25"),
     in_sequence(lambda path: [e[16:20] for e in control(path)]),
     made=PART, compared=CHUNKS)
kept(A, "loop count", "", assembled("-l7"), png_of(b"acTL"), made=PART, compared=CHUNKS)
kept(A, "frame rectangles", "", assembled(), in_sequence(rectangles), made=PART, compared=CHUNKS)


def with_controls(work):
    """Every kind of disposal and blending, put into apngasm's file."""
    chunks = png_chunks(assembled()(work).read_bytes())
    count = 0
    for i, (kind, body) in enumerate(chunks):
        if kind == b"fcTL":
            chunks[i] = (kind, body[:24] + bytes([(1, 2, 0)[count], count % 2]))
            count += 1
    return work.put("photo.png", png_bytes(chunks))


kept(A, "disposal and blending", "", with_controls, lambda path: [e[20:] for e in control(path)],
     made="apngasm, two bytes a frame changed", compared=CHUNKS)
kept(A, "still picture", "that is not part of the animation", assembled("-f"),
     still_first,
     made=PART, compared=CHUNKS)


def indices(path):
    return [(kind, len(body) if kind == b"PLTE" else body)
            for kind, body in png_chunks(path.read_bytes())
            if kind in (b"IHDR", b"PLTE", b"IDAT", b"fdAT", b"tRNS")]


kept(A, "colour table", "indices bit for bit", assembled(colors=6), indices,
     adjustments=("invert",), made=PART, compared=CHUNKS)
refused(A, "colour table", "and an adjustment that measures each frame", assembled(colors=6),
        adjustment="equalize", made=PART)
kept(A, "other chunks", "between the frames", lambda work: work.put("photo.png", (
    lambda data: with_png_chunks(with_png_chunks(data, (b"prVt", b"among them"), before=b"fdAT"),
                                 (b"tEXt", b"Title\0it"), before=b"acTL"))(
        assembled()(work).read_bytes())),
     lambda path: (png_of(b"prVt", b"tEXt")(path),
                   [kind for kind in png_order(path) if kind not in (b"IDAT", b"fdAT")]),
     made=HAND, compared=CHUNKS)
refused(A, "damage", "a frame missing", lambda work: work.put("photo.png", png_bytes([
    chunk for chunk in png_chunks(assembled()(work).read_bytes())
    if not (chunk[0] == b"fdAT" and chunk[1][3] > 3)])), made="apngasm, cut")
