"""The adjustments to measure with, and their formulas once more, in double precision. A formula takes
the stored levels of a whole picture first, for what it has to measure, and gives a function of colours:
arrays of pixels and the three channels, 0..1. `nudge` moves where a choice falls by so much; formulas
without a choice ignore it."""

from dataclasses import dataclass
from typing import Callable

import numpy

LUMINANCE = numpy.array([0.2125, 0.7154, 0.0721])
HALF_TURN = 3.14  # of a hue, in radians: so it is defined


def grey(c):
    return numpy.repeat((c @ LUMINANCE)[..., None], 3, axis=-1)


def turn_hue(c, degrees):
    """Rodrigues' rotation about the axis of the greys."""
    angle = degrees / 180 * HALF_TURN
    axis = numpy.full(3, 3 ** -0.5)
    along = (c @ axis)[..., None] * axis
    return (c * numpy.cos(angle) + numpy.cross(axis, c) * numpy.sin(angle)
            + along * (1 - numpy.cos(angle)))


def controls(c, saturation=1.0, brightness=0.0, contrast=1.0):
    return (grey(c) + (c - grey(c)) * saturation + brightness - 0.5) * contrast + 0.5


def linear(v):
    size = abs(v)
    return numpy.sign(v) * numpy.where(size <= 0.04045, size / 12.92,
                                       ((size + 0.055) / 1.055) ** 2.4)


def encoded(v):
    size = abs(v)
    return numpy.sign(v) * numpy.where(size <= 0.0031308, size * 12.92,
                                       1.055 * size ** (1 / 2.4) - 0.055)


def levels(black, middle, white):
    """The straight stretch and a smooth bump, 1 - 3u^2 - 2u^3, that moves the middle."""
    b, m, w = black / 255, middle / 255, white / 255

    def adjust(c, nudge):
        u = numpy.where(c < m, (c - m) / (m - b), (m - c) / (w - m))
        bump = numpy.where(u < -1, 0, 1 - (3 + 2 * u) * u * u)
        return (c - b) / (w - b) + bump * ((w + b) / 2 - m)
    return lambda picture: adjust


def natural_spline(points, at):
    """The cubic spline without curvature at its ends; beyond them it keeps their values."""
    x, y = numpy.array(points, float).T
    n = len(x)
    h = numpy.diff(x)
    system = numpy.eye(n)
    right = numpy.zeros(n)
    for i in range(1, n - 1):
        system[i, i - 1:i + 2] = h[i - 1], 2 * (h[i - 1] + h[i]), h[i]
        right[i] = 6 * ((y[i + 1] - y[i]) / h[i] - (y[i] - y[i - 1]) / h[i - 1])
    m = numpy.linalg.solve(system, right)
    i = numpy.clip(numpy.searchsorted(x, at, side="right") - 1, 0, n - 2)
    t = at - x[i]
    inside = (y[i] + t * ((y[i + 1] - y[i]) / h[i] - h[i] * (2 * m[i] + m[i + 1]) / 6)
              + t ** 2 * m[i] / 2 + t ** 3 * (m[i + 1] - m[i]) / (6 * h[i]))
    return numpy.where(at < x[0], y[0], numpy.where(at > x[-1], y[-1], inside))


def table(points):
    """A curve's whole levels at 0..255."""
    return numpy.clip(numpy.floor(natural_spline(points, numpy.arange(256)) + 0.5), 0, 255)


def ramps(master, channels):
    """Three rows of 256 values, 0..1 less a 256th: a channel's curve, then the master's."""
    whole = table(master)
    return numpy.stack([whole[table(points).astype(int)] for points in channels]) / 256


