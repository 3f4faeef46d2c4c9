#!/usr/bin/env python3
"""Converts the plain comments of a header to Doxygen's: filter.py HEADER

The first comment of a file describes the file. A comment above a declaration describes it, and the declarations or
macros that follow without an empty line. One after a declaration, with the comment lines right below, describes that
one alone.
"""

import re
import sys

NO_DECLARATION = re.compile(r"[{}]|public:|private:|protected:|static_assert|friend|extern|using")
TRAILING_COMMENT = re.compile(r"(?<=[;,0-9a-z)]) +//(?= )")


class Filter:
    def __init__(self):
        self.out = []
        self.above = []  # the comment above the next declaration
        self.in_macro = self.in_statement = self.is_trailing = False

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
            self.above, self.is_trailing, self.in_statement = [], False, False
            self.out.append(line)
        else:
            self.code(line, text)

    def comment(self, line):
        if self.is_trailing:
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
            self.above = []  # described the whole
        elif not self.in_statement and not NO_DECLARATION.match(text):
            self.out += self.above
        self.is_trailing = TRAILING_COMMENT.search(line) is not None
        code = text.split("//")[0].rstrip()
        self.in_statement = not code.endswith((";", "}", "{", ":", ">"))
        self.out.append(TRAILING_COMMENT.sub(" ///<", line, count=1))


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
