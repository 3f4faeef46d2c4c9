"""hash: the checksums of the bytes themselves, the same for every file that carries the same material."""

import hashlib
import struct

import avi_builder as avi
from cases_extract import wave_chunks
from kravi_runner import check, equal, exit_code

# XXH3 with 128 bits, as xxHash's own program prints it.
XXH128 = {b"": "99aa06d3014798d86001c324468d497f", b"a": "a96faf705af16834e6c632b61e964e1f",
          avi.payload(1, 200): "706e85f424b23832affbbb096a6eaa50",
          avi.payload(1, 5000): "fe9d36780e6fc0622f5ef88fe4b975e9"}
LARGE, LARGE_XXH128 = avi.payload(2, 100000), "32db259278cedbdfee195b49b7a70775"


def md5(data):
    return hashlib.md5(data).hexdigest()


def hashed(kravi, name, *options, code=0):
    return exit_code(kravi("hash", name, *options, "--json"), code).json()


def lengths(chunks):
    return b"".join(struct.pack("<Q", len(data)) for data in chunks)


def streams_of_two_kinds():
    frames = [*XXH128, avi.payload(9, 31)]
    sound = [LARGE[:33], LARGE[33:40000], LARGE[40000:], b""]
    return [avi.video(frames), avi.pcm(sound), avi.pcm([avi.payload(5, 400)] * 5, channels=1, bits=8)]


def test_checksums_of_streams_and_frames(kravi):
    streams = streams_of_two_kinds()
    frames = streams[0].chunks
    for kind, build in {"idx1": avi.simple_avi, "odml": lambda made: avi.open_dml_avi(made, segments=3)}.items():
        kravi.write("clip.avi", build(streams))
        report = hashed(kravi, "clip.avi", "--frames")
        equal([row["md5"] for row in report["frames"]], [md5(data) for data in frames], f"{kind}: frames, MD5")
        equal([row["xxh128"] for row in report["frames"]][:len(XXH128)], list(XXH128.values()), f"{kind}: frames")
        equal([(row["stream"], row["frame"], row["bytes"]) for row in report["frames"]],
              [(0, number, len(data)) for number, data in enumerate(frames)], f"{kind}: rows")
        for stream, made in zip(report["streams"], streams):
            data = b"".join(made.chunks)
            equal((stream["bytes"], stream["md5"]), (len(data), md5(data)), f"{kind}: stream {stream['number']}")
        video, first, second = report["streams"]
        equal((video["kind"], video["frames"], video["lengthsMd5"]), ("video", len(frames), md5(lengths(frames))),
              f"{kind}: video")
        equal((first["kind"], first["xxh128"], first["sampleFrames"]), ("audio", LARGE_XXH128, 25000), f"{kind}: audio")
        equal((second["number"], second["sampleFrames"]), (2, 2000), f"{kind}: second track")


def test_text(kravi):
    kravi.write("clip.avi", avi.simple_avi([avi.video([b"a", b"a"])]))
    text = exit_code(kravi("hash", "clip.avi", "--frames"), 0).out
    equal(text.count(XXH128[b"a"]), 2, "frames")
    check(md5(b"aa") in text and md5(lengths([b"a", b"a"])) in text, text)


def test_what_extract_writes_has_the_same_md5(kravi):
    kravi.write("clip.avi", avi.simple_avi(avi.standard_streams(5)))
    video, sound = hashed(kravi, "clip.avi")["streams"]
    exit_code(kravi("extract", "clip.avi", "--video", "v", "--audio", "a.wav"), 0)
    equal(video["md5"], md5(kravi.read("v")), "frames")
    equal(sound["md5"], md5(wave_chunks(kravi.read("a.wav"))[b"data"]), "sound")


def differences(kravi, streams, name="other.avi", code=1):
    kravi.write(name, avi.simple_avi(streams))
    return hashed(kravi, "clip.avi", "--compare", name, code=code)


def test_compared_with_the_same_material(kravi):
    streams = avi.standard_streams(6)
    kravi.write("clip.avi", avi.simple_avi(streams))
    sound = b"".join(streams[1].chunks)
    streams[1].chunks = [sound[:7], sound[7:9000], sound[9000:]]
    kravi.write("other.avi", avi.open_dml_avi(streams))
    report = hashed(kravi, "clip.avi", "--compare", "other.avi")
    equal((report["same"], report["differences"], report["other"]), (True, [], "other.avi"), "report")
    equal([{**stream, "source": 0} for stream in report["streams"]],
          [{**stream, "source": 0} for stream in report["otherStreams"]], "streams")


