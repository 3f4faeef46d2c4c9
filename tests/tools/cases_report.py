"""info, tree and index on whole files."""

import struct

import avi_builder as avi
from kravi_runner import check, equal, exit_code


def report(kravi, *arguments, code=0):
    result = exit_code(kravi(*arguments, "--json"), code)
    return result.json()


def test_info_of_avi_1_0(kravi):
    data = avi.simple_avi(avi.standard_streams(12, audio=2))
    kravi.write("clip.avi", data)
    info = report(kravi, "info", "clip.avi")
    equal(info["length"], len(data), "length")
    equal(info["kind"], "AVI 1.0", "kind")
    equal(info["segments"], [{"form": "AVI ", "position": 0, "size": len(data) - 8, "complete": True}], "segments")
    video = info["video"]
    equal((video["stream"], video["size"], video["displaySize"]), (0, "64 x 48", "64 x 48"), "video size")
    equal(video["frameRate"], {"code": 2, "fraction": "25/1", "framesPerSecond": "25"}, "frame rate")
    equal(video["scanMode"], {"value": 2, "name": "progressive", "guessed": True}, "scan mode")
    equal(video["aspectMode"]["value"], 3, "aspect mode")
    equal((video["compression"], video["bitCount"], video["chunkId"]), ("MJPG", 24, "00dc"), "video format")
    equal((video["framesBeforeIndexLoad"], video["framesAfterIndexLoad"], video["indexEntries"]), (12, 12, 12), "count")
    audio = info["audio"]
    equal((audio["stream"], audio["chunkId"], audio["indexEntries"]), (1, "01wb", 12), "audio")
    equal(audio["duration"], 12 * 1920 / 48000, "duration")
    equal(audio["format"]["samplesPerSec"], 48000, "sample rate")
    equal([(row["number"], row["type"]) for row in info["streams"]], [(0, "vids"), (1, "auds"), (2, "auds")], "streams")
    equal(info["indexes"]["idx1"]["entries"], 36, "idx1")
    equal(info["indexes"]["indxOfStreams"], [], "indx")
    equal((info["notes"], info["findings"]), ([], []), "remarks")
    text = exit_code(kravi("info", "clip.avi", "--full"), 0).out
    check("\n  pixel aspect             not stored\n" in text, text)
    check("\n  frames                   12 (headers 12, index 12)\n" in text, text)
    kravi.write("cut.avi", data[:len(data) // 2])
    check("\n  frames                   12 (no index)\n" in exit_code(kravi("info", "cut.avi", "--full"), 1).out, "no index")


def test_info_of_open_dml(kravi):
    data = avi.open_dml_avi(avi.standard_streams(), segments=3)
    kravi.write("clip.avi", data)
    info = report(kravi, "info", "clip.avi")
    equal(info["kind"], "AVI with OpenDML", "kind")
    equal([row["form"] for row in info["segments"]], ["AVI ", "AVIX", "AVIX"], "forms")
    last = info["segments"][-1]
    equal(last["position"] + 8 + last["size"], len(data), "end of the last segment")
    equal(info["indexes"]["indxOfStreams"], [0, 1], "indx")
    equal(info["indexes"]["idx1"], None, "idx1")
    equal((info["video"]["indexEntries"], info["audio"]["indexEntries"]), (12, 12), "entries")


def test_info_of_private_chunks(kravi):
    for mode, name in ((0, "upper field first"), (1, "lower field first"), (2, "progressive"), (255, "not set")):
        kravi.write("clip.avi", avi.simple_avi(avi.standard_streams(2), before_movi=avi.private_chunks(mode)))
        first, second = report(kravi, "info", "clip.avi")["privateChunks"]
        for flavour in (first, second):
            equal(flavour["scanMode"], {"value": -1 if mode == 255 else mode, "name": name}, "scan mode")
            equal(flavour["pixelAspect"], "64:45", "pixel aspect")
    kravi.write("clip.avi", avi.simple_avi(avi.standard_streams(2)))
    for flavour in report(kravi, "info", "clip.avi")["privateChunks"]:
        equal((flavour["scanMode"], flavour["pixelAspect"]), (None, None), "private chunk that is not there")


def test_info_text_has_the_same_facts(kravi):
    kravi.write("clip.avi", avi.simple_avi(avi.standard_streams()))
    text = exit_code(kravi("info", "clip.avi", "--full"), 0).out
    for line in ("64 x 48", "2 (progressive, guessed from the size)", "25/1", "MJPG", "AVI 1.0", "00dc", "01wb"):
        check(line in text, f"{line} is not in\n{text}")


def test_unprintable_fourcc_and_name_are_escaped(kravi):
    streams = avi.standard_streams(2)
    streams[0].handler = b"\x01\\\xff\x1b"
    streams[0].name = b"caf\xc3\xa9 \x1b[31m\xfe\0"
    kravi.write("clip.avi", avi.simple_avi(streams))
    row = report(kravi, "info", "clip.avi")["streams"][0]
    equal(row["handler"], "\\x01\\\\\\xFF\\x1B", "handler")
    equal(row["name"], "caf\u00e9 \\x1B[31m\\xFE", "name")
    check("\x1b" not in kravi("info", "clip.avi").out, "escape character in the text")


def test_fewer_frames_than_declared_is_a_finding(kravi):
    data = bytearray(avi.simple_avi(avi.standard_streams()))
    position = data.index(b"avih") + 8 + 16
    struct.pack_into("<I", data, position, 13)
    kravi.write("clip.avi", bytes(data))
    findings = report(kravi, "info", "clip.avi", code=1)["findings"]
    equal(findings, ["the video index has 12 frames, the headers declare 13"], "findings")


def test_truncated_file_is_a_finding_of_every_verb(kravi):
    data = avi.simple_avi(avi.standard_streams())
    kravi.write("clip.avi", data[:-100])
    wanted = "the file is truncated: segment 0 ends 100 bytes" + " past the end of the file"
    for arguments in (["info"], ["tree"], ["index", "--summary"], ["extract", "--video", "all.mjpg"]):
        verb, *options = arguments
        result = report(kravi, verb, "clip.avi", *options, code=1)
        check(wanted in result["findings"], f"{verb}: {result['findings']}")
    check("finding: " + wanted in exit_code(kravi("info", "clip.avi"), 1).out, "text")


def test_recording_that_was_not_finished_is_no_truncated_file(kravi):
    data = bytearray(avi.simple_avi(avi.standard_streams(), idx1=False))
    unset = "the recording was not finished: the size of segment 0 was never written"
    for size, more in ((0, ", and its content is not checked"), (0xFFFFFFFF, "")):
        struct.pack_into("<I", data, 4, size)
        struct.pack_into("<I", data, data.index(b"movi") - 4, size)
        kravi.write("clip.avi", bytes(data))
        for verb in ("info", "tree"):
            said = report(kravi, verb, "clip.avi", code=1)
            check(unset + more + "; kravi recover makes it a complete file" in said["findings"], f"{verb}: {said['findings']}")
            untrue = [text for text in said["findings"] + said["notes"]
                      if "truncated" in text or "avih" in text or "follow" in text or "past the end" in text]
            equal(untrue, [], f"{verb}, {size}: what is not true")
    unset = "of a size that was never written: 1 chunk, the first at position"
    check(any(unset in text for text in said["findings"]), f"tree: {said['findings']}")


def test_bytes_after_the_last_segment_are_a_note(kravi):
    kravi.write("clip.avi", avi.simple_avi(avi.standard_streams()) + bytes(50))
    equal(report(kravi, "info", "clip.avi")["notes"], ["50 bytes follow the last segment"], "notes")


def walk(data, start, end, level, rows):
    """The chunks of a well-formed file, found independently of the program."""
    while start + 8 <= end:
        chunk_id, size = data[start:start + 4], struct.unpack_from("<I", data, start + 4)[0]
        row = {"level": level, "position": start, "size": size, "id": chunk_id.decode()}
        rows.append(row)
        if chunk_id in (b"RIFF", b"LIST"):
            row["type"] = data[start + 8:start + 12].decode()
            walk(data, start + 12, start + 8 + size, level + 1, rows)
        start += 8 + size + size % 2
    return rows


def test_depth_of_a_tree(kravi):
    kravi.write("clip.avi", avi.simple_avi(avi.standard_streams()))
    rows = report(kravi, "tree", "clip.avi", "--all")["chunks"]
    for depth in (1, 2, 3):
        shown = report(kravi, "tree", "clip.avi", "--all", "--depth", str(depth))["chunks"]
        equal(shown, [row for row in rows if row["level"] < depth], f"depth {depth}")
    equal(report(kravi, "tree", "clip.avi", "--all", "--depth", "0")["chunks"], rows, "depth 0")
    text = exit_code(kravi("tree", "--help"), 0).out
    check("1 for segments only, 0 for all" in text, text)


def test_tree_lists_every_chunk(kravi):
    for name, data in (("one.avi", avi.simple_avi(avi.standard_streams())),
                       ("odml.avi", avi.open_dml_avi(avi.standard_streams())),
                       ("rec.avi", avi.simple_avi(avi.standard_streams(), groups=2))):
        kravi.write(name, data)
        equal(report(kravi, "tree", name, "--all")["chunks"], walk(data, 0, len(data), 0, []), name)


def test_tree_sums_up_long_rows(kravi):
    data = avi.simple_avi(avi.standard_streams(30))
    kravi.write("clip.avi", data)
    rows = report(kravi, "tree", "clip.avi")["chunks"]
    everything = walk(data, 0, len(data), 0, [])
    sums = [row for row in rows if "collapsed" in row]
    equal(len(sums), 1, "sums")
    equal(sums[0]["ids"], {"00dc": 26, "01wb": 26}, "ids")
    equal(len(rows) - 1 + sums[0]["collapsed"], len(everything), "chunks in all")
    movi = [row for row in everything if row["id"] in ("00dc", "01wb")]
    equal(sums[0]["position"], movi[8]["position"], "position")
    equal(sums[0]["bytes"], sum(row["size"] for row in movi[8:]), "bytes")
    check("... 52 chunks: 26 '00dc', 26 '01wb'" in exit_code(kravi("tree", "clip.avi"), 0).out, "text")
    rows = report(kravi, "tree", "clip.avi", "--run", "2")["chunks"]
    equal([row["collapsed"] for row in rows if "collapsed" in row], [58], "sum after two")


def test_tree_sums_up_long_rows_of_groups(kravi):
    data = avi.simple_avi(avi.standard_streams(30), groups=2)
    kravi.write("clip.avi", data)
    everything = walk(data, 0, len(data), 0, [])
    groups = [row for row in everything if row.get("type") == "rec "]
    equal(len(groups), 15, "groups")
    rows = report(kravi, "tree", "clip.avi", "--run", "13")["chunks"]
    collapsed = [row for row in rows if "collapsed" in row]
    equal([(row["position"], row["collapsed"], row["ids"]) for row in collapsed],
          [(groups[13]["position"], 2, {"LIST rec ": 2})], "sum")
    equal(rows[:-1], [row for row in everything if row["position"] < groups[13]["position"]], "what is before it")
    equal(report(kravi, "tree", "clip.avi", "--run", "14")["chunks"], everything, "a sum of one saves no line")


def test_tree_of_lists_that_are_not_known(kravi):
    data = avi.simple_avi(avi.standard_streams(2), before_movi=avi.lst(b"abcd", avi.chunk(b"wxyz", b"12345"), avi.lst(b"efgh")))
    kravi.write("clip.avi", data)
    equal(report(kravi, "tree", "clip.avi")["chunks"], walk(data, 0, len(data), 0, []), "chunks")


def test_tree_of_a_recording_that_was_not_finished(kravi):
    data = bytearray(avi.simple_avi(avi.standard_streams(), idx1=False))
    wanted = walk(bytes(data), 0, len(data), 0, [])
    for position in (4, data.index(b"movi") - 4):
        struct.pack_into("<I", data, position, 0)
    kravi.write("clip.avi", bytes(data))
    rows = report(kravi, "tree", "clip.avi", "--all", code=1)["chunks"]
    without_size = [[{**row, "size": 0} if row.get("type") in ("AVI ", "movi") else row for row in part] for part in (rows, wanted)]
    equal(without_size[0], without_size[1], "chunks")


def test_tree_of_bare_chunks(kravi):
    kravi.write("bare.avi", bytes(200) + avi.chunk(b"00dc", b"one") + avi.chunk(b"00dc", b"three"))
    equal(report(kravi, "tree", "bare.avi", code=1)["chunks"],
          [{"level": 0, "position": 200, "size": 3, "id": "00dc"}, {"level": 0, "position": 212, "size": 5, "id": "00dc"}], "chunks")


def test_bytes_in_no_chunk_are_a_finding_of_the_tree(kravi):
    streams = avi.standard_streams()
    data = bytearray(avi.simple_avi(streams))
    third = streams[0].positions[2] - 8
    data[third:third + 4] = b"\xff\xfe\xfd\xfc"
    kravi.write("clip.avi", bytes(data))
    result = report(kravi, "tree", "clip.avi", "--all", code=1)
    equal(result["findings"], [f"in no chunk: 312 bytes at 1 place, the first at position {third}"], "findings")
    equal([row["position"] for row in result["chunks"] if row["id"] == "01wb"], [place - 8 for place in streams[1].positions],
          "the chunks after them")


def test_tree_depth(kravi):
    kravi.write("clip.avi", avi.simple_avi(avi.standard_streams()))
    rows = report(kravi, "tree", "clip.avi", "--depth", "2")["chunks"]
    equal([row["id"] for row in rows], ["RIFF", "LIST", "LIST", "idx1"], "two levels")
    equal(len(report(kravi, "tree", "clip.avi", "--depth", "1")["chunks"]), 1, "one level")


def test_tree_limit_is_a_finding(kravi):
    kravi.write("clip.avi", avi.simple_avi(avi.standard_streams()))
    result = report(kravi, "tree", "clip.avi", "--limit", "5", code=1)
    equal(len(result["chunks"]), 5, "chunks")
    check(any("more than 5 chunks" in finding for finding in result["findings"]), str(result["findings"]))


def index_rows(stream):
    return [{"number": number, "position": position, "size": len(data)}
            for number, (position, data) in enumerate(zip(stream.positions, stream.chunks))]


def test_index_entries_are_where_the_chunks_are(kravi):
    for build in (avi.simple_avi, lambda streams: avi.simple_avi(streams, relative=False), avi.open_dml_avi):
        streams = avi.standard_streams(audio=2)
        kravi.write("clip.avi", build(streams))
        result = report(kravi, "index", "clip.avi", "--check")
        equal(result["videoEntries"], index_rows(streams[0]), "video")
        equal(result["audioEntries"], index_rows(streams[1]), "audio")
        equal(result["video"]["check"], {"chunksInFile": 12, "notInIndex": 0, "notInFile": 0}, "check")
        equal(result["audio"]["sizePattern"],
              {"repeats": True, "bytesPerPeriod": 7680, "chunksPerPeriod": 1, "lastChunkBytes": 7680}, "pattern")


def stream_rows(number, stream):
    return [{"stream": number, **row, "keyFrame": stream.is_key(row["number"])} for row in index_rows(stream)]


def test_index_of_all_streams(kravi):
    streams = [*avi.standard_streams(6, audio=2), avi.Stream(b"txts", b"", [b"one", b"", b"three"]),
               avi.video([avi.payload(number, 50) for number in range(6)])]
    streams[4].keys = {0, 3}
    for build in (avi.simple_avi, avi.open_dml_avi):
        kravi.write("clip.avi", build(streams))
        result = report(kravi, "index", "clip.avi", "--check")
        equal([(row["stream"], row["type"], row["entries"]) for row in result["streams"]],
              [(2, "auds", 6), (3, "txts", 3), (4, "vids", 6)], "streams")
        equal([row["check"] for row in result["streams"]],
              [{"chunksInFile": count, "notInIndex": 0, "notInFile": 0} for count in (6, 3, 6)], "check")
        equal(result["streamEntries"], [row for number in (2, 3, 4) for row in stream_rows(number, streams[number])], "entries")
        equal([stream["indexEntries"] for stream in report(kravi, "info", "clip.avi")["streams"]], [6, 6, 6, 3, 6], "info")
        result = report(kravi, "index", "clip.avi", "--stream", "4", "--from", "2", "--to", "3")
        equal(result["streamEntries"], stream_rows(4, streams[4])[2:4], "one stream")
        check("video" not in result and len(result["streams"]) == 1, str(result))
    lines = exit_code(kravi("index", "clip.avi", "--stream", "4", "--from", "4"), 0).out.split("\n")
    equal(lines[-3].split(), ["4", "4", str(streams[4].positions[4]), "50", "no"], "text")
    equal(report(kravi, "index", "clip.avi", "--stream", "5", code=2)["error"]["cause"],
          "there is no stream 5: the file has 5 streams", "cause")
    kravi.write("bare.avi", avi.simple_avi(streams, idx1=False))
    result = report(kravi, "index", "bare.avi", "--stream", "2", code=1)
    equal((result["streams"], result["findings"]), ([{"stream": 2, "type": "auds"}], ["no index of stream 2 can be loaded"]), "none")


def test_index_of_one_stream_and_a_range(kravi):
    streams = avi.standard_streams()
    kravi.write("clip.avi", avi.simple_avi(streams))
    result = report(kravi, "index", "clip.avi", "--video", "--from", "3", "--to", "5")
    equal(result["videoEntries"], index_rows(streams[0])[3:6], "entries")
    check("audio" not in result and "audioEntries" not in result, "audio was not asked for")
    result = report(kravi, "index", "clip.avi", "--audio", "--summary")
    check("audioEntries" not in result and result["audio"]["entries"] == 12, str(result))
    result = report(kravi, "index", "clip.avi", "--from", "50", code=2)
    equal(result["error"]["cause"], "no such entries: the longest index has 12 entries", "range beyond the end")
    lines = exit_code(kravi("index", "clip.avi", "--video", "--from", "3", "--to", "3"), 0).out.split("\n")
    entry = index_rows(streams[0])[3]
    equal(lines[-2].split(), ["3", str(entry["position"]), str(entry["size"])], "text")


def test_index_check_finds_chunks_that_are_not_indexed(kravi):
    data = bytearray(avi.simple_avi(avi.standard_streams()))
    position = data.rindex(b"00dc")  # the last video entry of 'idx1'
    data[position:position + 4] = b"07dc"
    kravi.write("clip.avi", bytes(data))
    result = report(kravi, "index", "clip.avi", "--summary", "--check", code=1)
    equal(result["video"]["check"], {"chunksInFile": 12, "notInIndex": 1, "notInFile": 0}, "check")
    equal(result["findings"], ["not in the video index: 1 chunk of stream 0"], "findings")


def test_index_that_is_not_there_is_a_finding(kravi):
    kravi.write("clip.avi", avi.simple_avi(avi.standard_streams(), idx1=False))
    result = report(kravi, "index", "clip.avi", code=1)
    equal((result["video"], result["audio"]), (None, None), "indexes")
    equal(result["findings"], ["no video index can be loaded", "no audio index can be loaded"], "findings")


def test_file_without_audio_is_not_a_finding_unless_audio_is_requested(kravi):
    kravi.write("clip.avi", avi.simple_avi(avi.standard_streams(audio=0)))
    equal(report(kravi, "index", "clip.avi")["audio"], None, "audio")
    equal(report(kravi, "info", "clip.avi")["audio"], None, "audio")
    report(kravi, "index", "clip.avi", "--audio", code=1)


def test_progress_as_json_is_an_object_a_line(kravi):
    import json
    kravi.write("clip.avi", avi.simple_avi(avi.standard_streams()))
    lines = exit_code(kravi("tree", "clip.avi", "--progress=json"), 0).err.splitlines()
    check(lines, "no progress")
    last = json.loads(lines[-1])["progress"]
    equal((last["verb"], last["done"], last["total"]), ("tree", len(kravi.read("clip.avi")), last["done"]), "progress")
    equal(exit_code(kravi("tree", "clip.avi", "--progress=none"), 0).err, "", "no progress")
    equal(exit_code(kravi("tree", "clip.avi"), 0).err, "", "progress where nobody looks")


def test_frame_rate_without_a_code(kravi):
    for scale, rate, named in ((1, 25, "25"), (33367, 1000000, "29.97"), (100, 2997, "29.97"), (1001, 24000, "23.976"),
                               (1, 15, None), (1, 48, None), (1000, 23810, None), (1, 120, None)):
        kravi.write("rate.avi", avi.simple_avi([avi.video([b"x"], scale, rate)]))
        report = exit_code(kravi("info", "rate.avi", "--json"), 0).json()
        code = report["video"]["frameRate"]
        equal(code and code["framesPerSecond"], named, f"{rate}/{scale}")
        equal(any(f"no code for {rate}/{scale} frames" in note for note in report["notes"]), named is None, "note")


def test_sound_that_the_reader_does_not_index(kravi):
    sound = avi.Stream(b"auds", struct.pack("<HHIIHH", 0x55, 2, 48000, 16000, 1, 0), [b"ab" * 50] * 2, 1, 16000, 1)
    kravi.write("mp3.avi", avi.simple_avi([avi.video([b"x"] * 2), sound]))
    report = exit_code(kravi("info", "mp3.avi", "--json"), 0).json()
    check(any("cannot index the sound" in note for note in report["notes"]), f"{report}")
    equal(report["streams"][1]["indexEntries"], 2, "entries")
    for verb in (("index", "--audio"), ("map", "-o", "map.svg")):
        equal(exit_code(kravi(*verb, "mp3.avi", "--json"), 0).json()["notes"], [], f"notes of {verb}")
    equal(exit_code(kravi("index", "mp3.avi", "--json"), 0).json()["audioEntries"], index_rows(sound), "entries of the index")
