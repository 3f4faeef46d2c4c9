#!/usr/bin/env bash
# Lines and branches of the library that the tests cover: scripts/coverage.sh. Installs what it needs; the report of each
# file is in build/coverage/report.
set -eu
cd "$(dirname "$0")/.."
source scripts/packages.sh
kr_install "${KR_BUILD_PACKAGES[@]}" googletest gcovr
mkdir -p build
cmake --preset coverage >build/coverage.log
cmake --build build/coverage --target KrRiffUtilsInnerTests KrRiffUtilsTests KrModuleTests >>build/coverage.log
find build/coverage -name '*.gcda' -delete
for program in KrRiffUtilsInnerTests KrRiffUtilsTests KrModuleTests; do
    (cd build/coverage/reports && "../bin/$program" --gtest_brief=1) >>build/coverage.log
done
mkdir -p build/coverage/report
filters=()
for folder in core format platform pool reader riffutils siblings writer; do
    filters+=(--filter "$folder/")
done
gcovr --root . --object-directory build/coverage "${filters[@]}" --exclude-throw-branches --exclude-unreachable-branches --txt build/coverage/report/lines.txt \
    --html-details build/coverage/report/index.html --print-summary 2>build/coverage/gcovr.log | grep -E '^(lines|branches)'
gcovr --root . --object-directory build/coverage "${filters[@]}" --exclude-throw-branches --exclude-unreachable-branches --branches \
    --txt build/coverage/report/branches.txt 2>>build/coverage/gcovr.log