def test_first_difference(kravi):
    kravi.write("clip.avi", avi.simple_avi(avi.standard_streams(6)))

    def differ(change, wanted, finding, audio=1):
        streams = avi.standard_streams(6, audio)
        change(streams)
        report = differences(kravi, streams)
        equal((report["same"], report["differences"]), (False, [wanted]), finding)
        equal(report["findings"], ["different: " + finding], "findings")

    def in_frame(streams):
        streams[0].chunks[4] = streams[0].chunks[4][:-1] + b"\xff"

    def border(streams):  # the same bytes in total
        streams[0].chunks[2:4] = [streams[0].chunks[2] + streams[0].chunks[3][:1], streams[0].chunks[3][1:]]

    def fewer(streams):
        streams[0].chunks.pop()

    def in_sound(streams):
        block = bytearray(streams[1].chunks[3])
        block[10] ^= 1
        streams[1].chunks[3] = bytes(block)

    def shorter(streams):
        streams[1].chunks[5] = streams[1].chunks[5][:-8]

    video, audio = {"kind": "video", "stream": 0, "otherStream": 0}, {"kind": "audio", "stream": 1, "otherStream": 1}
    byte = 3 * 7680 + 10
    differ(border, {**video, "frame": 2}, "video stream 0: frame 2")
    differ(in_frame, {**video, "frame": 4}, "video stream 0: frame 4")
    differ(fewer, {**video, "frame": 5}, "video stream 0: 6 frames and 5, of which the first 5 are the same")
    differ(in_sound, {**audio, "byte": byte, "sampleFrame": byte // 4},
           f"audio stream 1: byte {byte}, in sample frame {byte // 4}")
    differ(shorter, {**audio, "byte": 46072, "sampleFrame": 11518},
           "audio stream 1: 46080 bytes and 46072, of which the first 46072 are the same")
    differ(lambda streams: None, {"kind": "audio", "streams": 1, "otherStreams": 2}, "1 audio stream and 2", audio=2)


def test_difference_late_in_the_file(kravi):
    """Blocks of a megabyte are compared: the byte is found in a later one."""
    data = bytearray(avi.payload(1, 30001) * 100)
    kravi.write("clip.avi", avi.simple_avi([avi.video([bytes(data), b"x"]), avi.pcm([bytes(data)])]))
    data[2500000] ^= 4
    report = differences(kravi, [avi.video([bytes(data), b"x"]), avi.pcm([bytes(data[:9]), bytes(data[9:])])])
    equal([one.get("frame", one.get("byte")) for one in report["differences"]], [0, 2500000], "differences")


def test_findings_of_either_file(kravi):
    streams = avi.standard_streams(6)
    data = avi.simple_avi(streams)
    kravi.write("clip.avi", data)
    cut = data[:streams[0].positions[3] + 100]
    kravi.write("cut.avi", cut)
    report = hashed(kravi, "cut.avi", "--frames", code=1)
    equal(report["frames"][3]["md5"], md5(streams[0].chunks[3][:100]), "frame that is cut")
    check("cut by the end of the file: 1 frame of stream 0" in report["findings"], str(report["findings"]))
    report = hashed(kravi, "clip.avi", "--compare", "cut.avi", code=1)
    check(any(finding.startswith("cut.avi: the file is truncated") for finding in report["findings"]), str(report))
    equal(report["differences"][0]["frame"], 3, "the cut frame differs")
    exit_code(kravi("hash", "clip.avi", "--compare", "missing.avi", "--json"), 2)


def test_streams_of_text(kravi):
    texts = [b"first", b"second", b"", b"last"]
    streams = [*avi.standard_streams(4, audio=2), avi.Stream(b"txts", b"", texts)]
    for name, build in (("old.avi", avi.simple_avi), ("odml.avi", avi.open_dml_avi)):
        kravi.write(name, build(streams))
        report = hashed(kravi, name)
        equal([stream["source"] for stream in report["streams"]], ["index"] * 4, "sources")
        text = report["streams"][3]
        equal((text["kind"], text["chunks"], text["md5"]), ("other", 4, md5(b"".join(texts))), "text")
        equal(text["lengthsMd5"], md5(b"".join(struct.pack("<Q", len(chunk)) for chunk in texts)), "lengths")
    equal(hashed(kravi, "old.avi", "--compare", "odml.avi")["same"], True, "the same text")
    streams[3].chunks = [b"first", b"secon", b"d", b"last"]
    kravi.write("other.avi", avi.simple_avi(streams))
    report = hashed(kravi, "old.avi", "--compare", "other.avi", code=1)
    equal(report["differences"], [{"kind": "other", "stream": 3, "otherStream": 3, "chunk": 1}], "differences")
    equal(report["findings"], ["different: other stream 3: chunk 1"], "findings")


def test_streams_that_no_index_covers(kravi):
    text = avi.Stream(b"txts", b"", [b"subtitle"])
    streams = [*avi.standard_streams(4), text, avi.video([b"other", b"more"])]
    kravi.write("clip.avi", avi.simple_avi(streams, groups=2))
    report = hashed(kravi, "clip.avi")
    equal([stream["number"] for stream in report["streams"]], [0, 1, 2, 3], "streams")
    equal([stream["md5"] for stream in report["streams"]], [md5(b"".join(stream.chunks)) for stream in streams], "checksums")
    equal([stream["source"] for stream in report["streams"]], ["chunk search"] * 4, "sources")
    bare = b"".join(avi.chunk(b"00dc", data) for data in streams[0].chunks)
    kravi.write("bare.avi", bytes(200) + bare)
    report = hashed(kravi, "bare.avi", code=1)
    equal([stream["number"] for stream in report["streams"]], [0], "streams of bare chunks")
