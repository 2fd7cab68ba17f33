"""What whole commands cost: Kelvo, other tools, and the least that the work can cost, in turns."""

import argparse
import contextlib
import datetime
import json
import os
import shutil
import sys
import tempfile
from dataclasses import dataclass
from pathlib import Path

import machine
import measure
import oracle
import peers
import report
from adjustments import ADJUSTMENTS
from photographs import Photographs
from works import WORKS

ROOT = Path(__file__).resolve().parents[2]
IN_MEMORY = Path("/dev/shm")
SPACE = 2 << 30  # what the largest work's files may take
# Other tools that take this many seconds run that often at most: what a second more or less of theirs
# would change is nothing that a target is held to.
SLOW, RUNS_OF_SLOW = 2.0, 2


@dataclass
class Tool:
    name: str
    kind: str  # kelvo, limit or peer
    commands: list  # run at once
    processors: int
    outputs: list
    prepare: callable = lambda: None


def kelvo_words(work):
    return [work.adjustment, *map(str, ADJUSTMENTS[work.adjustment].settings), *work.options,
            "--quiet"]


class Place:
    """The files of one work: its picture, once or several times, and a folder for each tool."""

    def __init__(self, folder, picture, files):
        self.folder = folder
        self.picture = picture
        names = [f"{i:02}{picture.suffix}" for i in range(files)]
        self.inputs = [folder / "in" / name for name in names]
        self.names = names
        (folder / "in").mkdir()
        for path in self.inputs:
            shutil.copyfile(picture, path)
        peers.write_helpers(folder)

    def outputs(self, tool):
        target = self.folder / tool.replace(" ", "-").replace(",", "")
        target.mkdir()
        return [target / name for name in self.names]


def kelvo_tool(work, place, bin_dir):
    files = place.outputs("kelvo")

    def prepare():
        for path in files:
            shutil.copyfile(place.picture, path)
    return Tool("Kelvo", "kelvo", [[bin_dir / "kelvo", *kelvo_words(work), *files]], work.processors,
                files, prepare)


def limit_tool(work, place, bin_dir):
    files = place.outputs("limit")
    program = "cp" if work.limit == "cp" else bin_dir / work.limit
    shares = []
    for i in range(work.limit_processors):
        pairs = list(zip(place.inputs, files))[i::work.limit_processors]
        shares.append([program, *(path for pair in pairs for path in pair)])
    return Tool(f"limit ({work.limit})", "limit", shares, work.limit_processors, files)


def peer_tools(work, place):
    batch = work.files > 1
    found = peers.batch_peers(work.adjustment, work.storage) if batch else peers.peers(
        work.adjustment, work.storage, work.several)
    for peer in found:
        files = place.outputs(peer.name)
        names = {"in": place.inputs[0].parent if batch else place.inputs[0],
                 "out": files[0].parent if batch else files[0]}
        names |= {path.name: path for path in place.folder.iterdir() if path.is_file()}
        yield Tool(peer.name, "peer", [peer.fill(names)], work.processors, files)


class Session:
    def __init__(self, options):
        self.options = options
        self.bin_dir = options.build.resolve() / "bin"
        self.cores = machine.processors()
        self.photographs = Photographs(
            options.build.resolve() / ("pictures-quick" if options.quick else "pictures"),
            self.bin_dir / "sample_photos", options.quick)

    def once(self, tool):
        for path in tool.outputs:
            path.unlink(missing_ok=True)
        tool.prepare()
        if self.options.work != IN_MEMORY:
            os.sync()
        return measure.run(self.bin_dir / "stopwatch", tool.commands,
                           self.cores[-tool.processors:])

    def measure(self, work):
        picture = self.photographs.path(work.picture)
        result = {"work": work.name, "picture": work.picture, "files": work.files,
                  "input_bytes": picture.stat().st_size, "processors": work.processors,
                  "command": " ".join(["kelvo", *kelvo_words(work)]), "tools": {}, "targets": [],
                  "check": "", "failed": False}
        if work.processors > len(self.cores):
            result["check"] = "not measured: needs more cores"
            return result
        with tempfile.TemporaryDirectory(dir=self.options.work, prefix="kelvo-yardstick-") as folder:
            place = Place(Path(folder), picture, work.files)
            tools = [kelvo_tool(work, place, self.bin_dir)]
            if work.limit:
                tools.append(limit_tool(work, place, self.bin_dir))
            if work.with_peers:
                tools += peer_tools(work, place)
            tools = self.rehearse(work, picture, tools, result)
            if not result["failed"]:
                self.race(work, tools, result)
        return result

    def rehearse(self, work, picture, tools, result):
        """Runs everything once: warms the caches, checks Kelvo's files, leaves out what fails."""
        good = []
        for tool in tools:
            entry = result["tools"][tool.name] = {"kind": tool.kind}
            try:
                self.once(tool)
                sizes = sum(path.stat().st_size for path in tool.outputs)
            except (measure.Failed, OSError) as error:
                if tool.kind != "peer":
                    sys.exit(f"compare: {error}")
                entry["error"] = "failed"
                print(f"compare: {tool.name}: {error}", file=sys.stderr)
                continue
            entry["size_ratio"] = sizes / (work.files * result["input_bytes"])
            good.append(tool)
            if tool.kind == "kelvo":
                self.check(work, picture, tool, result)
                if result["failed"]:
                    break
            elif tool.kind == "peer":
                entry["apart"] = oracle.apart(tools[0].outputs[0], tool.outputs[0])
        return good

    def check(self, work, picture, tool, result):
        verdict = oracle.check(work.adjustment, picture, tool.outputs[0])
        if verdict is None:
            result["check"] = "**not checked**: no formula"
            return
        first = tool.outputs[0].read_bytes()
        same = all(path.read_bytes() == first for path in tool.outputs[1:])
        result["failed"] = not (verdict.passed and same)
        text = verdict.text if same else "files differ that should be alike"
        result["check"] = f"**wrong, not timed**: {text}" if result["failed"] else text

    def race(self, work, tools, result):
        costs = {tool.name: [] for tool in tools}
        for turn in range(self.options.runs):
            for tool in tools:
                if turn < RUNS_OF_SLOW or not slow_peer(tool, costs[tool.name]):
                    costs[tool.name].append(self.once(tool))
        limit = next((costs[tool.name] for tool in tools if tool.kind == "limit"), [])
        for tool in tools:
            entry = result["tools"][tool.name]
            entry.update(measure.summary(costs[tool.name]))
            for column in ("wall", "cpu"):
                entry[f"{column}_ratio"] = measure.ratio(costs[tool.name], limit, column)
        result["targets"] = targets(work, result["tools"]["Kelvo"],
                                    next((result["tools"][tool.name] for tool in tools
                                          if tool.kind == "limit"), None))


