#!/usr/bin/env python3
"""Adjusts thousands of files while random faults happen to them, and checks every one afterwards.

    tests/faults/soak.py PROGRAM SAMPLES [--files 10000] [--jobs 4] [--seed 1]

PROGRAM is kelvo, SAMPLES a directory with photographs of the formats that it writes. Each file is a
copy of a sample to which one thing happens, drawn by chance: nothing, bits are flipped, it is cut
short, its mode forbids writing, it gets a hard link, it becomes a link or a directory; and while the
program runs it may be cut short, changed, replaced or removed, and workers may be killed or stopped.
Afterwards every file must be its old or its adjusted self, as the program says, or what the fault
made of it, and nothing may lie beside it. Exits with 1 if that is not so anywhere.
"""

import argparse
import collections
import hashlib
import json
import os
import random
import resource
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time

BEFORE = ["nothing"] * 5 + ["flipped", "cut", "protected", "hard link", "link", "dangling", "directory"]
MEANWHILE = ["cut", "change", "replace", "remove", "kill", "stop"]


def digest(path):
    with open(path, "rb") as file:
        return hashlib.sha256(file.read()).digest()


def content(path):
    if not os.path.exists(path):
        return None
    return None if os.path.isdir(path) else digest(path)


class Soak:
    def __init__(self, options):
        self.options = options
        self.random = random.Random(options.seed)
        self.place = tempfile.mkdtemp(prefix="kelvo-soak-")
        self.samples = []  # name, bytes, digest of the adjusted file
        self.files = []
        self.happened = collections.Counter()
        self.touched = set()  # what somebody else did something to meanwhile
        self.done = False

    def load_samples(self):
        for name in sorted(os.listdir(self.options.samples)):
            source = os.path.join(self.options.samples, name)
            copy = os.path.join(self.place, name)
            if not os.path.isfile(source):
                continue
            shutil.copy(source, copy)
            run = subprocess.run([self.options.program, "invert", copy], capture_output=True)
            if run.returncode == 0:
                with open(source, "rb") as file:
                    self.samples.append((name, file.read(), digest(copy)))
            os.remove(copy)
        if not self.samples:
            sys.exit("no sample can be adjusted")

    def make(self, number):
        name, data, adjusted = self.random.choice(self.samples)
        directory = os.path.join(self.place, f"{number // 100:04}")
        os.makedirs(directory, exist_ok=True)
        path = os.path.join(directory, f"{number:06}-{name}")
        what = self.random.choice(BEFORE)
        changed = bytearray(data)
        if what == "flipped":
            for _ in range(20):
                changed[self.random.randrange(len(data))] ^= 1 << self.random.randrange(8)
        if what == "cut":
            del changed[self.random.randrange(len(data)):]
        if what == "dangling":
            os.symlink("nowhere", path)
        elif what == "directory":
            os.mkdir(path)
        elif what == "link":
            target = os.path.join(directory, f"target-{number:06}")
            with open(target, "wb") as file:
                file.write(data)
            os.symlink(target, path)
        else:
            with open(path, "wb") as file:
                file.write(changed)
            if what == "protected":
                os.chmod(path, 0o444)
            if what == "hard link":
                os.link(path, path + ".other")
        sound = what in ("nothing", "link")
        self.files.append((path, what, content(path), adjusted if sound else None))

    def disturb(self, host):
        while not self.done:
            time.sleep(self.random.uniform(0, 0.02))
            what = self.random.choice(MEANWHILE)
            path, made, _, _ = self.random.choice(self.files)
            try:
                if what in ("kill", "stop"):
                    if self.random.random() > 0.1:
                        continue
                    children = subprocess.run(["pgrep", "-P", str(host)], capture_output=True, text=True)
                    workers = children.stdout.split()
                    if workers:
                        signals = {"kill": signal.SIGKILL, "stop": signal.SIGSTOP}
                        os.kill(int(self.random.choice(workers)), signals[what])
                        self.happened[what] += 1
                    continue
                if made != "nothing":
                    continue
                self.touched.add(path)
                if what == "cut":
                    os.truncate(path, os.path.getsize(path) // 2)
                elif what == "change":
                    with open(path, "ab") as file:
                        file.write(b"more")
                elif what == "replace":
                    with open(path + ".new", "wb") as file:
                        file.write(self.random.choice(self.samples)[1])
                    os.rename(path + ".new", path)
                elif what == "remove":
                    os.remove(path)
                self.happened[what] += 1
            except (FileNotFoundError, ProcessLookupError):
                pass

    def run(self):
        listing = os.path.join(self.place, "list")
        with open(listing, "wb") as file:
            file.write(b"".join(os.fsencode(path) + b"\0" for path, _, _, _ in self.files))
        program = subprocess.Popen(
            [self.options.program, "invert", "--json", "--jobs", str(self.options.jobs),
             "--max-seconds", "5", "--files-from", listing, "-0"],
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        disturber = threading.Thread(target=self.disturb, args=(program.pid,))
        disturber.start()
        began = time.monotonic()
        output, errors = program.communicate()
        self.seconds = time.monotonic() - began
        self.done = True
        disturber.join()
        self.status = program.returncode
        self.errors = errors
        return [json.loads(line) for line in output.splitlines()]

    def check(self, records):
        wrong = []
        results = collections.Counter()
        if self.status not in (0, 1):
            wrong.append(f"exit status {self.status}: {self.errors[-500:]}")
        if [record["path"] for record in records] != [path for path, _, _, _ in self.files]:
            wrong.append("the records are not those of the files, in their order")
        names = {"list"}
        for (path, what, old, adjusted), record in zip(self.files, records):
            now = content(path)
            results[what, record["result"]] += 1
            if record["result"] != "rewritten" and not record["message"]:
                wrong.append(f"{path}: {what}: no reason is given")
            if path in self.touched:
                continue  # several things may have happened to it; what matters is the rest of them
            late = "there was a new file in its place" in record["message"]
            if what == "flipped" and record["result"] == "rewritten":
                continue  # the flipped bits were no damage
            expected = adjusted if record["result"] == "rewritten" or late else old
            if now != expected or (record["result"] == "rewritten" and adjusted is None):
                wrong.append(f"{path}: {what}: {record['result']} ({record['message']})")
        for directory, _, files in os.walk(self.place):
            names.update(os.path.join(directory, name) for name in files)
        debris = [name for name in names if ".kelvo-" in os.path.basename(name)]
        if len(debris) > self.happened["kill"] + self.happened["stop"]:
            wrong.append(f"{len(debris)} temporary files were left")
        return results, debris, wrong


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("program")
    parser.add_argument("samples")
    parser.add_argument("--files", type=int, default=10000)
    parser.add_argument("--jobs", type=int, default=4)
    parser.add_argument("--seed", type=int, default=1)
    soak = Soak(parser.parse_args())
    try:
        soak.load_samples()
        for number in range(soak.options.files):
            soak.make(number)
        results, debris, wrong = soak.check(soak.run())
        for (what, result), count in sorted(results.items()):
            print(f"{count:6} {what}: {result}")
        print("meanwhile:", ", ".join(f"{count} {what}" for what, count in sorted(soak.happened.items())))
        peak = resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss // 1024
        print(f"{soak.seconds:.1f} s, {peak} MiB in the largest process, {len(debris)} temporary files left "
              f"by killed workers, {len(wrong)} wrong")
        print("\n".join(wrong[:50]))
        return 1 if wrong else 0
    finally:
        shutil.rmtree(soak.place, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
