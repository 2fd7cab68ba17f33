"""How other tools are told to do what Kelvo is measured with: the same, or what of theirs comes
closest. Where a tool has nothing like it, it is left out."""

import shutil
from dataclasses import dataclass

import numpy

from adjustments import ADJUSTMENTS, CURVE, LUMINANCE, RED_CURVE, table
from photographs import magick

# A channel's value v becomes 1.6 v - 0.3: what contrast 20 does.
SCALE, OFFSET = 1.6, -0.3
GREY = ",".join(str(weight) for weight in LUMINANCE)
MIXER = "0.5 0.5 0 0 1 0 0 0 1"

IMAGEMAGICK = {
    "invert": ["-negate"],
    "levels": ["-level", f"{20 / 2.55}%,{230 / 2.55}%"],
    "curves": ["{curves.ppm}", "-clut"],
    "threshold": ["-threshold", f"{128 / 2.55}%"],
    "posterize": ["-posterize", "4"],
    "exposure": ["-colorspace", "RGB", "-evaluate", "multiply", str(2 ** 0.5), "-colorspace", "sRGB"],
    "brightness-contrast": ["-function", "polynomial", f"{SCALE},{OFFSET}"],
    "channel-mixer": ["-color-matrix", MIXER],
    "desaturate": ["-color-matrix", " ".join([GREY.replace(",", " ")] * 3)],
    "hue-saturation": ["-modulate", "105,130,111"],
    "colorize": ["-fill", "#704214", "-colorize", "50"],
    "equalize": ["-contrast-stretch", "0.5%x0.5%"],
    "auto": ["-colorspace", "Lab", "-channel", "R", "-contrast-stretch", "1%x0.5%", "+channel",
             "-colorspace", "sRGB"],
}
GRAPHICSMAGICK = {
    "invert": ["-negate"],
    "levels": ["-level", f"{20 / 2.55}%,1.0,{230 / 2.55}%"],
    "threshold": ["-threshold", f"{128 / 2.55}%"],
    "brightness-contrast": ["-level", f"{-100 * OFFSET / SCALE}%,1.0,{100 * (1 - OFFSET) / SCALE}%"],
    "channel-mixer": ["-recolor", MIXER.replace(" ", ",")],
    "desaturate": ["-recolor", ",".join([GREY] * 3)],
    "hue-saturation": ["-modulate", "105,130,111"],
    "colorize": ["-fill", "#704214", "-colorize", "50"],
    "equalize": ["-normalize"],
}
# One operation a process; what comes before the file names and what after.
VIPS = {
    "invert": (["invert"], []),
    "levels": (["linear"], ["--uchar", "--", str(255 / 210), str(-20 * 255 / 210)]),
    "curves": (["maplut"], ["{curves.ppm}"]),
    "threshold": (["relational_const"], ["moreeq", "128"]),
    "posterize": (["maplut"], ["{posterize.ppm}"]),
    "exposure": (["maplut"], ["{exposure.ppm}"]),
    "brightness-contrast": (["linear"], ["--uchar", "--", str(SCALE), str(255 * OFFSET)]),
    "channel-mixer": (["recomb"], ["{mixer.mat}"]),
    "desaturate": (["recomb"], ["{grey.mat}"]),
    "equalize": (["hist_equal"], []),
}
VIPS_BESIDE_ALPHA = {"invert": (["linear"], ["--uchar", "--", "-1 -1 -1 1", "255 255 255 0"])}

# How each picture is to be stored again.
MAGICK_STORAGE = {
    "jpeg": ["-quality", "90", "-sampling-factor", "2x2"],
    "jpeg-444": ["-quality", "90", "-sampling-factor", "1x1"],
    "png": [], "png-alpha": [], "gif": [],
    "webp": ["-quality", "85"],
    "tiff-raw": ["-compress", "none"],
    "tiff-lzw": ["-compress", "lzw", "-define", "tiff:predictor=2"],
    "tiff-deflate": ["-compress", "zip", "-define", "tiff:predictor=2"],
}
VIPS_STORAGE = {
    "jpeg": {"libvips": "[Q=90,subsample_mode=on]"},
    "jpeg-444": {"libvips": "[Q=90,subsample_mode=off]"},
    "png": {"libvips": "", "libvips, filters": "[filter=all]"},
    "png-alpha": {"libvips": "", "libvips, filters": "[filter=all]"},
    "webp": {"libvips": "[Q=85]"},
    "tiff-raw": {"libvips": "[compression=none]"},
    "tiff-lzw": {"libvips": "[compression=lzw,predictor=horizontal]"},
    "tiff-deflate": {"libvips": "[compression=deflate,predictor=horizontal]"},
}


