"""Holds Kelvo's files to the formulas before they are timed."""

import subprocess
from dataclasses import dataclass

import numpy

from adjustments import ADJUSTMENTS
from photographs import magick

# A formula's choice between two colours may fall either way within single precision.
NUDGE = 2e-6
STRIP = 1 << 18  # pixels that are worked on in double precision at once


@dataclass
class Verdict:
    passed: bool
    text: str


def netpbm(command, data=None):
    """The samples of the PPM picture that a command writes."""
    done = subprocess.run([str(word) for word in command], input=data, capture_output=True, check=True)
    _, width, height = done.stdout[:32].split(maxsplit=3)[:3]
    size = 3 * int(width) * int(height)
    samples = numpy.frombuffer(done.stdout, numpy.uint8, size, len(done.stdout) - size)
    return samples.reshape(int(height), int(width), 3)


def read_jpeg(path, smooth=True):
    return netpbm(["djpeg", "-dct", "int", "-rgb", "-ppm", *([] if smooth else ["-nosmooth"]), path])


def read_stored(path):
    """Colours and alpha of a losslessly stored file, 0..255 or 0..65535, all its frames in a row."""
    options = ["-coalesce"] if path.suffix == ".gif" else []
    sizes = subprocess.run([magick("identify"), "-format", "%w %h %z\n", path], check=True,
                           capture_output=True, text=True).stdout.splitlines()
    depth = int(sizes[0].split()[2])
    deep = depth == 16
    done = subprocess.run([magick("convert"), path, *options, "-depth", "16" if deep else "8",
                           "-endian", "LSB", "RGBA:-"], check=True, capture_output=True)
    samples = numpy.frombuffer(done.stdout, "<u2" if deep else numpy.uint8)
    return samples.reshape(-1, 4)


def rendered(colors, alpha, most=255):
    """Colours times alpha: the nearest level of 0..alpha, 0 for what is not a number."""
    limited = numpy.clip(numpy.nan_to_num(colors), 0, 1) * alpha[..., None]
    return numpy.floor(most * limited + 0.5)


