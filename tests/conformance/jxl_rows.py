"""JPEG XL."""

import struct

from harness import (add_format, check_inverted, checked, convert, exiftool, kept, refused, require,
                     require_equal, run, told)
from parts import boxes
from pictures import deep_ppm, pam, ppm, profile, rgba

X = "JPEG XL"
BOXES = "boxes read byte by byte"
INFO = "jxlinfo"
HAND = "put together byte by byte"


def by_djxl(path):
    """The picture, or each frame of an animation as it is shown."""
    out = path.with_suffix(".decoded.apng")
    run("djxl", "--quiet", path, out)
    frames = rgba(out.read_bytes(), "png:-")
    out.unlink()
    return frames


add_format(X, "public.jpeg-xl", by_djxl, "djxl", 3)


def jxl(*options, picture=None, name="photo.jxl", png_options=()):
    def make(work):
        source = work.put("in.png", convert("-", *png_options, "png:-", stdin=picture or ppm()))
        run("cjxl", "--quiet", source, work.path(name), *options)
        source.unlink()
        return work.path(name)
    return make


def info(path):
    return run("jxlinfo", "-v", path).decode(errors="replace").splitlines()


def said(*words):
    """What jxlinfo tells in lines with one of these words."""
    def read(path):
        return [line for line in info(path) if any(word in line for word in words)]
    return read


def outer_boxes(*kinds):
    """All boxes but the codestream and, if told, of these kinds."""
    def read(path):
        return [(name, body) for name, body in boxes(path.read_bytes())
                if name.count(b"/") == 1 and (name[1:] in kinds if kinds
                                              else name[1:] not in (b"jxlc", b"jxlp"))]
    return read


def with_box(kind, body, *options):
    def make(work):
        path = jxl("-d", "0", "--container=1", *options)(work)
        return work.put(path.name, path.read_bytes() + struct.pack(">I4s", 8 + len(body), kind)
                        + body)
    return make


INVERSE = b"P6\n96 64\n255\n" + bytes(255 - v for v in ppm()[-96 * 64 * 3:])


def as_large_as_peer(*options):
    def check(work):
        original = jxl(*options)(work)
        peer = jxl(*options, picture=INVERSE, name="peer.jxl")(work).stat().st_size
        own = work.adjusted("invert", original).stat().st_size
        require(0.75 * peer < own < 1.35 * peer, f"{own} bytes; the other encoder's has {peer}")
        return "kept; as large as the other encoder's, within a third"
    return check


def jpeg_inside(path):
    out = path.with_suffix(".jpg")
    run("djxl", "--quiet", path, out)
    data = out.read_bytes()
    out.unlink()
    return data


def packed_jpeg(work):
    source = work.put("in.jpg", convert("-", "-quality", "80", "jpg:-", stdin=ppm()))
    exiftool(source, "-Artist=A. Photographer", "-XMP-dc:Title=A title")
    run("cjxl", "--quiet", source, work.path("photo.jxl"))
    source.unlink()
    return work.path("photo.jxl")


def packed_stays_packed(work):
    """The JPEG that djxl restores is the one that Kelvo makes of the JPEG itself."""
    original = packed_jpeg(work)
    for adjustment in ("invert", "equalize"):
        copy = work.adjusted(adjustment, original)
        jpeg = work.adjusted(adjustment, work.put("photo.jpg", jpeg_inside(original)))
        require_equal(jpeg.read_bytes(), jpeg_inside(copy), f"after kelvo {adjustment}")
        require_equal(told("-Exif:all", "-XMP:all")(original), told("-Exif:all", "-XMP:all")(copy),
                      f"after kelvo {adjustment}")
    check_inverted(by_djxl(original), by_djxl(work.adjusted("invert", original)), 3)
    return "kept; restores the adjusted JPEG byte for byte"


