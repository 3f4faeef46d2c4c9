#!/usr/bin/env python3
"""Compares the list of exports with the compilers' names of the functions:
check_names.py LIST INCLUDE CLANG LLVM_NM GCC NM

Ends with 0 when the names of both ABIs are those of the list.
"""

import os
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))


def run(*command):
    return subprocess.run(command, stdout=subprocess.PIPE, text=True, check=True).stdout


def undefined_names(nm, *compile_command):
    with tempfile.TemporaryDirectory() as folder:
        probe = os.path.join(folder, "probe.o")
        run(*compile_command, "-c", os.path.join(HERE, "ExportProbe.cpp"), "-o", probe)
        return {line.split()[-1] for line in run(nm, "-u", probe).splitlines() if line.strip()}


def main(arguments):
    if len(arguments) != 6:
        print(__doc__, file=sys.stderr)
        return 2
    path, include, clang, llvm_nm, gcc, nm = arguments
    with open(path, encoding="utf-8") as file:
        rows = [line.split() for line in file if line.strip() and not line.startswith("#")]
    common = ["-std=c++17", "-I", include]
    found = (undefined_names(nm, gcc, *common),
             undefined_names(llvm_nm, clang, "--target=x86_64-pc-windows-msvc", "-ffreestanding", *common))
    wrong = 0
    for column, names in enumerate(found):
        listed = {row[column] for row in rows}
        for name in listed ^ names:
            print(f"{name} is {'only listed' if name in listed else 'not listed'}")
            wrong += 1
    plain = {row[2] for row in rows if len(row) > 2}
    factories = {"KrCreateRiffReader", "KrCreateAviWriter", "KrCreateMediaSamplePool"}
    if plain != factories:
        print(f"plain names: {plain}")
        wrong += 1
    print(f"{len(rows)} functions, {sum(len(row) for row in rows)} names, {wrong} wrong")
    return 0 if wrong == 0 and len(rows) == 12 else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
