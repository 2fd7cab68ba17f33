#!/usr/bin/env python3
"""Holds the source tree to its own rules: which folder may use which, what the system's own code may
include, how long a file may be, what no file may say, and what each folder must have."""

import argparse
import re
import subprocess
import sys
from pathlib import Path

# Folder -> the folders its files may include from, besides their own. The longest prefix counts.
LAYERS = {
    "platform/foundation": [],
    "platform/pixels": ["platform/foundation"],
    "platform/color": ["platform/foundation", "platform/pixels"],
    "platform/kernel_language": ["platform/foundation", "platform/pixels"],
    "platform/image_io": ["platform/foundation", "platform/pixels", "platform/color"],
    "platform/image": [
        "platform/foundation", "platform/pixels", "platform/color", "platform/kernel_language"],
    "platform/workflow": [
        "platform/foundation", "platform/pixels", "platform/image", "platform/image_io"],
    "platform/open_save": ["platform/foundation", "platform/pixels", "platform/image_io"],
    "platform/drawing": [
        "platform/foundation", "platform/pixels", "platform/color", "platform/image"],
    "platform/ui": [
        "platform/foundation", "platform/pixels", "platform/color", "platform/image",
        "platform/image_io", "platform/drawing"],
    "kernels": ["platform"],
    "curves": ["platform"],
    "curves_editor": ["platform", "curves"],
    "engine": ["platform", "kernels", "curves"],
    "action": ["platform", "kernels", "curves", "curves_editor", "engine"],
    "panel": ["platform", "kernels", "curves", "curves_editor", "engine", "action"],
    "host": ["platform", "kernels", "curves", "curves_editor", "engine", "action", "panel"],
    "tools": ["platform"],
}
# The toolkit side of the curves view stands above the view that it draws.
LAYERS["platform/ui"].append("curves_editor")
NOT_FOR = {"curves_editor": ["platform/ui"], "curves": ["platform/ui"], "kernels": ["platform/ui"],
           "engine": ["platform/ui"], "action": ["platform/ui"]}

# Folders whose code stands on the standard library and our own headers alone, and so must every
# header that they reach.
OWN_CODE = ("action", "engine", "kernels", "curves", "curves_editor")
THIRD_PARTY_ALLOWED = ("platform", "panel", "host", "tests", "bench", "fuzz")

STANDARD_HEADERS = set("""
algorithm any array atomic barrier bit bitset cassert cctype cerrno cfenv cfloat charconv chrono
cinttypes climits clocale cmath codecvt compare complex concepts condition_variable coroutine
csetjmp csignal cstdarg cstddef cstdint cstdio cstdlib cstring ctime cuchar cwchar cwctype deque
exception execution filesystem format forward_list fstream functional future initializer_list
iomanip ios iosfwd iostream istream iterator latch limits list locale map memory memory_resource
mutex new numbers numeric optional ostream queue random ranges ratio regex scoped_allocator
semaphore set shared_mutex source_location span sstream stack stdexcept stop_token streambuf string
string_view strstream syncstream system_error thread tuple type_traits typeindex typeinfo
unordered_map unordered_set utility valarray variant vector version
""".split())

MOST_LINES = 600
MANY_LINES = 500

# Built from pieces, so that this file passes its own check.
FORBIDDEN = [
    (re.compile(r"(?<![\w.$}])/" + r"(?:home|Users)/[A-Za-z0-9_]"), "the path of somebody's home"),
    (re.compile(r"(?<![\w.$}])/" + r"root/\w"), "the path of somebody's home"),
    (re.compile(r"(?<![\w.$}/-])/" + r"(?:work|workspace|builds)(?:/|\b)"), "the path of one machine"),
    (re.compile(r"\b[A-Z]:" + r"\\Users\\"), "the path of somebody's home"),
    (re.compile(r"^(?:<{7}|>{7}) ", re.MULTILINE), "a merge conflict"),
    (re.compile(r"\b(?:TO" + r"DO|FIX" + r"ME|XX" + r"X)\b"), "a note of unfinished work"),
]
BINARY = {".png", ".jpg", ".jpeg", ".tif", ".tiff", ".gif", ".webp", ".bmp", ".icc", ".bin", ".pdf"}

