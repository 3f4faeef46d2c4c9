#!/usr/bin/env python3
"""Prints docs/kravi-json.md from the schemas in this folder: python3 docs/schemas/make_page.py >docs/kravi-json.md"""

import glob
import json
import os
import sys

FOLDER = os.path.dirname(os.path.abspath(__file__))

INTRODUCTION = """\
# What kravi prints with --json

Generated from the JSON Schema files in [schemas](schemas) by `docs/schemas/make_page.py`; edit those. kravi's own tests validate each object
against its schema.

- With `--json` a verb prints one object, in UTF-8, and nothing else on the standard output. Diagnostics stay on the error stream.
  `follow` prints one object a line; so do `info`, `verify` and `hash`, for each file, with several files, a folder, or `--brief`.
- The exit code is 0 (done), 1 (done, `findings` is not empty) or 2 (failed, there is an `error`).
- A failure ends the object early: the members before `error` are those that were known by then. Without `error` all members are present that the
  tables do not call optional.
- Numbers are whole unless a table says otherwise. Positions are in bytes from the file's start. FourCCs are four characters, escaped as `\\xHH` where
  they are not printable ASCII; a backslash is `\\\\`.
- Rows of long lists are printed as they are found, so that a list of any length can be read as a stream.
"""


def type_of(schema):
    if "const" in schema:
        return json.dumps(schema["const"])
    kinds = schema.get("type", "object")
    kinds = kinds if isinstance(kinds, list) else [kinds]
    if "enum" in schema:
        return " or ".join(f"`{value}`" for value in schema["enum"])
    return " or ".join(kinds)


def rows(schema, prefix, required):
    """(path, type, meaning) of each member, depth first."""
    for name, member in schema.get("properties", {}).items():
        optional = "" if name in required or name == "error" else ", optional"
        path = f"{prefix}{name}"
        kind = type_of(member)
        yield path, kind + optional, member.get("description", "")
        for inner, way in alternatives(member, path):
            yield from rows(inner, way, inner.get("required", ()))


def alternatives(member, path):
    """The objects below a member, with the way to them."""
    if member.get("type") == "array":
        items = member["items"]
        for item in items.get("oneOf", [items]):
            yield item, f"{path}[]."
    elif "oneOf" in member:
        for choice in member["oneOf"]:
            yield choice, f"{path}."
    else:
        yield member, f"{path}."


def section(path):
    with open(path, encoding="utf-8") as file:
        schema = json.load(file)
    required = schema.get("then", schema)["required"]
    text = f"\n## {schema['title']}\n\n{schema['description']}\n\n| member | type | meaning |\n|---|---|---|\n"
    for name, kind, meaning in rows(schema, "", required):
        text += f"| `{name}` | {kind} | {meaning} |\n"
    return text


def page():
    names = glob.glob(os.path.join(FOLDER, "kravi-*.schema.json"))
    names.sort(key=lambda name: ("-progress." in name, name))
    return INTRODUCTION + "".join(section(name) for name in names)


if __name__ == "__main__":
    sys.stdout.reconfigure(encoding="utf-8", newline="\n")
    print(page(), end="")
