"""What a run was made on and with."""

import os
import platform
import re
import subprocess
from pathlib import Path

PACKAGES = ("libjpeg62-turbo", "libdeflate0", "libtiff6", "libpng16-16", "libwebp7", "libgif7",
            "imagemagick-6.q16", "graphicsmagick", "libvips42", "python3-numpy")


def output(*command):
    try:
        return subprocess.run(command, check=True, capture_output=True, text=True).stdout.strip()
    except (OSError, subprocess.CalledProcessError):
        return ""


def model():
    lines = Path("/proc/cpuinfo").read_text(encoding="utf-8", errors="replace").splitlines()
    fields = dict(map(str.strip, line.split(":", 1)) for line in reversed(lines) if ":" in line)
    name = fields.get("model name", platform.machine())
    number = fields.get("model", "")
    return f"{name} (model {number})" if number else name


def processors():
    """One number for each core that may be used, since two threads of a core share it."""
    allowed = sorted(os.sched_getaffinity(0))
    cores = {}
    for number in allowed:
        path = Path(f"/sys/devices/system/cpu/cpu{number}/topology/thread_siblings_list")
        siblings = path.read_text(encoding="ascii") if path.exists() else str(number)
        cores.setdefault(siblings, number)
    return list(cores.values())


def describe(kelvo, root):
    release = dict(re.findall(r'^(\w+)="?([^"\n]*)', Path("/etc/os-release").read_text(
        encoding="utf-8"), re.M))
    packages = output("dpkg-query", "-W", "-f", "${Package} ${Version}\n", *PACKAGES)
    return {
        "processor": model(),
        "cores": len(processors()),
        "memory": f"{os.sysconf('SC_PAGE_SIZE') * os.sysconf('SC_PHYS_PAGES') / 2**30:.0f} GiB",
        "kernel": "Linux " + re.match(r"[\d.]*", platform.release())[0],
        "system": release.get("PRETTY_NAME", "unknown"),
        "compiler": output("c++", "-dumpfullversion"),
        "load": f"{os.getloadavg()[0]:.1f} before the run",
        "kelvo": " ".join([output(str(kelvo), "--version"),
                           output("git", "-C", str(root), "describe", "--always", "--dirty")]),
        "packages": [line for line in packages.splitlines() if len(line.split()) == 2],
    }


def short_name():
    words = re.sub(r"\(.*?\)|@.*|\b(processor|cpu)\b", " ", model().lower())
    return "-".join([*re.findall(r"[a-z0-9]+", words)[:3], f"{len(processors())}-cores"])
