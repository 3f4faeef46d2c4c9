#!/usr/bin/env bash
# Builds what the presets do not: with clang, with Makefiles, with link-time optimisation, and for 64-bit Arm, whose tests run
# under qemu. The libraries of each build are used by the examples, whose output is compared. Names select some of them:
#   scripts/builds.sh [clang] [make] [lto] [aarch64]
# Builds in build/with-NAME. Installs what is missing, and ends with one line: N passed, N failed.
set -u
cd "$(dirname "$0")/.."
source scripts/packages.sh
kr_install "${KR_BUILD_PACKAGES[@]}" "${KR_LINUX_TEST_PACKAGES[@]}" "${KR_OTHER_BUILD_PACKAGES[@]}" ||
    { echo "cannot install packages"; echo "0 passed, 1 failed"; exit 1; }
passed=0
failed=0

attempt() {
    local name=$1 log
    shift
    log=build/with-${name%%:*}.log
    if "$@" >>"$log" 2>&1; then
        passed=$((passed + 1))
        echo "$name: passed"
    else
        failed=$((failed + 1))
        echo "$name: FAILED"
        tail -n 20 "$log"
    fi
}

# configure NAME OPTIONS...: as a stranger would, with all warnings as errors.
configure() {
    local name=$1
    shift
    cmake -S . -B "build/with-$name" -DCMAKE_BUILD_TYPE=Release -DKR_UNITY_BUILD=ON -DKR_WARNINGS_AS_ERRORS=ON "$@"
}

# Libraries, kravi and examples, without tests.
check_native() {
    local name=$1 folder=$PWD/build/with-$1
    shift
    rm -f "build/with-$name.log"
    attempt "$name: configured" configure "$name" -DKR_BUILD_TESTS=OFF "$@"
    attempt "$name: built" cmake --build "build/with-$name" --parallel "$(nproc)"
    attempt "$name: examples" env LD_LIBRARY_PATH="$folder/lib" python3 tests/examples/examples_test.py "$folder/bin" -
    attempt "$name: kravi" "$folder/bin/kravi" --version
}

# Libraries, examples and their tests: those of the readers and writers, and of the C interface.
check_aarch64() {
    local folder=$PWD/build/with-aarch64 root=/usr/aarch64-linux-gnu
    local qemu=(qemu-aarch64 -L "$root" -E "LD_LIBRARY_PATH=$folder/lib:$root/lib")
    rm -f build/with-aarch64.log
    attempt "aarch64: configured" configure aarch64 -G Ninja -DKR_BUILD_TOOLS=OFF -DKR_BUILD_TESTS=ON \
        --toolchain "$PWD/cmake/toolchains/aarch64-linux.cmake"
    attempt "aarch64: built" cmake --build build/with-aarch64
    attempt "aarch64: examples" python3 tests/examples/examples_test.py "$folder/bin" "$folder/bin/KrCheckAvi" "${qemu[@]}"
    local program
    for program in KrRiffUtilsTests KrRiffUtilsInnerTests KrCTests KrModuleTests; do
        attempt "aarch64: $program" "${qemu[@]}" "$folder/bin/$program" --gtest_brief=1
    done
    KR_SEEDS=100 KR_CRASHES=500 attempt "aarch64: KrScheduledTests" "${qemu[@]}" "$folder/bin/KrScheduledTests" --gtest_brief=1
}

mkdir -p build
for name in "${@:-clang make lto aarch64}"; do
    for one in $name; do
        case $one in
        clang) check_native clang -G Ninja -DCMAKE_C_COMPILER=clang-19 -DCMAKE_CXX_COMPILER=clang++-19 ;;
        make) check_native make -G "Unix Makefiles" ;;
        lto) check_native lto -G Ninja -DCMAKE_INTERPROCEDURAL_OPTIMIZATION=ON ;;
        aarch64) check_aarch64 ;;
        *)
            echo "usage: scripts/builds.sh [clang] [make] [lto] [aarch64]" >&2
            exit 2
            ;;
        esac
    done
done
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ] && [ "$passed" -gt 0 ]
