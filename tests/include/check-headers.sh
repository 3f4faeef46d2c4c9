#!/usr/bin/env bash
# check-headers.sh COMPILER INCLUDE_FOLDER [OPTION...]: each public header compiles alone as C++17 without a warning,
# with and without exceptions, and where there is a <windows.h> also on either side of it.
set -euo pipefail
compiler=$1
include=$2
options=("${@:3}")
strict=("${options[@]}" -std=c++17 -Wall -Wextra -Wpedantic -Werror -fsyntax-only -x c++ -I "$include" -)
windows=0 # whether the platform's own header is available
echo '#include <windows.h>' | "$compiler" "${options[@]}" -fsyntax-only -x c++ - 2>/dev/null && windows=1

has_library=0 # whether there is a standard library beside the language's own headers
echo '#include <atomic>' | "$compiler" "${options[@]}" -std=c++17 -fsyntax-only -x c++ - 2>/dev/null && has_library=1

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
    [ "$has_library" != 0 ] || ! grep -q '^#include <atomic>' "$header" || continue # ready-made classes for hosts
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