def write_helpers(folder):
    """Tables and matrices that tools read from files."""
    def write_table(name, rows):
        (folder / name).write_bytes(b"P6\n256 1\n255\n" + bytes(
            int(row[i]) for i in range(256) for row in rows))

    master, red = table(CURVE), table(RED_CURVE)
    write_table("curves.ppm", [[master[int(level)] for level in red], master, master])
    for name in ("posterize", "exposure"):
        write_table(f"{name}.ppm", levels_of(name))
    (folder / "mixer.mat").write_text("3 3\n0.5 0.5 0\n0 1 0\n0 0 1\n", encoding="ascii")
    (folder / "grey.mat").write_text("3 3\n" + (GREY.replace(",", " ") + "\n") * 3, encoding="ascii")


def levels_of(name):
    """The three channels' tables of an adjustment that takes each channel by itself."""
    levels = numpy.arange(256).repeat(3).reshape(256, 3)
    adjusted = ADJUSTMENTS[name].formula(levels)(levels / 255, 0)
    return numpy.clip(numpy.floor(adjusted * 255 + 0.5), 0, 255).T


@dataclass(frozen=True)
class Peer:
    name: str
    command: list  # with {in}, {out} and the helpers' names in braces

    def fill(self, names):
        return [fill(word, names) for word in self.command]


def fill(word, names):
    for name, value in names.items():
        word = word.replace("{" + name + "}", str(value))
    return word


def peers(adjustment, storage, several=False):
    """The tools that can do this with a picture stored so; `several`: the picture has frames."""
    found = []
    for name, program, operations in (
            ("ImageMagick", [magick("convert")], IMAGEMAGICK),
            ("GraphicsMagick", ["gm", "convert"], GRAPHICSMAGICK)):
        if shutil.which(program[0] or "") and adjustment in operations:
            found.append(Peer(name, [*program, "{in}", *operations[adjustment],
                                     *MAGICK_STORAGE[storage], "{out}"]))
    operations = VIPS_BESIDE_ALPHA if storage == "png-alpha" else VIPS
    if shutil.which("vips") and adjustment in operations:
        before, after = operations[adjustment]
        for name, options in VIPS_STORAGE.get(storage, {}).items():
            found.append(Peer(name, ["vips", *before, "{in}" + ("[n=-1]" if several else ""),
                                     "{out}" + options, *after]))
    return found


def batch_peers(adjustment, storage):
    """The same for the pictures *.jpg of the folder {in}; results go to the folder {out}. The tools
    that take many files work on one after the other; libvips takes one, so two run at a time."""
    found = []
    for name, program, operations in (
            ("ImageMagick", [magick("mogrify")], IMAGEMAGICK),
            ("GraphicsMagick", ["gm", "mogrify"], GRAPHICSMAGICK)):
        if shutil.which(program[0] or "") and adjustment in operations:
            change = " ".join([*operations[adjustment], *MAGICK_STORAGE[storage]])
            target = "-path" if name == "ImageMagick" else "-output-directory"
            found.append(Peer(name, ["sh", "-c", f"cd '{{in}}' && exec {' '.join(program)} {target} "
                                                 f"'{{out}}' {change} *.jpg"]))
    if shutil.which("vips") and adjustment in VIPS:
        before, after = VIPS[adjustment]
        options = VIPS_STORAGE[storage]["libvips"]
        found.append(Peer("libvips", [
            "sh", "-c", "cd '{in}' && ls | xargs -P 2 -I NAME "
            f"vips {' '.join(before)} NAME '{{out}}'/NAME'{options}' {' '.join(after)}"]))
    return found
