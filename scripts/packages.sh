# Sourced by the scripts: installs missing Debian packages.

kr_install() {
    local missing=() package
    for package in "$@"; do
        dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    local root=()
    [ "$(id -u)" -eq 0 ] || root=(sudo)
    echo "installing: ${missing[*]}"
    "${root[@]}" apt-get update -qq &&
        "${root[@]}" env DEBIAN_FRONTEND=noninteractive \
            apt-get install -qq -y --no-install-recommends "${missing[@]}" >/dev/null
}

KR_BUILD_PACKAGES=(bash binutils cmake g++ ninja-build nlohmann-json3-dev libcli11-dev libfmt-dev libmd-dev
    libxxhash-dev python3)
KR_PEER_PACKAGES=(ffmpeg mencoder gstreamer1.0-tools gstreamer1.0-plugins-base gstreamer1.0-plugins-good
    mediainfo mplayer)
KR_LINUX_TEST_PACKAGES=(googletest doxygen mount pkg-config fish groff-base mandoc python3-jsonschema
    python3-numpy python3-pil zsh)
KR_TEST_PACKAGES=(g++-mingw-w64-x86-64-posix wine wine64 clang-19 lld-19 llvm-19)
KR_FUZZ_PACKAGES=(clang-19 libclang-rt-19-dev)
KR_FORMAT_PACKAGES=(clang-format)
KR_LINT_PACKAGES=(clang clang-tidy)
KR_DEBIAN_PACKAGES=(build-essential debhelper dh-python dpkg-dev fakeroot lintian)
KR_FRESH_PACKAGES=(mmdebstrap)
KR_WHEEL_PACKAGES=(python3-setuptools python3-wheel)
KR_PYTHON_PACKAGES=(mypy python3-venv "${KR_WHEEL_PACKAGES[@]}")
KR_MUTANT_PACKAGES=(googletest libclang-14-dev python3-clang-14)
KR_ABI_PACKAGES=(abigail-tools)
KR_LANGUAGE_PACKAGES=(gcc golang-go libc6-dev libmono-system-core4.0-cil mono-mcs mono-runtime rustc)
KR_OTHER_BUILD_PACKAGES=(clang-19 g++-aarch64-linux-gnu make qemu-user)
