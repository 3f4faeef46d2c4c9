"""Writes a copy of the tree in which the drawn changes stand beside the original, and builds its tests.

Each change becomes a choice at run time, `KrMutant(7) ? (a <= b) : (a < b)`, so that one build holds all of them and
KR_MUTANT chooses. Changes within changes keep the inner ones in the original's branch only.
"""

import os
import re
import shutil
import subprocess

# What the mutated sources and the programs need in addition.
ADDITIONS = {
    "cmake/KrLibrary.cmake": "\ntarget_sources(KrRiffUtilsObjects PRIVATE KrMutant.cpp)\n",
    "tests/CMakeLists.txt": "\ntarget_sources(KrTestSupport PRIVATE ${PROJECT_SOURCE_DIR}/KrMutant.cpp)\n",
}
SETTINGS = ["-DCMAKE_BUILD_TYPE=Release", "-DKR_BUILD_TOOLS=OFF", "-DKR_WARNINGS_AS_ERRORS=OFF",
            "-DCMAKE_CXX_FLAGS=-w -Wno-narrowing"]


def switched(number, change, original):
    """The place's text with a switch around it; `original` has the switches inside the place."""
    if change.form == "value":
        # One line: line numbers after it stay those of the original.
        other = " ".join(re.sub(r"//.*", "", change.code or change.text).split())
        return f"(KrMutant({number}) ? ({other}) : ({original}))"
    if change.form == "condition":
        return f"(static_cast<bool>({original}) != KrMutant({number}))"
    if change.form == "statement":
        return f"(KrMutant({number}) ? static_cast<void>(0) : static_cast<void>({original}))"
    return f"if (KrMutant({number})) {{}} else {original}"


def render(text, mutants):
    """`text` with the switches of the mutants, which are sorted by outermost()."""
    def inside(start, end, some):
        parts, at, i = [], start, 0
        while i < len(some):
            number, place, change = some[i]
            j = i + 1
            while j < len(some) and some[j][1].end <= place.end:
                j += 1
            parts.append(text[at:place.start])
            parts.append(switched(number, change, inside(place.start, place.end, some[i + 1:j])))
            at, i = place.end, j
        parts.append(text[at:end])
        return "".join(parts)
    return inside(0, len(text), mutants)


def outermost(mutant):
    """Order in which a change comes before those within it; a statement before the expression that it is."""
    _, place, _ = mutant
    return place.start, -place.end, place.category != "statement"


def write_if_different(path, content):
    """Leaves a file alone that is the same, so that nothing is compiled again."""
    try:
        with open(path, "rb") as stream:
            if stream.read() == content:
                return
    except FileNotFoundError:
        os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as stream:
        stream.write(content)


def write_tree(root, copy, texts, mutants):
    """Makes `copy` the tree at `root`, as git knows it, with the mutants in it."""
    listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], cwd=root,
                            check=True, capture_output=True).stdout.decode().split("\0")
    files = {name for name in listed if name and os.path.isfile(os.path.join(root, name))}
    here = os.path.dirname(os.path.abspath(__file__))
    by_file = {}
    for mutant in mutants:
        by_file.setdefault(mutant[1].file, []).append(mutant)
    for name in files:
        with open(os.path.join(root, name), "rb") as stream:
            content = stream.read()
        if name in by_file:
            inside = render(texts[name], sorted(by_file[name], key=outermost))
            content = f'#include "{copy}/KrMutant.h"\n#line 1 "{name}"\n{inside}'.encode("ascii")
        content += ADDITIONS.get(name, "").encode("ascii")
        write_if_different(os.path.join(copy, name), content)
    for name in ("KrMutant.h", "KrMutant.cpp"):
        shutil.copy2(os.path.join(here, name), os.path.join(copy, name))
        files.add(name)
    for place, _, names in os.walk(copy):
        for name in names:
            if os.path.relpath(os.path.join(place, name), copy) not in files:
                os.remove(os.path.join(place, name))


def configure(copy, build):
    if not os.path.exists(os.path.join(build, "build.ninja")):
        run(["cmake", "-S", copy, "-B", build, "-G", "Ninja"] + SETTINGS, build + "-build.log")


def run(command, log):
    with open(log, "ab") as stream:
        if subprocess.run(command, stdout=stream, stderr=stream, check=False).returncode != 0:
            raise RuntimeError(f"{command[0]} failed, see {log}")


def compile_programs(build, programs):
    """Builds the programs, and answers the files and lines that do not compile: none when all is well."""
    done = subprocess.run(["cmake", "--build", build, "--target", *programs, "--", "-k", "0"], check=False,
                          capture_output=True, text=True)
    with open(build + "-build.log", "a", encoding="utf-8") as stream:
        stream.write(done.stdout + done.stderr)
    if done.returncode == 0:
        return set()
    wrong = {(found[1], int(found[2])) for found in
             re.finditer(r"^([\w/.]+):(\d+):\d+: (?:error:|  required from)", done.stdout, re.MULTILINE)}
    if not wrong:
        raise RuntimeError(f"the mutated tree does not build, see {build}-build.log")
    return wrong
