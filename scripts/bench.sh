#!/usr/bin/env bash
# Benchmarks against a floor of bare system calls and against libavformat: scripts/bench.sh [FILTER]. Makes its input in
# build/bench/files (about 6 GB), runs everything nine times in random order, and prints tables in Markdown: ratios;
# system calls and memory of single operations. With a filter, only the ratios that match it.
# scripts/bench-recording.sh measures recordings.
set -eu
cd "$(dirname "$0")/.."
source scripts/packages.sh
kr_install "${KR_BUILD_PACKAGES[@]}" googletest libbenchmark-dev libavformat-dev libavcodec-dev libavutil-dev pkg-config strace
mkdir -p build
{ cmake --preset bench && cmake --build --preset bench; } >build/bench.log 2>&1 || {
    tail -n 40 build/bench.log
    exit 1
}
python3 benchmarks/make_inputs.py build/bench/files >&2
cat build/bench/files/*.avi >/dev/null # now cached in memory, as far as it suffices
output=$(mktemp -d -p "$([ -w /dev/shm ] && echo /dev/shm || echo build/bench)")
trap 'rm -rf "$output"' EXIT
KR_BENCH_FILES=$PWD/build/bench/files KR_BENCH_OUTPUT=$output build/bench/bin/KrBenchmarks --benchmark_filter="${1:-.}" \
    --benchmark_repetitions=9 --benchmark_enable_random_interleaving=true --benchmark_min_time=0.05 \
    --benchmark_out=build/bench/results.json --benchmark_out_format=json >build/bench/run.log 2>&1 || {
    tail -n 20 build/bench/run.log
    exit 1
}
python3 benchmarks/report.py build/bench/results.json
[ $# -eq 0 ] || exit 0
echo
python3 benchmarks/processes.py build/bench/bin/KrOneOperation build/bench/files
