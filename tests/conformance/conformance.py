#!/usr/bin/env python3
"""What is kept of each format's files, row by row.
    conformance.py list
    conformance.py row NAME --kelvo PROGRAM --results FOLDER
    conformance.py table --results FOLDER --committed FILE --kelvo PROGRAM [--write]
A row checks one thing and puts what it found into the folder of results; the table is made of these
and held against the committed one and against what `kelvo formats` tells."""

import argparse
import json
import sys
import time
from pathlib import Path

import formats
from harness import FORMATS, ROWS, Failure, Work
from table import compare_with_program, markdown


def check(row, kelvo, results):
    started = time.monotonic()
    try:
        with Work(kelvo) as work:
            outcome, failure = row.check(work), None
    except Failure as error:
        outcome, failure = "NOT AS IT SHOULD BE", str(error)
    results.mkdir(parents=True, exist_ok=True)
    (results / f"{row.name}.json").write_text(json.dumps({"outcome": outcome, "failure": failure}))
    seconds = time.monotonic() - started
    print(f"{'FAILED' if failure else 'passed'} {row.format}, {row.what}: {failure or outcome}"
          f" ({seconds:.1f} s)", flush=True)
    return failure is None


def table(arguments):
    found = {}
    for row in ROWS:
        path = arguments.results / f"{row.name}.json"
        if not path.exists():
            check(row, arguments.kelvo, arguments.results)
        found[row.name] = json.loads(path.read_text())["outcome"]
    text = markdown(FORMATS, ROWS, found)
    if arguments.write:
        arguments.committed.write_text(text)
    good = True
    committed = arguments.committed.read_text() if arguments.committed.exists() else ""
    if text != committed:
        good = False
        print(f"{arguments.committed.name} is not what was found:")
        old, new = committed.splitlines(), text.splitlines()
        print("\n".join([f"- {line}" for line in old if line not in new]
                        + [f"+ {line}" for line in new if line not in old]))
    for difference in compare_with_program(FORMATS, ROWS, found, arguments.kelvo):
        good = False
        print(f"kelvo formats: {difference}")
    return good


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("command", choices=("list", "row", "rows", "table"))
    parser.add_argument("name", nargs="?", default="")
    parser.add_argument("--kelvo", type=Path)
    parser.add_argument("--results", type=Path)
    parser.add_argument("--committed", type=Path)
    parser.add_argument("--write", action="store_true")
    arguments = parser.parse_args()
    if arguments.command == "list":
        print("\n".join(row.name for row in ROWS))
        return True
    if arguments.command == "table":
        return table(arguments)
    chosen = [row for row in ROWS
              if row.name == arguments.name
              or arguments.command == "rows" and row.name.startswith(arguments.name)]
    if not chosen:
        print(f"there is no row '{arguments.name}'")
    return bool(chosen) and all([check(row, arguments.kelvo, arguments.results) for row in chosen])


if __name__ == "__main__":
    sys.exit(0 if main() else 1)
