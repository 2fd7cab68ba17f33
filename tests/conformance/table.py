"""The table that people read, and what `kelvo formats` must tell to agree with it."""

import json

from harness import ADJUSTMENTS, run

HEAD = """# What is kept of each format's files

Each row is a test (`tests/conformance`): a file that has the thing is made by another program, or put
together byte by byte; `kelvo {first}` and `kelvo {second}` adjust a copy each; what it was is compared
with what has become of it by another program, or by reading bytes. Every row looks at the pixels as
well: decoded by the program named with the format, they are the inverse of what they were. The tests
make this table anew and fail if it differs from this one.

*Refused* files stay as they are, byte for byte; the message is Kelvo's own, with N for sizes and places.
`kelvo formats` lists what is kept in this table; a test holds the two together.
"""


def topics(rows, found):
    """What is kept, in the order of the table: topics that a row has found kept."""
    names = []
    for row in rows:
        if found[row.name].startswith("kept") and row.topic not in names:
            names.append(row.topic)
    return names


def cell(text):
    return text.replace("|", "\\|")


def markdown(formats, rows, found):
    lines = [HEAD.format(first=ADJUSTMENTS[0], second=ADJUSTMENTS[1])]
    for form in formats.values():
        own = [row for row in rows if row.format == form.name]
        lines.append(f"## {form.name}\n")
        decoder = f"; pixels compared by {form.decoder}" if form.decoder else ""
        lines.append(f"`{form.type}`{decoder}.\n")
        lines.append("| what | afterwards | file made by | compared by |\n|---|---|---|---|")
        for row in own:
            lines.append(f"| {cell(row.what)} | {cell(found[row.name])} | {cell(row.made)} "
                         f"| {cell(row.compared)} |")
        lines.append("")
    return "\n".join(lines)


def compare_with_program(formats, rows, found, kelvo):
    """Where `kelvo formats --json` and the table disagree."""
    told = [json.loads(line) for line in run(kelvo, "formats", "--json").splitlines()]
    by_name = {entry["format"]: entry for entry in told}
    for name in by_name.keys() ^ formats.keys():
        yield f"{name} is in one of the two only"
    for name in by_name.keys() & formats.keys():
        own = [row for row in rows if row.format == name]
        entry = by_name[name]
        if entry["type"] != formats[name].type:
            yield f"{name} is {entry['type']} there, {formats[name].type} here"
        if entry["written"] != any(not found[row.name].startswith("refused") for row in own):
            yield f"whether {name} is written"
        listed = topics(own, found)
        for topic in listed:
            if topic not in entry["kept"]:
                yield f"{name}: '{topic}' is kept, but not listed"
        for topic in entry["kept"]:
            if topic not in listed:
                yield f"{name}: '{topic}' is listed, but no row has it kept"
