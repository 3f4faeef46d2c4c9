#!/usr/bin/env python3
"""Checks how the sources depend on each other: scripts/arrows.py [--objects FOLDER] [--names]

Each folder may include itself and the folders below it in LAYERS, and none that is not in LAYERS; includes must not form
a circle. A header and the source of the same name count as one file. With --objects the calls between a build's object
files are checked as well, so that the sources of one class cannot call each other in circles either. With --names no
type and no constant at namespace scope may have the name of one in another file. Prints each upward include, each circle
and each such name; ends with 1 if there are any.
"""

import argparse
import collections
import os
import re
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))

# From the lowest to the highest. Folders of one line must not include each other.
LAYERS = [
    ["include"],
    ["platform"],
    ["base"],
    ["siblings"],
    ["format"],
    ["reader", "writer", "pool"],
    ["riffutils"],
    ["module"],
    ["bindings/c"],
    ["tools/command"],
    ["tools/avi"],
    ["tools/output"],
    ["tools/copier"],
    ["tools/input", "tools/copy", "tools/hash", "tools/info", "tools/manual", "tools/map", "tools/recover", "tools/verify"],
    ["tools/mend"],
    ["tools/verbs"],
    ["tools"],
]

# What the tools may use of the library: the rest is reached through its public headers.
FOR_TOOLS = {"include", "platform", "base", "siblings", "format"}

INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)
SOURCE = re.compile(r"\.(h|cpp)$")
TYPE = re.compile(r"(?:struct|class|enum(?: class)?)\s+(\w+)(?:\s+final)?\s*(?::[^;]*)?\{?\s*$")
CONSTANT = re.compile(r"(?:(?:inline|static|constexpr|const)\s+)+[\w:<>, *&]+?\s(k[A-Z]\w*)(?:\[\w*\])*\s*[={]")
ALIAS = re.compile(r"using (\w+) =")
BACKENDS = re.compile(r"/(posix|win32)/|(Posix|Win32)(?=\.)")


def unit(path):
    """The name of a header and its sources; the sources of one header for different systems count as one file."""
    return SOURCE.sub("", BACKENDS.sub(lambda match: "/" if match[1] else "", path))


def folder(path):
    """The folder of LAYERS that contains a file, or None."""
    names = {name for layer in LAYERS for name in layer}
    while path := os.path.dirname(path):
        if path in names:
            return path
    return None


def sources(root):
    tops = sorted({name.split("/")[0] for layer in LAYERS for name in layer})
    for top in tops:
        for place, _, names in os.walk(os.path.join(root, top)):
            for name in sorted(names):
                if SOURCE.search(name):
                    yield os.path.relpath(os.path.join(place, name), root)


def resolve(included, root, by_name):
    """The file of the tree that an include names; None for a header from elsewhere."""
    for path in (included, "include/" + included):
        if os.path.isfile(os.path.join(root, path)):
            return path
    return by_name.get(included)  # headers of platform/ that CMake selects for the system


def includes(root):
    """The files included by each file."""
    known = list(sources(root))
    by_name = {os.path.basename(path): path for path in known if "/posix/" in path}
    by_name |= {os.path.basename(path): path for path in known if path.startswith("include/")}
    found = {}
    for path in known:
        with open(os.path.join(root, path), encoding="utf-8") as file:
            named = INCLUDE.findall(file.read())
        found[path] = [target for name in named if (target := resolve(name, root, by_name))]
    return found


def arrows_up(found):
    level = {name: place for place, layer in enumerate(LAYERS) for name in layer}
    for path, targets in sorted(found.items()):
        for target in targets:
            source_folder, target_folder = folder(path), folder(target)
            is_inner = path.startswith("tools/") and not target.startswith("tools/") and target_folder not in FOR_TOOLS
            is_up = target_folder is None or source_folder != target_folder and level[target_folder] >= level[source_folder]
            if is_inner or is_up:
                yield f"{path} includes {target}"


def circles(graph):
    """The strongly connected components of more than one node."""
    order, low, stack, groups = {}, {}, [], []

    def visit(node):
        order[node] = low[node] = len(order)
        stack.append(node)
        for target in sorted(graph.get(node, ())):
            if target not in order:
                visit(target)
            if target in stack:
                low[node] = min(low[node], low[target])
        if low[node] == order[node]:
            group = [stack.pop()]
            while group[-1] != node:
                group.append(stack.pop())
            if len(group) > 1:
                groups.append(sorted(group))

    for node in sorted(graph):
        if node not in order:
            visit(node)
    return groups


