"""HEIC and AVIF."""

import struct

from harness import (ADJUSTMENTS, add_format, check_inverted, checked, convert, exiftool, kept,
                     refused, require, require_equal, run, told)
from parts import box_of, boxes
from pictures import deep_ppm, pam, ppm, profile, rgba

H, A = "HEIC", "AVIF"
BOXES = "boxes read byte by byte"
HAND = "put together byte by byte"


def by_heif_convert(path):
    """The pictures of a file, the primary one first."""
    folder = path.parent / f"decoded {path.stem}"
    folder.mkdir()
    run("heif-convert", path, folder / "out.png")
    names = sorted(folder.iterdir())
    frames = [rgba(name.read_bytes(), "png:-")[0] for name in names]
    for name in names:
        name.unlink()
    folder.rmdir()
    return frames


def by_avifdec(path):
    out = path.with_suffix(".decoded.png")
    run("avifdec", "-d", "8", path, out)
    frames = rgba(out.read_bytes(), "png:-")
    out.unlink()
    return frames


add_format(H, "public.heic", by_heif_convert, "heif-convert", 3)
add_format(A, "public.avif", by_avifdec, "avifdec", 3)


def png(work, picture=None, name="in.png", options=()):
    return work.put(name, convert("-", *options, "png:-", stdin=picture or ppm()))


def heic(*options, picture=None, name="photo.heic", png_options=(), more=()):
    def make(work):
        names = [png(work, picture, options=png_options)]
        names += [png(work, extra, f"in{i}.png") for i, extra in enumerate(more)]
        run("heif-enc", *options, *names, "-o", work.path(name))
        for source in names:
            source.unlink()
        return work.path(name)
    return make


def avif(*options, picture=None, name="photo.avif", png_options=()):
    def make(work):
        source = png(work, picture, options=png_options)
        run("avifenc", "-s", "9", *options, source, work.path(name))
        source.unlink()
        return work.path(name)
    return make


def configuration(path):
    """Chroma sampling and depth of each coded picture, from its decoder configuration."""
    found = []
    for name, body in boxes(path.read_bytes()):
        if name.endswith(b"/hvcC"):
            found.append((body[16] & 3, (body[17] & 7) + 8, (body[18] & 7) + 8))
        if name.endswith(b"/av1C"):
            found.append((body[2] >> 2 & 7, body[2] >> 5 & 3))
    return found


def having(read, value):
    def checked_read(path):
        found = read(path)
        require(found and found[0] == value, f"it has {found}")
        return found
    return checked_read


def parts_of_meta(path):
    """What the file lists: items, which is the first, references, properties but for the decoders'
    configuration, and who has which."""
    changing = (b"/iloc", b"/hvcC", b"/av1C", b"/idat")
    return [(name, body) for name, body in boxes(path.read_bytes())
            if name.startswith(b"/meta") and not name.endswith(changing) or name == b"/ftyp"]


def size_of_peer(make, make_inverse):
    """Files must be about as large as the other encoder's of the inverse picture."""
    def check(work):
        original = make(work)
        peer = make_inverse(work).stat().st_size
        own = work.adjusted("invert", original).stat().st_size
        require(0.75 * peer < own < 1.35 * peer, f"{own} bytes; the other encoder's has {peer}")
        return "kept; as large as the other encoder's, within a third"
    return check


INVERSE = b"P6\n96 64\n255\n" + bytes(255 - v for v in ppm()[-96 * 64 * 3:])
for _format, _made, _make, _low, _high, _lossless in (
        (H, "heif-enc", heic, ("-q", "30"), ("-q", "80"),
         ("-L", "-p", "chroma=444", "--matrix_coefficients=0")),
        (A, "avifenc", avif, ("--min", "40", "--max", "40"), ("--min", "12", "--max", "12"), ("-l",))):
    kept(_format, "lossy or lossless", "lossless", _make(*_lossless), parts_of_meta, tolerance=0,
         made=_made, compared=BOXES)
    for _case, _options in (("low", _low), ("high", _high)):
        checked(_format, "quality", _case, size_of_peer(
            _make(*_options), _make(*_options, picture=INVERSE, name=f"peer.{_format.lower()}")),
            made=_made, compared=f"size of {_made}'s file of the inverse")
    kept(_format, "ICC profile", "", lambda work, make=_make: make(
        png_options=("-profile", str(work.put("wide.icc", profile()))))(work),
         lambda path: [body for _, body in box_of(b"colr")(path) if body.startswith(b"prof")],
         made=_made, compared=BOXES)
    kept(_format, "Exif", "", lambda work, make=_make: exiftool(
        make()(work), "-Artist=A. Photographer", "-ExposureTime=1/125"), told("-Exif:all"),
         made="exiftool", compared="exiftool")
    kept(_format, "GPS position", "", lambda work, make=_make: exiftool(
        make()(work), "-GPSLatitude=48.2", "-GPSLatitudeRef=N"), told("-GPS:all"),
         made="exiftool", compared="exiftool")
    kept(_format, "XMP", "", lambda work, make=_make: exiftool(
        make()(work), "-XMP-dc:Title=A title"), told("-XMP:all"), made="exiftool",
         compared="exiftool")
    kept(_format, "alpha", "", _make(picture=pam()), parts_of_meta, tolerance=4, made=_made,
         compared=BOXES)
    kept(_format, "items and properties", "", _make(), parts_of_meta, made=_made, compared=BOXES)
    kept(_format, "other boxes", "at the end", lambda work, make=_make: (
        lambda path: work.put(path.name, path.read_bytes() + struct.pack(">I4s", 24, b"uuid")
                              + b"sixteen bytes id"))(make()(work)),
         box_of(b"uuid"), made=HAND, compared=BOXES)
    refused(_format, "damage", "cut short", lambda work, make=_make: (
        lambda path: work.put(path.name, path.read_bytes()[:-100]))(make()(work)),
            made=f"{_made}, cut")

