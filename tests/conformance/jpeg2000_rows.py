"""JPEG 2000."""

import re
import struct

from harness import add_format, checked, convert, exiftool, kept, refused, require, run, told
from parts import boxes
from pictures import deep_ppm, pam, ppm, profile, rgba

J = "JPEG 2000"
BOXES = "boxes read byte by byte"
HAND = "put together byte by byte"
DUMP = "opj_dump"


def by_opj(path):
    out = path.with_suffix(".decoded.png")
    run("opj_decompress", "-quiet", "-i", path, "-o", out)
    frames = rgba(out.read_bytes(), "png:-")
    out.unlink()
    return frames


add_format(J, "public.jpeg-2000", by_opj, "opj_decompress", 3)


def jp2(*options, picture=None, name="photo.jp2", png_options=()):
    def make(work):
        source = work.put("in.png", convert("-", *png_options, "png:-", stdin=picture or ppm()))
        run("opj_compress", "-i", source, "-o", work.path(name), *options)
        source.unlink()
        return work.path(name)
    return make


def form(*words):
    """How the codestream is stored, in opj_dump's words, without what follows from the pixels."""
    def read(path):
        lines = run("opj_dump", "-i", path).decode(errors="replace").splitlines()
        found = [line.strip() for line in lines
                 if re.match(r"\s*(tx0|tdx|tw|csty|prg|numlayers|mct|numresolutions|cblk|qmfbid|"
                             r"preccintsize|x0|x1|numcomps)", line)]
        require(all(any(word in line for line in found) for word in words), f"it has {found}")
        return found
    return read


def header_boxes(*kinds):
    def read(path):
        header = [body for name, body in boxes(path.read_bytes()) if name == b"/jp2h"]
        return [(name, body) for name, body in boxes(header[0]) if name[1:] in kinds]
    return read


def all_but_codestream(path):
    data, at, found = path.read_bytes(), 0, []
    while at < len(data):
        size, kind = struct.unpack_from(">I4s", data, at)
        found.append((kind, b"" if kind == b"jp2c" else data[at:at + size]))
        at += size
    return found


def box(kind, body):
    return struct.pack(">I4s", 8 + len(body), kind) + body


def rebuilt(change):
    """A file with something done to its boxes: `change` takes kind and body, and gives bytes."""
    def make(work):
        path = jp2()(work)
        data, at, out = path.read_bytes(), 0, b""
        while at < len(data):
            size, kind = struct.unpack_from(">I4s", data, at)
            out += change(kind, data[at + 8:at + size])
            at += size
        return work.put(path.name, out)
    return make


def with_profile(kind, body):
    if kind != b"jp2h":
        return box(kind, body)
    at = body.index(b"colr") - 4
    size = struct.unpack_from(">I", body, at)[0]
    return box(kind, body[:at] + box(b"colr", b"\2\0\0" + profile()) + body[at + size:])


def with_resolution(kind, body):
    resolution = box(b"res ", box(b"resc", bytes((1, 44, 0, 1, 1, 44, 0, 1, 2, 2))))
    return box(kind, body + (resolution if kind == b"jp2h" else b""))


def with_index(kind, body):
    return box(kind, body) + (box(b"fidx", b"\0") if kind == b"jp2h" else b"")


def with_unknown(kind, body):
    return box(kind, body) + (box(b"zzzz", b"some bytes") if kind == b"jp2h" else b"")


