#!/usr/bin/env bash
# check-headers.sh COMPILER INCLUDE_FOLDER: each public header compiles alone as C++17 without a warning, with
# and without exceptions, and for Windows also on either side of the platform's own header.
set -euo pipefail
compiler=$1
include=$2
strict=(-std=c++17 -Wall -Wextra -Wpedantic -Werror -fsyntax-only -x c++ -I "$include" -)
windows=$("$compiler" -dM -E -x c++ /dev/null | grep -c '#define _WIN32 ' || true)

count=0
compile() {
    local text=$1
    shift
    if ! printf "$text" | "$compiler" "$@" "${strict[@]}"; then
        printf 'failed: %b with %s\n' "$text" "$*"
        exit 1
    fi
    count=$((count + 1))
}

for header in "$include"/KrRiffUtils/*.h; do
    line="#include \"KrRiffUtils/$(basename "$header")\"\n"
    compile "$line"
    compile "$line" -fno-exceptions
    compile "$line" -O2 -fno-rtti
    if [ "$windows" != 0 ]; then
        compile "#include <windows.h>\n$line"
        compile "$line#include <windows.h>\n"
    fi
done
[ "$count" -gt 0 ]
echo "$count compilations without a warning"
