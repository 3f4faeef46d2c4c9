#!/usr/bin/env python3
"""What the library gives of every stream of files that other programs made, against ffprobe:
streams_test.py LISTSTREAMS [--many] [LAUNCHER]

For each stream the list of positions, sizes and key frames must be that of ffprobe's packets, those of one chunk joined.
The default makes a handful of files, --many all that are known here. Ends with the line "N passed, N failed".
"""

import json
import os
import subprocess
import sys
import tempfile
import time
import traceback

# What ffprobe does not report as the file has it:
# - All packets but those of video are key frames to it, whatever the index says.
# - Chunks without bytes are no packets to it: they are held against a plain walk of the file.
VIDEO = ["-f", "lavfi", "-i", "testsrc2=size=160x120:rate=25:duration=4"]
SMALL = ["-f", "lavfi", "-i", "testsrc=size=96x64:rate=10:duration=4"]
SOUND = ["-f", "lavfi", "-i", "sine=frequency=440:duration=4"]
OTHER = ["-f", "lavfi", "-i", "sine=frequency=880:duration=4:sample_rate=48000"]


def ffmpeg(path, *arguments):
    subprocess.run(["ffmpeg", "-hide_banner", "-nostdin", "-v", "error", "-y", *arguments, path], timeout=600, check=True)


def maps(count):
    return [word for number in range(count) for word in ("-map", str(number))]


def two_sound_tracks(path):
    ffmpeg(path, *VIDEO, *SOUND, *OTHER, *maps(3), "-c:v", "mjpeg", "-c:a", "pcm_s16le")


def compressed_sound(path):
    ffmpeg(path, *VIDEO, *SOUND, *OTHER, *SOUND, *OTHER, *maps(5), "-c:v", "mpeg4", "-g", "10", "-c:a:0", "mp3", "-c:a:1",
           "ac3", "-c:a:2", "adpcm_ima_wav", "-c:a:3", "aac")


def two_videos(path):
    ffmpeg(path, *VIDEO, *SMALL, *SOUND, *maps(3), "-c:v", "mjpeg", "-c:a", "pcm_s16le")


def twelve_streams(path):
    ffmpeg(path, *VIDEO, *SOUND * 11, *maps(12), "-c:v", "mjpeg", "-c:a", "pcm_u8")


def gstreamer(path):
    subprocess.run(
        ["gst-launch-1.0", "-q", *"videotestsrc num-buffers=100 ! video/x-raw,width=160,height=120,framerate=25/1 ! jpegenc "
         "! m. audiotestsrc num-buffers=170 ! audioconvert ! audio/x-raw,format=S16LE ! m. audiotestsrc num-buffers=170 ! "
         "audioconvert ! lamemp3enc ! m. avimux name=m ! filesink".split(), f"location={path}"], timeout=600, check=True,
        stdout=subprocess.DEVNULL)


