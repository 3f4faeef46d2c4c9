"""recover carries files whole: what is lost in between is filled, counted, and what follows keeps its time."""

import struct

import avi_builder as avi
import avi_reader
from cases_carry import put
from cases_write import refused
from kravi_runner import check, equal, exit_code

SOUND = 1920 * 4  # bytes of a block


def recovered(kravi, data, *options, code=1):
    kravi.write("in.avi", data)
    report = exit_code(kravi("recover", "in.avi", "out.avi", *options, "--force", "--json"), code).json()
    return kravi.read("out.avi"), report


def losses(report):
    return [report[key] for key in ("framesLost", "framesFilled", "soundLost", "soundFilled")]


def content(copy):
    """Frames, and all bytes of sound."""
    return avi_reader.of_stream(copy, 0), b"".join(avi_reader.of_stream(copy, 1))


def test_whole_files_are_their_copies(kravi):
    streams = avi.standard_streams(30)
    for data in (avi.simple_avi(streams), avi.open_dml_avi(streams, segments=3), avi.simple_avi(streams, groups=5)):
        copy, report = recovered(kravi, data, code=0)
        equal(content(copy), (streams[0].chunks, b"".join(streams[1].chunks)), "content")
        equal((losses(report), report["findings"]), ([0, 0, 0, 0], []), "report")


def test_zeros_inside_of_a_file(kravi):
    """The index is whole and says what the zeros took: three frames and their sound."""
    for build in (avi.simple_avi, lambda made: avi.simple_avi(made, relative=False), avi.open_dml_avi):
        streams = avi.standard_streams(30)
        streams[0].keys = {0, 5, 10, 15, 20, 25}
        data = build(streams)
        first, last = streams[0].positions[7] - 8, streams[0].positions[10] - 8
        copy, report = recovered(kravi, put(data, first, bytes(last - first)))
        frames, sound = list(streams[0].chunks), list(streams[1].chunks)
        frames[7:10], sound[7:10] = [b""] * 3, [bytes(SOUND)] * 3
        equal(content(copy), (frames, b"".join(sound)), "filled")
        equal(losses(report), [3, 3, 0.12, 0.12], "report")
        check(any("3 frames, 0.120 s; 0.120 s are filled" in text for text in report["findings"]), str(report["findings"]))
        equal([flags for name, flags in avi_reader.old_index(copy) if name == b"00dc"],
              [0x10 if number % 5 == 0 else 0 for number in range(30)], "key frames")
        copy, report = recovered(kravi, put(data, first, bytes(last - first)), "--no-fill")
        equal(content(copy), (frames[:7] + frames[10:], b"".join(sound[:7] + sound[10:])), "not filled")
        equal(losses(report), [3, 0, 0.12, 0], "report without filling")


def test_sound_that_was_overwritten(kravi):
    """100 blocks of zeros, as one power cut left them: later sound must not come early."""
    streams = avi.standard_streams(120)
    data = bytearray(avi.simple_avi(streams))
    for number in range(10, 110):
        place = streams[1].positions[number] - 8
        data[place:place + 8 + SOUND] = bytes(8 + SOUND)
    copy, report = recovered(kravi, bytes(data))
    sound = streams[1].chunks[:10] + [bytes(SOUND)] * 100 + streams[1].chunks[110:]
    equal(content(copy), (streams[0].chunks, b"".join(sound)), "content")
    equal(losses(report), [0, 0, 4, 4], "report")


def test_bytes_that_were_removed(kravi):
    """What follows lies elsewhere than the index says."""
    for relative in (True, False):
        streams = avi.standard_streams(40)
        data = avi.simple_avi(streams, relative=relative)
        first, last = streams[0].positions[12] - 8, streams[0].positions[20] - 8
        copy, report = recovered(kravi, data[:first] + data[last:])
        frames = streams[0].chunks[:12] + [b""] * 8 + streams[0].chunks[20:]
        sound = streams[1].chunks[:12] + [bytes(SOUND)] * 8 + streams[1].chunks[20:]
        equal(content(copy), (frames, b"".join(sound)), "content")
        equal(losses(report), [8, 8, 0.32, 0.32], "report")


def test_coded_sound(kravi):
    """It is filled by zeros, whether it counts bytes or packets: players do not count packets without data."""
    for sample_size in (1, 0):
        streams = avi.standard_streams(30, audio=0)
        fmt = struct.pack("<HHIIHHH", 0x55, 2, 48000, 8000, 1 if sample_size else 1152, 0, 0)
        rate = {"rate": 8000} if sample_size else {"scale": 1152, "rate": 48000}
        streams.append(avi.Stream(b"auds", fmt, [avi.payload(60 + number, 320) for number in range(30)],
                                  sample_size=sample_size, **rate))
        data = avi.simple_avi(streams)
        first, last = streams[0].positions[7] - 8, streams[0].positions[10] - 8
        copy, report = recovered(kravi, put(data, first, bytes(last - first)))
        found = avi_reader.of_stream(copy, 1)
        equal(found, streams[1].chunks[:7] + [bytes(320)] * 3 + streams[1].chunks[10:], "sound")
        equal(report["soundLost"], report["soundFilled"], "report")


