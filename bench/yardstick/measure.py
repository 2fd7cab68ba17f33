"""Runs commands, tells what they cost, and compares what several of them cost."""

import os
import statistics
import subprocess
from dataclasses import asdict, dataclass


class Failed(Exception):
    pass


@dataclass(frozen=True)
class Cost:
    wall: float  # seconds
    cpu: float  # seconds, user and system, of the commands and all that they started and waited for
    memory: float  # MiB, the peak of the largest process


def environment(processors):
    """For tools that do not look at which processors they may use."""
    threads = str(processors)
    return {**os.environ, "OMP_NUM_THREADS": threads, "MAGICK_THREAD_LIMIT": threads,
            "VIPS_CONCURRENCY": threads}


def run(stopwatch, commands, processors):
    """What the commands cost, started at once on the processors of these numbers."""
    words = []
    for command in commands:
        words += (["++"] if words else []) + [str(word) for word in command]
    done = subprocess.run([stopwatch, ",".join(map(str, processors)), *words], check=False, text=True,
                          capture_output=True, env=environment(len(processors)))
    if done.returncode != 0:
        raise Failed(f"{words[0]} failed with {done.returncode}: {done.stderr.strip()[-500:]}")
    wall, cpu, kibibytes = done.stdout.split()
    return Cost(float(wall), float(cpu), float(kibibytes) / 1024)


def summary(costs):
    """Medians and minima of some runs' costs."""
    columns = {name: [getattr(cost, name) for cost in costs] for name in ("wall", "cpu", "memory")}
    return {"median": {name: statistics.median(values) for name, values in columns.items()},
            "least": {name: min(values) for name, values in columns.items()},
            "runs": [asdict(cost) for cost in costs]}


def ratio(costs, base, column):
    """The median of the ratios of runs that were next to each other, so that a machine that grows
    slower or faster in between counts for both. None where the base is too short to tell."""
    pairs = [(getattr(cost, column), getattr(other, column)) for cost, other in zip(costs, base)]
    if not pairs or any(below <= 0 for _, below in pairs):
        return None
    return statistics.median(above / below for above, below in pairs)
