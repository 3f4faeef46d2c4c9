"""The summary of info: what a file is, in eight lines."""

import os
import struct
import time

import avi_builder as avi
from kravi_runner import check, equal, exit_code

MOST_LINES, MOST_COLUMNS = 8, 80


def summary(kravi, name, code=0):
    return exit_code(kravi("info", name, "--json"), code).json()["summary"]


def lines(kravi, name, *options, code=0):
    return exit_code(kravi("info", name, *options), code).out.splitlines()


def video_properties(horizontal, vertical, fields=1):
    return avi.chunk(b"vprp", struct.pack("<5I2H3I", 0, 0, 25, 64, 48, vertical, horizontal, 64, 48, fields) + bytes(32 * fields))


def mp3(chunks=20):
    fmt = struct.pack("<HHIIHHH", 0x55, 2, 48000, 16000, 1152, 0, 12) + bytes(12)
    return avi.Stream(b"auds", fmt, [avi.payload(number, 384) for number in range(chunks)], 1152, 48000)


def dv_frame(is_wide, first_field, interlaced=True, is_pal=True):
    """The blocks before the picture, and some of the picture."""
    frame = bytearray(b"\xff" * 2000)
    for number, section in enumerate((0x1F, 0x3F, 0x3F, 0x56, 0x56, 0x56)):
        frame[80 * number] = section
    frame[3] = 0xBF if is_pal else 0x3F
    frame[4] = 0x78
    control = 80 * 5 + 3 + 5 * 10
    frame[control:control + 5] = bytes((0x61, 0x3F, 0xC8 | (2 if is_wide else 0), 0xAC | first_field << 6 | interlaced << 4, 0xFF))
    return bytes(frame)


def dv(frames, height=576, **options):
    return avi.Stream(b"vids", avi.video_format(720, height, compression=b"dvsd"), frames, handler=b"dvsd", **options)


def test_summary_of_a_clip(kravi):
    streams = avi.standard_streams(52)
    streams[0].keys = {0, 25, 50}
    kravi.write("clip.avi", avi.simple_avi(streams))
    size = os.path.getsize(kravi.path("clip.avi"))
    equal(lines(kravi, "clip.avi"), [
        "file        clip.avi",
        f"container   AVI 1.0, {size} bytes",
        f"duration    00:00:02:02 (2.080 s, 52 frames), {size * 8 / 2.08 / 1000:.0f} kbit/s",
        "video 0     Motion JPEG 'MJPG', 64 x 48, 25 fps (25/1)",
        "            3 key frames, aspect not stored",
        "audio 1     PCM (0x0001), 48000 Hz, stereo, 16 bits, 1536 kbit/s, 2.080 s",
        "health      complete"], "text")
    report = summary(kravi, "clip.avi")
    first = report["streams"][0]
    equal((report["container"], report["segments"], report["bytes"], report["seconds"], report["duration"], report["health"]),
          ("AVI 1.0", 1, size, 2.08, "00:00:02:02", "complete"), "facts")
    equal((first["codec"], first["fourCc"], first["width"], first["height"], first["frameRate"]),
          ("Motion JPEG", "MJPG", 64, 48, {"rate": 25, "scale": 1, "perSecond": 25.0}), "picture")
    equal((first["frames"], first["keyFrames"], first["displayAspect"], first["scan"]), (52, 3, None, None), "frames")
    equal({**report["streams"][1], "chunks": 0}, {
        "number": 1, "kind": "audio", "codec": "PCM", "formatTag": 1, "samplesPerSecond": 48000, "channels": 2, "bitsPerSample": 16,
        "chunks": 0, "startSeconds": 0.0, "seconds": 2.08, "bitsPerSecond": 1536000}, "sound")
    equal(exit_code(kravi("info", "clip.avi", "--json"), 0).json()["version"], 2, "version")


def test_summary_fits_on_any_screen(kravi):
    wide = avi.video([avi.payload(1, 99)] * 3, width=32000, height=32000, compression=b"ULH0", rate=1000000, scale=66667)
    wide.more, wide.start = video_properties(16384, 13405, fields=2), 100
    strange = avi.video([b"ab"] * 3, compression=b"\x01\x02\x03\x04", rate=0)
    text = avi.Stream(b"txts", b"", [b"one"])
    clips = ([*avi.standard_streams(3, audio=6), text], [wide, mp3(), wide, mp3()], [strange, text], [mp3()],
             [wide, *(avi.pcm([bytes(1920)] * 3, channels=6) for _ in range(20))], [text], [wide, wide, wide, wide])
    for number, streams in enumerate(clips):
        for build in (avi.simple_avi, avi.open_dml_avi):
            kravi.write("clip.avi", build(streams, before_movi=avi.private_chunks()) if build is avi.simple_avi else build(streams))
            shown = kravi("info", "clip.avi").out.splitlines()
            count = [line.startswith("health") for line in shown].index(True) + 1
            check(count <= MOST_LINES, f"{number}: {shown}")
            check(all(len(line) <= MOST_COLUMNS for line in shown[:count]), f"{number}: {shown}")
            check(sum(line.startswith(("video", "audio", "other", "and")) for line in shown) >= 1, f"{number}: {shown}")
    kravi.write("clip.avi", avi.simple_avi(clips[0]))
    check("and         audio 2 PCM, audio 3 PCM, audio 4 PCM, audio 5 PCM, audio 6 PCM" not in lines(kravi, "clip.avi"), "too long")
    check("and         6 streams; see --full" in lines(kravi, "clip.avi"), str(lines(kravi, "clip.avi")))


