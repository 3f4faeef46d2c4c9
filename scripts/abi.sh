#!/usr/bin/env bash
# Compares the binary interface of both libraries with the one recorded in tests/abi: exported functions, and all types that
# hosts see. Fails at every difference, additions included: record those, so that they are in the review of the change.
#   --record   records it
# Builds in build/abi, with debug information and without optimisation. Installs what is missing.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
case "${1:-}" in
"" | --record) ;;
*)
    echo "usage: scripts/abi.sh [--record]" >&2
    exit 2
    ;;
esac
kr_install "${KR_BUILD_PACKAGES[@]}" "${KR_ABI_PACKAGES[@]}"
headers=$PWD/include/KrRiffUtils

cmake -S . -B build/abi -G Ninja -DCMAKE_BUILD_TYPE=Debug "-DCMAKE_CXX_FLAGS_DEBUG=-O0 -g -femit-class-debug-always" -DKR_UNITY_BUILD=ON \
    -DKR_BUILD_TESTS=OFF -DKR_BUILD_TOOLS=OFF -DKR_BUILD_EXAMPLES=OFF >/dev/null
cmake --build build/abi --target KrRiffUtils KrRiffUtilsC

different=0
for name in KrRiffUtils KrRiffUtilsC; do
    library=build/abi/lib/lib$name.so
    recorded=tests/abi/$name.abi
    if [ "${1:-}" = --record ]; then
        abidw --headers-dir "$headers" --drop-private-types --no-corpus-path --no-comp-dir-path --no-show-locs \
            --no-elf-needed --no-parameter-names --exported-interfaces-only --out-file "$recorded" "$library"
        sed -i "s/ path='[^']*'/ path='library'/" "$recorded" # the folder of this build
        continue
    fi
    if abidiff --exported-interfaces-only --no-show-locs --harmless "$recorded" "$library"; then
        echo "$name: $(grep -c '<function-decl .*elf-symbol-id' "$recorded") functions as recorded"
    else
        echo "$name: not the binary interface in $recorded" >&2
        different=1
    fi
done
exit $different
