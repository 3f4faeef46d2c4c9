#!/usr/bin/env bash
# check-exports.sh LIBRARY LIST: the library exports exactly the names of the list, and a DLL needs only
# DLLs that every Windows has.
set -euo pipefail
library=$1
list=$2

case $library in
*.dll)
    objdump=$(command -v x86_64-w64-mingw32-objdump)
    exported=$("$objdump" -p "$library" | awk '/\[Ordinal\/Name Pointer\] Table/ {on = 1; next} NF == 0 {on = 0} on {print $NF}')
    foreign=$("$objdump" -p "$library" | awk '/DLL Name:/ {print tolower($3)}' |
        grep -vxE 'kernel32\.dll|msvcrt\.dll|user32\.dll|advapi32\.dll|api-ms-win-crt-.*\.dll' || true)
    if [ -n "$foreign" ]; then
        printf 'imports beyond the system:\n%s\n' "$foreign"
        exit 1
    fi
    ;;
*)
    exported=$(nm -D --defined-only "$library" | awk '{print $NF}')
    ;;
esac

if ! diff <(sort "$list") <(printf '%s\n' "$exported" | sort); then
    echo "the exports of $(basename "$library") differ from the list (<: only listed, >: only exported)"
    exit 1
fi
echo "$(wc -l <"$list") exports as listed"
