"""Files as other programs make them of a picture, with random options: for each format a function
that takes the dice and gives how such files are made."""

from dataclasses import dataclass
from typing import Callable

from harness import convert, run


@dataclass(frozen=True)
class Maker:
    extension: str
    words: str  # how it is made, to read
    make: Callable  # of a PNG picture and a path
    lossless: bool = True
    alpha: bool = False
    depth: int = 8
    frames: int = 1


def some(dice, chance, *choices):
    """One of the choices, split into words, or mostly none."""
    return dice.choice(choices).split() if dice.random() < chance else []


def png_kind(alpha, depth):
    return f"PNG{(4 if alpha else 3) * depth}"


def _truecolor(alpha):
    return ["-type", "TrueColorAlpha" if alpha else "TrueColor"]


def _by_cjpeg(picture, path, options):
    run("cjpeg", *options, "-outfile", path, stdin=convert(picture, "-depth", "8", "ppm:-"))


def jpeg(dice):
    samplings = ["1x1", "2x1", "2x2", "1x2", "4x1", "4x2", "1x4", "3x1", "2x1,2x1,2x1",
                 "2x2,2x1,1x2", "1x1,2x2,1x1"]
    rgb = dice.random() < 0.15
    options = ["-quality", dice.choice(["5", "30", "60", "75", "90", "97", "100"]),
               "-sample", "1x1" if rgb else dice.choice(samplings),
               *some(dice, 0.3, "-optimize"), *some(dice, 0.3, "-progressive"),
               *some(dice, 0.15, "-arithmetic"), *some(dice, 0.1, "-baseline"),
               *some(dice, 0.3, "-restart 1", "-restart 3", "-restart 7B", "-restart 1B"),
               *(["-rgb"] if rgb else []), *some(dice, 0.2, "-dct float")]
    return Maker("jpg", " ".join(["cjpeg", *options]), lossless=False,
                 make=lambda picture, path: _by_cjpeg(picture, path, options))


def tiff(dice):
    compression = dice.choice([
        "none", "packbits", "lzw", "lzw:2", "zip", "zip:2", "zip:p9", "zstd", "zstd:2", "lzma:2",
        "jpeg", "jpeg:50", "jpeg:95", "jpeg:r:80"])
    lossy = compression.startswith("jpeg")
    alpha = not lossy and dice.random() < 0.25
    depth = 8 if lossy else dice.choice([8, 8, 16])
    parts = ["-s -r 16", "-s -r 1000", "-t -w 32 -l 16", "-t -w 64 -l 48"]
    if not lossy:
        parts += ["-s -r 1", "-s -r 7"]
    options = ["-c", compression, *some(dice, 0.3, "-B", "-L"), *some(dice, 0.3, "-8"),
               *dice.choice(parts).split()]
    if not lossy:
        options += some(dice, 0.3, "-f lsb2msb")
    # tiffcp separates samples of one byte only; vips does not decode separate tiles.
    if not lossy and depth == 8 and "-t" not in options:
        options += some(dice, 0.3, "-p separate")

    def make(picture, path):
        plain = path.with_suffix(".plain.tif")
        convert(picture, "-depth", depth, *_truecolor(alpha), "-define", "tiff:alpha=unassociated",
                "-compress", "None", plain)
        run("tiffcp", *options, plain, path)
        plain.unlink()
    return Maker("tif", " ".join(["tiffcp", *options]), make, not lossy, alpha, depth)


def png(dice):
    colors = some(dice, 0.2, "-colors 200", "-colors 16", "-colors 3")
    alpha = not colors and dice.random() < 0.4
    depth = 8 if colors else dice.choice([8, 8, 16])
    options = ["-define", f"png:compression-level={dice.choice([0, 1, 6, 9])}",
               "-define", f"png:compression-filter={dice.randrange(6)}",
               *some(dice, 0.3, "-interlace PNG"), *colors]
    kind = "PNG8" if colors else png_kind(alpha, depth)
    return Maker("png", " ".join(["convert", *options, kind]), alpha=alpha, depth=depth,
                 make=lambda picture, path: convert(picture, "-depth", depth, *options,
                                                    f"{kind}:{path}"))


def bmp(dice):
    alpha = dice.random() < 0.3
    kind = "BMP" if alpha else dice.choice(["BMP", "BMP2", "BMP3"])
    return Maker("bmp", f"convert {kind}", alpha=alpha,
                 make=lambda picture, path: convert(picture, "-depth", "8", *_truecolor(alpha),
                                                    f"{kind}:{path}"))


def webp(dice):
    lossless = dice.random() < 0.5
    options = ["-m", dice.choice(["0", "2", "4", "6"])]
    if lossless:
        options += ["-lossless", "-exact"]
    else:
        options += ["-q", dice.choice(["10", "50", "80", "100"]), *some(dice, 0.3, "-alpha_q 40"),
                    *some(dice, 0.3, "-sharp_yuv")]
    return Maker("webp", " ".join(["cwebp", *options]), lossless=lossless,
                 alpha=dice.random() < 0.4,
                 make=lambda picture, path: run("cwebp", "-quiet", *options, picture, "-o", path))


