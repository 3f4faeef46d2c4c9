#!/usr/bin/env bash
# Makes the wheel: make_wheel.sh LIBRARY KRAVI OUT. LIBRARY is libKrRiffUtilsC.so and KRAVI the program, which the wheel contains, OUT
# the folder that it goes to. Needs setuptools and wheel, and no network.
set -euo pipefail
library=$(realpath "$1")
program=$(realpath "$2")
mkdir -p "$3"
out=$(realpath "$3")
cd "$(dirname "$0")"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp -r pyproject.toml README.md kravi "$work"
rm -rf "$work"/kravi/__pycache__
install -m 644 -s "$library" "$work/kravi/libKrRiffUtilsC.so"
install -m 755 -s "$program" "$work/kravi/kravi"
cd "$work"
# Python code alone, and so for each Python 3, but with files of this system.
/usr/bin/python3 -W ignore -c 'from setuptools import setup; setup()' --quiet bdist_wheel --plat-name "linux_$(uname -m)" --dist-dir "$out"
