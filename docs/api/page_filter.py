#!/usr/bin/env python3
"""Prepares a page of the documents for Doxygen: page_filter.py PAGE

Links to files that are not part of the reference become plain text, and the markers of the documents' tests go.
"""

import re
import sys

PAGES = {"tutorial.md", "c-hosts.md", "errors.md", "threads.md", "stability.md", "windows-hosts.md", "file-format.md"}


def link(match):
    text, target = match[1], match[2]
    return match[0] if "://" in target or target.split("#")[0] in PAGES and "#" not in target else text


def main(path):
    with open(path, encoding="utf-8") as file:
        page = file.read()
    page = re.sub(r"^ *<!-- .* -->\n", "", page, flags=re.MULTILINE)
    page = re.sub(r"\[([^]]+)\]\(([^)]+)\)", link, page)
    page = page.replace("```sh no-run", "```sh").replace("```console", "```")
    print(page, end="")


if __name__ == "__main__":
    main(sys.argv[1])
