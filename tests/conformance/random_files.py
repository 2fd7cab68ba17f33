"""Random pictures in files made with random options of other programs, adjusted at random. What comes
out, decoded by other programs, must be the adjustment of what they decoded before: of a PNG of those
pixels, a format whose rows hold it to the pixel. Lossless files to the level; lossy ones as close as
if the adjusted picture had been encoded anew.

  random_files.py FORMAT --kelvo PROGRAM [--seed N] [--count N] [--only N]

The same seed gives the same files. A case that fails is told with all that it takes to make it again;
--only makes that one and leaves its files."""

import argparse
import os
import random
import sys
import tempfile
from pathlib import Path

import numpy

from harness import Failure, Work, convert, require, run
from random_makers import MAKERS, png_kind

# With several threads, ImageMagick's noise is not that of its seed alone.
os.environ["MAGICK_THREAD_LIMIT"] = "1"

PICTURES = ("plasma:red-blue", "plasma:fractal", "gradient:gray20-gray40", "gradient:yellow-blue",
            "xc:rgb(40,200,90)", "noise")
ADJUSTMENTS = ("invert", "levels", "threshold", "posterize", "desaturate", "exposure",
               "hue-saturation --hue 60", "brightness-contrast --brightness 40 --contrast 30",
               "channel-mixer", "equalize", "auto")
# Each frame by itself, not the picture that frames add up to.
MEASURING = ("equalize", "auto")
# They make much of the little by which decoders of a lossy format differ, unless all are of one library.
STEEP = MEASURING + ("threshold", "posterize")
ONE_DECODER = ("jpg", "jp2", "j2k")

# Of what a new encoding of the adjusted picture loses, as a root mean square: another encoder of the
# same format, or the same at another effort, loses somewhat more; and decoded pixels were rounded.
MOST_OF_A_NEW_LOSS = 1.35
ROUNDING = 2


class NotMade(Exception):
    """The other program refuses the picture or its options."""


def make(maker, picture, path):
    try:
        maker.make(picture, path)
    except Failure as failure:
        raise NotMade from failure
    if not path.exists() or path.stat().st_size == 0:
        raise NotMade


def draw_picture(dice, path, maker):
    if dice.random() < 0.3:
        width, height = dice.randint(1, 40), dice.randint(1, 40)
    else:
        width, height = dice.randint(17, 300), dice.randint(17, 300)
    kind = dice.choice(PICTURES)
    source = ["xc:gray", "+noise", "Random"] if kind == "noise" else [kind]
    seed = dice.randint(1, 9999)
    alpha = []
    if maker.alpha:
        alpha = ["(", "-seed", seed + 1, "plasma:white-black", "-colorspace", "Gray", ")",
                 "-alpha", "off", "-compose", "CopyOpacity", "-composite"]
    convert("-size", f"{width}x{height}", "-seed", seed, *source, *alpha, "-depth", maker.depth,
            "-type", "TrueColorAlpha" if maker.alpha else "TrueColor",
            f"{png_kind(maker.alpha, maker.depth)}:{path}")
    return f"{width} x {height} {kind} (seed {seed})"


# Programs that make a PNG of what ImageMagick does not read: of TIFF, it takes some that are packed
# very small for damaged.
DECODERS = {".tif": ["vips", "copy"], ".jxl": ["djxl", "--quiet"], ".avif": ["avifdec"],
            ".heic": ["heif-convert"]}


def decoded(path):
    """RGBA in levels of 255, as other programs decode it; frames one below the other."""
    if command := DECODERS.get(path.suffix):
        picture = path.with_suffix(path.suffix + ".png")
        run(*command, path, picture)
        levels = decoded(picture)
        picture.unlink()
        return levels
    if path.suffix == ".jpg":
        source, before = "ppm:-", run("djpeg", "-dct", "int", "-ppm", path)
        width, height = (int(n) for n in before.split(b"\n")[1].split())
    else:
        source, before = path, b""
        sizes = run("identify", "-format", "%W %H\n", path).split()
        width, height = int(sizes[0]), int(sizes[1])
    joined = ["-coalesce", "-append"] if path.suffix == ".gif" else []
    samples = convert(source, *joined, "-alpha", "set", "-depth", "16", "-endian", "LSB", "rgba:-",
                      stdin=before)
    levels = numpy.frombuffer(samples, "<u2").reshape(-1, width, 4) / 257
    require(len(levels) % height == 0, f"{path.name} was not decoded whole")
    return levels