def test_aspect_and_fields_have_their_source(kravi):
    streams = avi.standard_streams(2)
    kravi.write("clip.avi", avi.simple_avi(streams, before_movi=avi.private_chunks(1, 4, 3)))
    check("            all key frames, aspect 16:9, lower field first (private chunk)" in lines(kravi, "clip.avi"), "private chunk")
    streams[0].more = video_properties(4, 3, fields=2)
    kravi.write("clip.avi", avi.simple_avi(streams))
    check("            all key frames, aspect 4:3, interlaced (vprp)" in lines(kravi, "clip.avi"), "vprp")
    kravi.write("clip.avi", avi.simple_avi(streams, before_movi=avi.private_chunks(255, 4, 3)))
    check("            all key frames, aspect 16:9 (private chunk), interlaced (vprp)" in lines(kravi, "clip.avi"), "both")
    streams[0].more = video_properties(0, 3)  # 1 says nothing: some programs store it whatever the picture is
    kravi.write("clip.avi", avi.simple_avi(streams))
    check("            all key frames, aspect not stored" in lines(kravi, "clip.avi"), "neither")


def test_dv_describes_itself(kravi):
    for is_wide, first_field, aspect, order in ((True, 1, "16:9", "lower field first"), (False, 0, "4:3", "upper field first")):
        stream = dv([dv_frame(is_wide, first_field)] * 3)
        stream.more = video_properties(3, 2)  # which some programs store of any DV
        kravi.write("dv.avi", avi.simple_avi([stream]))
        check(f"            all key frames, aspect {aspect}, {order} (DV stream)" in lines(kravi, "dv.avi"), aspect)
        video = summary(kravi, "dv.avi")["streams"][0]
        equal((video["codec"], video["scan"]), ("DV", {"mode": order, "source": "DV stream"}), "DV")
    kravi.write("dv.avi", avi.simple_avi([dv([dv_frame(False, 0, interlaced=False)] * 3)]))
    equal(summary(kravi, "dv.avi")["streams"][0]["scan"]["mode"], "progressive", "not interlaced")
    kravi.write("dv.avi", avi.simple_avi([dv([avi.payload(1, 2000)] * 3)]))
    video = summary(kravi, "dv.avi")["streams"][0]
    equal((video["displayAspect"], video["scan"]), (None, None), "frames that are not DV")
    interleaved = avi.Stream(b"iavs", bytes(32), [dv_frame(False, 1, is_pal=False)] * 3, rate=30000, scale=1001)
    kravi.write("dv.avi", avi.simple_avi([interleaved, *avi.standard_streams(3)[:1]]))
    video = kravi("info", "dv.avi", "--json").json()["summary"]["streams"][0]
    equal((video["width"], video["height"], video["scan"]["mode"]), (720, 480, "lower field first"), "DV with its sound")


def test_what_hosts_guess_is_marked(kravi):
    kravi.write("hd.avi", avi.simple_avi([avi.video([b"abc"] * 3, width=1920, height=1080)]))
    text = "\n".join(lines(kravi, "hd.avi"))
    check("field first" not in text, text)
    full = lines(kravi, "hd.avi", "--full")
    check("  scan mode                0 (upper field first, guessed from the size)" in full, str(full))
    kravi.write("hd.avi", avi.simple_avi([avi.video([b"abc"] * 3, width=1920, height=1080)], before_movi=avi.private_chunks(0, 1, 1)))
    check("  scan mode                0 (upper field first)" in lines(kravi, "hd.avi", "--full"), "declared")
    for stored, mode in (((1, 1), "0 (4:3, guessed from the size)"), ((16, 15), "0 (4:3)"), ((64, 45), "1 (16:9)")):
        kravi.write("sd.avi", avi.simple_avi([avi.video([b"abc"] * 3, width=720, height=576)], before_movi=avi.private_chunks(0, *stored)))
        check(f"  aspect mode              {mode}" in lines(kravi, "sd.avi", "--full"), str(lines(kravi, "sd.avi", "--full")))


def test_sound_that_hosts_do_not_see(kravi):
    kravi.write("xvid.avi", avi.simple_avi([avi.video([avi.payload(1, 80)] * 12, compression=b"XVID"), mp3()]))
    result = exit_code(kravi("info", "xvid.avi", "--json"), 0).json()
    equal(result["findings"], [], "findings")
    sound = result["summary"]["streams"][1]
    equal((sound["codec"], sound["formatTag"], sound["samplesPerSecond"], sound["channels"], sound["bitsPerSecond"]),
          ("MP3", 0x55, 48000, 2, 128000), "sound")
    equal((sound["seconds"], result["summary"]["duration"]), (0.48, "00:00:00:12"), "duration")
    check("audio 1     MP3 (0x0055), 48000 Hz, stereo, 128 kbit/s, 0.480 s" in lines(kravi, "xvid.avi"), "text")
    equal([line for line in lines(kravi, "xvid.avi") if line.startswith(("note", "finding"))], [], "remarks")
    check(any("cannot index the sound" in line for line in lines(kravi, "xvid.avi", "--full")), "what hosts see")