def stretched(ramp):
    """192 columns of a ramp of the plot's 0..191 spread over 256, the middle one of three twice."""
    k = numpy.arange(256)
    return ramp[:, 3 * (k // 4) + numpy.array([0, 1, 1, 2])[k % 4]] * 4 / 3


def look_up(rows):
    def adjust(c, nudge):
        index = numpy.rint(c * 255).astype(int)
        return numpy.stack([row[index[..., i]] for i, row in enumerate(rows)], axis=-1)
    return lambda picture: adjust


IDENTITY = [(0, 0), (255, 255)]


def plotted(points):
    """Points of 0..255 on the 0..191 of the curves' plot, with the six decimals that are stored."""
    return [(round(x * 191 / 255, 6), round(y * 191 / 255, 6)) for x, y in points]


def curves(master, red):
    straight = plotted(IDENTITY)
    return look_up(stretched(ramps(plotted(master), [plotted(red), straight, straight])))


def shifted_ends(red, green, blue):
    """Color balance of which only the ends of the curves move: each curve is a straight line from
    its black to its white point, kept outside of them."""
    return look_up(ramps(IDENTITY, [[(low, 0), (high, 255)] for low, high in (red, green, blue)]))


def threshold(level):
    def adjust(c, nudge):
        luma = c @ numpy.array([0.299, 0.587, 0.114])
        return numpy.repeat((luma >= level / 255 + nudge)[..., None], 3, axis=-1).astype(float)
    return lambda picture: adjust


def posterize(count):
    def adjust(c, nudge):
        return numpy.clip(numpy.floor(c * count + nudge), 0, count - 1) / (count - 1)
    return lambda picture: adjust


def hue_cone(c):
    """The hue of 0..6, taken as an angle, at the saturation's distance, and the value."""
    low, high = c.min(axis=-1), c.max(axis=-1)
    r, g, b = numpy.moveaxis(c, -1, 0)
    f = numpy.where(r == low, g - b, numpy.where(g == low, b - r, r - g))
    i = numpy.where(r == low, 3.0, numpy.where(g == low, 5.0, 1.0))
    with numpy.errstate(divide="ignore", invalid="ignore"):
        hue = numpy.where(high == low, -1, i - f / (high - low))
        saturation = numpy.where(high == low, 0, (high - low) / high)
    return numpy.stack([saturation * numpy.cos(hue), saturation * numpy.sin(hue), high], axis=-1)


def replace_color(color, radius, hue, saturation, lightness):
    wanted = hue_cone(numpy.array(color))

    def adjust(c, nudge):
        likeness = 1 - numpy.linalg.norm(hue_cone(c) - wanted, axis=-1) / 5 ** 0.5
        changed = turn_hue(controls(c, 1 + saturation / 100, lightness / 100), hue)
        return numpy.where((likeness > 1 - radius / 200 + nudge)[..., None], changed, c)
    return lambda picture: adjust


def equalize(picture):
    """Stretches luminance between bounds one level inside of what cuts off half a percent."""
    red, green, blue = (picture[..., i].astype(float) for i in range(3))
    counts = numpy.bincount((red * 0.3 + green * 0.59 + blue * 0.11).astype(int).ravel(),
                            minlength=256)
    cut = int(red.size * 0.005)

    def bins_to(cut, counts):
        return int(numpy.searchsorted(numpy.cumsum(counts), cut)) + 1 if cut > 0 else 0
    lower = bins_to(cut, counts) / 255
    upper = (255 - bins_to(cut, counts[::-1])) / 255

    def adjust(c, nudge):
        y = (c @ LUMINANCE)[..., None]
        with numpy.errstate(divide="ignore", invalid="ignore"):
            ratio = (y - lower) / (upper - lower) / y
            return numpy.clip(numpy.nan_to_num(c * ratio, nan=0.0), 0, 1)
    return adjust


# sRGB to CIE XYZ of D50: the standard's primaries, adapted with Bradford's matrix.
TO_XYZ = numpy.array([[0.4360747, 0.3850649, 0.1430804], [0.2225045, 0.7168786, 0.0606169],
                      [0.0139322, 0.0971045, 0.7141733]])
WHITE = TO_XYZ.sum(axis=1)


def to_lab(c):
    """L*a*b* as stored: whole levels, L* 0..100 as 0..255, a* and b* from 128 on."""
    relative = linear(c) @ TO_XYZ.T / WHITE
    f = numpy.where(relative > (6 / 29) ** 3, numpy.cbrt(relative),
                    relative / (3 * (6 / 29) ** 2) + 4 / 29)
    x, y, z = numpy.moveaxis(f, -1, 0)
    lab = numpy.stack([(116 * y - 16) * 2.55, 500 * (x - y) + 128, 200 * (y - z) + 128], axis=-1)
    return numpy.clip(numpy.floor(lab + 0.5), 0, 255)


def from_lab(lab):
    y = (lab[..., 0] / 2.55 + 16) / 116
    f = numpy.stack([y + (lab[..., 1] - 128) / 500, y, y - (lab[..., 2] - 128) / 200], axis=-1)
    relative = numpy.where(f > 6 / 29, f ** 3, 3 * (6 / 29) ** 2 * (f - 4 / 29))
    return encoded((relative * WHITE) @ numpy.linalg.inv(TO_XYZ).T)


def auto(picture):
    """Stretches L* between what cuts off 1 % of the dark and 0.5 % of the light pixels."""
    pixels = picture.reshape(-1, 3)
    counts = numpy.zeros(256, int)
    for start in range(0, len(pixels), 1 << 18):
        lab = to_lab(pixels[start:start + (1 << 18)] / 255)
        counts += numpy.bincount(lab[..., 0].astype(int), minlength=256)
    cut = len(pixels) * 0.005
    low = int(numpy.searchsorted(numpy.cumsum(counts), 2 * cut))
    high = 255 - int(numpy.searchsorted(numpy.cumsum(counts[::-1]), cut))

    def adjust(c, nudge):
        lab = to_lab(c)
        lightness = lab[..., 0]
        lab[..., 0] = numpy.where(lightness > high, 255, numpy.where(
            lightness < low, 0, numpy.floor((lightness - low) * (255 / (high - low)))))
        return from_lab(lab)
    return adjust


def of_colors(adjust):
    return lambda picture: lambda c, nudge: adjust(c)


@dataclass(frozen=True)
class Adjustment:
    name: str
    settings: tuple
    formula: Callable


CURVE = [(0, 0), (96, 120), (255, 255)]
RED_CURVE = [(0, 10), (128, 120), (255, 250)]
SEPIA = numpy.array([0x70, 0x42, 0x14]) / 255
SKY = numpy.array([0x80, 0xa0, 0xc0]) / 255


def text(points):
    return " ".join(f"{x},{y}" for x, y in points)


ADJUSTMENTS = {adjustment.name: adjustment for adjustment in (
    Adjustment("invert", (), of_colors(lambda c: 1 - c)),
    Adjustment("levels", ("--shadows", 20, "--midtones", 110, "--highlights", 230),
               levels(20, 110, 230)),
    Adjustment("curves", ("--rgb", text(CURVE), "--red", text(RED_CURVE)),
               curves(CURVE, RED_CURVE)),
    Adjustment("threshold", ("--level", 128), threshold(128)),
    Adjustment("posterize", ("--levels", 4), posterize(4)),
    Adjustment("exposure", ("--exposure", 25), of_colors(lambda c: encoded(linear(c) * 2 ** 0.5))),
    Adjustment("brightness-contrast", ("--contrast", 20),
               of_colors(lambda c: controls(c, contrast=1 + 20 * 0.03))),
    Adjustment("channel-mixer", ("--rr", 50, "--rg", 50), of_colors(
        lambda c: c @ numpy.array([[0.5, 0, 0], [0.5, 1, 0], [0, 0, 1]]))),
    Adjustment("desaturate", (), of_colors(grey)),
    Adjustment("hue-saturation", ("--hue", 20, "--saturation", 30, "--lightness", 5), of_colors(
        lambda c: turn_hue(controls(c, 1.3, 0.05), 20))),
    Adjustment("colorize", ("--color", "#704214", "--hue", 10, "--intensity", 50), of_colors(
        lambda c: turn_hue(c + (grey(c) * SEPIA - c) * 0.5, 10))),
    Adjustment("replace-color", ("--color", "#80a0c0", "--radius", 60, "--hue", 120, "--saturation",
                                 20), replace_color(SKY, 60, 120, 20, 0)),
    # Towards red in the shadows, green and blue begin later; towards yellow in the highlights, red
    # and green end earlier.
    Adjustment("color-balance", ("--shadows-red", 10, "--highlights-blue", -15),
               shifted_ends((0, 240), (10, 240), (10, 255))),
    Adjustment("equalize", (), equalize),
    Adjustment("auto", (), auto),
)}
