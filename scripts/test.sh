#!/usr/bin/env bash
# Builds and tests everything: the format of the sources, Linux release, Windows under Wine, address and
# undefined-behaviour sanitizers, ten seconds of each fuzzer, and the thread sanitizer over the tests with threads.
#   --quick   the Linux release alone
#   --full    clang-tidy as well, a minute of each fuzzer, more killed recordings, a minute of followed ones, more files of
#             other programs, Debian packages, hosts in C#, Rust and Go, other compilers and 64-bit Arm (scripts/builds.sh), the
#             recorded binary interface (scripts/abi.sh), and mutation testing
# While one stage is tested, the next is compiled, at the lowest priority. Compiles through ccache if installed.
# Installs what is missing, and ends with one line: N passed, N failed.
set -u
cd "$(dirname "$0")/.."
source scripts/packages.sh

stages=(format linux windows asan fuzz tsan)
fuzz_time=10s
full=OFF
linux_kills=5
windows_kills=2
linux_operations=100000
windows_operations=10000
followed_seconds=30 # each of two recordings
case "${1:-}" in
--quick) stages=(linux) ;;
--full)
    stages=(format lint linux windows asan fuzz tsan abi builds mutants)
    fuzz_time=1
    linux_kills=100
    windows_kills=10
    full=ON
    linux_operations=1000000
    windows_operations=100000
    followed_seconds=60
    ;;
"") ;;
*)
    echo "usage: scripts/test.sh [--quick|--full]" >&2
    exit 2
    ;;
esac

packages=("${KR_BUILD_PACKAGES[@]}" "${KR_PEER_PACKAGES[@]}" "${KR_LINUX_TEST_PACKAGES[@]}")
[ "${1:-}" = --quick ] || packages+=("${KR_FORMAT_PACKAGES[@]}" "${KR_TEST_PACKAGES[@]}" "${KR_FUZZ_PACKAGES[@]}")
[ "${1:-}" = --full ] && packages+=("${KR_LINT_PACKAGES[@]}" "${KR_MUTANT_PACKAGES[@]}" "${KR_DEBIAN_PACKAGES[@]}" "${KR_FRESH_PACKAGES[@]}"
    "${KR_LANGUAGE_PACKAGES[@]}" "${KR_ABI_PACKAGES[@]}" "${KR_OTHER_BUILD_PACKAGES[@]}" "${KR_PYTHON_PACKAGES[@]}")
kr_install "${packages[@]}" || { echo "cannot install packages"; echo "0 passed, 1 failed"; exit 1; }

# What ccache must ignore to get hits for sources with a precompiled header.
if command -v ccache >/dev/null; then
    export CMAKE_CXX_COMPILER_LAUNCHER=${CMAKE_CXX_COMPILER_LAUNCHER-ccache}
    export CCACHE_SLOPPINESS=${CCACHE_SLOPPINESS-pch_defines,time_macros,include_file_mtime,include_file_ctime}
fi

mkdir -p build
passed=0
failed=0

# Prints "passed failed" of one stage: from GoogleTest's reports, and from CTest's for all other tests.
count_reports() {
    python3 - "$@" <<'PYTHON'
import sys
import xml.etree.ElementTree as tree

folder = sys.argv[1]
import glob
import os
import re

passed = failed = 0
counted = set()
for path in glob.glob(os.path.join(folder, "reports", "*.xml")):
    suites = tree.parse(path).getroot()
    if suites.tag != "testsuites":
        continue
    total = int(suites.get("tests")) - int(suites.get("disabled"))
    total -= sum(int(suite.get("skipped", 0)) for suite in suites)
    bad = int(suites.get("failures")) + int(suites.get("errors"))
    passed += total - bad
    failed += bad
    counted.add(os.path.splitext(os.path.basename(path))[0])
for case in tree.parse(os.path.join(folder, "ctest.xml")).getroot().iter("testcase"):
    good = case.get("status") == "run"
    program = re.search(r"Tests(\.\d+)?$", case.get("name"))
    if not program:
        passed += good
        failed += not good
    elif not good or case.get("name") not in counted:
        failed += 1  # it crashed, failed, or never ran: an emulator may still return 0
print(passed, failed)
PYTHON
}