def test_rows_from_top_to_bottom_are_no_defect(kravi):
    streams = [avi.video([bytes(64 * 48 * 3)] * 3, height=-48, compression=b"\0\0\0\0"), avi.pcm([bytes(7680)] * 3)]
    kravi.write("rgb.avi", avi.simple_avi(streams))
    result = exit_code(kravi("info", "rgb.avi", "--json"), 0).json()
    equal(result["findings"], [], "findings")
    video = result["summary"]["streams"][0]
    equal((video["codec"], video["fourCc"], video["height"], video["topDown"], video["frames"]),
          ("uncompressed RGB", None, 48, True, 3), "picture")
    check("video 0     uncompressed RGB (0), 24 bits, 64 x 48, 25 fps (25/1)" in lines(kravi, "rgb.avi"), "text")
    check(any("hosts see no video" in line for line in lines(kravi, "rgb.avi", "--full")), "what hosts see")


def test_texts_and_time_code(kravi):
    info = avi.lst(b"INFO", avi.chunk(b"INAM", b"Harbour\0"), avi.chunk(b"ISFT", b"recorder 1\0"),
                   avi.chunk(b"ISMP", b"01:02:03:04\0"), avi.chunk(b"IXYZ", b"a\x1b[31mb\xff\0"), avi.chunk(b"ICMT", b"\0"))
    kravi.write("clip.avi", avi.simple_avi(avi.standard_streams(2), before_movi=info))
    shown = lines(kravi, "clip.avi")
    equal(shown[-4:], ["title       Harbour", "software    recorder 1", "time code   01:02:03:04", "'IXYZ'      a\\x1B[31mb\\xFF"], "texts")
    equal(exit_code(kravi("info", "clip.avi", "--json"), 0).json()["tags"][:2],
          [{"id": "INAM", "name": "title", "text": "Harbour"}, {"id": "ISFT", "name": "software", "text": "recorder 1"}], "tags")


def test_health(kravi):
    data = avi.simple_avi(avi.standard_streams())
    kravi.write("cut.avi", data[:-1000])
    check(f"health      truncated at {len(data) - 1000} (1000 bytes missing)" in lines(kravi, "cut.avi", code=1), "truncated")
    unset = bytearray(avi.simple_avi(avi.standard_streams(), idx1=False))
    for size in (0, 0xFFFFFFFF):
        for position in (4, unset.index(b"movi") - 4):
            struct.pack_into("<I", unset, position, size)
        kravi.write("unset.avi", bytes(unset))
        report = summary(kravi, "unset.avi", code=1)
        equal((report["health"], report["duration"], report["streams"][0]["frames"]), ("not closed", "00:00:00:12", 12), f"size {size}")
    check("health      recording was not closed" in lines(kravi, "unset.avi", code=1), "text")
    started = bytearray(avi.simple_avi(avi.standard_streams(), idx1=False))
    struct.pack_into("<I", started, 4, started.index(b"movi") - 16)  # as some programs begin: the data lie after the segment
    kravi.write("started.avi", bytes(started))
    report = exit_code(kravi("info", "started.avi", "--json"), 1).json()
    equal((report["summary"]["health"], report["summary"]["duration"]), ("not closed", "00:00:00:12"), "data after the segment")
    check("the recording was not closed: data follow the last segment; kravi recover makes it a complete file"
          in report["findings"], str(report["findings"]))
    kravi.write("bare.avi", bytes(200) + avi.chunk(b"00dc", b"one") * 20)
    check("health      no AVI headers: bare chunks" in lines(kravi, "bare.avi", code=1), "bare chunks")
    if kravi.is_emulated:
        return  # a writer there holds another kind of lock
    import fcntl
    kravi.write("clip.avi", data)
    with open(kravi.path("clip.avi"), "r+b") as file:
        fcntl.flock(file, fcntl.LOCK_EX)
        check("health      being recorded" in lines(kravi, "clip.avi"), "a recorder that locks")


def test_recorder_that_does_not_lock_is_seen(kravi):
    unset = bytearray(avi.simple_avi(avi.standard_streams(), idx1=False))
    for position in (4, unset.index(b"movi") - 4):
        struct.pack_into("<I", unset, position, 0)
    for _ in range(10):  # the recorder may be kept from writing just while the program looks
        kravi.write("clip.avi", bytes(unset))
        running = kravi.start("info", "clip.avi", "--json")
        with open(kravi.path("clip.avi"), "ab") as file:
            while running.poll() is None:
                file.write(avi.chunk(b"00dc", avi.payload(1, 300)))
                file.flush()
                time.sleep(0.005)
        if b'"health":"being recorded"' in running.communicate()[0]:
            return
    check(False, "a file that grows")
