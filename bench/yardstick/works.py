"""What is measured: each work a picture, an adjustment, the least that it can cost, and what Kelvo is
meant to reach."""

from dataclasses import dataclass


@dataclass(frozen=True)
class Work:
    name: str
    picture: str
    adjustment: str = "invert"
    options: tuple = ()  # more of Kelvo's
    storage: str = "jpeg"  # how peers are told to store the picture
    several: bool = False  # frames
    limit: str = "bare_jpeg"  # the program that does the least; empty if there is none
    processors: int = 1
    limit_processors: int = 1
    files: int = 1  # copies of the picture, in one call
    with_peers: bool = True
    # Targets; none where 0.
    wall: float = 0  # ratio to the limit
    cpu: float = 0  # ratio to the limit
    size: float = 0  # ratio of the file to what it was
    memory: float = 0  # MiB
    over_limit: float = 0  # seconds of wall time more than the limit
    seconds: float = 0  # of wall time


def jpeg_works():
    for adjustment in ("invert", "levels", "curves", "threshold", "posterize", "exposure"):
        yield Work(f"jpeg-{adjustment}", "jpeg-12-420.jpg", adjustment, wall=1.08, cpu=1.10)
    for adjustment in ("brightness-contrast", "channel-mixer", "desaturate"):
        yield Work(f"jpeg-{adjustment}", "jpeg-12-420.jpg", adjustment, wall=1.15)
    for adjustment in ("hue-saturation", "colorize"):
        yield Work(f"jpeg-{adjustment}", "jpeg-12-420.jpg", adjustment, wall=1.20)
    for adjustment in ("replace-color", "color-balance"):
        yield Work(f"jpeg-{adjustment}", "jpeg-12-420.jpg", adjustment, wall=1.35)
    yield Work("jpeg-444-invert", "jpeg-12-444.jpg", storage="jpeg-444", wall=1.08, cpu=1.10)
    yield Work("jpeg-equalize", "jpeg-24-420.jpg", "equalize", wall=1.5)
    yield Work("jpeg-auto", "jpeg-24-420.jpg", "auto", wall=1.8)
    for adjustment in ("invert", "brightness-contrast"):
        yield Work(f"jpeg-two-{adjustment}", "jpeg-24-420.jpg", adjustment, processors=2, wall=0.65)
    yield Work("jpeg-batch", "jpeg-12-420.jpg", files=20, processors=2, limit_processors=2, wall=1.10)


WORKS = [
    *jpeg_works(),
    Work("png-rgb", "png-12-rgb.png", storage="png", limit="bare_png", wall=1.10, size=1.01),
    Work("png-rgba", "png-12-rgba.png", storage="png-alpha", limit="bare_png"),
    Work("png-16bit", "png-12-16bit.png", options=("--depth", "keep"), storage="png",
         limit="bare_png"),
    Work("tiff-raw", "tiff-12-raw.tif", storage="tiff-raw", limit="bare_tiff", wall=1.3),
    Work("tiff-deflate", "tiff-12-deflate.tif", storage="tiff-deflate", limit="bare_tiff", wall=1.0),
    Work("tiff-two-deflate", "tiff-12-deflate.tif", storage="tiff-deflate", limit="bare_tiff",
         processors=2, wall=0.6),
    Work("tiff-lzw", "tiff-12-lzw.tif", storage="tiff-lzw", limit="bare_tiff"),
    Work("tiff-two-lzw", "tiff-12-lzw.tif", storage="tiff-lzw", limit="bare_tiff", processors=2,
         wall=0.65),
    Work("tiff-pages", "tiff-12-pages.tif", storage="tiff-lzw", several=True, limit="bare_tiff"),
    Work("webp", "webp-12.webp", storage="webp", limit=""),
    Work("gif-animation", "animation.gif", storage="gif", several=True, limit="cp",
         over_limit=0.010),
    Work("png-palette", "png-12-palette.png", storage="png", limit="cp", over_limit=0.010),
    Work("jpeg-1x1", "jpeg-1x1.jpg", seconds=0.006),
    Work("memory-24", "jpeg-24-420.jpg", memory=32),
    Work("memory-200", "jpeg-200-420.jpg", with_peers=False, memory=40),
]
