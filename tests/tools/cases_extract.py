"""extract: the bytes of the streams, exactly."""

import os
import signal
import struct
import time

import avi_builder as avi
from kravi_runner import check, equal, exit_code


def wave_chunks(data):
    """The chunks of a WAVE file, which is checked to be well formed."""
    equal(data[:4] + data[8:12], b"RIFFWAVE", "form")
    equal(struct.unpack_from("<I", data, 4)[0], len(data) - 8, "size of the form")
    chunks, position = {}, 12
    while position < len(data):
        chunk_id, size = data[position:position + 4], struct.unpack_from("<I", data, position + 4)[0]
        chunks[chunk_id] = data[position + 8:position + 8 + size]
        position += 8 + size + size % 2
    equal(position, len(data), "end of the last chunk")
    return chunks


def extract(kravi, name, *arguments, code=0):
    return exit_code(kravi("extract", name, *arguments, "--json"), code).json()


def check_all_frames(kravi, stream, folder_prefix="f-"):
    for number, data in enumerate(stream.chunks):
        equal(kravi.read(f"{folder_prefix}{number:03d}.jpg"), data, f"frame {number}")


def test_frames_and_audio_of_every_kind_of_file(kravi):
    builders = {"idx1": avi.simple_avi, "odml": avi.open_dml_avi,
                "three": lambda streams: avi.open_dml_avi(streams, segments=3),
                "rec": lambda streams: avi.simple_avi(streams, groups=5),
                "bare": lambda streams: avi.simple_avi(streams, idx1=False)}
    for kind, build in builders.items():
        streams = avi.standard_streams(audio=2)
        streams[1].chunks[-1] = streams[1].chunks[-1][:-4 * 7]  # a short last block
        kravi.write(f"{kind}.avi", build(streams))
        result = extract(kravi, f"{kind}.avi", "--video", "f-%03d.jpg", "--audio", "a.wav", "--force")
        check_all_frames(kravi, streams[0])
        sound = b"".join(streams[1].chunks)
        equal(wave_chunks(kravi.read("a.wav")), {b"fmt ": streams[1].fmt, b"data": sound}, f"{kind}: audio")
        source = "chunk search" if kind in ("rec", "bare") else "index"
        equal((result["video"]["source"], result["audio"]["source"]), (source, source), f"{kind}: source")
        wanted = [f"{stream}: found by scanning the file (no index)" for stream in ("video 0", "audio 1")]
        equal(result["notes"], wanted if source == "chunk search" else [], f"{kind}: notes")
        equal((result["video"]["frames"], result["video"]["bytes"]), (12, sum(map(len, streams[0].chunks))), "report")
        equal((result["audio"]["sampleFrames"], result["audio"]["bytes"]), (len(sound) // 4, len(sound)), "report")
        second = extract(kravi, f"{kind}.avi", "--audio-stream", "2", "--audio", "b.wav", "--force")
        equal(wave_chunks(kravi.read("b.wav"))[b"data"], b"".join(streams[2].chunks), f"{kind}: second track")
        equal((second["audio"]["stream"], second["audio"]["source"]), (2, source), f"{kind}: second track")


def test_more_chunks_than_one_search_takes(kravi):
    frames = [struct.pack("<IB", number, 7) for number in range(140000)]  # odd, so that each is padded
    kravi.write("clip.avi", avi.simple_avi([avi.video(frames)], idx1=False))
    result = extract(kravi, "clip.avi", "--video", "v")
    equal(result["video"]["frames"], len(frames), "frames")
    check(kravi.read("v") == b"".join(frames), "frames differ")


def test_empty_chunk_gives_an_empty_frame(kravi):
    streams = avi.standard_streams(4)
    streams[0].chunks[2] = b""
    kravi.write("clip.avi", avi.simple_avi(streams))
    equal(extract(kravi, "clip.avi", "--video", "f-%03d.jpg")["video"]["frames"], 4, "frames")
    check_all_frames(kravi, streams[0])
    kravi.write("bare.avi", avi.simple_avi(streams, idx1=False))
    equal(extract(kravi, "bare.avi", "--video", "f-%03d.jpg", "--force")["video"]["frames"], 4, "frames that a scan finds")
    check_all_frames(kravi, streams[0])


def test_second_video_stream(kravi):
    streams = [*avi.standard_streams(), avi.video([avi.payload(70 + number, 99) for number in range(9)])]
    kravi.write("clip.avi", avi.simple_avi(streams))
    extract(kravi, "clip.avi", "--video-stream", "2", "--video", "f-%03d.jpg")
    check_all_frames(kravi, streams[2])
    equal(len(kravi.names()), 10, "files")


def test_stream_that_is_not_there_is_2(kravi):
    kravi.write("clip.avi", avi.simple_avi(avi.standard_streams()))
    for arguments, cause in ((["--video", "v", "--video-stream", "1"], "stream 1 is of type 'auds', not video"),
                             (["--audio", "a", "--audio-stream", "0"], "stream 0 is of type 'vids', not audio"),
                             (["--audio", "a", "--audio-stream", "5"], "there is no stream 5: the file has 2 streams"),
                             (["--audio", "a", "--audio-stream", "4294967297"], "there is no stream")):
        check(cause in extract(kravi, "clip.avi", *arguments, code=2)["error"]["cause"], cause)
    kravi.write("silent.avi", avi.simple_avi(avi.standard_streams(audio=0)))
    cause = extract(kravi, "silent.avi", "--video", "v", "--audio", "a", code=2)["error"]["cause"]
    equal(cause, "the file has no audio stream", "cause")
    equal(kravi.names(), ["clip.avi", "silent.avi"], "files")


def test_streams_numbered_from_ten_on(kravi):
    streams = avi.standard_streams(2, audio=0)
    for number in range(1, 12):
        streams.append(avi.pcm([avi.payload(number, 400), avi.payload(number + 50, 400)]))
    data = avi.simple_avi(streams, idx1=False)
    kravi.write("hex.avi", data)
    kravi.write("decimal.avi", data.replace(b"0awb", b"10wb").replace(b"0bwb", b"11wb"))
    for name in ("hex.avi", "decimal.avi"):
        for number in (10, 11):
            extract(kravi, name, "--audio-stream", str(number), "--audio", "a.wav", "--force")
            equal(wave_chunks(kravi.read("a.wav"))[b"data"], b"".join(streams[number].chunks), f"{name}: {number}")


def test_numbers_of_chunks_that_differ_from_those_of_the_headers(kravi):
    streams = avi.standard_streams(4)
    data = avi.simple_avi(streams)
    first = data.index(b"strl") - 8
    second = data.index(b"strl", first + 12) - 8
    end = data.index(b"movi") - 8
    kravi.write("clip.avi", data[:first] + data[second:end] + data[first:second] + data[end:])
    equal([stream["type"] for stream in kravi("info", "clip.avi", "--json").json()["streams"]], ["auds", "vids"], "headers")
    result = extract(kravi, "clip.avi", "--video", "f-%03d.jpg")
    check_all_frames(kravi, streams[0])
    equal((result["video"]["stream"], result["video"]["source"]), (0, "index"), "the stream of the frames")


def test_changes_of_the_palette_are_no_frames(kravi):
    streams = avi.standard_streams(4, audio=0)
    data = avi.simple_avi(streams)
    length = data.index(b"strh") + 8 + 32
    data = data[:length] + struct.pack("<I", 3) + data[length + 4:]
    kravi.write("clip.avi", data.replace(b"00dc" + struct.pack("<I", 302), b"00pc" + struct.pack("<I", 302)).replace(
        b"00dc\x10\0\0\0" + struct.pack("<I", streams[0].positions[1] - 8 - data.index(b"movi")),
        b"00pc\0\0\0\0" + struct.pack("<I", streams[0].positions[1] - 8 - data.index(b"movi"))))
    result = extract(kravi, "clip.avi", "--video", "v")
    equal((result["video"]["frames"], result["video"]["source"]), (3, "index"), "frames")
    equal(kravi.read("v"), b"".join(streams[0].chunks[number] for number in (0, 2, 3)), "bytes")


def test_index_that_leads_to_no_chunk_is_not_used(kravi):
    streams = avi.standard_streams(4)
    data = bytearray(avi.simple_avi(streams))
    for entry in range(data.rindex(b"idx1") + 8, len(data), 16):
        data[entry + 8] += 2
    kravi.write("clip.avi", bytes(data))
    result = extract(kravi, "clip.avi", "--video", "f-%03d.jpg", code=1)
    check_all_frames(kravi, streams[0])
    equal(result["findings"], ["not at a chunk of stream 0: 4 entries of the video index; it is not used"], "findings")
    equal(result["video"]["source"], "chunk search", "source")


def test_entries_past_the_end_are_not_used(kravi):
    streams = avi.standard_streams(4)
    data = avi.open_dml_avi(streams, segments=1)
    last = data.rindex(b"ix00") + 32 + 8 * 3  # the last entry of the video index
    data = data[:last] + struct.pack("<II", len(data), 100) + data[last + 8:]
    kravi.write("clip.avi", data)
    result = extract(kravi, "clip.avi", "--video", "v", code=1)
    equal(result["findings"], ["past the end of the file: 1 chunk of the video index",
                               "missing in the video index: 1 chunk of stream 0; it is not used"], "findings")
    equal(kravi.read("v"), b"".join(streams[0].chunks), "bytes, found by a scan")


def test_all_frames_in_one_file(kravi):
    streams = avi.standard_streams()
    kravi.write("clip.avi", avi.simple_avi(streams))
    extract(kravi, "clip.avi", "--video", "all 100%%.mjpg")
    equal(kravi.read("all 100%.mjpg"), b"".join(streams[0].chunks), "frames")
    extract(kravi, "clip.avi", "--video", "some", "--from", "2", "--to", "4")
    equal(kravi.read("some"), b"".join(streams[0].chunks[2:5]), "frames of a range")


def test_patterns(kravi):
    streams = avi.standard_streams()
    kravi.write("clip.avi", avi.simple_avi(streams))
    for pattern, name in (("a%d", "a11"), ("b%02d.x", "b11.x"), ("c%010d", "c0000000011"), ("d%%%01d%%", "d%11%"),
                          ("e%020d", "e" + "11".zfill(20))):
        extract(kravi, "clip.avi", "--video", pattern, "--from", "11")
        equal(kravi.read(name), streams[0].chunks[11], pattern)


def test_frames_that_are_not_there_are_2(kravi):
    kravi.write("clip.avi", avi.simple_avi(avi.standard_streams()))
    for arguments in (["--from", "12"], ["--to", "12"], ["--from", "3", "--to", "2"]):
        extract(kravi, "clip.avi", "--video", "f%d", *arguments, code=2)
    equal(kravi.names(), ["clip.avi"], "files")


def samples_until(frame, rate, scale, samples_per_second):
    return (2 * frame * samples_per_second * scale + rate) // (2 * rate)


def test_audio_of_a_range_of_frames(kravi):
    for rate, scale in ((25, 1), (30000, 1001)):
        streams = avi.standard_streams(20)
        streams[0].rate, streams[0].scale = rate, scale
        kravi.write("clip.avi", avi.simple_avi(streams))
        sound = b"".join(streams[1].chunks)
        for first, last in ((0, 0), (3, 7), (5, 5), (1, 19), (12, None), (None, 4)):
            arguments = [*(["--from", str(first)] if first is not None else []),
                         *(["--to", str(last)] if last is not None else [])]
            extract(kravi, "clip.avi", "--audio", "a.wav", "--force", *arguments)
            start = 4 * samples_until(first or 0, rate, scale, 48000)
            end = len(sound) if last is None else 4 * samples_until(last + 1, rate, scale, 48000)
            equal(wave_chunks(kravi.read("a.wav"))[b"data"], sound[start:end], f"frames {first} to {last}, {rate}")


def test_compressed_audio_keeps_its_format_and_whole_chunks(kravi):
    fmt = struct.pack("<HHIIHHH", 0x55, 2, 48000, 16000, 1152, 0, 12) + avi.payload(9, 12)
    streams = avi.standard_streams(10, audio=0)
    # A chunk lasts 1152 samples.
    streams.append(avi.Stream(b"auds", fmt, [avi.payload(number, 300 + number) for number in range(17)], 1152, 48000))
    kravi.write("clip.avi", avi.simple_avi(streams))
    result = extract(kravi, "clip.avi", "--audio", "a.wav")
    chunks = wave_chunks(kravi.read("a.wav"))
    equal(chunks[b"fmt "], fmt, "format")
    equal(chunks[b"data"], b"".join(streams[1].chunks), "data")
    equal(chunks[b"fact"], struct.pack("<I", 17 * 1152), "samples")
    equal(result["audio"]["source"], "index", "source")
    extract(kravi, "clip.avi", "--audio", "b.wav", "--from", "5", "--to", "6")
    # Frame 5 starts at 0.2 s, which is 8.33 chunks in; frame 7 starts at 0.28 s: 11.67 chunks.
    equal(wave_chunks(kravi.read("b.wav"))[b"data"], b"".join(streams[1].chunks[8:12]), "chunks of a range")


def test_extensible_format_is_kept_and_unusable_extra_bytes_are_not(kravi):
    pcm = struct.pack("<HHIIHH", 0xFFFE, 2, 48000, 192000, 4, 16)
    extra = struct.pack("<HIH", 16, 3, 1) + bytes.fromhex("000000001000800000aa00389b71")
    good = pcm + struct.pack("<H", len(extra)) + extra
    for fmt, wanted in ((good, good), (good + b"junk", good), (pcm + struct.pack("<H", 500) + extra, good),
                        (pcm, pcm + bytes(2)), (avi.pcm_format() + bytes(2), avi.pcm_format())):
        streams = avi.standard_streams(4)
        streams[1].fmt = fmt
        kravi.write("clip.avi", avi.simple_avi(streams))
        extract(kravi, "clip.avi", "--audio", "a.wav", "--force")
        chunks = wave_chunks(kravi.read("a.wav"))
        equal(chunks[b"fmt "], wanted, "format")
        equal(chunks[b"data"], b"".join(streams[1].chunks), "data")


def test_audio_of_odd_size_is_padded(kravi):
    streams = avi.standard_streams(3, audio=0)
    streams.append(avi.pcm([avi.payload(number, 333) for number in range(3)], channels=1, bits=8))
    kravi.write("clip.avi", avi.simple_avi(streams))
    extract(kravi, "clip.avi", "--audio", "a.wav")
    equal(wave_chunks(kravi.read("a.wav"))[b"data"], b"".join(streams[1].chunks), "data")


def test_truncated_file_gives_what_is_there(kravi):
    streams = avi.standard_streams()
    data = avi.simple_avi(streams)
    kravi.write("clip.avi", data[:streams[0].positions[8] + 100])
    result = extract(kravi, "clip.avi", "--video", "f-%d.jpg", "--audio", "a.wav", code=1)
    for number in range(8):
        equal(kravi.read(f"f-{number}.jpg"), streams[0].chunks[number], f"frame {number}")
    equal(kravi.read("f-8.jpg"), streams[0].chunks[8][:100], "cut frame")
    equal(wave_chunks(kravi.read("a.wav"))[b"data"], b"".join(streams[1].chunks[:8]), "audio")
    check("cut by the end of the file: 1 frame" in result["findings"], str(result))


def test_interruption_leaves_no_half_file(kravi):
    if kravi.is_emulated:
        return  # the emulator would get the signal instead
    large = 3 << 30
    data = avi.simple_avi([avi.video([b"x" * 100])], idx1=False)
    kravi.write("clip.avi", avi.stretched(data, data.index(b"00dc"), large))
    os.truncate(kravi.path("clip.avi"), large)
    for number in (signal.SIGINT, signal.SIGTERM):
        process = kravi.start("extract", "clip.avi", "--video", "all", "--json")
        deadline = time.monotonic() + 30
        while not any(name.endswith(".tmp") for name in kravi.names()):
            check(process.poll() is None and time.monotonic() < deadline, "no temporary file appears")
        process.send_signal(number)
        out, err = process.communicate(timeout=30)
        equal((process.returncode, err), (2, b"kravi: interrupted\n"), "end")
        check(b'"error"' in out, "object")
        equal(kravi.names(), ["clip.avi"], "files")
