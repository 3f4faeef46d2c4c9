#!/usr/bin/env bash
# On a bare Debian 12 machine: builds kravi and writes pictures and sound into an AVI file with it, which
# kravi and ffmpeg read back. Then three independent programs make AVI files, which kravi extracts and
# copies into new files. Every frame, every audio byte and every position is compared. Ends with 0 only when
# nothing differs. The results are in build/demo.
set -euo pipefail
export LC_ALL=C # sums are listed in the order of the frames' names
cd "$(dirname "$0")/.."
source scripts/packages.sh

out=$PWD/build/demo
log=$out/log.txt
kravi=$PWD/build/linux/bin/kravi
frames_at_once=60 # extracted frames on the disk at the same time

fail() {
    echo "FAILED: $*" >&2
    exit 1
}

prepare() {
    kr_install "${KR_BUILD_PACKAGES[@]}" "${KR_PEER_PACKAGES[@]}" googletest || fail "packages cannot be installed"
    rm -rf "$out"
    mkdir -p "$out"
    { cmake --preset linux && cmake --build --preset linux --target kravi; } >"$log" 2>&1 ||
        fail "the build; see $log"
    # The file beyond one gigabyte and its copy are kept here, and removed at the end.
    temp=$(mktemp -d)
    trap 'rm -rf "$temp"' EXIT
    [ "$(df --output=avail -k "$temp" | tail -n 1)" -gt 3000000 ] ||
        fail "$temp has less than 3 GB free; TMPDIR can name another place"
}

