"""recover: every whole chunk of a damaged file is recovered, and the report lists what is lost."""

import json
import random
import struct
import time

import avi_builder as avi
from cases_write import taken_apart, timeless
from kravi_runner import check, equal, exit_code

BUILDERS = {"idx1": avi.simple_avi, "odml": avi.open_dml_avi,
            "three": lambda streams: avi.open_dml_avi(streams, segments=3),
            "rec": lambda streams: avi.simple_avi(streams, groups=5),
            "bare": lambda streams: avi.simple_avi(streams, idx1=False)}
SOUND = 1920 * 4  # bytes of a block


def recovered(kravi, data, *options, code=1, layout="recording"):
    """Without gaps filled, as the layout of recordings has them."""
    kravi.write("in.avi", data)
    chosen = ["--layout", layout] if "--like" not in options else []
    return exit_code(kravi("recover", "in.avi", "out.avi", *options, *chosen, "--force", "--json"), code).json()


def check_content(kravi, report, video, audio, what):
    """The written file holds these chunks, and nothing else; `audio` is None where no stream is expected."""
    equal(report["frames"], len(video), f"{what}: frames")
    equal(report.get("audioBytes"), None if audio is None else sum(map(len, audio)), f"{what}: bytes of sound")
    frames, sound = taken_apart(kravi, audio=bool(audio))
    check(frames == b"".join(video), f"{what}: frames")
    check(not audio or sound == b"".join(audio), f"{what}: sound")


def without(items, *places):
    return [item for place, item in enumerate(items) if place not in places]


def header_at(stream, place):
    return stream.positions[place] - 8


def regions(report):
    return [(region["offset"], region["bytes"]) for region in report["damagedRegions"]]


def test_whole_files(kravi):
    for kind, build in BUILDERS.items():
        streams = avi.standard_streams(30)
        data = build(streams)
        report = recovered(kravi, data, code=0)
        check_content(kravi, report, streams[0].chunks, streams[1].chunks, kind)
        equal((report["framesLost"], report["bytesSkipped"], regions(report)), (0, 0, []), f"{kind}: report")
        exit_code(kravi("rewrap", "in.avi", "rewrapped.avi", "--force", "--layout", "recording"), 0)
        check(timeless(kravi.read("out.avi")) == timeless(kravi.read("rewrapped.avi")), f"{kind}: as rewrapped")
        recovered(kravi, kravi.read("out.avi"), code=0)
        check(timeless(kravi.read("out.avi")) == timeless(kravi.read("rewrapped.avi")), f"{kind}: a second time")


def test_cut_anywhere(kravi):
    places = random.Random(7)
    for number in range(kravi.rounds(200)):
        kind = places.choice(sorted(BUILDERS))
        streams = avi.standard_streams(8)
        data = BUILDERS[kind](streams)
        cut = places.randrange(1, len(data))
        what = f"{kind} cut at {cut}"
        whole = [[chunk for chunk, position in zip(stream.chunks, stream.positions) if position + len(chunk) <= cut]
                 for stream in streams]
        if not whole[0]:
            kravi.write("in.avi", data[:cut])
            result = exit_code(kravi("recover", "in.avi", "out.avi", "--force"), 2)
            check("no whole frame" in result.err, f"{what}: {result}")
            continue
        lost = len(streams[0].chunks) - len(whole[0])
        kravi.write("in.avi", data[:cut])
        result = kravi("recover", "in.avi", "out.avi", "--force", "--json")
        check(result.code == 1 or (result.code == 0 and lost == 0), f"{what}: {result}")
        check_content(kravi, result.json(), *whole, what)
        equal(result.json()["framesLost"], lost, f"{what}: frames lost")


def test_cut_after_the_last_chunk_loses_nothing(kravi):
    streams = avi.standard_streams(5)
    data = avi.simple_avi(streams)
    last = streams[1].positions[-1] + SOUND
    for cut in (last, last + 3, last + 8, last + 50):
        report = recovered(kravi, data[:cut], code=1 if cut == last + 3 else 0)
        check_content(kravi, report, streams[0].chunks, streams[1].chunks, f"cut at {cut}")


def test_zeros_over_chunk_headers(kravi):
    streams = avi.standard_streams(12)
    data = bytearray(avi.simple_avi(streams))
    for stream, place in ((0, 0), (0, 5), (1, 8), (1, 11)):
        at = header_at(streams[stream], place)
        data[at:at + 8] = bytes(8)
    report = recovered(kravi, data)
    check_content(kravi, report, without(streams[0].chunks, 0, 5), without(streams[1].chunks, 8, 11), "content")
    sizes = [len(streams[0].chunks[0]) + 1, len(streams[0].chunks[5]), SOUND, SOUND]
    places = [header_at(streams[0], 0), header_at(streams[0], 5), header_at(streams[1], 8),
              header_at(streams[1], 11)]
    equal(regions(report), [(place, size + 8) for place, size in zip(places, sizes)], "regions")
    equal((report["framesLost"], report["damagedRegionCount"]), (2, 4), "report")


