#!/usr/bin/env bash
# Runs each fuzzer: scripts/fuzz.sh SECONDS-OR-MINUTES [FUZZER...], such as "scripts/fuzz.sh 15" or
# "scripts/fuzz.sh 10s reader writer". Without names all of them, two at a time. Interesting inputs stay in
# build/fuzz/corpus for the next run; failing inputs are in build/fuzz/findings. Ends with one line:
# N passed, N failed.
set -u
cd "$(dirname "$0")/.."
source scripts/packages.sh

time=${1:-}
if ! [[ $time =~ ^[1-9][0-9]*s?$ ]]; then
    echo "usage: scripts/fuzz.sh MINUTES|SECONDSs [FUZZER...]" >&2
    exit 2
fi
seconds=${time%s}
[ "$seconds" != "$time" ] || seconds=$((seconds * 60))
shift
fuzzers=("$@")
[ ${#fuzzers[@]} -gt 0 ] || fuzzers=(reader indexes search queries writer c)

kr_install "${KR_BUILD_PACKAGES[@]}" googletest "${KR_FUZZ_PACKAGES[@]}" || exit 1
mkdir -p build
{ cmake --preset asan && cmake --build --preset fuzz; } >build/fuzz.log 2>&1 || {
    tail -n 40 build/fuzz.log
    echo "0 passed, 1 failed"
    exit 1
}
build/asan/bin/KrMakeCorpus build/fuzz/seeds >/dev/null || exit 1

run() {
    local name=$1 program folder=build/fuzz
    program=build/asan/bin/KrFuzz${name^}
    mkdir -p "$folder/corpus/$name" "$folder/findings"
    UBSAN_OPTIONS=print_stacktrace=1 "$program" -max_total_time="$seconds" -timeout=30 -rss_limit_mb=3000 \
        -max_len=16384 -dict=fuzz/fourcc.dict -print_final_stats=1 -artifact_prefix="$folder/findings/$name-" \
        "$folder/corpus/$name" "$folder/seeds/$name" >"$folder/$name.log" 2>&1
    local code=$?
    local executions coverage
    executions=$(awk '/stat::number_of_executed_units/ {print $2}' "$folder/$name.log")
    coverage=$(grep -aoE 'cov: [0-9]+ ft: [0-9]+' "$folder/$name.log" | tail -n 1)
    echo "$name: ${executions:-?} executions, $coverage, $([ $code -eq 0 ] && echo 'no finding' || echo 'FAILED')"
    [ $code -eq 0 ] || tail -n 60 "$folder/$name.log"
    return $code
}

passed=0
failed=0
while [ ${#fuzzers[@]} -gt 0 ]; do
    pids=()
    for name in "${fuzzers[@]:0:2}"; do
        run "$name" &
        pids+=($!)
    done
    fuzzers=("${fuzzers[@]:2}")
    for pid in "${pids[@]}"; do
        if wait "$pid"; then passed=$((passed + 1)); else failed=$((failed + 1)); fi
    done
done
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
