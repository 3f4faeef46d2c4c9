#!/usr/bin/env bash
# Makes the packages in build/packages: Debian's (source package, libraries, development files, kravi), the archive for
# Linux, and with --windows the zip of the build in build/windows, which is made first. The Debian packages are
# checked by lintian, which must have nothing to say. Installs what is missing.
#   --debian    the Debian packages alone
#   --windows   also the zip
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
case "${1:-}" in
"" | --debian | --windows) ;;
*)
    echo "usage: scripts/package.sh [--debian|--windows]" >&2
    exit 2
    ;;
esac
kr_install "${KR_BUILD_PACKAGES[@]}" "${KR_DEBIAN_PACKAGES[@]}"
root=$PWD
out=$root/build/packages
rm -rf "$out"
mkdir -p "$out"

# From the files that git knows, as a stranger would get them.
version=$(dpkg-parsechangelog -S Version)
grep -q "^#define KR_RIFF_UTILS_VERSION_MINOR $(cut -d. -f2 <<<"$version")$" include/KrRiffUtils/KrVersion.h ||
    { echo "debian/changelog has another version than KrVersion.h" >&2; exit 1; }
tree=$out/krriffutils-$version
mkdir "$tree"
git ls-files -z | xargs -0 cp --parents -t "$tree"
(cd "$tree" && dpkg-buildpackage -us -uc -F >"$out/debian.log" 2>&1) || { tail -n 40 "$out/debian.log"; exit 1; }
rm -rf "$tree"
lintian --fail-on error,warning "$out"/*.changes

if [ "${1:-}" != --debian ]; then
    cmake --preset linux >/dev/null && cmake --build --preset linux
    (cd build/linux && cpack -B "$out")
fi
if [ "${1:-}" = --windows ]; then
    kr_install "${KR_TEST_PACKAGES[@]}"
    cmake --preset windows >/dev/null && cmake --build --preset windows
    (cd build/windows && cpack -B "$out")
fi
rm -rf "$out/_CPack_Packages"
ls "$out"
