"""Wrong indexes are reported and not followed by extract and hash either, and copies lose nothing without saying so."""

import struct

import avi_builder as avi
import avi_reader
from cases_carry import carried, put
from cases_extract import wave_chunks
from cases_hash import hashed, md5
from cases_write import refused
from kravi_runner import check, equal, exit_code

FRAMES = 30


def check_both(kravi, data, frames, sound, findings):
    """extract and hash find these frames and this sound by a scan; findings begin with these words."""
    kravi.write("in.avi", data)
    report = exit_code(kravi("extract", "in.avi", "--video", "v", "--audio", "a.wav", "--force", "--json"), 1).json()
    equal((report["video"]["frames"], report["video"]["source"]), (len(frames), "chunk search"), "frames")
    check(kravi.read("v") == b"".join(frames), "bytes of the frames")
    check(wave_chunks(kravi.read("a.wav"))[b"data"] == b"".join(sound), "bytes of the sound")
    check_findings(report, findings)
    report = hashed(kravi, "in.avi", "--frames", code=1)
    equal([row["md5"] for row in report["frames"]], [md5(data) for data in frames], "checksums of the frames")
    equal(report["streams"][1]["md5"], md5(b"".join(sound)), "checksum of the sound")
    check_findings(report, findings)


def check_findings(report, wanted):
    for words in wanted:
        check(any(text.startswith(words) for text in report["findings"]), f"{words}: {report['findings']}")


def test_entries_that_lead_nowhere(kravi):
    streams = avi.standard_streams(FRAMES)
    data = bytearray(avi.simple_avi(streams))
    index = data.index(b"idx1") + 8
    for entry in range(20, 26):
        struct.pack_into("<I", data, index + 16 * entry + 8, 7777 + entry)
    check_both(kravi, bytes(data), streams[0].chunks, streams[1].chunks,
               [f"not at a chunk of stream {number}: 3 entries of the {kind} index; it is not used"
                for number, kind in enumerate(("video", "audio"))])


def test_entries_of_zeros(kravi):
    streams = avi.standard_streams(FRAMES)
    data = avi.simple_avi(streams)
    check_both(kravi, put(data, data.index(b"idx1") + 8 + 16 * 20, bytes(16 * 24)), streams[0].chunks, streams[1].chunks,
               [f"missing in the {kind} index: 12 chunks of stream {number}; it is not used"
                for number, kind in enumerate(("video", "audio"))])


def test_bytes_that_were_removed(kravi):
    """What follows the hole lies elsewhere than the index says."""
    streams = avi.standard_streams(FRAMES)
    data = avi.simple_avi(streams)
    first, last = streams[0].positions[10] - 8, streams[0].positions[14] - 8
    left = [stream.chunks[:10] + stream.chunks[14:] for stream in streams]
    check_both(kravi, data[:first] + data[last:], *left,
               ["the file is truncated", "stream 0 has 26 frames; its header announces 30"])


def test_a_hole_of_zeros(kravi):
    streams = avi.standard_streams(FRAMES)
    data = avi.simple_avi(streams)
    first, last = streams[0].positions[10] - 8, streams[0].positions[13] - 8
    check_both(kravi, put(data, first, bytes(last - first)), *(stream.chunks[:10] + stream.chunks[13:] for stream in streams),
               ["not at a chunk of stream 0: 3 entries", "stream 0 has 27 frames; its header announces 30"])


def test_frames_of_zeros(kravi):
    streams = avi.standard_streams(6)
    streams[0].chunks[4] = bytes(300)
    for compression, findings in ((b"MJPG", ["stream 0: 1 frame of zeros alone"]), (b"\0\0\0\0", []), (b"Y800", [])):
        streams[0].fmt = avi.video_format(compression=compression)
        kravi.write("in.avi", avi.simple_avi(streams))
        code = 1 if findings else 0
        equal(hashed(kravi, "in.avi", code=code)["findings"], findings, f"hash, {compression}")
        report = exit_code(kravi("extract", "in.avi", "--video", "v", "--force", "--json"), code).json()
        equal(report["findings"], findings, f"extract, {compression}")


def test_settings_of_codecs(kravi):
    """Without them a decoder shows noise: rewrap and recover need no option to keep them."""
    streams = avi.standard_streams(4, audio=0)
    streams[0].fmt = avi.video_format(compression=b"HFYU") + avi.payload(5, 64)
    data = avi.simple_avi(streams)
    for verb in ("rewrap", "recover"):
        copy, _ = carried(kravi, data, verb=verb)
        equal(avi_reader.streams(copy)[0][b"strf"], streams[0].fmt, verb)
    refused(kravi, "--lossy-header", "rewrap", "in.avi", "new.avi", "--lossy-header")
    refused(kravi, "decoder settings", "rewrap", "in.avi", "new.avi", "--layout", "recording")