for _case, _idc in (("4:2:0", 1), ("4:2:2", 2), ("4:4:4", 3)):
    kept(H, "chroma sampling", _case, heic("-p", f"chroma={_case.replace(':', '')}"),
         having(configuration, (_idc, 8, 8)), made="heif-enc", compared=BOXES)
for _case, _bits in (("4:2:0", 3), ("4:2:2", 2), ("4:4:4", 0)):
    kept(A, "chroma sampling", _case, avif("-y", _case.replace(":", "")),
         having(lambda path: [entry[0] for entry in configuration(path)], _bits), made="avifenc",
         compared=BOXES)
kept(A, "colour numbers", "", avif("--cicp", "12/13/6"), box_of(b"colr"), made="avifenc",
     compared=BOXES)
kept(A, "colour numbers", "limited range", avif("-r", "limited"), box_of(b"colr"), made="avifenc",
     compared=BOXES)
DEEP = {"picture": deep_ppm(), "png_options": ("-depth", "16")}
kept(H, "depth", "10 bits, unless asked otherwise", heic("-b", "10", **DEEP), configuration,
     change=lambda old: [(chroma, 8, 8) for chroma, _, _ in old], outcome="becomes 8 bits",
     made="heif-enc", compared=BOXES)
kept(H, "depth, with --depth keep", "10 bits", heic("-b", "10", **DEEP),
     having(configuration, (1, 10, 10)), options=("--depth", "keep"), made="heif-enc",
     compared=BOXES)
for _bits, _flags in ((10, 2), (12, 3)):
    kept(A, "depth, with --depth keep", f"{_bits} bits", avif("-d", _bits, **DEEP),
         having(lambda path: [entry[1] for entry in configuration(path)], _flags),
         options=("--depth", "keep"), made="avifenc", compared=BOXES)
kept(H, "pictures", "two of them", heic(more=(ppm(128, 96, 1),)), parts_of_meta, made="heif-enc",
     compared=BOXES)
kept(A, "grid", "2 x 2", avif("--grid", "2x2", picture=ppm(192, 128)), parts_of_meta,
     made="avifenc", compared=BOXES)
for _case, _options in (("turn", ("--irot", "1")), ("mirror", ("--imir", "1")),
                        ("crop", ("--crop", "8,8,64,48")), ("aspect ratio", ("--pasp", "2,1"))):
    kept(A, "turns, mirrors and crops", _case, avif(*_options),
         box_of(b"irot", b"imir", b"clap", b"pasp"), made="avifenc", compared=BOXES)


def thumbnail(work):
    """The thumbnail becomes a picture of its own when the reference that makes it one is renamed."""
    def pictures(path):
        data = path.read_bytes()
        require(data.count(b"thmb") == 1, "it has no thumbnail")
        return by_heif_convert(work.put("seen.heic", data.replace(b"thmb", b"xxxx")))

    original = heic("-t", "64", picture=ppm(192, 128))(work)
    before = pictures(original)
    require(len(before) == 2, f"{len(before)} pictures are seen")
    for adjustment in ADJUSTMENTS:
        copy = work.adjusted(adjustment, original)
        require_equal(parts_of_meta(original), parts_of_meta(copy), adjustment)
        if adjustment == "invert":
            check_inverted(before, pictures(copy), 10)
    return "shows the adjusted picture"


checked(H, "embedded thumbnail", "", thumbnail, made="heif-enc", compared="heif-convert, " + BOXES)
refused(A, "colours", "grey", avif("-y", "400"), made="avifenc")


def sequence(work):
    names = [png(work, ppm(turn=i), f"in{i}.png") for i in range(2)]
    run("avifenc", "-s", "9", *names, work.path("photo.avif"))
    return work.path("photo.avif")


refused(A, "sequences", "", sequence, made="avifenc")
