#!/usr/bin/env bash
# check-locks.sh SOURCES: the library's folders use no lock or condition of the standard library, nor anything built
# on them. mingw's leak resources, and tests cannot replace them.
set -euo pipefail
cd "$1"
folders=(base format module platform pool reader riffutils siblings writer)
pattern='std::((recursive_|timed_|recursive_timed_|shared_|shared_timed_)?mutex|condition_variable(_any)?|call_once|once_flag|future|promise|async|packaged_task|(counting|binary)_semaphore|latch|barrier)\b'

# The pattern must match these examples.
for used in 'std::mutex m;' 'std::recursive_mutex m;' 'std::condition_variable c;' 'std::call_once(f, g);'; do
    grep -qE "$pattern" <<<"$used" || {
        echo "not found: $used"
        exit 1
    }
done

count=$(find "${folders[@]}" \( -name '*.h' -o -name '*.cpp' \) | wc -l)
[ "$count" -gt 0 ]
if grep -rnE --include='*.h' --include='*.cpp' "$pattern" "${folders[@]}"; then
    echo "use platform/KrSync.h"
    exit 1
fi
echo "$count files without such locks"