def test_zeros_over_data(kravi):
    streams = avi.standard_streams(12)
    data = bytearray(avi.open_dml_avi(streams))
    at = streams[1].positions[4]
    data[at + 10:at + 5000] = bytes(4990)
    streams[1].chunks[4] = bytes(data[at:at + SOUND])
    report = recovered(kravi, data, code=0)  # nothing shows that these are not samples
    check_content(kravi, report, streams[0].chunks, streams[1].chunks, "inside one chunk")
    first, last = streams[0].positions[6] + 100, streams[0].positions[8] + 50
    data[first:last] = bytes(last - first)
    streams[0].chunks[6] = bytes(data[first - 100:first - 100 + len(streams[0].chunks[6])])
    report = recovered(kravi, data)
    check_content(kravi, report, without(streams[0].chunks, 7, 8), without(streams[1].chunks, 6, 7), "over chunks")
    equal(report["damagedRegionCount"], 1, "regions")


def test_sizes_of_lists_are_not_trusted(kravi):
    for kind, build in BUILDERS.items():
        streams = avi.standard_streams(10)
        data = build(streams)
        for name in (b"AVI ", b"AVIX", b"movi", b"hdrl", b"strl", b"rec "):
            for size in (0, 1, 0xFFFFFFFF, 2000):
                wrong, at = bytearray(data), data.find(name)
                while at >= 8 and data[at - 8:at - 4] in (b"RIFF", b"LIST"):
                    struct.pack_into("<I", wrong, at - 4, size)
                    at = data.find(name, at + 4)
                if wrong == data:
                    continue
                report = recovered(kravi, wrong, code=0)
                check_content(kravi, report, streams[0].chunks, streams[1].chunks, f"{kind}: {name}, {size}")


def test_ids_of_lists_are_not_needed(kravi):
    streams = avi.standard_streams(10)
    for kind in ("idx1", "odml"):
        data = BUILDERS[kind](streams)
        movi = data.index(b"movi")
        for at, wrong in ((movi, bytes(4)), (movi, b"abcd"), (movi - 8, b"LISt"), (movi - 8, bytes(12)), (0, b"RIFf"),
                          (0, bytes(12)), (8, bytes(4)), (data.index(b"hdrl") - 8, b"LISt")):
            damaged = data[:at] + wrong + data[at + len(wrong):]
            kravi.write("in.avi", damaged)
            result = kravi("recover", "in.avi", "out.avi", "--force", "--json")
            check(result.code in (0, 1), f"{kind}: {wrong} at {at}: {result}")
            check_content(kravi, result.json(), streams[0].chunks, streams[1].chunks, f"{kind}: {wrong} at {at}")


def test_garbage_between_chunks(kravi):
    noise = random.Random(3)
    streams = avi.standard_streams(12)
    data = avi.simple_avi(streams)
    kinds = {"noise": noise.randbytes(3001), "text": b"no chunk at all, whatever it says " * 9, "ones": b"\xff" * 200,
             "a chunk's id": b"00dc" + struct.pack("<I", 500) + noise.randbytes(90),
             "entries": avi.chunk(b"XXXX", b"00dc\x10\0\0\0\4\0\0\0\x10\0\0\0" * 9)[4:]}
    for name, garbage in kinds.items():
        out, start = bytearray(), 0
        for stream, place in ((0, 3), (1, 7), (0, 9)):
            at = header_at(streams[stream], place)
            out += data[start:at] + garbage
            start = at
        report = recovered(kravi, out + data[start:])
        check_content(kravi, report, streams[0].chunks, streams[1].chunks, name)
        equal([size for _, size in regions(report)], [len(garbage)] * 3, f"{name}: regions")
        equal(report["bytesSkipped"], 3 * len(garbage), f"{name}: bytes")


def test_garbage_at_the_ends(kravi):
    streams = avi.standard_streams(4)
    data = avi.simple_avi(streams)
    noise = random.Random(5).randbytes(777)
    check_content(kravi, recovered(kravi, noise + data), streams[0].chunks, streams[1].chunks, "in front")
    report = recovered(kravi, data + noise)
    check_content(kravi, report, streams[0].chunks, streams[1].chunks, "after the hole")
    equal(regions(report), [(len(data), len(noise))], "regions")


def test_entries_of_an_index_in_front_of_zeros(kravi):
    """The flags of a last entry, 0x10, are not the size of a chunk, although zeros can follow one."""
    for frames, audio in ((6, 1), (1, 0)):
        streams = avi.standard_streams(frames, audio)
        data = avi.simple_avi(streams)
        for zeros in (16, 5000):
            report = recovered(kravi, data + bytes(zeros))
            check_content(kravi, report, streams[0].chunks, streams[1].chunks if audio else None, f"{zeros} zeros")
            equal(regions(report), [(len(data), zeros)], f"{zeros} zeros: regions")
    streams = avi.standard_streams(6)
    data = bytearray(avi.simple_avi(streams))
    at = data.index(b"idx1")
    data[at:at + 8] = bytes(8)
    report = recovered(kravi, data + bytes(16))
    check_content(kravi, report, streams[0].chunks, streams[1].chunks, "no header of the index")


