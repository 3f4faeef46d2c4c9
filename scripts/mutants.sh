#!/usr/bin/env bash
# Mutation testing: changes the library in 300 small ways, one at a time, and asks whether a test notices. Installs what
# it needs; --help lists its options. Ten minutes on two cores; build/mutants/results-SEED.json says what killed each.
set -eu
cd "$(dirname "$0")/.."
source scripts/packages.sh
kr_install "${KR_BUILD_PACKAGES[@]}" "${KR_MUTANT_PACKAGES[@]}"
exec /usr/bin/python3 -B scripts/mutants "$@" # Debian's own, which knows Debian's clang