# Compiles a stage; the words before its name are put in front of the build command.
build_stage() {
    local stage=${*: -1} before=("${@:1:$#-1}") kills=$linux_kills operations=$linux_operations targets=(all)
    local seconds=$followed_seconds
    [ "$stage" != windows ] || { kills=$windows_kills operations=$windows_operations; }
    [ "$stage" != asan ] || targets+=(KrFuzzers)
    # A sanitizer adds nothing to a longer recording, and under Wine no other tests run meanwhile.
    [ "$stage" != asan ] && [ "$stage" != tsan ] || seconds=4
    [ "$stage" != windows ] || [ $full = ON ] || seconds=4
    cmake --preset "$stage" "-DKR_KILLS=$kills" "-DKR_STRESS_OPERATIONS=$operations" "-DKR_FOLLOWED_SECONDS=$seconds" \
        "-DKR_FULL_TESTS=$full" -DKR_TOOL_OPTIMIZATION=-O1 &&
        "${before[@]}" cmake --build --preset "$stage" --target "${targets[@]}"
}

# An emulator takes seconds to start its services, and ends them with its last program: keep one running. Creating the
# prefix also starts services, which would keep the pipe open that CTest reads, so that is done before.
test_under_wine() {
    local wine
    wine=$(command -v wine || command -v wine64)
    export WINEPREFIX=$PWD/build/windows/wine WINEDEBUG=-all "WINEDLLOVERRIDES=winedbg.exe=d;mscoree=d;mshtml=d"
    wineboot --init
    coproc WAITING { exec "$wine" cmd.exe /c "echo ready & pause"; }
    local pid=$WAITING_PID output=${WAITING[0]} input=${WAITING[1]}
    read -r _ <&"$output"
    ctest --preset windows --exclude-regex '^WinePrefix$' --fixture-exclude-setup WinePrefix \
        --output-junit "$PWD/build/windows/ctest.xml"
    exec {input}>&-
    cat <&"$output" >/dev/null
    wait "$pid"
}

is_compiled() {
    [[ $1 = linux || $1 = windows || $1 = asan || $1 = tsan ]]
}

built=   # the stage compiled last, or being compiled
builder= # its build process
build_in_background() {
    built=$1
    build_stage nice -n 19 "$built" >"build/$built.log" 2>&1 &
    builder=$!
}

# The first of the given stages that needs compiling.
first_compiled() {
    local stage
    for stage in "$@"; do
        is_compiled "$stage" && echo "$stage" && return
    done
}

# Runs a stage; the names after it are the stages that follow.
run_stage() {
    local stage=$1 log="build/$1.log" next
    shift
    case $stage in
    format)
        git ls-files '*.cpp' '*.h' | xargs clang-format --dry-run --Werror >"$log" 2>&1
        return
        ;;
    lint)
        cmake --preset lint >"$log" 2>&1 && cmake --build --preset lint >>"$log" 2>&1
        return
        ;;
    fuzz)
        scripts/fuzz.sh "$fuzz_time"
        return
        ;;
    abi | builds | mutants)
        "scripts/$stage.sh" >"$log" 2>&1
        return
        ;;
    esac
    rm -f "build/$stage"/reports/*.xml "build/$stage/ctest.xml"
    local is_built=yes
    if [ "$built" = "$stage" ]; then
        wait "$builder" || is_built=no
    else
        build_stage "$stage" >"$log" 2>&1 || is_built=no
    fi
    next=$(first_compiled "$@")
    [ -z "$next" ] || build_in_background "$next"
    [ $is_built = yes ] || return 1
    if [ "$stage" = windows ]; then
        (test_under_wine) >>"$log" 2>&1
    else
        ctest --preset "$stage" --output-junit "$PWD/build/$stage/ctest.xml" >>"$log" 2>&1
    fi
    [ -e "build/$stage/ctest.xml" ]
}

for place in "${!stages[@]}"; do
    stage=${stages[place]}
    start=$SECONDS
    before=$failed
    if ! run_stage "${stages[@]:place}"; then
        failed=$((failed + 1))
        tail -n 40 "build/$stage.log"
    elif [ -e "build/$stage/ctest.xml" ]; then
        read -r good bad < <(count_reports "build/$stage")
        passed=$((passed + ${good:-0}))
        failed=$((failed + ${bad:-1}))
        [ "${bad:-1}" -eq 0 ] || grep -aE '^\[  FAILED  \]|Failure|\*\*\*|FAIL' "build/$stage.log" | head -n 40
    else
        passed=$((passed + 1))
    fi
    result=passed
    [ "$failed" -eq "$before" ] || result=FAILED
    echo "$stage: $result in $((SECONDS - start)) s"
done

echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ] && [ "$passed" -gt 0 ]