# The main job: pictures and sound through the pool and the writer's queue into a file, and back.
write_and_read_back() {
    local folder=$out/write frames=250 sum
    mkdir -p "$folder/pictures" "$folder/back"
    ffmpeg -v error -f lavfi -i testsrc2=s=720x576:r=25 -frames:v $frames -q:v 3 "$folder/pictures/%04d.jpg"
    ffmpeg -v error -f lavfi -i 'sine=f=440:b=4:r=48000' -t 10 -ac 2 -c:a pcm_s16le "$folder/sound.wav"
    "$kravi" write "$out/written.avi" --jpeg "$folder/pictures/%04d.jpg" --audio "$folder/sound.wav" --rate 25 \
        --scan upper --display-width 1024 >"$folder/report.txt" || fail "write"

    "$kravi" extract "$out/written.avi" --video "$folder/back/%04d.jpg" --audio "$folder/back.wav" >>"$log" ||
        fail "written file: extract"
    [ "$(cat "$folder"/pictures/*.jpg | md5sum)" = "$(cat "$folder"/back/*.jpg | md5sum)" ] ||
        fail "written file: frames differ"
    sum=$(sound_sum "$folder/sound.wav" 0)
    [ "$sum" = "$(sound_sum "$folder/back.wav" 0)" ] || fail "written file: sound differs"

    md5sum "$folder"/pictures/*.jpg | cut -d ' ' -f 1 >"$folder/frames.sums"
    frames_by_ffmpeg "$out/written.avi" | cut -d ' ' -f 2 >"$folder/frames.ffmpeg"
    same "$folder/frames.sums" "$folder/frames.ffmpeg" $frames || fail "written file: ffmpeg reads other frames"
    [ "$sum" = "$(sound_sum "$out/written.avi" 1)" ] || fail "written file: ffmpeg reads other sound"
    "$kravi" info "$out/written.avi" >"$folder/info.txt" || fail "written file: info"
    ffprobe -v error -show_entries format=duration:stream=codec_type,codec_name,nb_frames -of compact \
        "$out/written.avi" >"$folder/ffprobe.txt"
    grep -q 'codec_name=mjpeg|codec_type=video|nb_frames=250' "$folder/ffprobe.txt" &&
        grep -q 'codec_name=pcm_s16le|codec_type=audio|nb_frames=480000' "$folder/ffprobe.txt" &&
        grep -q 'duration=10.000000' "$folder/ffprobe.txt" || fail "written file: ffprobe: $(cat "$folder/ffprobe.txt")"
    echo "kravi wrote $frames frames and 10 s of sound into $out/written.avi;"
    echo "kravi and ffmpeg read every frame and every sample back unchanged. ffprobe prints:"
    sed 's/^/  | /' "$folder/ffprobe.txt"
    echo "kravi info prints:"
    sed -n '1,14s/^/  | /p' "$folder/info.txt"
}

# rewrapped NAME FILE: copies a file and compares the copy with the source.
rewrapped() {
    local name=$1 file=$2 folder=$out/$1
    shift 2
    "$kravi" rewrap "$file" "$temp/copy.avi" --force "$@" >"$folder/rewrap.txt" || fail "$name: rewrap"
    frames_by_ffmpeg "$temp/copy.avi" >"$folder/copy.ffmpeg"
    same "$folder/frames.ffmpeg" "$folder/copy.ffmpeg" "$(wc -l <"$folder/frames.ffmpeg")" ||
        fail "$name: frames of the copy differ"
    [ "$(sound_sum "$file" 1)" = "$(sound_sum "$temp/copy.avi" 1)" ] || fail "$name: sound of the copy differs"
    rm "$temp/copy.avi"
    copies="$copies $name"
}

# AVI 1.0 with 'idx1' alone, written by MEncoder.
make_idx1() {
    ffmpeg -v error -f lavfi -i testsrc2=s=640x480:r=25 -f lavfi -i sine=r=48000:f=440 -t 8 \
        -c:v mpeg2video -q:v 3 -c:a mp2 "$temp/source.mpg"
    mencoder "$temp/source.mpg" -mc 0 -noskip -ovc lavc -lavcopts vcodec=mjpeg -oac pcm -really-quiet \
        -o "$1" 2>>"$log"
}

# OpenDML: ffmpeg starts a second segment and writes 'indx' only beyond a gigabyte.
make_odml() {
    ffmpeg -v error -f lavfi -i testsrc2=s=1920x1080:r=25 -f lavfi -i sine=r=48000:f=440 -t 11 \
        -c:v rawvideo -pix_fmt uyvy422 -c:a pcm_s16le "$1"
}

# Three PCM tracks, written by GStreamer.
make_tracks() {
    gst-launch-1.0 -q avimux name=mux ! filesink location="$1" \
        videotestsrc num-buffers=150 ! video/x-raw,width=640,height=480,framerate=30000/1001 ! jpegenc ! mux. \
        audiotestsrc num-buffers=150 samplesperbuffer=1600 freq=300 ! audio/x-raw,rate=48000,channels=2,format=S16LE ! mux. \
        audiotestsrc num-buffers=150 samplesperbuffer=1600 freq=500 ! audio/x-raw,rate=48000,channels=1,format=S16LE ! mux. \
        audiotestsrc num-buffers=150 samplesperbuffer=1470 freq=700 ! audio/x-raw,rate=44100,channels=2,format=S16LE ! mux. \
        >>"$log" 2>&1
}

# Size and MD5 sum of each frame, in order: as ffmpeg reads them, and as kravi extracts them.
frames_by_ffmpeg() {
    ffmpeg -v error -i "$1" -map 0:v:0 -c copy -f framehash -hash md5 - | awk -F', *' '!/^#/ { print $5, $6 }'
}
frames_by_kravi() {
    local file=$1 folder=$2 count=$3 first last
    for ((first = 0; first < count; first += frames_at_once)); do
        last=$((first + frames_at_once < count ? first + frames_at_once - 1 : count - 1))
        rm -rf "$folder"
        mkdir "$folder"
        "$kravi" extract "$file" --video "$folder/%06d.bin" --from $first --to $last >>"$log" || return
        paste -d ' ' <(stat -c %s "$folder"/*) <(md5sum "$folder"/* | cut -d ' ' -f 1)
    done
}

# Position and size of each frame.
positions_by_ffmpeg() {
    ffprobe -v error -select_streams v:0 -show_entries packet=size,pos -of default=nw=1 "$1" |
        awk -F= '$1 == "size" { size = $2 } $1 == "pos" { print $2, size }'
}
positions_by_kravi() {
    "$kravi" index "$1" --video | awk 'NF == 3 && $1 ~ /^[0-9]+$/ { print $2, $3 }'
}

sound_sum() { # of all samples of an audio track, unchanged
    ffmpeg -v error -i "$1" -map "0:$2" -c copy -f s16le - | md5sum
}

# Both lists must exist, be equal, and have the expected number of lines.
same() {
    [ "$(wc -l <"$1")" -eq "$3" ] && [ "$3" -gt 0 ] && cmp -s "$1" "$2"
}

# compare NAME PROGRAM FILE: makes all comparisons of one file and prints its line of the report.
compare() {
    local name=$1 program=$2 file=$3 count tracks=0 track folder=$out/$1
    mkdir "$folder"
    "$kravi" info "$file" >"$folder/info.txt" || fail "$name: info: $(tail -n 1 "$folder/info.txt")"
    "$kravi" tree "$file" >"$folder/tree.txt" || fail "$name: tree"
    "$kravi" index "$file" --check >"$folder/index.txt" || fail "$name: index"

    frames_by_ffmpeg "$file" >"$folder/frames.ffmpeg"
    count=$(wc -l <"$folder/frames.ffmpeg")
    frames_by_kravi "$file" "$folder/frames" "$count" >"$folder/frames.kravi" || fail "$name: extract"
    same "$folder/frames.ffmpeg" "$folder/frames.kravi" "$count" || fail "$name: frames differ"
    positions_by_ffmpeg "$file" >"$folder/positions.ffmpeg"
    positions_by_kravi "$file" >"$folder/positions.kravi"
    same "$folder/positions.ffmpeg" "$folder/positions.kravi" "$count" || fail "$name: positions differ"

    for track in $(ffprobe -v error -select_streams a -show_entries stream=index -of csv=p=0 "$file"); do
        "$kravi" extract "$file" --audio-stream "$track" --audio "$folder/track-$track.wav" >>"$log" ||
            fail "$name: extract track $track"
        [ "$(sound_sum "$file" "$track")" = "$(sound_sum "$folder/track-$track.wav" 0)" ] ||
            fail "$name: audio of track $track differs"
        tracks=$((tracks + 1))
    done
    [ "$tracks" -gt 0 ] || fail "$name: no audio track"
    printf '%-9s %-10s %6d MB  %-17s %d segment(s)  %3d frames, %d track(s): all equal\n' "$name" "$program" \
        $(($(stat -c %s "$file") / 1000000)) "$(awk '/^kind/ { $1 = ""; print substr($0, 2) }' "$folder/info.txt")" \
        "$(grep -c '^  form AVI' "$folder/info.txt")" "$count" "$tracks"
}

# The comparison must detect a single flipped bit.
control() {
    local folder=$out/tracks frame
    frame=$(find "$folder/frames" -type f | sort | head -n 1)
    cp "$frame" "$temp/flipped"
    printf '%b' "$(printf '\\x%02x' $((0x$(xxd_byte "$temp/flipped") ^ 1)))" |
        dd of="$temp/flipped" bs=1 seek=100 conv=notrunc status=none
    local number=$((10#$(basename "$frame" .bin) + 1))
    sed "${number}s/.*/$(stat -c %s "$temp/flipped") $(md5sum <"$temp/flipped" | cut -d ' ' -f 1)/" \
        "$folder/frames.kravi" >"$temp/frames.flipped"
    ! same "$folder/frames.ffmpeg" "$temp/frames.flipped" "$(wc -l <"$folder/frames.ffmpeg")" ||
        fail "the comparison does not see a flipped bit"
}
xxd_byte() { od -A n -t x1 -j 100 -N 1 "$1" | tr -d ' '; }

start=$SECONDS
prepare
echo "kravi is built ($((SECONDS - start)) s): $("$kravi" --version), $kravi"
write_and_read_back
make_idx1 "$temp/idx1.avi"
make_odml "$temp/odml.avi"
make_tracks "$temp/tracks.avi"
echo "Three AVI files are made by three independent programs; kravi and ffmpeg extract them:"
compare idx1 MEncoder "$temp/idx1.avi"
compare odml ffmpeg "$temp/odml.avi"
compare tracks GStreamer "$temp/tracks.avi"
copies=
rewrapped idx1 "$temp/idx1.avi"
rewrapped odml "$temp/odml.avi"
rewrapped tracks "$temp/tracks.avi"
echo "Copied by kravi rewrap, frames and sound unchanged:$copies"
control
echo "Compared: size and MD5 sum of each frame, position and size of each frame, all samples of each track."
echo "Control: one flipped bit in one frame is detected."
mv "$temp/idx1.avi" "$temp/tracks.avi" "$out"
echo "Done in $((SECONDS - start)) s. Files, extracted frames and sound, and kravi's reports are in $out."