INCLUDE = re.compile(r'^[ \t]*#[ \t]*include[ \t]*(?:"([^"]+)"|<([^>]+)>)', re.MULTILINE)
CODEC = re.compile(r"\bk(\w+)Codec\b")


class Tree:
    """The tracked files of a checkout, or all files of a folder that is none."""

    def __init__(self, root):
        self.root = Path(root).resolve()
        listed = subprocess.run(
            ["git", "-C", str(self.root), "ls-files", "-z", "--cached", "--", "."],
            capture_output=True, check=False)
        top = subprocess.run(["git", "-C", str(self.root), "rev-parse", "--show-toplevel"],
                             capture_output=True, text=True, check=False).stdout.strip()
        if listed.returncode == 0 and top and Path(top).resolve() == self.root:
            names = [name.decode() for name in listed.stdout.split(b"\0") if name]
            self.files = sorted(name for name in names if (self.root / name).is_file())
        else:
            self.files = sorted(
                str(path.relative_to(self.root)) for path in self.root.rglob("*")
                if path.is_file() and ".git" not in path.parts)
        self.names = set(self.files)
        self.code = [name for name in self.files if name.endswith((".cpp", ".h"))]
        self._includes = {}

    def text(self, name):
        return (self.root / name).read_text(encoding="utf-8", errors="replace")

    def includes(self, name):
        """(line, name, quoted) of each include directive of a file."""
        if name not in self._includes:
            text = self.text(name)
            self._includes[name] = [
                (text.count("\n", 0, match.start()) + 1, match[1] or match[2], match[1] is not None)
                for match in INCLUDE.finditer(text)]
        return self._includes[name]


def within(name, folder):
    return name == folder or name.startswith(folder + "/")


def layer_of(name):
    best = None
    for folder in LAYERS:
        if within(name, folder) and (best is None or len(folder) > len(best)):
            best = folder
    return best


def check_layers(tree):
    """Folders depend one way only, and on what exists."""
    for cycle in find_cycles({folder: [other for other in LAYERS for allowed in allows
                                       if within(other, allowed) and other != folder
                                       and other not in NOT_FOR.get(folder, [])]
                              for folder, allows in LAYERS.items()}):
        yield "the table of layers goes round in a circle: " + " -> ".join(cycle)
    for name in tree.code:
        layer = layer_of(name)
        for line, target, quoted in tree.includes(name):
            if not quoted:
                continue
            if layer in OWN_CODE or layer is not None and layer.startswith("platform"):
                if target not in tree.names:
                    yield f"{name}:{line}: \"{target}\" is not a file of the tree"
                    continue
            other = layer_of(target)
            if layer is None or other is None or other == layer:
                if layer is not None and target in tree.names and other is None:
                    yield f"{name}:{line}: {layer} must not use {target}"
                continue
            allowed = any(within(other, folder) for folder in LAYERS[layer])
            if not allowed or other in NOT_FOR.get(layer, []):
                yield f"{name}:{line}: {layer} must not use {other}"


def find_cycles(graph):
    """One cycle for each group of nodes that depend on each other."""
    state, path, found = {}, [], []

    def visit(node):
        state[node] = "open"
        path.append(node)
        for following in graph.get(node, []):
            if state.get(following) == "open":
                found.append(path[path.index(following):] + [following])
            elif following not in state:
                visit(following)
        path.pop()
        state[node] = "done"

    for node in graph:
        if node not in state:
            visit(node)
    return found


def check_header_cycles(tree):
    """No header includes itself by way of others."""
    graph = {name: [target for _, target, quoted in tree.includes(name)
                    if quoted and target in tree.names] for name in tree.code}
    for cycle in find_cycles(graph):
        yield "headers include each other: " + " -> ".join(cycle)


def check_own_code(tree):
    """The system's own code stands on the standard library and our headers."""
    reached = {}
    waiting = [name for name in tree.code if layer_of(name) in OWN_CODE]
    for name in waiting:
        reached[name] = name
    while waiting:
        name = waiting.pop()
        for line, target, quoted in tree.includes(name):
            if quoted:
                if target in tree.names and target not in reached:
                    reached[target] = reached[name]
                    waiting.append(target)
            elif target not in STANDARD_HEADERS:
                by = "" if reached[name] == name else f", and {reached[name]} includes it"
                yield f"{name}:{line}: <{target}> is no header of the standard library{by}"