def animation(work, *options, picture=None):
    source = work.put("in.gif", convert(
        "-delay", "20", "ppm:-", "(", "+clone", "-rotate", "180", ")", "-loop", "3", "gif:-",
        stdin=picture or ppm()))
    run("cjxl", "--quiet", "-d", "0", source, work.path("photo.jxl"), *options)
    source.unlink()
    return work.path("photo.jxl")


kept(X, "lossy or lossless", "lossless", jxl("-d", "0"), said("lossless"), tolerance=0,
     made="cjxl", compared=INFO)
kept(X, "lossy or lossless", "lossy", jxl("-d", "1"), said("lossy"), made="cjxl", compared=INFO)
for _case, _distance in (("low", "2"), ("high", "0.5")):
    checked(X, "quality", _case, as_large_as_peer("-d", _distance), made="cjxl",
            compared="size of cjxl's file of the inverse")
checked(X, "packed JPEG", "", packed_stays_packed, made="cjxl", compared="djxl, byte by byte")
kept(X, "ICC profile", "lossless", lambda work: jxl("-d", "0", png_options=(
    "-profile", str(work.put("wide.icc", profile()))))(work), said("olor space", "ICC"),
     made="cjxl", compared=INFO, tolerance=0)
kept(X, "colour numbers", "", jxl("-d", "0.5", "-x", "color_space=RGB_D65_DCI_Rel_SRG"),
     said("Color space"), made="cjxl", compared=INFO)
kept(X, "Exif", "", lambda work: exiftool(
    jxl("-d", "0", "--container=1")(work), "-Artist=A. Photographer", "-ExposureTime=1/125"),
     told("-Exif:all"), made="exiftool", compared="exiftool")
kept(X, "GPS position", "", lambda work: exiftool(
    jxl("-d", "0", "--container=1")(work), "-GPSLatitude=48.2", "-GPSLatitudeRef=N"),
     told("-GPS:all"), made="exiftool", compared="exiftool")
kept(X, "orientation", "in Exif", lambda work: exiftool(
    jxl("-d", "0", "--container=1")(work), "-Orientation#=6"), told("-Orientation"),
     made="exiftool", compared="exiftool")
kept(X, "XMP", "", lambda work: exiftool(
    jxl("-d", "0", "--container=1")(work), "-XMP-dc:Title=A title"), told("-XMP:all"),
     made="exiftool", compared="exiftool")
kept(X, "other boxes", "unknown", with_box(b"zzzz", b"some bytes"), outer_boxes(), made=HAND,
     compared=BOXES)
kept(X, "other boxes", "JUMBF", with_box(b"jumb", b"some bytes"), outer_boxes(), made=HAND,
     compared=BOXES)
kept(X, "alpha", "", jxl("-d", "0", picture=pam()), said("lpha"), tolerance=0, made="cjxl",
     compared=INFO)
kept(X, "timing", "", animation, said("duration"), tolerance=0, made="cjxl", compared=INFO)
kept(X, "loop count", "", animation, said("loops"), tolerance=0, made="cjxl", compared=INFO)
kept(X, "depth, with --depth keep", "16 bits",
     jxl("-d", "0", picture=deep_ppm(), png_options=("-depth", "16")), said("16-bit"),
     options=("--depth", "keep"), made="cjxl", compared=INFO)
refused(X, "colours", "grey", jxl("-d", "0", png_options=("-colorspace", "Gray")), made="cjxl")
refused(X, "colours", "lossy, of an ICC profile of its own", lambda work: jxl(
    "-d", "1", png_options=("-profile", str(work.put("wide.icc", profile(40)))))(work), made="cjxl")
refused(X, "order of groups", "from the middle, in an animation", lambda work: animation(
    work, "--group_order=1", picture=ppm(600, 400)), made="cjxl")
refused(X, "index of frames", "", with_box(b"jxli", b"\0"), made=HAND)
refused(X, "gain map", "", with_box(b"jhgm", b"\0"), made=HAND)
refused(X, "damage", "cut short", lambda work: (
    lambda path: work.put(path.name, path.read_bytes()[:-100]))(jxl("-d", "0")(work)),
        made="cjxl, cut")
