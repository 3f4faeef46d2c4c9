#!/usr/bin/env bash
# Measures recordings: scripts/bench-recording.sh [DISK_FOLDER] [short]. Prints tables in Markdown, each with its target:
# joined writes against bare ones, a two-hour file against ffmpeg, the length of the queue, the times of submissions, a
# disk that stands still, processor time. Takes ten minutes on a machine that does nothing else; "short" takes two and
# shows only that everything runs. DISK_FOLDER (build/bench) lies on a disk and has 2 GB free; memory has 5 GB free.
set -eu
cd "$(dirname "$0")/.."
source scripts/packages.sh
kr_install "${KR_BUILD_PACKAGES[@]}" googletest libbenchmark-dev libavformat-dev libavcodec-dev libavutil-dev pkg-config ffmpeg
mkdir -p build
{ cmake --preset bench && cmake --build --preset bench --target KrRecordingFigures; } >build/bench.log 2>&1 || {
    tail -n 40 build/bench.log
    exit 1
}
python3 benchmarks/make_inputs.py build/bench/files 150 idx1 >&2
cat build/bench/files/idx1.avi >/dev/null # now cached in memory
disk=$(mktemp -d -p "${1:-build/bench}")
memory=$(mktemp -d -p "$([ -w /dev/shm ] && echo /dev/shm || echo build/bench)")
trap 'rm -rf "$disk" "$memory"' EXIT
figures=build/bench/bin/KrRecordingFigures
if [ "${2:-}" = short ]; then
    rounds=3 files=1 steady=5 submissions=5 stands=2 paced=(5 1)
else
    rounds=15 files=9 steady=60 submissions=60 stands=10 paced=(20 5)
fi
$figures joined "$memory" "$rounds"
echo
python3 benchmarks/two_hours.py $figures build/bench/files/idx1.avi "$memory" "$disk" "$files"
echo
$figures submissions "$disk" "$submissions"
echo
$figures steady "$memory" "$steady"
echo
$figures standing "$memory" "$stands"
echo
$figures paced "$disk" "${paced[@]}"
