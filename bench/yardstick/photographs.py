"""The pictures to measure with: computed photographs with grain and detail, stored in every way that
the works ask for. Made once and kept."""

import shutil
import subprocess
import sys

import numpy

QUICK = 16  # how many times smaller the pictures of a quick run are


def magick(name):
    # Debian names the program itself so; "convert" may be a wrapper.
    return shutil.which(name + "-im6.q16") or shutil.which(name)


def read_netpbm(path):
    """The samples of a binary PPM file with no comments in its header."""
    data = path.read_bytes()
    _, width, height, most = data[:64].split(maxsplit=4)[:4]
    kind = numpy.uint8 if int(most) < 256 else numpy.dtype(">u2")
    size = int(width) * int(height) * 3
    samples = numpy.frombuffer(data, kind, size, len(data) - size * numpy.dtype(kind).itemsize)
    return samples.reshape(int(height), int(width), 3)


class Photographs:
    def __init__(self, folder, generator, quick):
        self.folder = folder
        self.generator = generator
        self.quick = quick
        folder.mkdir(parents=True, exist_ok=True)

    def path(self, name):
        """Makes the picture of that name if it is not there yet, and gives its path."""
        path = self.folder / name
        if not path.exists():
            print(f"compare: making {name}", file=sys.stderr)
            partial = self.folder / f"partial-{name}"
            MAKERS[name](self, partial)
            partial.rename(path)
        return path

    def plain(self, megapixels, bits=8):
        path = self.folder / f"plain-{megapixels}-{bits}.ppm"
        if not path.exists():
            partial = self.folder / "partial-plain.ppm"
            size = megapixels / QUICK if self.quick else megapixels
            call(self.generator, "landscape", "--size", size, "--samples", 1, "--noise", 4, "--bits",
                 bits, partial)
            partial.rename(path)
        return path

    def jpeg(self, target, megapixels, sampling):
        call("cjpeg", "-quality", 90, "-sample", sampling, "-outfile", target,
             self.plain(megapixels))

    def large(self, target):
        """The large photograph repeated three times each way, cut to 200 megapixels."""
        tile = read_netpbm(self.plain(24))
        shrink = (200 / 24 / 9) ** 0.5
        width = round(3 * tile.shape[1] * shrink)
        height = round(3 * tile.shape[0] * shrink)
        with subprocess.Popen(["cjpeg", "-quality", "90", "-sample", "2x2", "-outfile", target],
                              stdin=subprocess.PIPE) as encoder:
            encoder.stdin.write(b"P6\n%d %d\n255\n" % (width, height))
            for y in range(height):
                row = tile[y % tile.shape[0]]
                encoder.stdin.write(numpy.tile(row, (3, 1))[:width].tobytes())
        if encoder.returncode != 0:
            sys.exit("compare: cjpeg failed")

    def convert(self, target, *options, source=None):
        call(magick("convert"), source or self.plain(12), *options, target)

    def png(self, target, *options, source=None, kind="PNG24"):
        self.convert(f"{kind}:{target}", *options, "-define", "png:compression-level=6",
                     source=source)

    def png_rgba(self, target):
        """Transparent on the left, opaque on the right, every alpha between."""
        picture = read_netpbm(self.plain(12))
        height, width = picture.shape[:2]
        alpha = numpy.clip(numpy.linspace(-128, 383, width), 0, 255).astype(numpy.uint8)
        alpha = numpy.broadcast_to(alpha[:, None], (height, width, 1))
        source = self.folder / "partial-rgba.pam"
        with source.open("wb") as file:
            file.write(b"P7\nWIDTH %d\nHEIGHT %d\nDEPTH 4\nMAXVAL 255\nTUPLTYPE RGB_ALPHA\nENDHDR\n"
                       % (width, height))
            file.write(numpy.concatenate([picture, alpha], axis=2).tobytes())
        self.png(target, source=f"PAM:{source}", kind="PNG32")
        source.unlink()

    def tiff(self, target, compression):
        predictor = [] if compression == "none" else ["-define", "tiff:predictor=2"]
        self.convert(f"TIFF:{target}", "-define", "tiff:rows-per-strip=16", "-compress", compression,
                     *predictor)

    def pages(self, target):
        pages = []
        for i in range(12):
            pages += ["(", self.plain(1), "-roll", f"+{90 * i}+0", ")"]
        call(magick("convert"), *pages, "-compress", "lzw", "-define", "tiff:predictor=2",
             "-define", "tiff:rows-per-strip=16", f"TIFF:{target}")

    def animation(self, target):
        edge = 100 if self.quick else 400
        frames = []
        for i in range(24):
            frames += ["(", self.plain(1), "-crop", f"{edge}x{edge}+{4 * i}+{2 * i}", "+repage", ")"]
        call(magick("convert"), "-delay", 8, *frames, "-colors", 256, f"GIF:{target}")


def call(*command):
    subprocess.run([str(word) for word in command], check=True)


MAKERS = {
    "jpeg-12-420.jpg": lambda p, to: p.jpeg(to, 12, "2x2"),
    "jpeg-12-444.jpg": lambda p, to: p.jpeg(to, 12, "1x1"),
    "jpeg-24-420.jpg": lambda p, to: p.jpeg(to, 24, "2x2"),
    "jpeg-200-420.jpg": Photographs.large,
    "jpeg-1x1.jpg": lambda p, to: call(magick("convert"), "-size", "1x1", "xc:#804020",
                                       "-quality", 90, f"JPEG:{to}"),
    "png-12-rgb.png": lambda p, to: p.png(to),
    "png-12-rgba.png": Photographs.png_rgba,
    "png-12-16bit.png": lambda p, to: p.png(to, "-depth", 16, source=p.plain(12, 16), kind="PNG48"),
    "png-12-palette.png": lambda p, to: p.png(to, "-colors", 256, kind="PNG8"),
    "tiff-12-raw.tif": lambda p, to: p.tiff(to, "none"),
    "tiff-12-lzw.tif": lambda p, to: p.tiff(to, "lzw"),
    "tiff-12-deflate.tif": lambda p, to: p.tiff(to, "zip"),
    "tiff-12-pages.tif": Photographs.pages,
    "webp-12.webp": lambda p, to: call("cwebp", "-quiet", "-q", 85, p.plain(12), "-o", to),
    "animation.gif": Photographs.animation,
}
