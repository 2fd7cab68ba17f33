"""WebP."""

import re

from harness import add_format, checked, exiftool, kept, refused, require, run, told
from parts import after_end, riff_bytes, riff_chunks, webp_frames
from pictures import few_colors, from_pnm, pam, photograph, ppm, profile

W = "WebP"
CHUNKS = "chunks read byte by byte"
HAND = "put together byte by byte"
PIXELS = (b"VP8 ", b"VP8L", b"ALPH", b"ANMF")


def by_dwebp(path):
    """The still picture, or each frame of an animation as a file of its own."""
    frames = webp_frames(path.read_bytes())
    if not frames:
        return [from_pnm(run("dwebp", "-quiet", "-pam", path, "-o", "-"))]
    found = []
    for place, chunks in frames:
        size = bytes([0x10 if any(kind in (b"ALPH", b"VP8L") for kind, _ in chunks) else 0, 0, 0, 0])
        still = path.with_name("frame of " + path.name)
        still.write_bytes(riff_bytes(b"WEBP", [(b"VP8X", size + place[6:12]), *chunks]))
        found.append(from_pnm(run("dwebp", "-quiet", "-pam", still, "-o", "-")))
        still.unlink()
    return found


add_format(W, "org.webmproject.webp", by_dwebp, "dwebp", 4)


def still(*options, picture=None, name="photo.webp"):
    def make(work):
        run("cwebp", "-quiet", *options, work.put("in.pnm", picture or ppm()), "-o",
            work.path(name))
        work.path("in.pnm").unlink()
        return work.path(name)
    return make


def chunk_kinds(*wanted):
    """The chunks' kinds in order; the file must have these."""
    def read(path):
        found = [kind for kind, _ in riff_chunks(path.read_bytes())[0]]
        require(all(kind in found for kind in wanted), f"its chunks are {found}")
        return found
    return read


def all_but_pixels(*wanted):
    """Kinds in order, and whatever is not pixels; the file must have these."""
    def read(path):
        chunk_kinds(*wanted)(path)
        return [(kind, None if kind in PIXELS else body)
                for kind, body in riff_chunks(path.read_bytes())[0]]
    return read


def with_part(kind, contents):
    """webpmux's file with this part."""
    def make(work):
        run("webpmux", "-set", kind, work.put("part", contents), still()(work), "-o",
            work.path("with.webp"))
        return work.path("with.webp")
    return make


kept(W, "lossy or lossless", "lossless", still("-lossless"), chunk_kinds(b"VP8L"), made="cwebp",
     compared=CHUNKS, tolerance=0)
kept(W, "lossy or lossless", "lossy", still(), chunk_kinds(b"VP8 "), made="cwebp", compared=CHUNKS)
kept(W, "alpha", "lossless", still("-lossless", picture=pam()), chunk_kinds(b"VP8L"),
     made="cwebp", compared=CHUNKS, tolerance=0)
kept(W, "alpha", "of a lossy picture", still(picture=pam()), chunk_kinds(b"ALPH", b"VP8 "),
     made="cwebp", compared=CHUNKS)


def quantiser(path):
    said = run("webpinfo", "-bitstream_info", path).decode()
    return int(re.search(r"Base Q:\s+(\d+)", said)[1])


def same_quality(work):
    """The quantiser must be that of cwebp's file of the inverse picture, of the same quality."""
    for quality in (20, 50, 75, 92):
        original = still("-q", quality, name=f"q{quality}.webp")(work)
        width, height, pixels = by_dwebp(original)[0]
        inverse = bytes(255 - pixels[i] for i in range(len(pixels)) if i % 4 < 3)
        peer = still("-q", quality, picture=b"P6\n%d %d\n255\n" % (width, height) + inverse,
                     name="peer.webp")(work)
        expected, found = quantiser(peer), quantiser(work.adjusted("invert", original))
        require(abs(expected - found) <= 2,
                f"quality {quality}: the quantiser is {found}, cwebp's {expected}")
    return "kept, within 2 of 128 steps"


checked(W, "quality", "the quantiser of four qualities", same_quality, made="cwebp",
        compared="webpinfo, cwebp")


def lossy_kind(path):
    said = run("webpinfo", "-bitstream_info", path).decode()
    return re.findall(r"(?:Simple filter|Sharpness|Num segments|Total partitions|Use segment):.*",
                      said)


kept(W, "filter and segments", "", still("-segments", "2", "-sharpness", "3", "-nostrong"),
     lossy_kind, made="cwebp", compared="webpinfo")
kept(W, "ICC profile", "", with_part("icc", profile()), all_but_pixels(b"ICCP"), made="webpmux",
     compared=CHUNKS)
