#!/usr/bin/env python3
"""Checks commands, code and links of README and docs: docs_test.py SOURCES PROGRAMS LIBRARIES COMPILER [FLAGS...]

PROGRAMS is the folder of kravi and the examples, LIBRARIES the one of the library. Blocks of the documents:
  ```sh           run as one script in a folder with sample clips; must end with 0
  ```sh no-run    not run; every program, script, preset and target in it must exist
  ```console      each line after "$ " is run, and its output is compared with the lines below; "..." matches any lines
  ```c            a program in C11 that is compiled and run, or compiled alone when it has no main
  ```cpp          in a document with a marker "<!-- FILE: REGION -->" above it, the same text as in that file; else a program
                  that is compiled and run, or compiled alone when it has no main
Ends with the line "N passed, N failed".
"""

import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import traceback

HERE = os.path.dirname(os.path.abspath(__file__))
sys.dont_write_bytecode = True
sys.path.insert(0, os.path.join(HERE, "..", "tools"))

import avi_builder as avi  # pylint: disable=wrong-import-position
from cases_write import jpeg, wave  # pylint: disable=wrong-import-position

BLOCK = re.compile(r"^( *)(?:<!-- (\S+): (\S+) -->\n *)?```(\w*)( no-run)?\n(.*?)^\1```$", re.MULTILINE | re.DOTALL)
SHELL_WORDS = {"echo", "exit", "source", "cd"}
FRAMES = 50


class Documents:
    def __init__(self, sources, programs, libraries, compiler, *flags):
        self.sources, self.programs, self.libraries = (os.path.abspath(path) for path in (sources, programs, libraries))
        self.compiler, self.flags = compiler, flags
        self.passed = self.failed = 0
        self.kinds = {}  # number of checked blocks of each kind

    def names(self):
        folders = ("", "docs")
        return [os.path.join(folder, name) for folder in folders
                for name in sorted(os.listdir(os.path.join(self.sources, folder))) if name.endswith(".md")]

    def read(self, name):
        with open(os.path.join(self.sources, name), encoding="utf-8") as file:
            return file.read()

    def environment(self):
        path = self.programs + os.pathsep + os.environ["PATH"]
        return {**os.environ, "PATH": path, "LD_LIBRARY_PATH": self.libraries, "LC_ALL": "C.UTF-8"}

    def attempt(self, what, step, *arguments):
        try:
            step(*arguments)
            self.passed += 1
        except Exception:  # any error fails this step alone
            self.failed += 1
            print(f"FAILED {what}", file=sys.stderr)
            traceback.print_exc()


def prepare(folder):
    """Pictures and sound, and a clip made of them, under the names that the documents use."""
    for number in range(FRAMES):
        with open(os.path.join(folder, f"shot{number:04d}.jpg"), "wb") as file:
            file.write(jpeg(number, 720, 576, 5001 + 2 * number))
    with open(os.path.join(folder, "sound.wav"), "wb") as file:
        file.write(wave(avi.payload(3, 1000) * 384))


def bash(documents, folder, script):
    done = subprocess.run(["bash", "-c", script], cwd=folder, env=documents.environment(), stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=120, check=False)
    return done.returncode, done.stdout.decode("utf-8")


def run_script(documents, folder, text):
    code, out = bash(documents, folder, "set -e\n" + text)
    if code != 0:
        raise AssertionError(f"exit code {code}:\n{text}\n{out}")