def indexed(work):
    """A colour table of four colours around a codestream of indices."""
    source = work.put("in.pgm", b"P5\n96 64\n255\n" + bytes((i // 5) % 4 for i in range(96 * 64)))
    run("opj_compress", "-i", source, "-o", work.path("gray.jp2"))
    source.unlink()
    data, at, out = work.path("gray.jp2").read_bytes(), 0, b""
    work.path("gray.jp2").unlink()
    while at < len(data):
        size, kind = struct.unpack_from(">I4s", data, at)
        body = data[at + 8:at + size]
        if kind == b"jp2h":
            body = body.replace(b"\1\0\0\0\0\0\x11", b"\1\0\0\0\0\0\x10")
            colors = bytes.fromhex("102030 405060 708090 a0b0f0")
            body += box(b"pclr", b"\0\4\3\7\7\7" + colors)
            body += box(b"cmap", b"\0\0\1\0" + b"\0\0\1\1" + b"\0\0\1\2")
        out += box(kind, body)
        at += size
    return work.put("photo.jp2", out)


def same_size(work):
    original = jp2("-I", "-r", "10", picture=ppm(240, 160))(work)
    own = work.adjusted("invert", original).stat().st_size
    require(0.85 * original.stat().st_size < own < 1.15 * original.stat().st_size,
            f"{own} bytes of {original.stat().st_size}")
    return "kept; inverted, as large as before within 15 percent"


kept(J, "lossy or lossless", "lossless", jp2(), form("qmfbid=1"), tolerance=0,
     made="opj_compress", compared=DUMP)
kept(J, "lossy or lossless", "lossy", jp2("-I", "-r", "8"), form("qmfbid=0"), made="opj_compress",
     compared=DUMP)
checked(J, "lossy or lossless", "size of a lossy file", same_size, made="opj_compress",
        compared="size")
for _case, _options in (
        ("tiles", ("-t", "50,40")), ("tiles and origins", ("-t", "50,40", "-T", "3,2", "-d", "5,4")),
        ("resolutions", ("-n", "3")), ("code-blocks", ("-b", "32,16")),
        ("code-block style", ("-M", "63")), ("precincts", ("-c", "[64,64],[32,32]")),
        ("progression", ("-p", "RPCL")), ("layers", ("-r", "20,10,1")),
        ("no component transform", ("-mct", "0")), ("SOP and EPH markers", ("-SOP", "-EPH"))):
    kept(J, "form of the codestream", _case, jp2(*_options), form("cblkw"), made="opj_compress",
         compared=DUMP)
kept(J, "form of the codestream", "bare", jp2(name="photo.j2k"), form("cblkw"), tolerance=0,
     made="opj_compress", compared=DUMP)
kept(J, "comments", "", jp2("-C", "by a photographer"),
     lambda path: re.findall(b"\xff\x64.{4}by a photographer", path.read_bytes(), re.DOTALL),
     made="opj_compress", compared="byte by byte")
kept(J, "indices", "", indexed, lambda path: [data for kind, data in boxes(path.read_bytes())
                                              if kind == b"/jp2c"], tolerance=0, made=HAND,
     compared=BOXES)


def without_profile(path):
    """The codestream alone, as opj_decompress converts colours that have a profile."""
    bare = path.with_suffix(".j2k")
    bare.write_bytes(next(data for kind, data in boxes(path.read_bytes()) if kind == b"/jp2c"))
    frames = by_opj(bare)
    bare.unlink()
    return frames


kept(J, "ICC profile", "", rebuilt(with_profile), header_boxes(b"colr"), decode=without_profile,
     made=HAND, compared=BOXES)
kept(J, "Exif", "", lambda work: exiftool(
    jp2()(work), "-Artist=A. Photographer", "-ExposureTime=1/125"), told("-Exif:all"),
     made="exiftool", compared="exiftool")
kept(J, "GPS position", "", lambda work: exiftool(
    jp2()(work), "-GPSLatitude=48.2", "-GPSLatitudeRef=N"), told("-GPS:all"), made="exiftool",
     compared="exiftool")
kept(J, "XMP", "", lambda work: exiftool(jp2()(work), "-XMP-dc:Title=A title"), told("-XMP:all"),
     made="exiftool", compared="exiftool")
kept(J, "other boxes", "unknown", rebuilt(with_unknown), all_but_codestream, made=HAND,
     compared=BOXES)
kept(J, "other boxes", "resolution", rebuilt(with_resolution), all_but_codestream, made=HAND,
     compared=BOXES)
kept(J, "alpha", "", jp2(picture=pam()), header_boxes(b"cdef"), tolerance=0, made="opj_compress",
     compared=BOXES)
kept(J, "depth, with --depth keep", "16 bits",
     jp2(picture=deep_ppm(), png_options=("-depth", "16")), header_boxes(b"ihdr"),
     options=("--depth", "keep"), made="opj_compress", compared=BOXES)
refused(J, "colours", "grey", jp2(png_options=("-colorspace", "Gray", "-define",
                                               "png:color-type=0")), made="opj_compress")
refused(J, "channels", "a fourth without a meaning", jp2(picture=pam(), name="photo.j2k"),
        made="opj_compress")
refused(J, "index of places in the file", "", rebuilt(with_index), made=HAND)
refused(J, "region of interest", "", jp2("-ROI", "c=0,U=5"), made="opj_compress")
refused(J, "tiles", "too narrow for their resolutions", jp2("-t", "70,64", "-n", "7"),
        made="opj_compress")
refused(J, "damage", "cut short", lambda work: (
    lambda path: work.put(path.name, path.read_bytes()[:-100]))(jp2(name="photo.j2k")(work)),
        made="opj_compress, cut")