def units(found):
    graph = collections.defaultdict(set)
    for path, targets in found.items():
        graph[unit(path)] |= {unit(target) for target in targets} - {unit(path)}
    return graph


def names(text):
    """The types and constants that a file defines at namespace scope, where lines begin without a space."""
    for line in text.splitlines():
        if match := TYPE.match(line) or CONSTANT.match(line) or ALIAS.match(line):
            yield match[1]


def repeated_names(root):
    places = collections.defaultdict(set)
    for path in sources(root):
        with open(os.path.join(root, path), encoding="utf-8") as file:
            for name in names(file.read()):
                places[name].add(unit(path))
    for name, units_of_name in sorted(places.items()):
        if len(units_of_name) > 1:
            yield f"{name} in {', '.join(sorted(units_of_name))}"


def calls(objects):
    """The object files of a build folder, each with those whose symbols it uses."""
    defined, needed = {}, collections.defaultdict(set)
    for place, _, names in os.walk(objects):
        for name in names:
            if not name.endswith((".o", ".obj")):
                continue
            path = os.path.join(place, name)
            listed = subprocess.run(["nm", path], capture_output=True, text=True, check=True).stdout
            for line in listed.splitlines():
                kind, symbol = line.split()[-2:]
                if kind in "TDBR":
                    defined[symbol] = os.path.relpath(path, objects)
                elif kind == "U":
                    needed[os.path.relpath(path, objects)].add(symbol)
    return {path: {defined[symbol] for symbol in symbols if symbol in defined} - {path}
            for path, symbols in needed.items()}


def self_test():
    found = {"reader/A.cpp": ["reader/A.h", "module/B.h"], "reader/A.h": ["reader/C.h"], "reader/C.cpp": ["reader/A.h"],
             "tools/avi/G.h": ["format/H.h", "reader/A.h"], "platform/I.h": ["tools/other/K.h"],
             "tools/verbs/J.cpp": ["tools/avi/G.h"], "writer/D.h": ["pool/E.h"], "riffutils/F.h": ["reader/A.h"]}
    assert list(arrows_up(found)) == ["platform/I.h includes tools/other/K.h", "reader/A.cpp includes module/B.h",
                                      "tools/avi/G.h includes reader/A.h", "writer/D.h includes pool/E.h"]
    assert list(names("class CA;\nstruct SB : SC\n{\n    int kD = 1;\n};\nenum class EE : int\nusing F = int;\n"
                      "constexpr std::array<int, 2> kG = {1, 2};\ninline constexpr char kH[] = \"\";\n"
                      "extern const char kI[];\n")) == ["SB", "EE", "F", "kG", "kH"]
    assert circles(units(found)) == [["reader/A", "reader/C"]], circles(units(found))
    assert circles({"a": {"b"}, "b": {"c"}, "c": set()}) == []
    assert unit("platform/posix/KrSyncPosix.cpp") == unit("platform/KrSync.h") == "platform/KrSync"


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--objects", help="a build's folder of object files of the library")
    parser.add_argument("--names", action="store_true", help="check the names of types and constants, too")
    parser.add_argument("--root", default=ROOT, help="the tree to check")
    arguments = parser.parse_args()
    self_test()
    found = includes(arguments.root)
    problems = ["arrow up: " + arrow for arrow in arrows_up(found)]
    problems += ["circle: " + ", ".join(group) for group in circles(units(found))]
    if arguments.names:
        problems += ["defined twice: " + name for name in repeated_names(arguments.root)]
    if arguments.objects:
        graph = calls(arguments.objects)
        if not graph:
            problems.append(f"no object files in {arguments.objects}")
        problems += ["circle of calls: " + ", ".join(group) for group in circles(graph)]
    for problem in problems:
        print(problem)
    print(f"{len(found)} files, {sum(map(len, found.values()))} includes, {len(problems)} problems")
    return 1 if problems or not found else 0


if __name__ == "__main__":
    sys.exit(main())