def run_session(documents, folder, text):
    """Commands and their output. A command may fail only where the document shows that."""
    parts = re.split(r"^\$ (.*)\n", text, flags=re.MULTILINE)
    commands, outputs = parts[1::2], parts[2::2]
    if parts[0] or not commands:
        raise AssertionError(f"output without a command: {text}")
    script = "s=0\n"
    for command in commands:
        # The errors come last, as the order of writes to two streams is not known.
        script += f"e=$(mktemp)\n(exit $s)\n{command} 2>$e\ns=$?\ncat $e; rm $e\necho \"@@end $s\"\n"
    _, out = bash(documents, folder, script)
    results = re.findall(r"(.*?)@@end (\d+)\n", out, re.DOTALL)
    if len(results) != len(commands):
        raise AssertionError(f"{len(results)} of {len(commands)} commands ended:\n{out}")
    for place, (command, wanted, (got, code)) in enumerate(zip(commands, outputs, results)):
        pattern = "".join("(?:.*\n)*?" if line == "..." else re.escape(line) + "\n" for line in wanted.splitlines())
        if not re.fullmatch(pattern, got):
            raise AssertionError(f"$ {command}\nprinted\n{got}\nand not\n{wanted}")
        is_shown = commands[place + 1:place + 2] == ["echo $?"] or "finding: " in wanted or '"error"' in wanted
        if code != "0" and not is_shown:
            raise AssertionError(f"$ {command}\nended with {code}, which the document does not show")


class Names:
    """The existing programs, presets and targets."""

    def __init__(self, documents):
        self.documents = documents
        presets = json.loads(documents.read("CMakePresets.json"))
        self.presets = {kind: {preset["name"] for preset in presets[kind]}
                        for kind in ("configurePresets", "buildPresets", "testPresets")}
        lists = [os.path.join(folder, name) for folder, _, files in os.walk(documents.sources)
                 for name in files if name == "CMakeLists.txt" or name.endswith(".cmake")]
        self.lists = "".join(documents.read(os.path.relpath(path, documents.sources)) for path in lists
                             if os.sep + "build" + os.sep not in path)

    def check(self, text):
        for line in text.splitlines():
            for command in re.split(r"&&|\||;", line.split("  #")[0]):
                words = command.split()
                if words and not words[0].startswith("#"):
                    self.check_command(words)

    def check_command(self, words):
        program = words[0]
        if program.startswith("build/"):
            known = os.path.basename(program) in self.lists
        elif "/" in program:
            known = os.access(os.path.join(self.documents.sources, program), os.X_OK)
        else:
            known = program in SHELL_WORDS or shutil.which(program) or program in self.lists
        self.need(known, program, words)
        for option, value in zip(words, words[1:]):
            if option == "--preset":
                kind = "testPresets" if program == "ctest" else "buildPresets" if "--build" in words else "configurePresets"
                self.need(value in self.presets[kind], value, words)
            if option == "--target":
                self.need(re.search(rf"add_\w+\({value}\b", self.lists), value, words)
            if option == "python3":
                self.need(os.path.exists(os.path.join(self.documents.sources, value)), value, words)
            if program.startswith("scripts/") and value.startswith("--"):
                self.need(value in self.documents.read(program), value, words)

    @staticmethod
    def need(condition, name, words):
        if not condition:
            raise AssertionError(f"there is no {name}: {' '.join(words)}")


def check_region(documents, file, region, text):
    found = re.search(rf"^// region: {region}\n(.*?)^// end\n", documents.read(file), re.MULTILINE | re.DOTALL)
    if not found or found.group(1) != text:
        raise AssertionError(f"the code is not that of {file}, region {region}")


def compile_block(documents, folder, indent, text, in_c=False):
    source = os.path.join(folder, "block.c" if in_c else "block.cpp")
    with open(source, "w", encoding="utf-8") as file:
        file.write(re.sub(rf"^{indent}", "", text, flags=re.MULTILINE))
    has_main = "int main(" in text
    library, language = ("KrRiffUtilsC", ["cc", "-std=c11"]) if in_c else (
        "KrRiffUtils", [documents.compiler, *documents.flags, "-std=c++17"])
    rest = ["-L" + documents.libraries, "-l" + library, "-o", "block"] if has_main else ["-fsyntax-only"]
    command = [*language, "-Wall", "-Wextra", "-Werror",
               "-I" + os.path.join(documents.sources, "include"), source, *rest]
    subprocess.run(command, cwd=folder, check=True, timeout=120)
    if has_main:
        code, out = bash(documents, folder, "./block")
        if code != 0 or len(out.splitlines()) != FRAMES:
            raise AssertionError(f"exit code {code}: {out}")