def put_png(levels, path, maker):
    samples = numpy.rint(levels * 257).astype("<u2")
    alpha = bool((levels[:, :, 3] < 255).any())
    if not alpha:
        samples = samples[:, :, :3]
    convert("-size", f"{samples.shape[1]}x{samples.shape[0]}", "-depth", "16", "-endian", "LSB",
            "rgba:-" if alpha else "rgb:-", "-depth", maker.depth,
            f"{png_kind(alpha, maker.depth)}:{path}", stdin=samples.tobytes())


def apart(levels, expected):
    """The distance of each colour sample, weighted with alpha."""
    require(levels.shape == expected.shape, f"{levels.shape} samples instead of {expected.shape}")
    return numpy.abs(levels - expected)[:, :, :3] * expected[:, :, 3:] / 255


def root_mean_square(distances):
    return float(numpy.sqrt((distances ** 2).mean()))


def adjust(work, adjustment, path, options):
    name, *settings = adjustment.split()
    status, said = work.adjust(name, path, *settings, *options)
    require(status == 0, f"kelvo {adjustment}: status {status}: {said}")


def check(work, dice, maker, said):
    """One file. `said` takes the words that tell which."""
    source = work.path("source.png")
    said.append(draw_picture(dice, source, maker))
    said.append(maker.words)
    left_out = () if maker.lossless or maker.extension in ONE_DECODER else STEEP
    if maker.frames > 1:
        left_out += MEASURING
    adjustment = dice.choice([a for a in ADJUSTMENTS if a not in left_out])
    options = ["--depth", "keep"] if maker.depth == 16 and dice.random() < 0.5 else []
    said.append(" ".join(["kelvo", adjustment, *options]))

    path = work.path(f"file.{maker.extension}")
    make(maker, source, path)
    before = decoded(path)
    expected_file = work.path("expected.png")
    put_png(before, expected_file, maker)
    work.put(f"before.{maker.extension}", path.read_bytes())
    adjust(work, adjustment, path, options)
    adjust(work, adjustment, expected_file, options)
    after, expected = decoded(path), decoded(expected_file)
    distances = apart(after, expected)
    alpha = float(numpy.abs(after - expected)[:, :, 3].max())
    if maker.lossless:
        # Colours under alpha are rounded when they are multiplied by it.
        most = 1.01 if maker.alpha else 0
        require(distances.max() <= most,
                f"a sample is {distances.max():.2f} levels from what was expected")
        require(alpha == 0, f"alpha is {alpha:.2f} levels off")
        return
    # Anew both from the picture itself and from what was decoded, which an adjustment like Threshold
    # can make quite another picture of.
    adjust(work, adjustment, source, options)
    new_loss = 0
    for number, picture in enumerate([source, expected_file]):
        anew = work.path(f"anew-{number}.{maker.extension}")
        make(maker, picture, anew)
        new_loss = max(new_loss, root_mean_square(apart(decoded(anew), decoded(picture))))
    loss = root_mean_square(distances)
    require(loss <= MOST_OF_A_NEW_LOSS * new_loss + ROUNDING,
            f"{loss:.2f} levels from what was expected; a new encoding loses {new_loss:.2f}")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("format", choices=MAKERS)
    parser.add_argument("--kelvo", required=True)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--count", type=int, default=6)
    parser.add_argument("--only", type=int)
    asked = parser.parse_args()
    failures = not_made = 0
    numbers = range(asked.count) if asked.only is None else [asked.only]
    for number in numbers:
        dice = random.Random(f"{asked.format} {asked.seed} {number}")
        said = []
        with Work(asked.kelvo) as work:
            try:
                check(work, dice, MAKERS[asked.format](dice), said)
            except NotMade:
                not_made += 1
            except Failure as failure:
                failures += 1
                print(f"{asked.format}, --seed {asked.seed} --only {number}: {failure}\n  "
                      + "\n  ".join(said), flush=True)
            if asked.only is not None:
                kept = Path(tempfile.mkdtemp(prefix="random-files-"))
                for entry in work.folder.iterdir():
                    entry.rename(kept / entry.name)
                print(kept)
    print(f"{len(numbers) - not_made} files, {failures} not as expected")
    if 2 * not_made > len(numbers):
        print(f"{not_made} files more could not be made")
        return 1
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
