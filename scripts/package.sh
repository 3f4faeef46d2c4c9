#!/usr/bin/env bash
# Makes the packages in build/packages: Debian's (source package, libraries, development files, kravi, Python), the archive for
# Linux, the wheel for Python, and with --windows the zip of the build in build/windows, which is made first. The Debian packages are
# checked by lintian, which must have nothing to say. Installs what is missing.
#   --debian    the Debian packages alone
#   --wheel     the wheel alone
#   --windows   also the zip
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
case "${1:-}" in
"" | --debian | --wheel | --windows) ;;
*)
    echo "usage: scripts/package.sh [--debian|--wheel|--windows]" >&2
    exit 2
    ;;
esac
root=$PWD
out=$root/build/packages

make_wheel() {
    kr_install "${KR_BUILD_PACKAGES[@]}" "${KR_WHEEL_PACKAGES[@]}"
    { cmake --preset linux && cmake --build --preset linux --target KrRiffUtilsC kravi; } >/dev/null
    bindings/python/make_wheel.sh build/linux/lib/libKrRiffUtilsC.so build/linux/bin/kravi "$out"
}
if [ "${1:-}" = --wheel ]; then
    rm -f "$out"/*.whl
    make_wheel
    ls "$out"/*.whl
    exit
fi

kr_install "${KR_BUILD_PACKAGES[@]}" "${KR_DEBIAN_PACKAGES[@]}"
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
    make_wheel
fi
if [ "${1:-}" = --windows ]; then
    kr_install "${KR_TEST_PACKAGES[@]}"
    cmake --preset windows >/dev/null && cmake --build --preset windows
    (cd build/windows && cpack -B "$out")
fi
rm -rf "$out/_CPack_Packages"
ls "$out"
