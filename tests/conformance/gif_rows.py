"""GIF."""

import struct

from harness import add_format, convert, exiftool, kept, refused, require, run, told
from parts import gif_blocks, gif_of, with_gif_block
from pictures import by_imagemagick, few_colors, profile

G = "GIF"
add_format(G, "com.compuserve.gif", by_imagemagick("gif"), "ImageMagick", 0)
BLOCKS = "blocks read byte by byte"
HAND = "put together byte by byte"
TABLES = ("global table", "local table")


def still(*options, colors=12, turn=0, name="photo.gif"):
    return lambda work: work.put(name, convert(
        "-", *options, "gif:-", stdin=few_colors(colors, turn=turn)))


def animation(*options, colors=6):
    """gifsicle's animation of three pictures."""
    def make(work):
        frames = [still(colors=colors, turn=i, name=f"frame{i}.gif")(work) for i in range(3)]
        run("gifsicle", *options, *frames, "-o", work.path("photo.gif"))
        return work.path("photo.gif")
    return make


def all_but_colors(path):
    """Every byte but those of the tables, and how long these are."""
    return [(kind, len(body) if kind in TABLES else body)
            for kind, body in gif_blocks(path.read_bytes())]


def having(*kinds):
    """All but the colours of a file that must have such blocks."""
    def read(path):
        found = all_but_colors(path)
        for kind in kinds:
            require(any(name == kind and body for name, body in found), f"it has no {kind}")
        return found
    return read


def control(path):
    return [body for _, body in gif_of("extension 0xf9")(path)]


kept(G, "indices", "every byte but the tables' colours", still(), having("indices"),
     made="ImageMagick", compared=BLOCKS)
kept(G, "interlacing", "", still("-interlace", "GIF"), gif_of("frame", "indices"),
     made="ImageMagick", compared=BLOCKS)
kept(G, "transparency", "", still("-transparent", "#28fa00"), having("extension 0xf9"),
     made="ImageMagick", compared=BLOCKS)
kept(G, "colour tables", "shared by all frames", animation("--colors", "16"), all_but_colors,
     adjustments=("invert",), made="gifsicle", compared=BLOCKS)


def shared_apart(path):
    """How many tables, and the indices."""
    return [body for kind, body in gif_blocks(path.read_bytes()) if kind == "indices"]


kept(G, "colour tables", "shared, and an adjustment that measures each frame",
     animation("--colors", "16"), shared_apart,
     outcome="kept; frames that differ get tables of their own", made="gifsicle", compared=BLOCKS)


def own_tables(work):
    """ImageMagick gives each frame whose colours differ a table of its own."""
    frames = [still(colors=6 + i, turn=5 * i, name=f"frame{i}.gif")(work) for i in range(3)]
    return work.put("photo.gif", convert(*frames, "gif:-"))


kept(G, "colour tables", "of each frame's own", own_tables, having("local table"),
     made="ImageMagick", compared=BLOCKS)
kept(G, "timing", "", animation("-d", "7"), control, made="gifsicle", compared=BLOCKS)
kept(G, "loop count", "", animation("--loopcount=5"), gif_of("extension 0xff"), made="gifsicle",
     compared=BLOCKS)
for _disposal in ("asis", "background", "previous"):
    kept(G, "disposal", _disposal, animation(f"--disposal={_disposal}"), control,
         made="gifsicle", compared=BLOCKS)


def placed(work):
    frames = [still(colors=6, turn=i, name=f"frame{i}.gif")(work) for i in range(3)]
    run("gifsicle", frames[0], "--crop", "10,8+40x20", "-p", "5,7", frames[1], "--crop",
        "20,8+30x30", "-p", "40,20", frames[2], "-o", work.path("photo.gif"))
    return work.path("photo.gif")


kept(G, "frame rectangles", "", placed, lambda path: [
    body[:9] for _, body in gif_of("header", "frame")(path)], made="gifsicle",
     compared=BLOCKS)
kept(G, "comments", "", animation("--comment", "words of a comment"), gif_of("extension 0xfe"),
     made="gifsicle", compared=BLOCKS)
kept(G, "XMP", "", lambda work: exiftool(still()(work), "-XMP-dc:Title=A title"),
     lambda path: (gif_of("extension 0xff")(path), told("-XMP:all")(path)), made="exiftool",
     compared=BLOCKS + ", exiftool")
kept(G, "ICC profile", "", lambda work: still("-profile", str(
    work.put("wide.icc", profile())))(work),
     lambda path: (gif_of("extension 0xff")(path), run("exiftool", "-icc_profile", "-b", path)),
     made="ImageMagick", compared=BLOCKS + ", exiftool")
kept(G, "other blocks", "plain text and unknown ones", lambda work: work.put(
    "photo.gif", with_gif_block(with_gif_block(
        animation()(work).read_bytes(),
        b"\x21\x01\x0c" + struct.pack("<4H4B", 1, 1, 16, 8, 8, 8, 1, 0) + b"\x02hi\0"),
        b"\x21\x77\x03abc\x01z\0\x21\xff\x0bUNHEARDOF11\x02xy\0")),
     gif_of("extension 0x1", "extension 0x77", "extension 0xff"), made=HAND, compared=BLOCKS)
kept(G, "background and aspect ratio", "", lambda work: work.put("photo.gif", (
    lambda data: data[:11] + bytes([3, 49]) + data[13:])(still()(work).read_bytes())),
     gif_of("header"), made=HAND, compared=BLOCKS)
kept(G, "bytes after the end", "", lambda work: work.put(
    "photo.gif", still()(work).read_bytes() + b"what follows"), gif_of("rest"), made=HAND,
     compared="byte by byte")
refused(G, "damage", "cut short", lambda work: work.put(
    "photo.gif", still()(work).read_bytes()[:-20]), made="ImageMagick, cut")
