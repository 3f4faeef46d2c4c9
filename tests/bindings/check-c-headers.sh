#!/usr/bin/env bash
# check-c-headers.sh COMPILER SOURCES [OPTION...]: the headers of the C interface compile alone, as C11, C17 and C++,
# without a warning, and the example in C does too; and all declared functions are exported. With options they are
# compiled by this compiler alone.
set -euo pipefail
compiler=$1
sources=$2
include=$sources/include
options=("${@:3}")
strict=("${options[@]}" -Wall -Wextra -Wconversion -Wshadow -Wstrict-prototypes -pedantic -Werror -fsyntax-only -I "$include")
count=0
compilers=("$compiler")
[[ $compiler == *mingw* || ${#options[@]} -gt 0 ]] || for other in clang clang-19; do
    if command -v "$other" >/dev/null; then compilers+=("$other"); fi
done

for compiler in "${compilers[@]}"; do
    for header in kr_riff.h KrVersion.h; do
        for standard in c11 c17; do
            printf "#include <KrRiffUtils/%s>\ntypedef int more;\n" "$header" | "$compiler" "${strict[@]}" -std=$standard -x c -
            count=$((count + 1))
        done
    done
    "$compiler" "${strict[@]}" -std=c11 -x c "$sources/examples/ClipInC.c"
    count=$((count + 1))
done
echo '#include <KrRiffUtils/kr_riff.h>' | "${compilers[0]}" "${strict[@]/-Wstrict-prototypes/-Wall}" -x c++ -

declared=$(sed -nE 's/^KR_API [a-z_0-9]+(\* | )(kr_[a-z_]+)\(.*/\2/p; s/^KR_API const char\* (kr_[a-z_]+)\(.*/\1/p' "$include/KrRiffUtils/kr_riff.h" | sort)
if ! diff <(sed -n '/^#/!s/ .*//p' "$sources/cmake/c_exports.list" | sort) <(echo "$declared"); then
    echo "the functions of the header differ from cmake/c_exports.list"
    exit 1
fi
echo "$((count + 1)) compilations without a warning"