def check_third_party(tree):
    """Third-party headers appear in platform, panel and host alone."""
    for name in tree.code:
        top = name.split("/")[0]
        if top in THIRD_PARTY_ALLOWED or layer_of(name) in OWN_CODE:
            continue
        for line, target, quoted in tree.includes(name):
            if not quoted and target not in STANDARD_HEADERS:
                yield f"{name}:{line}: <{target}> is no header of the standard library"


def check_readmes(tree):
    """Each folder of sources says what its files are, or the folder above says it."""
    folders = {name.rsplit("/", 1)[0] for name in tree.code
               if "/" in name and name.split("/")[0] not in ("tests", "bench", "fuzz")}
    for folder in sorted(folders):
        above, _, own = folder.rpartition("/")
        if f"{folder}/README.md" in tree.names:
            continue
        if f"{above}/README.md" not in tree.names or f"`{own}/" not in tree.text(f"{above}/README.md"):
            yield f"{folder}: has no README.md"


def check_lengths(tree, warn):
    """A file is one idea."""
    for name in tree.code:
        lines = tree.text(name).count("\n")
        if lines >= MOST_LINES:
            yield f"{name}: {lines} lines, {MOST_LINES - 1} at most"
        elif lines >= MANY_LINES:
            warn(f"{name}: {lines} lines, more than {MANY_LINES - 1}")


def check_words(tree):
    """Nothing names a machine or is left unfinished."""
    for name in tree.files:
        if Path(name).suffix.lower() in BINARY or "/seeds/" in name:
            continue
        data = (tree.root / name).read_bytes()
        if b"\0" in data:
            continue
        text = data.decode("utf-8", errors="replace")
        for pattern, meaning in FORBIDDEN:
            for match in pattern.finditer(text):
                line = text.count("\n", 0, match.start()) + 1
                yield f"{name}:{line}: '{match[0].strip()}' is {meaning}"


def registered_codecs(tree):
    """The formats that the table of codecs lists, as their folders are named."""
    found = set()
    for name in tree.code:
        if within(name, "platform/image_io") and name.endswith(".cpp"):
            for match in re.finditer(r"std::array\b[^;]*?\{([^;]*)\};|\[\]\s*=?\s*\{([^;]*)\};",
                                     tree.text(name)):
                found.update(codec.lower() for codec in CODEC.findall(match[0]))
    return found


def check_fuzz_seeds(tree):
    """Every format has seeds for its fuzz target."""
    codecs = registered_codecs(tree)
    declared = set()
    if "platform/image_io/codec.h" in tree.names:
        declared = {codec.lower() for codec in CODEC.findall(tree.text("platform/image_io/codec.h"))}
        if declared and not codecs:
            yield "platform/image_io: no table of codecs was found"
    for codec in sorted(codecs):
        seeds = re.compile(rf"fuzz/(?:image_io/)?seeds/[^/]*{codec}[^/]*/.")
        if not any(map(seeds.match, tree.files)):
            yield f"fuzz/image_io/seeds: no seeds for {codec}"
    targets = {}
    for name in tree.files:
        if within(name, "fuzz") and name.endswith("CMakeLists.txt"):
            for match in re.finditer(r"kelvo_add_fuzzer\(\s*([a-z]\w*)", tree.text(name)):
                targets[match[1]] = name.rsplit("/", 1)[0]
    for target, folder in sorted(targets.items()):
        if not any(within(name, f"{place}/seeds/{target}")
                   for name in tree.files for place in (folder, "fuzz")):
            yield f"{folder}: no seeds for the fuzz target {target}"


def check(root, warn=lambda text: None):
    """All violations in the tree under root, as lines of text."""
    tree = Tree(root)
    violations = []
    for rule in (check_layers, check_header_cycles, check_own_code, check_third_party,
                 check_readmes, check_words, check_fuzz_seeds):
        violations.extend(rule(tree))
    violations.extend(check_lengths(tree, warn))
    if not tree.code:
        violations.append("there is no code to check")
    return violations


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--root", default=Path(__file__).resolve().parents[2])
    root = parser.parse_args().root
    violations = check(root, warn=lambda text: print(f"warning: {text}"))
    for violation in violations:
        print(violation)
    print(f"{len(violations)} violations")
    return 1 if violations else 0


if __name__ == "__main__":
    sys.exit(main())
