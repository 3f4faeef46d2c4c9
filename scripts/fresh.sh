#!/usr/bin/env bash
# Installs the Debian packages of build/packages on a fresh Debian system in a folder of its own, by apt alone, and there builds the
# hosts in C and in C++ that are among the examples, by CMake and by pkg-config, and runs them, kravi and Python's package. Makes the
# packages if there are none. Needs the rights of root, and Debian's archive. Ends with the line "N passed, N failed".
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
[ "$(id -u)" -eq 0 ] || exec sudo "$0" "$@"
kr_install "${KR_FRESH_PACKAGES[@]}"
compgen -G "build/packages/*.deb" >/dev/null || scripts/package.sh --debian

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
root=$work/root
mmdebstrap --quiet --mode=root --variant=apt "$(. /etc/os-release && echo "$VERSION_CODENAME")" "$root"
mkdir "$root/work"
find build/packages -name '*.deb' ! -name '*-dbgsym_*' -exec cp -t "$root/work" {} +

inside() {
    chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive \
        sh -ec "cd /work; $1"
}

passed=0
failed=0
# attempt NAME COMMANDS [PATTERN]: the output must have a line that matches.
attempt() {
    local output
    if output=$(inside "$2" 2>&1) && grep -qE "${3:-}" <<<"$output"; then
        passed=$((passed + 1))
        echo "$1: passed"
    else
        failed=$((failed + 1))
        echo "$1: FAILED"
        tail -n 20 <<<"$output"
    fi
}

examples=/usr/share/doc/libkrriffutils-dev/examples
attempt "apt install" "apt-get -qq update && apt-get -qq -y install --no-install-recommends ./*.deb"
attempt "kravi" "kravi --version" '^kravi [0-9.]+$'
attempt "Python" "python3 -c 'import kravi; print(kravi.__version__)'" '^[0-9.]+$'
attempt "compilers" "apt-get -qq -y install --no-install-recommends cmake g++ make pkg-config"
attempt "C" "cc $examples/ClipInC.c \$(pkg-config --cflags --libs KrRiffUtilsC) -o in-c && ./in-c clip.avi" \
    '^frame 9: 9216 bytes of 9$'
attempt "C++" "c++ -std=c++17 $examples/ReadFrames.cpp \$(pkg-config --cflags --libs KrRiffUtils) -o in-c++ && ./in-c++ clip.avi" \
    '^10 frames, 92160 bytes$'
attempt "CMake" "cmake -S $examples -B build && cmake --build build"
attempt "C, built by CMake" "build/ClipInC other.avi" '^frame 9: 9216 bytes of 9$'
attempt "C++, built by CMake" "build/ReadFrames other.avi" '^10 frames, 92160 bytes$'
attempt "what kravi says of it" "kravi verify other.avi"
attempt "what Python reads of it" "python3 -c 'import kravi; print(len(kravi.open(\"other.avi\").video), \"frames\")'" '^10 frames$'
attempt "removed again" "apt-get -qq -y remove libkrriffutilsc0.1 libkrriffutils0.1 kravi && ! ls /usr/lib/*/libKrRiffUtils* 2>/dev/null"
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ] && [ "$passed" -gt 0 ]
