#!/usr/bin/env python3
"""Copies the public headers with two operations of the reader swapped: swap_operations.py FROM TO"""

import os
import re
import shutil
import sys


def main(source, target):
    shutil.rmtree(target, ignore_errors=True)
    shutil.copytree(source, target)
    path = os.path.join(target, "KrRiffUtils", "IKrRiffReader.h")
    with open(path, encoding="utf-8") as file:
        text = file.read()
    first, second = "virtual void Close() = 0;", "virtual uint64_t GetFileLength() = 0;"
    if text.count(first) != 1 or text.count(second) != 1:
        raise SystemExit("the operations to swap are not there")
    text = re.sub("|".join(map(re.escape, (first, second))), lambda m: second if m.group() == first else first, text)
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)


if __name__ == "__main__":
    main(*sys.argv[1:])