def mencoder(path):
    two_sound_tracks(path + ".source.avi")
    subprocess.run(["mencoder", path + ".source.avi", "-ovc", "lavc", "-lavcopts", "vcodec=mpeg4", "-oac", "mp3lame", "-o",
                    path], timeout=600, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def rate(frames):
    def make(path):
        ffmpeg(path, "-f", "lavfi", "-i", f"testsrc2=size=64x48:rate={frames}:duration=2", *SOUND, "-c:v", "mjpeg", "-c:a",
               "mp2", "-shortest")
    return make


def raw_pictures(path):
    ffmpeg(path, *VIDEO, *SOUND, "-c:v", "rawvideo", "-pix_fmt", "bgr24", "-c:a", "pcm_s24le")


def frames_out_of_order(path):
    ffmpeg(path, *VIDEO, *SOUND, "-c:v", "libx264", "-bf", "2", "-c:a", "mp3")


def several_segments(path):
    """Above 4 GB; large frames of few colours in a codec that stores them whole."""
    ffmpeg(path, "-f", "lavfi", "-i", "color=size=4096x4096:rate=25:duration=4", *SOUND, "-c:v", "rawvideo", "-pix_fmt",
           "bgr24", "-c:a", "pcm_s16le")


def sparse_index_base(base):
    """Offsets that count from elsewhere than ffmpeg's, which is the list type of 'movi'."""
    def make(path):
        two_sound_tracks(path)
        with open(path, "rb") as file:
            data = bytearray(file.read())
        movi = data.index(b"movi")
        index = data.rindex(b"idx1")
        size = int.from_bytes(data[index + 4:index + 8], "little")
        shift = {"file": movi, "chunk": -4}[base]
        for entry in range(index + 8, index + 8 + size, 16):
            offset = int.from_bytes(data[entry + 8:entry + 12], "little")
            data[entry + 8:entry + 12] = (offset + shift).to_bytes(4, "little")
        with open(path, "wb") as file:
            file.write(data)
    return make


FEW = {"two sound tracks": two_sound_tracks, "compressed sound": compressed_sound, "two videos": two_videos,
       "12 streams": twelve_streams, "GStreamer": gstreamer, "MEncoder": mencoder, "1000 frames a second": rate(1000)}
MANY = {**FEW, **{f"{frames} frames a second": rate(frames) for frames in (10, 12, 15, 100, 120)},
        "raw pictures": raw_pictures, "frames out of order": frames_out_of_order, "several segments": several_segments,
        "offsets from the file's start": sparse_index_base("file"),
        "offsets from the first chunk": sparse_index_base("chunk")}


def packets(path):
    done = subprocess.run(["ffprobe", "-v", "quiet", "-show_packets", "-show_streams", "-of", "json", path],
                          stdout=subprocess.PIPE, timeout=600, check=True)
    report = json.loads(done.stdout)
    streams = [[] for _ in report["streams"]]
    for packet in report["packets"]:
        chunks = streams[packet["stream_index"]]
        position, size = int(packet["pos"]), int(packet["size"])
        if chunks and chunks[-1][0] == position:
            chunks[-1][1] += size
        else:
            chunks.append([position, size, int(packet["flags"].startswith("K"))])
    return [stream["codec_type"] for stream in report["streams"]], streams


def walked(path):
    """Position and size of the data chunks of each stream, as they follow each other in the file."""
    found = {}
    with open(path, "rb") as file:
        end = file.seek(0, os.SEEK_END)

        def walk(position, limit):
            while position + 8 <= limit:
                file.seek(position)
                header = file.read(12)
                size = int.from_bytes(header[4:8], "little")
                if header[:4] in (b"RIFF", b"LIST"):
                    walk(position + 12, min(position + 8 + size, limit))
                elif header[:2].isdigit() and header[2:4] != b"ix":
                    found.setdefault(int(header[:2]), []).append((position + 8, size))
                position += 8 + size + size % 2
        walk(0, end)
    return found


def differences(ours, theirs):
    return [(number, *pair) for number, pair in enumerate(zip(ours, theirs)) if pair[0] != pair[1]][:3]


def check(program, path):
    done = subprocess.run([*program, path], stdout=subprocess.PIPE, timeout=600, check=True)
    ours = json.loads(done.stdout)
    kinds, theirs = packets(path)
    if len(ours) != len(theirs):
        raise AssertionError(f"{len(ours)} streams, ffprobe has {len(theirs)}")
    chunks_of = walked(path)
    for number, (stream, kind, wanted) in enumerate(zip(ours, kinds, theirs)):
        if stream["loaded"] != 1 or stream["dropped"] != 0 or not wanted:
            raise AssertionError(f"stream {number}: {stream['loaded']}, {stream['dropped']}, {len(wanted)}")
        got = [(position, size) for position, size, _ in stream["chunks"]]
        if got != chunks_of[number]:
            raise AssertionError(f"stream {number}, walk: {differences(got, chunks_of[number])}")
        full = [[position, size, key if kind == "video" else 1] for position, size, key in stream["chunks"] if size > 0]
        if full != wanted:
            raise AssertionError(f"stream {number}: {len(full)} and {len(wanted)}, {differences(full, wanted)}")


def check_unfinished(program, path, command, ids):
    """While another program records, its file opens as growing, has its streams and no index yet. `ids` are those of the
    first chunks, as far as the headers lead to them."""
    process = subprocess.Popen([*command, path], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                               stderr=subprocess.DEVNULL)
    try:
        limit = time.monotonic() + 60
        while not os.path.exists(path) or os.path.getsize(path) < 100_000:
            if process.poll() is not None or time.monotonic() > limit:
                raise AssertionError("the recording did not start")
            time.sleep(0.05)
        done = subprocess.run([*program, "--growing", path], stdout=subprocess.PIPE, timeout=60, check=True)
        if process.poll() is not None:
            raise AssertionError("the recording was over too soon")
    finally:
        process.kill()
        process.wait()
    streams = json.loads(done.stdout)
    found = [(stream["type"].to_bytes(4, "little"), stream["chunkId"].to_bytes(4, "little"), stream["loaded"],
              bool(stream["format"])) for stream in streams]
    if found != [(b"vids", ids[0], 0, True), (b"auds", ids[1], 0, True)]:
        raise AssertionError(f"{found}")


NO_ID = b"\0\0\0\0"
UNFINISHED = {
    "ffmpeg, while it records": (["ffmpeg", "-hide_banner", "-nostdin", "-v", "error", "-y", "-re", "-f", "lavfi", "-i",
                                 "testsrc2=size=640x480:rate=25", "-f", "lavfi", "-i", "sine", "-c:v", "mjpeg", "-c:a",
                                 "pcm_s16le", "-t", "60", "-f", "avi"], (b"00dc", b"01wb")),
    # Its 'movi' ends before the first chunk until the recording is complete.
    "GStreamer, while it records": (["sh", "-c", "exec gst-launch-1.0 -q videotestsrc is-live=true ! "
                                    "video/x-raw,width=640,height=480,framerate=25/1 ! jpegenc ! m. audiotestsrc is-live=true "
                                    "! audioconvert ! audio/x-raw,format=S16LE ! m. avimux name=m ! filesink "
                                    "location=\"$0\""], (NO_ID, NO_ID))}


def main():
    program = sys.argv[1:2]
    rest = sys.argv[2:]
    files = MANY if "--many" in rest else FEW
    program = [word for word in rest if word != "--many"] + program
    failed = 0
    for name in [*files, *UNFINISHED]:
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "a.avi")
            try:
                if name in UNFINISHED:
                    check_unfinished(program, path, *UNFINISHED[name])
                else:
                    files[name](path)
                    check(program, path)
            except Exception:  # pylint: disable=broad-except
                failed += 1
                print(f"{name}:")
                traceback.print_exc(file=sys.stdout)
    count = len(files) + len(UNFINISHED)
    print(f"{count - failed} passed, {failed} failed")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