def test_short_chunks_after_damage(kravi):
    """Chunks of 8 or 0 bytes before one of 16 bytes are not entries of an index."""
    for sizes in ((8, 16, 16), (7, 16, 16), (0, 0, 16, 16)):
        frames = [b"first", *(avi.payload(number, size) for number, size in enumerate(sizes)), b"last"]
        streams = [avi.video(frames)]
        data = bytearray(avi.simple_avi(streams, idx1=False))
        data[header_at(streams[0], 0):header_at(streams[0], 0) + 4] = bytes(4)
        report = recovered(kravi, data)
        equal((report["frames"], taken_apart(kravi, audio=False)[0]), (len([f for f in frames[1:] if f]), b"".join(frames[1:])),
              f"{sizes}")


def test_wrong_sizes_of_chunks(kravi):
    streams = avi.standard_streams(12)
    data = avi.simple_avi(streams)
    for size in (0, 7, 20000, 60000, 0x7FFFFFFF, 0xFFFFFFFF):
        wrong = bytearray(data)
        struct.pack_into("<I", wrong, header_at(streams[0], 5) + 4, size)
        report = recovered(kravi, wrong)
        if size == 7:  # a short chunk followed by garbage
            streams[0].chunks[5] = streams[0].chunks[5][:7]
            check_content(kravi, report, streams[0].chunks, streams[1].chunks, "7 bytes")
            continue
        check_content(kravi, report, without(avi.standard_streams(12)[0].chunks, 5), streams[1].chunks, f"size {size}")
        equal((report["cutChunks"], report["framesLost"]), (1, 1), f"size {size}: report")


def test_sound_stays_aligned_after_damage(kravi):
    """Blocks that end inside a sample: after a lost one the next starts with a whole sample again."""
    streams = avi.standard_streams(6)
    sound = b"".join(streams[1].chunks)
    sizes = [SOUND, SOUND + 1, SOUND - 1, SOUND, SOUND, SOUND]
    ends = [sum(sizes[:place + 1]) for place in range(6)]
    streams[1].chunks = [sound[end - size:end] for end, size in zip(ends, sizes)]
    data = bytearray(avi.simple_avi(streams))
    check_content(kravi, recovered(kravi, data, code=0), streams[0].chunks, streams[1].chunks, "whole")
    at = header_at(streams[1], 2)
    data[at:at + 4] = bytes(4)
    report = recovered(kravi, data)
    blocks = [streams[1].chunks[0], streams[1].chunks[1][:-1], *streams[1].chunks[3:]]
    check_content(kravi, report, streams[0].chunks, blocks, "damaged")
    check(any("left out: 1 byte of samples" in text for text in report["findings"]), report["findings"])


def test_unpadded_chunks(kravi):
    frames = [avi.payload(number, 301 + number) for number in range(9)]
    whole = avi.simple_avi([avi.video(frames)], idx1=False)
    data = whole[:whole.index(b"movi") + 4] + b"".join(b"00dc" + struct.pack("<I", len(frame)) + frame
                                                        for frame in frames)
    check_content(kravi, recovered(kravi, data, code=0), frames, None, "content")


def test_progress(kravi):
    streams = avi.standard_streams(20)
    kravi.write("in.avi", avi.simple_avi(streams))
    result = exit_code(kravi("recover", "in.avi", "out.avi", "--progress", "json"), 0)
    lines = [json.loads(line)["progress"] for line in result.err.splitlines()]
    equal([(line["verb"], line["step"]) for line in lines], [("recover", "searching"), ("recover", "writing")],
          "steps")
    check("frames lost                0" in result.out, result.out)
    headless = avi.simple_avi(streams).replace(b"strh", b"----").replace(b"avih", b"----")
    kravi.write("in.avi", headless)
    result = kravi("recover", "in.avi", "new.avi", "--size", "64x48", "--rate", "25", "--codec", "MJPG")
    check("frames lost                unknown (the headers give no usable count)" in result.out, result.out)


def test_many_damages(kravi):
    """The list of regions ends after a hundred, the counts do not; time grows with the length only."""
    frames = [avi.payload(number, 40) for number in range(3000)]
    stream = avi.video(frames)
    data = bytearray(avi.simple_avi([stream], idx1=False))
    for place in range(0, 3000, 3):
        data[header_at(stream, place)] ^= 0x80
    report = recovered(kravi, data)
    check_content(kravi, report, without(frames, *range(0, 3000, 3)), None, "content")
    equal((len(report["damagedRegions"]), report["damagedRegionCount"], report["bytesSkipped"]),
          (100, 1000, 1000 * 48), "report")
    ids = b"00dc\xfb\xff\x0f\0" * 200000
    start = time.monotonic()
    report = recovered(kravi, avi.simple_avi(avi.standard_streams(2), idx1=False) + ids)
    check(time.monotonic() - start < 60, "time")
    check(report["frames"] in (2, 3), "frames in front of ids")  # one of them can be a chunk followed by garbage