def straight(premultiplied, alpha, most=255):
    """Levels with alpha taken out: to the nearest, 0 where alpha is."""
    whole = numpy.maximum(alpha, 1)[..., None]
    levels = numpy.minimum(most, (most * premultiplied + whole // 2) // whole)
    return numpy.where(alpha[..., None] == 0, 0, levels)


def strips(count):
    return (slice(start, start + STRIP) for start in range(0, count, STRIP))


def expected(adjustment, picture):
    """The adjusted levels of an opaque 8-bit picture, and the share of samples that lie so nearly
    between two levels that single precision may round them either way."""
    adjust = ADJUSTMENTS[adjustment].formula(picture)
    pixels = picture.reshape(-1, 3)
    result = numpy.empty_like(pixels)
    between = 0
    for strip in strips(len(pixels)):
        colors = adjust(pixels[strip] / 255, 0)
        result[strip] = rendered(colors, numpy.ones(len(colors)))
        between += int((numpy.abs(255 * colors % 1 - 0.5) < 255 * NUDGE).sum())
    return result.reshape(picture.shape), between / result.size


def most_of(samples):
    return numpy.iinfo(samples.dtype).max


def pixels_off(adjustment, source, result):
    """How many pixels have another alpha, or a premultiplied colour more than a level from the
    formula's. Rows of red, green, blue, alpha; the result may have fewer bits."""
    most = most_of(result)
    adjust = ADJUSTMENTS[adjustment].formula(source[:, :3])
    wrong = 0
    for strip in strips(len(source)):
        stored = source[strip] / most_of(source)
        actual = result[strip].astype(float)
        alpha = numpy.floor(stored[:, 3] * most + 0.5)
        near = numpy.zeros(len(stored), bool)
        for nudge in (0, NUDGE, -NUDGE):
            exact = rendered(adjust(stored[:, :3], nudge), alpha / most, most)
            least = straight(numpy.maximum(exact - 1, 0), alpha, most)
            greatest = straight(numpy.minimum(exact + 1, alpha[:, None]), alpha, most)
            near |= ((least <= actual[:, :3]) & (actual[:, :3] <= greatest)).all(axis=1)
            if near.all():
                break
        wrong += int((~near | (actual[:, 3] != alpha)).sum())
    return wrong


def check_lossless(adjustment, before, after):
    source, result = read_stored(before), read_stored(after)
    if len(source) != len(result):
        return Verdict(False, "another number of pixels")
    wrong = pixels_off(adjustment, source, result)
    return Verdict(wrong == 0, f"{wrong} pixels off by more than a level" if wrong
                   else "within a level everywhere")


def difference(first, second):
    """Row by row, since whole pictures of integers with a sign would take much memory."""
    return sum(float(numpy.abs(one - other.astype(float)).sum())
               for one, other in zip(first, second)) / first.size


def ppm(picture):
    return b"P6\n%d %d\n255\n" % (picture.shape[1], picture.shape[0]) + picture.tobytes()


def mean_levels(picture):
    return picture.reshape(-1, 3).mean(axis=0, dtype=float)


def judge_jpeg(actual, wanted, between, encoded_again):
    """The file differs from the formula's picture as one encoding of that does: by no more on the
    whole, and without a shift of any channel. A twentieth of a level is allowed for both, and to the
    means what rounding may do to samples between two levels."""
    if actual.shape != wanted.shape:
        return Verdict(False, "another size")
    off, alone = difference(actual, wanted), difference(encoded_again, wanted)
    shift = float(numpy.abs(mean_levels(actual) - mean_levels(encoded_again)).max())
    return Verdict(off <= alone + 0.05 and shift <= 0.05 + between,
                   f"{off:.2f} levels off on average, encoding alone {alone:.2f}; shifted by "
                   f"{shift:.3f}, rounding alone {between:.3f}")


def check_jpeg(adjustment, before, after):
    """There are two ways to enlarge the stored chroma on reading. A file that is right for either is
    right."""
    sampling = "1x1" if "444" in before.name else "2x2"
    verdict = None
    for smooth in (True, False):
        wanted, between = expected(adjustment, read_jpeg(before, smooth))
        encoded = subprocess.run(["cjpeg", "-quality", "90", "-sample", sampling], input=ppm(wanted),
                                 capture_output=True, check=True).stdout
        again = netpbm(["djpeg", "-dct", "int", "-rgb", "-ppm"] + ([] if smooth else ["-nosmooth"]), encoded)
        verdict = judge_jpeg(read_jpeg(after, smooth), wanted, between, again)
        if verdict.passed or sampling == "1x1":
            break
    return verdict


def judge_webp(actual, wanted, encoded_again):
    """WebP does not store how well it was encoded; the quality is an estimate. The file is to be as
    near to the formula as the formula's picture is after one encoding, and a tenth more."""
    if actual.shape != wanted.shape:
        return Verdict(False, "another size")
    mean, alone = difference(actual, wanted), difference(encoded_again, wanted)
    return Verdict(mean <= 1.1 * alone,
                   f"{mean:.2f} levels off on average, encoding alone {alone:.2f}")


def read_webp(data):
    return netpbm(["dwebp", "-quiet", "-ppm", "-o", "-", "--", "-"], data)


def check_webp(adjustment, before, after):
    wanted, _ = expected(adjustment, read_webp(before.read_bytes()))
    encoded = subprocess.run(["cwebp", "-quiet", "-q", "85", "-o", "-", "--", "-"], input=ppm(wanted),
                             capture_output=True, check=True).stdout
    return judge_webp(read_webp(after.read_bytes()), wanted, read_webp(encoded))


def apart(first, second):
    """The mean difference of two files' colours in levels, times alpha; None if they cannot be
    compared."""
    if first.suffix == ".jpg":
        one, other = read_jpeg(first), read_jpeg(second)
    elif first.suffix == ".webp":
        one, other = read_webp(first.read_bytes()), read_webp(second.read_bytes())
    else:
        one, other = (read_stored(path) for path in (first, second))
    if one.shape != other.shape or one.dtype != other.dtype:
        return None
    scale = 255 / most_of(one)
    if one.ndim == 2:  # what is transparent does not count
        one, other = (samples[None, :, :3] * (samples[None, :, 3:] / numpy.float32(most_of(samples)))
                      for samples in (one, other))
    return difference(one, other) * scale


def check(adjustment, before, after):
    """Whether `after` is `before` adjusted; None if there is no formula to tell."""
    if adjustment not in ADJUSTMENTS:
        return None
    way = {".jpg": check_jpeg, ".webp": check_webp}.get(before.suffix, check_lossless)
    return way(adjustment, before, after)