kept(W, "Exif", "", lambda work: exiftool(still()(work), "-Artist=A. Photographer",
                                          "-ExposureTime=1/125"),
     lambda path: (all_but_pixels(b"EXIF")(path), told("-Exif:all")(path)), made="exiftool",
     compared=CHUNKS + ", exiftool")
kept(W, "GPS position", "", lambda work: exiftool(still()(work), "-GPSLatitude=48.2",
                                                  "-GPSLatitudeRef=N"),
     told("-GPS:all"), made="exiftool", compared="exiftool")
kept(W, "orientation", "", lambda work: exiftool(still()(work), "-n", "-Orientation=6"),
     told("-Orientation"), made="exiftool", compared="exiftool")
kept(W, "XMP", "", lambda work: exiftool(still()(work), "-XMP-dc:Title=A title"),
     lambda path: (all_but_pixels(b"XMP ")(path), told("-XMP:all")(path)), made="exiftool",
     compared=CHUNKS + ", exiftool")


def with_chunks(work):
    chunks, _ = riff_chunks(still(picture=pam())(work).read_bytes())
    require(chunks[0][0] == b"VP8X", "a simple file")
    return work.put("photo.webp", riff_bytes(b"WEBP", [
        chunks[0], (b"prVt", b"among the first"), *chunks[1:], (b"OTHR", b"odd"), (b"OTHR", b"")]))


kept(W, "other chunks", "in their places", with_chunks, all_but_pixels(b"prVt", b"OTHR"),
     made=HAND, compared=CHUNKS)
kept(W, "bytes after the end", "", lambda work: work.put(
    "photo.webp", still()(work).read_bytes() + b"what follows it"),
     after_end(lambda data: riff_chunks(data)[1]), made=HAND, compared="byte by byte")


def animation(*options):
    """img2webp's animation of three pictures, lossless and lossy ones."""
    def make(work):
        names = []
        for i in range(3):
            rgb = bytearray(photograph())
            for y in range(10 + 4 * i, 30):
                rgb[3 * (96 * y + 20):3 * (96 * y + 50)] = bytes([50 * i, 200 - 60 * i, 90]) * 30
            # Pictures with names that img2webp knows.
            frame = still("-lossless", picture=b"P6\n96 64\n255\n" + bytes(rgb),
                          name=f"frame{i}.webp")(work)
            names += ["-d", 40 + 30 * i, "-lossy" if i == 1 else "-lossless", frame]
        run("img2webp", *options, *names, "-o", work.path("photo.webp"))
        return work.path("photo.webp")
    return make


def frame_parts(*bits):
    """These bytes of each frame's 16."""
    def read(path):
        return [place[slice(*bits)] for place, _ in webp_frames(path.read_bytes())]
    return read


kept(W, "timing", "", animation(), frame_parts(12, 15), made="img2webp", compared=CHUNKS)
kept(W, "loop count", "", animation("-loop", "5"), all_but_pixels(b"ANIM"), made="img2webp",
     compared=CHUNKS)


def rectangles(path):
    found = frame_parts(0, 12)(path)
    require(len(set(found)) > 1, "all frames have the same rectangle")
    return found


kept(W, "frame rectangles", "", animation(), rectangles, made="img2webp", compared=CHUNKS)


def composed(work):
    """webpmux's animation, with every kind of disposal and blending."""
    frames = [still("-lossless", picture=few_colors(8, turn=i), name=f"frame{i}.webp")(work)
              for i in range(3)]
    run("webpmux", "-frame", frames[0], "+100+0+0+0+b", "-frame", frames[1], "+70+10+4+1-b",
        "-frame", frames[2], "+30+2+2+1+b", "-loop", "3", "-bgcolor", "255,10,20,30", "-o",
        work.path("photo.webp"))
    return work.path("photo.webp")


kept(W, "disposal and blending", "", composed, frame_parts(15, 16), made="webpmux",
     compared=CHUNKS)
kept(W, "background", "", composed, all_but_pixels(b"ANIM"), made="webpmux", compared=CHUNKS)
kept(W, "lossy or lossless", "of each frame", animation(),
     lambda path: [[kind for kind, _ in chunks] for _, chunks in webp_frames(path.read_bytes())],
     made="img2webp", compared=CHUNKS)
refused(W, "damage", "cut short", lambda work: work.put(
    "photo.webp", still()(work).read_bytes()[:-40]), made="cwebp, cut")
refused(W, "damage", "bytes missing", lambda work: work.put("photo.webp", riff_bytes(
    b"WEBP", [(kind, body[:len(body) // 2]) for kind, body in riff_chunks(
        still("-lossless")(work).read_bytes())[0]])), made="cwebp, cut")
