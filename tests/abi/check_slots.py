#!/usr/bin/env python3
"""Compares slots.inc with the compilers' tables: check_slots.py INCLUDE CLANG GCC

CLANG prints the whole tables in Microsoft's ABI; GCC only the length of those of mingw. Ends with
0 when all agree.
"""

import os
import re
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))


def listed():
    with open(os.path.join(HERE, "slots.inc"), encoding="utf-8") as file:
        lines = re.findall(r"^SLOT\((\w+), (\d+), (\w+),", file.read(), re.M)
    tables = {}
    for interface, slot, operation in lines:
        table = tables.setdefault(interface, {0: "~"})
        if int(slot) in table:
            raise SystemExit(f"slots.inc: {interface} has slot {slot} twice")
        table[int(slot)] = operation
    return tables


def run(*command):
    done = subprocess.run(command, capture_output=True, text=True, check=False)
    if done.returncode != 0:
        raise SystemExit(f"{command}: {done.stderr}")
    return done.stdout


def clang_tables(clang, include, folder):
    text = run(clang, "--target=x86_64-pc-windows-msvc", "-std=c++17", "-ffreestanding", "-I", include, "-Xclang",
               "-fdump-vtable-layouts", "-c", os.path.join(HERE, "LayoutProbe.cpp"), "-o", os.path.join(folder, "p"))
    tables = {}
    for interfaces, body in re.findall(r"^VFTable for (.*?) \(\d+ entries\)\.\n((?: .*\n)+)", text, re.M):
        interface = re.findall(r"'(\w+)'", interfaces)[-1]
        entries = re.findall(r"^ +(\d+) \| (.*)", body, re.M)
        operations = [line for _, line in entries if "RTTI" not in line]
        tables[interface] = {slot: name_of(line) for slot, line in enumerate(operations)
                             if not line.startswith("[")}
    return tables


def name_of(line):
    if "destructor" in line or "::~" in line:
        return "~"
    return re.search(r"(\w+)\(", line).group(1)


def gcc_lengths(gcc, include, folder):
    dump = os.path.join(folder, "classes")
    run(gcc, "-std=c++17", "-I", include, f"-fdump-lang-class={dump}", "-c", os.path.join(HERE, "LayoutProbe.cpp"), "-o",
        os.path.join(folder, "g"))
    with open(dump, encoding="utf-8") as file:
        text = file.read()
    # Two words precede the operations.
    return {interface: int(entries) - 2
            for interface, entries in re.findall(r"^(IKr\w+)::_ZTV\w+: (\d+) entries", text, re.M)}


def main(arguments):
    if len(arguments) != 3:
        print(__doc__, file=sys.stderr)
        return 2
    include, clang, gcc = arguments
    wanted = listed()
    with tempfile.TemporaryDirectory() as folder:
        found = clang_tables(clang, include, folder)
        lengths = gcc_lengths(gcc, include, folder)
    wrong = 0
    for interface, table in wanted.items():
        if found.get(interface) != table:
            print(f"{interface}: clang has {found.get(interface)}, listed is {table}")
            wrong += 1
        if lengths.get(interface) != len(table):
            print(f"{interface}: GCC has {lengths.get(interface)} slots, listed are {len(table)}")
            wrong += 1
    for interface in found.keys() - wanted.keys():
        print(f"{interface} is not listed")
        wrong += 1
    print(f"{sum(len(table) for table in wanted.values())} slots of {len(wanted)} interfaces, {wrong} wrong")
    return 0 if wrong == 0 and wanted else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