def avif(dice):
    lossless = dice.random() < 0.4
    options = ["-s", "9"]
    if lossless:
        options += ["-l"]
    else:
        # Without a rate to hold, which would depend on the picture.
        level = dice.choice(["5", "18", "32"])
        options += ["--min", "0", "--max", "63", "-a", "end-usage=q", "-a", f"cq-level={level}",
                    *some(dice, 0.6, "-y 420", "-y 422", "-y 444"), *some(dice, 0.3, "-d 10")]
    return Maker("avif", " ".join(["avifenc", *options]), lossless=lossless,
                 alpha=dice.random() < 0.3, depth=16 if "-d" in options else 8,
                 make=lambda picture, path: run("avifenc", *options, picture, path))


def heic(dice):
    # Its lossless files keep luma and chroma; colours are rounded on the way to them and back.
    options = dice.choice(["-L -p chroma=444", "-q 30", "-q 60", "-q 90", "-q 90 -p chroma=444",
                           "-q 60 -p chroma=422"]).split()
    return Maker("heic", " ".join(["heif-enc", *options]), lossless=False,
                 make=lambda picture, path: run("heif-enc", *options, picture, "-o", path))


def jpeg_xl(dice):
    # Lower efforts than 5 spend bytes evenly, where the one that we write with spends them where
    # they are seen; numbers say nothing about that.
    distance = dice.choice(["0", "0", "0.5", "1", "2"])
    options = ["-d", distance, "-e", dice.choice(["5", "7"]), *some(dice, 0.3, "--container=1"),
               *some(dice, 0.3, "-p"), *some(dice, 0.2, "--group_order=1")]
    depth = dice.choice([8, 8, 16])
    # djxl does not decode alpha of another depth than it asks for.
    alpha = depth == 8 and dice.random() < 0.3
    return Maker("jxl", " ".join(["cjxl", *options]), lossless=distance == "0", alpha=alpha,
                 depth=depth, make=lambda picture, path: run("cjxl", "--quiet", *options, picture, path))


def jpeg2000(dice):
    lossless = dice.random() < 0.5
    options = ["-n", dice.choice(["1", "3", "6"] if lossless else ["3", "6"])]
    if not lossless:
        options += ["-I", *dice.choice(["-r 10,5", "-r 40", "-q 30,40", "-q 36"]).split()]
    options += [*some(dice, 0.5, "-t 64,64", "-t 96,64"),
                *some(dice, 0.4, "-p RLCP", "-p CPRL", "-p RPCL"), *some(dice, 0.3, "-SOP"),
                *some(dice, 0.3, "-EPH"), *some(dice, 0.3, "-M 1", "-M 4", "-M 63"),
                *some(dice, 0.3, "-b 32,32", "-b 64,16"), *some(dice, 0.2, "-TLM")]

    def make(picture, path):
        plain = path.with_suffix(".ppm")
        convert(picture, "-depth", "8", *_truecolor(False), plain)
        run("opj_compress", "-i", plain, "-o", path, *options)
        plain.unlink()
    return Maker(dice.choice(["jp2", "j2k"]), " ".join(["opj_compress", *options]), make, lossless)


def gif(dice):
    """Frames cut out of the picture, at places and with disposals of all kinds."""
    frames = dice.randint(1, 6)
    cuts = [(dice.random(), dice.random(), dice.random(), dice.random(), dice.randrange(50),
             dice.choice(["none", "background", "previous", "undefined"]),
             some(dice, 0.4, "-fuzz 20% -transparent red"),
             some(dice, 0.4, "-colors 2", "-colors 5", "-colors 64")) for _ in range(frames)]
    options = [*some(dice, 0.5, "-O1", "-O2", "-O3"), *some(dice, 0.3, "-i"),
               *some(dice, 0.3, "-k 20", "-k 3"), *some(dice, 0.2, "--lossy=30"),
               *some(dice, 0.2, "-l2"), *some(dice, 0.2, "--use-colormap web")]

    def make(picture, path):
        width, height = (int(n) for n in run("identify", "-format", "%w %h", picture).split())
        parts = []
        for number, (x, y, across, down, delay, disposal, clear, colors) in enumerate(cuts):
            whole = number == 0
            left, top = (0, 0) if whole else (int(x * width), int(y * height))
            size = (width, height) if whole else (1 + int(across * (width - left - 1)),
                                                  1 + int(down * (height - top - 1)))
            parts += ["(", picture, "-modulate", f"100,100,{100 + 15 * number}",
                      "-crop", f"{size[0]}x{size[1]}+{left}+{top}",
                      *clear, *colors, "-repage", f"{width}x{height}+{left}+{top}",
                      "-set", "delay", delay, "-set", "dispose", disposal, ")"]
        convert(*parts, path)
        if options:
            run("gifsicle", "-b", *options, path)
    return Maker("gif", f"{frames} frames, gifsicle {' '.join(options)}", make, frames=frames)


MAKERS = {"jpeg": jpeg, "tiff": tiff, "png": png, "gif": gif, "bmp": bmp, "webp": webp,
          "avif": avif, "heic": heic, "jpeg-xl": jpeg_xl, "jpeg-2000": jpeg2000}
