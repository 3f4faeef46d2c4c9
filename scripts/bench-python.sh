#!/usr/bin/env bash
# Benchmarks of the Python package against bare reads, PyAV and OpenCV. Makes its input in build/bench/files (about 10 GB), and prints a
# table in Markdown: medians of nine runs that take turns.
set -eu
cd "$(dirname "$0")/.."
source scripts/packages.sh
kr_install "${KR_BUILD_PACKAGES[@]}" python3-av python3-numpy python3-opencv
{ cmake --preset linux && cmake --build --preset linux --target KrRiffUtilsC; } >build/bench-python.log 2>&1 || {
    tail -n 40 build/bench-python.log
    exit 1
}
mkdir -p build/bench/files
cc -std=c11 -O2 -pthread benchmarks/BareReads.c -o build/bench/BareReads
python3 benchmarks/make_inputs.py build/bench/files 150 idx1 >&2
KRAVI_LIBRARY=$PWD/build/linux/lib/libKrRiffUtilsC.so PYTHONPATH=bindings/python PYTHONDONTWRITEBYTECODE=1 \
    /usr/bin/python3 benchmarks/python_figures.py build/bench/BareReads build/bench/files
