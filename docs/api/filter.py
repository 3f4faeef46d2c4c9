#!/usr/bin/env python3
"""Turns the plain comments of a header into those that Doxygen reads: filter.py HEADER

The first comment of a file speaks for the file. A comment above a declaration speaks for it, and for the declarations or
macros that follow without an empty line. One behind a declaration, with the comment lines right below, speaks for that
one alone.
"""

import re
import sys

NO_DECLARATION = re.compile(r"[{}]|public:|private:|protected:|static_assert|friend|extern|using")
COMMENT_BEHIND = re.compile(r"(?<=[;,0-9a-z)]) +//(?= )")


class Filter:
    def __init__(self):
        self.out = []
        self.above = []  # the comment that stands above what comes
        self.in_macro = self.in_statement = self.is_behind = False

    def line(self, line):
        text = line.strip()
        if self.in_macro:
            self.in_macro = text.endswith("\\")
            self.out.append(line)
        elif text.startswith("//"):
            self.comment(line)
        elif text.startswith("#"):
            self.directive(line, text)
        elif not text:
            self.above, self.is_behind, self.in_statement = [], False, False
            self.out.append(line)
        else:
            self.code(line, text)

    def comment(self, line):
        if self.is_behind:
            self.out.append(line.replace("//", "///<", 1))
        else:
            self.above.append(line.replace("//", "///", 1))

    def directive(self, line, text):
        if text.startswith("#define"):
            self.out += self.above
            self.in_macro = text.endswith("\\")
        self.out.append(line)

    def code(self, line, text):
        if text == "{":
            self.above = []  # spoke for the whole
        elif not self.in_statement and not NO_DECLARATION.match(text):
            self.out += self.above
        self.is_behind = COMMENT_BEHIND.search(line) is not None
        code = text.split("//")[0].rstrip()
        self.in_statement = not code.endswith((";", "}", "{", ":", ">"))
        self.out.append(COMMENT_BEHIND.sub(" ///<", line, count=1))


def main(path):
    with open(path, encoding="utf-8") as file:
        lines = file.read().split("\n")
    head = 0
    while lines[head].startswith("//"):
        head += 1
    filtered = Filter()
    filtered.out += ["/// @file", *("/" + line for line in lines[:head]), ""]
    for line in lines[head:]:
        filtered.line(line)
    print("\n".join(filtered.out))


if __name__ == "__main__":
    main(sys.argv[1])
