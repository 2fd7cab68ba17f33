#!/usr/bin/env python3
"""Compares what whole commands cost: Kelvo and its peers raise the contrast of one large photograph,
in turns, each on one processor. Prints a table in Markdown: medians of wall time, user time and peak
memory, and each peer's ratio to Kelvo."""

import argparse
import os
import platform
import re
import shutil
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]

# The adjustment is 1.6 v - 0.3 of each channel's value v in 0..1: contrast 20 of Kelvo's scale.
SCALE = 1.6
OFFSET = -0.3
BLACK = -OFFSET / SCALE  # what becomes 0
WHITE = (1 - OFFSET) / SCALE  # what becomes 1

# How far two tools' pictures may be apart, in levels, on average: a decoder's rounding and one more
# lossy encoding.
MOST_DIFFERENCE = {"jpeg": 1.5, "png": 0.51, "tiff": 0.51}
EXTENSION = {"jpeg": "jpg", "png": "png", "tiff": "tif"}


class Tool:
    """How to run one program: in place on one file, or from one file to another."""

    def __init__(self, name, command, in_place=False, adjusts=True):
        self.name = name
        self.command = command
        self.in_place = in_place
        self.adjusts = adjusts


def magick(name):
    # Debian names the program itself so; "convert" may be a wrapper.
    return shutil.which(name + "-im6.q16") or shutil.which(name)


def tools_for(form, kelvo, bin_dir):
    out_im = {"jpeg": ["-quality", "90", "-sampling-factor", "2x2"], "png": [],
              "tiff": ["-compress", "lzw", "-define", "tiff:predictor=2"]}[form]
    out_gm = {"jpeg": ["-quality", "90", "-sampling-factor", "2x2"], "png": [],
              "tiff": ["-compress", "lzw"]}[form]
    out_vips = {"jpeg": "[Q=90,subsample_mode=on]", "png": "",
                "tiff": "[compression=lzw,predictor=horizontal]"}[form]
    found = [Tool("kelvo", lambda a, b: [
        kelvo, "brightness-contrast", "--contrast", "20", "--jobs", "1", "--quiet", b],
        in_place=True)]
    bare = bin_dir / "bare_jpeg"
    if form == "jpeg" and bare.exists():
        found.append(Tool("libjpeg-turbo alone", lambda a, b: [str(bare), a, b], adjusts=False))
    if magick("convert"):
        found.append(Tool("ImageMagick convert", lambda a, b: [
            magick("convert"), a, "-function", "polynomial", f"{SCALE},{OFFSET}", *out_im, b]))
        found.append(Tool("ImageMagick mogrify", lambda a, b: [
            magick("mogrify"), "-function", "polynomial", f"{SCALE},{OFFSET}", *out_im, b],
            in_place=True))
    if shutil.which("gm"):
        found.append(Tool("GraphicsMagick", lambda a, b: [
            "gm", "convert", a, "-level", f"{100 * BLACK}%,1.0,{100 * WHITE}%", *out_gm, b]))
    if shutil.which("vips"):
        found.append(Tool("vips", lambda a, b: [
            "vips", "linear", a, b + out_vips, "--uchar", "--", str(SCALE), str(255 * OFFSET)]))
    return found


def run_once(command, processor):
    """(wall seconds, user seconds, peak memory in MiB) of the command and what it starts. Peak memory
    is that of its largest process."""
    environment = {**os.environ, "OMP_NUM_THREADS": "1", "MAGICK_THREAD_LIMIT": "1",
                   "VIPS_CONCURRENCY": "1"}
    with tempfile.TemporaryFile() as errors:
        os.sync()
        start = time.monotonic()
        child = subprocess.Popen(
            command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=errors,
            env=environment, preexec_fn=lambda: os.sched_setaffinity(0, {processor}))
        _, status, usage = os.wait4(child.pid, 0)
        wall = time.monotonic() - start
        child.returncode = os.waitstatus_to_exitcode(status)
        if child.returncode != 0:
            errors.seek(0)
            sys.exit(f"compare: {' '.join(command)} failed with {child.returncode}:\n"
                     + errors.read().decode(errors="replace"))
    return wall, usage.ru_utime, usage.ru_maxrss / 1024


def make_pictures(folder, generator, megapixels, forms):
    folder.mkdir(parents=True, exist_ok=True)
    plain = folder / f"picture-{megapixels:g}.ppm"
    wanted = [form for form in forms
              if not (folder / f"picture-{megapixels:g}.{EXTENSION[form]}").exists()]
    if wanted and not plain.exists():
        print(f"making a photograph of {megapixels:g} megapixels ...", file=sys.stderr)
        subprocess.run([generator, "landscape", "--size", f"{megapixels:g}", "--samples", "1", "--noise", "4",
                        str(plain)], check=True)
    for form in wanted:
        target = folder / f"picture-{megapixels:g}.{EXTENSION[form]}"
        if form == "jpeg":
            command = ["cjpeg", "-quality", "90", "-sample", "2x2", "-outfile", target, plain]
        elif form == "png":
            command = [magick("convert"), plain, "-define", "png:compression-level=6",
                       f"PNG24:{target}"]
        else:
            command = [magick("convert"), plain, "-compress", "lzw", "-define", "tiff:predictor=2",
                       "-define", "tiff:rows-per-strip=16", target]
        subprocess.run([str(word) for word in command], check=True)
    return {form: folder / f"picture-{megapixels:g}.{EXTENSION[form]}" for form in forms}


