#!/usr/bin/env bash
# Builds and tests everything: Linux release, Windows under Wine, address and thread sanitizers, ten seconds of each
# fuzzer.
#   --quick   the Linux release alone
#   --full    clang-format and clang-tidy as well, a minute of each fuzzer, more recordings that are killed, and ten times
#             the operations on a shared reader
# Installs what is missing, and ends with one line: N passed, N failed.
set -u
cd "$(dirname "$0")/.."
source scripts/packages.sh

stages=(linux windows asan tsan fuzz)
fuzz_time=10s
linux_kills=5
windows_kills=2
linux_operations=100000
windows_operations=10000
case "${1:-}" in
--quick) stages=(linux) ;;
--full)
    stages=(format lint linux windows asan tsan fuzz)
    fuzz_time=1
    linux_kills=100
    windows_kills=10
    linux_operations=1000000
    windows_operations=100000
    ;;
"") ;;
*)
    echo "usage: scripts/test.sh [--quick|--full]" >&2
    exit 2
    ;;
esac

packages=("${KR_BUILD_PACKAGES[@]}" "${KR_PEER_PACKAGES[@]}" "${KR_LINUX_TEST_PACKAGES[@]}")
[ "${1:-}" = --quick ] || packages+=("${KR_TEST_PACKAGES[@]}" "${KR_FUZZ_PACKAGES[@]}")
[ "${1:-}" = --full ] && packages+=("${KR_LINT_PACKAGES[@]}")
kr_install "${packages[@]}" || { echo "cannot install packages"; echo "0 passed, 1 failed"; exit 1; }

mkdir -p build
passed=0
failed=0

# Adds "passed failed" of one report file: GoogleTest's own, or CTest's for what is no GoogleTest program.
count_reports() {
    python3 - "$@" <<'PYTHON'
import sys
import xml.etree.ElementTree as tree

folder = sys.argv[1]
import glob
import os

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
    program = case.get("name").endswith("Tests")
    if not program:
        passed += good
        failed += not good
    elif not good or case.get("name") not in counted:
        failed += 1  # it crashed, did not end well, or never ran: an emulator may answer 0 all the same
print(passed, failed)
PYTHON
}

run_stage() {
    local stage=$1 log="build/$1.log"
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
    esac
    rm -f "build/$stage"/reports/*.xml "build/$stage/ctest.xml"
    local kills=$linux_kills operations=$linux_operations
    [ "$stage" != windows ] || { kills=$windows_kills operations=$windows_operations; }
    cmake --preset "$stage" "-DKR_KILLS=$kills" "-DKR_STRESS_OPERATIONS=$operations" >"$log" 2>&1 && cmake --build --preset "$stage" >>"$log" 2>&1 || return 1
    ctest --preset "$stage" --output-junit "$PWD/build/$stage/ctest.xml" >>"$log" 2>&1
    [ -e "build/$stage/ctest.xml" ]
}

for stage in "${stages[@]}"; do
    start=$SECONDS
    before=$failed
    if ! run_stage "$stage"; then
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