def check_blocks(documents, name):
    with tempfile.TemporaryDirectory(prefix="docs-test-") as folder:
        prepare(folder)
        text = documents.read(name)
        blocks = list(BLOCK.finditer(text))
        fences = len(re.findall(r"^ *```", text, re.MULTILINE))
        documents.attempt(f"{name}: fences", lambda: fences == 2 * len(blocks) or 1 / 0)
        # Code that is compiled reads the clip that the shell blocks make.
        for block in sorted(blocks, key=lambda block: block.group(4) in ("c", "cpp")):
            indent, file, region, language, no_run, content = block.groups()
            kind = language + (no_run or "")
            documents.kinds[kind] = documents.kinds.get(kind, 0) + 1
            what = f"{name}, line {text[:block.start()].count(chr(10)) + 1}"
            if language == "sh" and no_run:
                documents.attempt(what, Names(documents).check, content)
            elif language == "sh":
                documents.attempt(what, run_script, documents, folder, content)
            elif language == "console":
                documents.attempt(what, run_session, documents, folder, content)
            elif language == "cpp" and file:
                documents.attempt(what, check_region, documents, file, region, content)
            elif language == "c":
                documents.attempt(what, compile_block, documents, folder, indent, content, True)
            elif language == "cpp":
                documents.attempt(what, compile_block, documents, folder, indent, content)


def check_links(documents, name):
    for target in re.findall(r"\]\(([^)#:]+)(?:#[^)]*)?\)", documents.read(name)):
        path = os.path.normpath(os.path.join(os.path.dirname(name), target))
        if not os.path.exists(os.path.join(documents.sources, path)):
            raise AssertionError(f"{name} links to {target}, which does not exist")


def check_paths(documents, name):
    """The files and folders of the tree that a document names."""
    tops = [entry for entry in os.listdir(documents.sources) if os.path.isdir(os.path.join(documents.sources, entry))]
    for word in re.findall(r"`([\w./-]+)`", documents.read(name)):
        top = word.split("/")[0]
        if "/" in word and top in tops and top != "build" and not os.path.exists(os.path.join(documents.sources, word)):
            raise AssertionError(f"{name} names {word}, which does not exist")


def check_json_page(documents):
    made = subprocess.run([sys.executable, os.path.join(documents.sources, "docs", "schemas", "make_page.py")],
                          stdout=subprocess.PIPE, check=True, timeout=60).stdout.decode("utf-8")
    if made != documents.read(os.path.join("docs", "kravi-json.md")):
        raise AssertionError("docs/kravi-json.md is not what docs/schemas/make_page.py prints")


def check_readme_names_every_verb(documents):
    _, out = bash(documents, documents.sources, "kravi man")
    verbs = set(re.findall(r"^kravi (\S+) \[OPTIONS\]", out, re.MULTILINE))
    missing = [verb for verb in verbs if f"kravi {verb}" not in documents.read("README.md")]
    if missing or len(verbs) < 9:
        raise AssertionError(f"verbs that README.md does not show: {missing} of {verbs}")


def main(arguments):
    if len(arguments) < 4:
        print(__doc__, file=sys.stderr)
        return 2
    documents = Documents(*arguments)
    for name in documents.names():
        check_blocks(documents, name)
        documents.attempt(f"{name}: links", check_links, documents, name)
        documents.attempt(f"{name}: paths", check_paths, documents, name)
    documents.attempt("docs/kravi-json.md", check_json_page, documents)
    documents.attempt("README.md: verbs", check_readme_names_every_verb, documents)
    wanted = {"sh", "sh no-run", "console", "cpp", "c"}
    documents.attempt("kinds of blocks", lambda: wanted <= set(documents.kinds) or 1 / 0)
    print(f"{documents.passed} passed, {documents.failed} failed")
    return 0 if documents.failed == 0 and documents.passed > 0 else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
