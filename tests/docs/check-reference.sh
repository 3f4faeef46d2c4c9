#!/usr/bin/env bash
# check-reference.sh FOLDER SOURCES: the API reference starts with the tutorial, has a page for each public type and
# the C functions, and names no path of the machine that made it.
set -euo pipefail
folder=$1
sources=$2
fail() {
    echo "$1"
    exit 1
}
grep -q '<title>[^<]*Tutorial</title>' "$folder/index.html" || fail "the main page is not the tutorial"
for name in kr_reader_open kr_writer_close IKrRiffReader CKrByteSample KR_RIFF_UTILS_VERSION; do
    grep -rqF "$name" "$folder" --include=*.html || fail "$name is not in the reference"
done
if grep -rlF -e "$sources" -e "${folder%/api/html}" "$folder" | head -n 3 | grep .; then
    fail "pages that contain paths of this machine"
fi
echo "$(find "$folder" -name '*.html' | wc -l) pages"
