"""Checks the structure of a file with the program kravi, whose findings have stable codes."""

import json
import os
import shutil
import subprocess
from dataclasses import dataclass
from typing import Any

from . import _library, errors


@dataclass(frozen=True)
class Finding:
    """One kind of defect."""

    code: str  #: name of the check; later versions keep it
    severity: str  #: ``error``: readers fail or lose data; ``warning``: some programs mishandle it; ``note``: worth knowing
    meaning: str
    hint: str  #: the consequence, or what to do
    count: int  #: places in the file
    places: list[dict[str, Any]]  #: the first five: ``offset``, ``expected``, ``found``


def program() -> str:
    """The program kravi: that of KRAVI_PROGRAM, the one inside the package, or the one on the path."""
    inside = os.path.join(os.path.dirname(os.path.abspath(__file__)), "kravi")
    found = os.environ.get("KRAVI_PROGRAM") or shutil.which(inside) or shutil.which("kravi")
    if not found:
        raise errors.Error("verify() needs the program kravi, which is not installed (Debian: package kravi)")
    return found


def verify(path: "str | os.PathLike[str]") -> list[Finding]:
    """What is to be said about the structure of a file, errors first.

    >>> [finding.code for finding in kravi.verify("clip.avi") if finding.severity != "note"]
    []
    """
    name, _ = _library.encoded(path)
    with open(name, "rb"):
        pass  # the system's reason, where there is one
    done = subprocess.run([program(), "verify", "--json", "--", name], stdin=subprocess.DEVNULL, capture_output=True,
                          check=False)
    try:
        report = json.loads(done.stdout)
        return [Finding(**{field: result[field] for field in Finding.__dataclass_fields__}) for result in report["results"]]
    except (ValueError, KeyError):
        text = done.stderr.decode("utf-8", "replace").strip()
        raise errors.FormatError(text.removeprefix("kravi: ") or f"{name}: kravi failed") from None