def slow_peer(tool, costs):
    return tool.kind == "peer" and max(cost.wall for cost in costs) > SLOW


def targets(work, kelvo, limit):
    """What was measured beside each target that the work has."""
    rows = [("wall", work.wall, kelvo["wall_ratio"], "", 2),
            ("CPU", work.cpu, kelvo["cpu_ratio"], "", 2),
            ("file", work.size, kelvo["size_ratio"], "", 3),
            ("memory", work.memory, kelvo["median"]["memory"], "MiB", 1),
            ("whole", 1000 * work.seconds, 1000 * kelvo["median"]["wall"], "ms", 1)]
    if work.over_limit and limit:
        rows.append(("more than the limit", 1000 * work.over_limit,
                     1000 * (kelvo["median"]["wall"] - limit["median"]["wall"]), "ms", 1))
    return [{"what": what, "target": target, "measured": measured, "unit": unit, "digits": digits,
             "reached": measured <= target}
            for what, target, measured, unit, digits in rows if target and measured is not None]


def arguments():
    parser = argparse.ArgumentParser(prog="bench/compare", description=__doc__)
    parser.add_argument("--only", action="append", metavar="NAME",
                        help="this work alone, or those that begin so; may be given several times")
    parser.add_argument("--runs", type=int, default=9, help="of each program (default 9)")
    parser.add_argument("--quick", action="store_true",
                        help="pictures a sixteenth as large: to try, not to quote")
    parser.add_argument("--out", type=Path, metavar="STEM",
                        help="keep the run as STEM.md and STEM.json (a full run is kept in any case: "
                             "bench/runs/DATE-MACHINE)")
    parser.add_argument("--work", type=Path, metavar="DIR",
                        help="for the files that are worked on (default: in memory)")
    parser.add_argument("--build", type=Path, default=ROOT / "build/bench")
    parser.add_argument("--list", action="store_true", help="name the works")
    options = parser.parse_args()
    if options.runs < 1:
        parser.error("at least one run")
    options.works = [work for work in WORKS if not options.only
                     or any(work.name.startswith(name) for name in options.only)]
    if not options.works:
        parser.error("no such work; --list names them")
    if options.work is None:
        roomy = IN_MEMORY.is_dir() and shutil.disk_usage(IN_MEMORY).free >= SPACE
        options.work = IN_MEMORY if roomy else options.build.resolve()
    return options


def keep(options, run):
    full = not options.only and not options.quick
    if not options.out and not full:
        return
    stem = options.out or ROOT / "bench/runs" / f"{run['date']}-{machine.short_name()}"
    stem.parent.mkdir(parents=True, exist_ok=True)
    Path(f"{stem}.md").write_text(report.markdown(run), encoding="utf-8")
    Path(f"{stem}.json").write_text(json.dumps(run, indent=1) + "\n", encoding="utf-8")


def main():
    options = arguments()
    if options.list:
        print("\n".join(work.name for work in WORKS))
        return 0
    session = Session(options)
    run = {"date": datetime.date.today().isoformat(), "runs": options.runs,
           "slow": SLOW, "runs_of_slow": RUNS_OF_SLOW, "quick": options.quick,
           "files": "in memory" if options.work == IN_MEMORY else "on disk",
           "machine": machine.describe(session.bin_dir / "kelvo", ROOT), "results": []}
    for work in options.works:
        print(f"compare: {work.name}", file=sys.stderr)
        run["results"].append(session.measure(work))
    print(report.markdown(run))
    keep(options, run)
    return 1 if any(result["failed"] for result in run["results"]) else 0


if __name__ == "__main__":
    with contextlib.suppress(KeyboardInterrupt):
        sys.exit(main())
    sys.exit(130)