def test_odd_sizes_are_padded(kravi):
    """Programs that walk from chunk to chunk look for the next one at an even position."""
    frames = [avi.payload(number, 301 + 2 * number) for number in range(9)]
    whole = avi.simple_avi([avi.video(frames)], idx1=False)
    movi = whole.index(b"movi") + 4
    data = whole[:movi] + b"".join(b"00dc" + struct.pack("<I", len(frame)) + frame for frame in frames)
    for source in (avi.simple_avi([avi.video(frames)]), data):
        kravi.write("in.avi", source)
        exit_code(kravi("rewrap", "in.avi", "out.avi", "--force", "--json"), 0 if source is not data else 1)
        copy = kravi.read("out.avi")
        equal(avi_reader.of_stream(copy, 0), frames, "a walk over even positions finds all frames")


def test_texts_that_recordings_do_not_hold(kravi):
    streams = avi.standard_streams(4)
    streams[1].name = b"Commentary\0"
    info = avi.lst(b"INFO", avi.chunk(b"INAM", b"Harbour\0"))
    _, report = carried(kravi, avi.simple_avi(streams, before_movi=info), "--layout", "recording")
    equal(report["notes"], ["left out: strn, INFO"], "notes")


def test_key_frames_after_a_wrong_entry(kravi):
    """It leads far ahead; the entries after it are right, and say which frames are key frames."""
    streams = avi.standard_streams(FRAMES)
    streams[0].fmt, streams[0].keys = avi.video_format(compression=b"cvid"), (0, 10, 20)
    data = avi.simple_avi(streams)
    wrong = data.index(b"idx1") + 8 + 16 * 4 + 8  # the third frame
    data = put(data, wrong, struct.pack("<I", streams[0].positions[28] - data.index(b"movi") - 50))
    kravi.write("in.avi", data)
    exit_code(kravi("rewrap", "in.avi", "out.avi"), 1)
    rows = exit_code(kravi("index", "out.avi", "--stream", "0", "--json"), 0).json()["streamEntries"]
    equal([row["number"] for row in rows if row["keyFrame"]], [0, 10, 20], "key frames")


def test_index_where_data_should_end(kravi):
    """Its entries have the ids of data chunks, and are not copied as such when 'movi' ends among them."""
    streams = avi.standard_streams(FRAMES)
    data = avi.simple_avi(streams)
    place = streams[1].positions[12] + 100
    for verb in ("rewrap", "recover"):
        copy, _ = carried(kravi, data[:place] + data[place + 8:], code=1, verb=verb)
        again, _ = carried(kravi, copy, verb=verb)
        check(again == copy and copy.count(b"00dc") == 2 * len(avi_reader.of_stream(copy, 0)), verb)


def test_streams_that_only_the_main_header_has(kravi):
    data = avi.simple_avi(avi.standard_streams(3))
    kravi.write("in.avi", put(data, data.index(b"avih") + 8 + 24, struct.pack("<I", 5)))
    for verb in ("info", "hash", "rewrap"):
        result = exit_code(kravi(verb, "in.avi", *(["out.avi"] if verb == "rewrap" else []), "--json"), 1).json()
        equal(result["findings"], ["the main header announces 5 streams, but 2 are found"], verb)


def test_copies_without_a_chunk(kravi):
    """Nobody could open them."""
    streams = avi.standard_streams(3)
    data = avi.simple_avi(streams)
    kravi.write("in.avi", data[:streams[0].positions[0] + 100])
    kravi.write("sound.avi", avi.simple_avi(streams[1:]))
    for arguments in (("rewrap", "in.avi", "out.avi"), ("concat", "in.avi", "in.avi", "-o", "out.avi"),
                      ("rewrap", "sound.avi", "out.avi", "--no-audio"), ("recover", "sound.avi", "out.avi", "--no-audio")):
        refused(kravi, "no whole chunk is left to be copied", *arguments)


def test_rate_whose_frames_last_longer_than_headers_count(kravi):
    copy, _ = carried(kravi, avi.simple_avi(avi.standard_streams(3)), "--rate", "1/5000")
    equal(struct.unpack_from("<I", copy, copy.index(b"avih") + 8)[0], 0xFFFFFFFF, "microseconds")