def difference(first, second):
    """The mean difference of two pictures in levels."""
    done = subprocess.run([magick("compare"), "-metric", "MAE", str(first), str(second), "null:"],
                          capture_output=True, text=True, check=False)
    match = re.search(r"\(([0-9.e+-]+)\)", done.stderr)
    if done.returncode > 1 or not match:
        sys.exit(f"compare: cannot compare {first} and {second}: {done.stderr}")
    return 255 * float(match[1])


def compare(form, picture, tools, runs, processor, work):
    times = {tool.name: [] for tool in tools}
    reference = None
    sizes = {}
    checks = {}
    for turn in range(runs + 1):  # the first turn warms the caches and checks the pictures
        for tool in tools:
            target = work / f"{tool.name.replace(' ', '-')}.{EXTENSION[form]}"
            target.unlink(missing_ok=True)
            if tool.in_place:
                shutil.copyfile(picture, target)
            measured = run_once(tool.command(str(picture), str(target)), processor)
            if turn > 0:
                times[tool.name].append(measured)
                continue
            sizes[tool.name] = target.stat().st_size
            if not tool.adjusts:
                continue
            if reference is None:
                reference = target.rename(work / f"reference.{EXTENSION[form]}")
            else:
                checks[tool.name] = difference(reference, target)
                if checks[tool.name] > MOST_DIFFERENCE[form]:
                    sys.exit(f"compare: {tool.name} and {tools[0].name} differ by "
                             f"{checks[tool.name]:.2f} levels in {form}: not the same adjustment")
    return times, sizes, checks


def table(times, sizes, checks, first):
    rows = ["| program | wall s | user s | peak MiB | wall ratio | user ratio | memory ratio "
            "| file KiB | differs by |", "|---|--:|--:|--:|--:|--:|--:|--:|--:|"]
    median = {name: [statistics.median(column) for column in zip(*values)]
              for name, values in times.items()}
    for name, values in median.items():
        wall, user, memory = values
        ratios = [value / base for value, base in zip(values, median[first])]
        apart = f"{checks[name]:.2f}" if name in checks else ""
        rows.append(f"| {name} | {wall:.2f} | {user:.2f} | {memory:.0f} | {ratios[0]:.2f} | "
                    f"{ratios[1]:.2f} | {ratios[2]:.2f} | {sizes[name] // 1024} | {apart} |")
    return "\n".join(rows)


def machine():
    model = next((line.split(":", 1)[1].strip() for line in open("/proc/cpuinfo", encoding="ascii")
                  if line.startswith("model name")), platform.machine())
    return f"{model}, {os.cpu_count()} processors, Linux {platform.release()}"


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", type=Path, default=ROOT / "build/bench",
                        help="where kelvo, bare_jpeg and sample_photos were built")
    parser.add_argument("--runs", type=int, default=5, help="measured runs of each program")
    parser.add_argument("--megapixels", type=float, default=24)
    parser.add_argument("--formats", default="jpeg,png,tiff")
    parser.add_argument("--without-kelvo", action="store_true", help="measure the peers alone")
    parser.add_argument("--out", type=Path, help="write the tables here, too")
    options = parser.parse_args()
    bin_dir = options.build.resolve() / "bin"
    kelvo = bin_dir / "kelvo"
    if not options.without_kelvo and not kelvo.exists():
        sys.exit(f"compare: there is no {kelvo}; build it with 'scripts/build bench', or give "
                 "--without-kelvo")
    forms = options.formats.split(",")
    unknown = [form for form in forms if form not in EXTENSION]
    if unknown or options.runs < 1:
        parser.error(f"unknown format '{unknown[0]}'" if unknown else "at least one run")
    pictures = make_pictures(options.build.resolve() / "pictures", bin_dir / "sample_photos",
                             options.megapixels, forms)
    processor = max(os.sched_getaffinity(0))
    report = [f"{options.megapixels:g} megapixels, contrast +20, medians of {options.runs} runs in "
              f"turns, each program on one processor; {machine()}."]
    for form in forms:
        tools = tools_for(form, str(kelvo), bin_dir)
        if options.without_kelvo:
            tools = tools[1:]
        with tempfile.TemporaryDirectory(dir=options.build.resolve()) as work:
            times, sizes, checks = compare(form, pictures[form], tools, options.runs, processor,
                                           Path(work))
        size = pictures[form].stat().st_size // 1024
        report.append(f"### {form.upper()} ({size} KiB)\n\n"
                      + table(times, sizes, checks, tools[0].name))
        print(report[-1] + "\n", file=sys.stderr)
    text = "\n\n".join(report) + "\n"
    print(text)
    if options.out:
        options.out.write_text(text, encoding="utf-8")


if __name__ == "__main__":
    main()