def test_lengths_of_headers(kravi):
    """Without an index the headers say how much is missing in all; where the end is lost, nobody does."""
    streams = avi.standard_streams(30)
    data = avi.simple_avi(streams)
    index = data.index(b"idx1")
    first, last = streams[0].positions[7] - 8, streams[0].positions[10] - 8
    broken = put(put(data, first, bytes(last - first)), index + 8, bytes(len(data) - index - 8))
    copy, report = recovered(kravi, broken)
    frames, sound = content(copy)
    equal((frames[:7], frames[-20:]), (streams[0].chunks[:7], streams[0].chunks[10:]), "frames")
    equal((len(frames), frames[7:10]), (30, [b""] * 3), "frames that are filled")
    equal(sound, b"".join(streams[1].chunks[:7]) + bytes(3 * SOUND) + b"".join(streams[1].chunks[10:]), "sound")
    copy, report = recovered(kravi, data[:streams[0].positions[20]])
    equal((report["framesLost"], report["framesFilled"]), (10, 0), "a file that ends early")


def test_headers_of_another_file(kravi):
    streams = avi.standard_streams(12)
    kravi.write("good.avi", avi.simple_avi(avi.standard_streams(5), before_movi=avi.lst(b"INFO", avi.chunk(b"INAM", b"Other\0"))))
    data = avi.simple_avi(streams)
    headless = bytes(data.index(b"movi") - 8) + data[data.index(b"movi") - 8:]
    refused(kravi, "--codec", "recover", kravi.write("in.avi", headless), "new.avi")
    copy, report = recovered(kravi, headless, "--like", "good.avi")
    equal(content(copy), (streams[0].chunks, b"".join(streams[1].chunks)), "content")
    check(b"Other" not in copy, "the title of the other file")
    equal((report["framesLost"], report["frames"]), (0, 12), "report")
    refused(kravi, "excludes", "recover", "in.avi", "new.avi", "--like", "good.avi", "--rate", "25")
    refused(kravi, "no such file", "recover", "in.avi", "new.avi", "--like", "missing.avi")


def test_palettes_and_texts_beside_damage(kravi):
    """They are found where they follow zeros, and a palette change does not stand for a lost frame."""
    texts = avi.Stream(b"txts", b"", [avi.payload(number, 21) for number in range(12)])
    streams = [avi.video([avi.payload(number, 301 + number) for number in range(24)]), texts]
    order = [(0, number // 2) if number % 2 == 0 else (0, 12 + number // 2) for number in range(24)]
    order = [place for number in range(12) for place in (order[2 * number], (1, number), order[2 * number + 1])]
    data = avi.simple_avi(streams, order=order).replace(b"01wb", b"01tx")
    for number in range(12, 24):  # every second frame is a palette change
        data = put(data, streams[0].positions[place_of(order, (0, number))] - 8, b"00pc")
    for entry in range(len(order)):
        place = data.index(b"idx1") + 8 + 16 * entry
        if order[entry][0] == 0 and order[entry][1] >= 12:
            data = put(data, place, struct.pack("<4sI", b"00pc", 0x100))
    length = data.index(b"strh") + 8 + 32
    data = put(data, length, struct.pack("<I", 12))
    whole = avi_reader.data_chunks(data)
    copy, report = recovered(kravi, data, code=0)
    equal(avi_reader.data_chunks(copy), whole, "nothing is lost")
    for first, last in ((9, 13), (9, 14), (10, 12)):  # what follows is a text, a palette change, a frame
        start, end = chunk_start(data, first), chunk_start(data, last)
        copy, report = recovered(kravi, put(data, start, bytes(end - start)))
        gone = sum(name == b"00dc" for name, _ in whole[first:last])
        equal([chunk for chunk in avi_reader.data_chunks(copy) if chunk[1] and any(chunk[1])],
              whole[:first] + whole[last:], f"whole chunks, {first} to {last}")
        equal((report["framesLost"], report["framesFilled"]), (gone, gone), f"frames, {first} to {last}")


def chunk_start(data, number):
    """Of a data chunk, counted in file order."""
    movi = avi_reader.inside(avi_reader.segments(data)[0], b"movi")
    return data.index(b"movi") + 4 + movi[number][2] - 8


def place_of(order, wanted):
    """How many chunks of its stream precede a chunk."""
    return [place for place in order if place[0] == wanted[0]].index(wanted)


def test_all_streams_are_recovered(kravi):
    streams = avi.standard_streams(20, audio=2)
    streams[0].fmt += b"settings"
    streams.append(avi.Stream(b"txts", b"", [b"one", b"two"], 1, 1))
    data = avi.simple_avi(streams).replace(b"03wb", b"03tx")
    first, last = streams[0].positions[7] - 8, streams[0].positions[9] - 8
    copy, report = recovered(kravi, put(data, first, bytes(last - first)))
    equal([row["type"] for row in report["streams"]], ["vids", "auds", "auds", "txts"], "streams")
    equal(b"".join(avi_reader.of_stream(copy, 2)),
          b"".join(streams[2].chunks[:7]) + bytes(2 * SOUND) + b"".join(streams[2].chunks[9:]), "the second sound")
    equal(avi_reader.streams(copy)[0][b"strf"], streams[0].fmt, "settings of the codec")
    equal(avi_reader.of_stream(copy, 3), [b"one", b"two"], "texts")
