"""What people try first: times for frames, rates as fractions, pipes, ranges past the end, missing pictures."""

import struct

import avi_builder as avi
from cases_write import jpegs
from kravi_runner import check, equal, exit_code


def clip(kravi, frames=50, name="clip.avi", **options):
    streams = [avi.video([avi.payload(number, 301 + number) for number in range(frames)], **options)]
    streams.append(avi.pcm([avi.payload(100 + number, 7680) for number in range(frames)]))
    kravi.write(name, avi.simple_avi(streams))
    return streams


def cut_range(kravi, name, *arguments, code=0):
    result = exit_code(kravi("cut", name, "out.avi", *arguments, "--force", "--json"), code)
    return (result.json()["firstFrame"], result.json()["lastFrame"]) if code == 0 else result.json()["error"]["cause"]


def test_frames_by_time(kravi):
    clip(kravi)
    clip(kravi, 90, "ntsc.avi", rate=30000, scale=1001)
    for name, places, wanted in (("clip.avi", ("00:00:01:00", "00:00:01:24"), (25, 49)), ("clip.avi", ("1s", "2s"), (25, 49)),
                                 ("clip.avi", ("0s", "0.04s"), (0, 0)), ("clip.avi", ("0.041s", "0.081s"), (2, 2)),
                                 ("clip.avi", ("10", "0.5s"), (10, 12)), ("ntsc.avi", ("00:00:01:00", "00:00:01:29"), (30, 59)),
                                 ("ntsc.avi", ("1s", "2s"), (30, 59)), ("ntsc.avi", ("00:00:02:00", "00:00:02:29"), (60, 89))):
        equal(cut_range(kravi, name, "--from", places[0], "--to", places[1]), wanted, f"{name}: {places}")
    equal(cut_range(kravi, "clip.avi", "--from", "00:00:01:25", code=2), "--from: no frame has the time 00:00:01:25", "frame 25 of 25")
    equal(cut_range(kravi, "clip.avi", "--to", "0s", code=2), "--to: no frame has the time 0s", "nothing is before 0")
    for wrong in ("x", "1:2:3", "00:00:60:00", "00:61:00:00", "1.s", "s", "-1s", "1.0000001s", "00:00:01:0x", "1,5s", "0x10", "+1"):
        equal(cut_range(kravi, "clip.avi", "--from", wrong, code=2),
              f"--from: '{wrong}' is not a frame such as 250, 00:00:10:00 or 10.5s", wrong)
    equal(cut_range(kravi, "clip.avi", "--from", "1s", "--to", "0.5s", code=2), "--from is after --to", "order")
    clip(kravi, rate=0, name="none.avi")
    check("have no frame rate" in cut_range(kravi, "none.avi", "--from", "1s", code=2), "no rate")
    exit_code(kravi("extract", "clip.avi", "--video", "f%d", "--from", "00:00:00:24", "--to", "1.04s"), 0)
    equal([name for name in kravi.names() if name.startswith("f")], ["f24", "f25"], "extract")
    exit_code(kravi("extract", "clip.avi", "--follow", "--video", "g%d", "--from", "1.96s"), 0)
    check("g49" in kravi.names() and "g48" not in kravi.names(), "extract --follow")
    for options in (["--video"], ["--stream", "0"]):
        rows = exit_code(kravi("index", "clip.avi", *options, "--from", "00:00:01:00", "--to", "1.08s", "--json"), 0).json()
        equal([row["number"] for row in rows["videoEntries" if "--video" in options else "streamEntries"]], [25, 26], "index")
    check("times name frames" in exit_code(kravi("index", "clip.avi", "--from", "1s"), 2).err, "index of all streams")
    check("no frame rate" in exit_code(kravi("index", "clip.avi", "--stream", "1", "--from", "1s"), 2).err, "index of sound")
    result = exit_code(kravi("map", "clip.avi", "-o", "m.svg", "--from", "00:00:01:00", "--to", "00:00:01:09", "--json"), 0).json()
    equal((result["shown"]["firstFrame"], result["shown"]["endFrame"]), (25, 35), "map")


def test_time_of_the_last_frame_leads_to_it(kravi):
    """The duration that info shows, less one frame, names the last frame."""
    rates = ((30000, 1001), (25, 1), (24000, 1001), (15, 1), (50, 1), (60000, 1001), (1000000, 66667))
    for rate, scale in rates[:kravi.rounds(7)]:
        for frames in (1, 24, 29, 30, 31, 60, 61):
            clip(kravi, frames, rate=rate, scale=scale)
            shown = exit_code(kravi("info", "clip.avi", "--json"), 0).json()["summary"]
            video = shown["streams"][0]
            equal(video["frames"], frames, "frames")
            hours, minutes, seconds, rest = map(int, shown["duration"].split(":"))
            total = (hours * 60 + minutes) * 60 + seconds
            if abs(shown["seconds"] - frames * scale / rate) < 1e-9:  # not the sound's
                equal(-(-total * rate // scale) + rest, frames, f"{rate}/{scale}: {shown['duration']}")


def test_rates_as_fractions(kravi):
    jpegs(kravi, 3)
    for text, code in (("30000/1001", 3), ("24000/1001", 0), ("25/1", 2), ("50/2", 2)):
        exit_code(kravi("write", "out.avi", "--jpeg", "f%03d.jpg", "--rate", text, "--force"), 0)
        equal(kravi("info", "out.avi", "--json").json()["video"]["frameRate"]["code"], code, text)
    for wrong in ("30000/1000.5", "30000/", "/1001", "15/1", "0/0", "25/0"):
        check("--rate: " in exit_code(kravi("write", "out.avi", "--jpeg", "f%03d.jpg", "--rate", wrong, "--force"), 2).err, wrong)


def test_ranges_past_the_end_are_errors_everywhere(kravi):
    clip(kravi)
    for verb, options in (("index", ["--video"]), ("index", ["--stream", "1"]), ("index", []), ("extract", ["--video", "v"]),
                          ("extract", ["--audio", "a.wav"]), ("cut", ["out.avi"]), ("cut", ["recording.avi", "--layout", "recording"]),
                          ("map", ["-o", "m.svg"])):
        for places in (["--from", "50"], ["--to", "50"], ["--from", "49", "--to", "60"], ["--from", "60", "--to", "70"]):
            result = exit_code(kravi(verb, "clip.avi", *options, *places, "--json"), 2)
            check("no such" in result.json()["error"]["cause"], f"{verb} {places}: {result}")
        exit_code(kravi(verb, "clip.avi", *options, "--from", "49", "--to", "49"), 0)
    equal(kravi.names(), ["a.wav", "clip.avi", "m.svg", "out.avi", "recording.avi", "v"], "files")
    exit_code(kravi("index", "clip.avi", "--summary", "--from", "60"), 0)


def piped(kravi, *arguments, code=0):
    process = kravi.start(*arguments)
    out, err = process.communicate(timeout=60)
    equal(process.returncode, code, f"{arguments}: {err}")
    return out, err.decode()


def test_standard_output(kravi):
    streams = clip(kravi)
    equal(piped(kravi, "extract", "clip.avi", "--video", "-"), (b"".join(streams[0].chunks), ""), "frames")
    for options in ([], ["--from", "10", "--to", "12"]):
        sound, _ = piped(kravi, "extract", "clip.avi", "--audio", "-", *options)
        exit_code(kravi("extract", "clip.avi", "--audio", "a.wav", "--force", *options), 0)
        equal(sound, kravi.read("a.wav"), f"sound {options}")
    equal(piped(kravi, "extract", "clip.avi", "--video", "f%d", "--audio", "-", "--to", "0")[0][:4], b"RIFF", "both")
    kravi.write("cut.avi", kravi.read("clip.avi")[:-3000])
    _, err = piped(kravi, "extract", "cut.avi", "--video", "-", code=1)
    check(err.startswith("kravi: the file is truncated"), err)
    for arguments in (["extract", "clip.avi", "--video", "-", "--json"], ["extract", "clip.avi", "--audio", "-", "--video", "-"],
                      ["rewrap", "clip.avi", "-"], ["cut", "clip.avi", "-"], ["recover", "clip.avi", "-"],
                      ["concat", "clip.avi", "clip.avi", "-o", "-"], ["write", "-", "--jpeg", "f%d"], ["map", "clip.avi", "-o", "-"]):
        for force in ([], ["--force"]):
            out, err = piped(kravi, *arguments, *force, code=2)
            check(err.startswith("kravi: "), err)
            check(not out or out.startswith(b"{"), f"{arguments}: {out}")
    check("'-' is the standard output" in piped(kravi, "rewrap", "clip.avi", "-", code=2)[1], "reason")
    check("-" not in kravi.names(), "a file named -")
    exit_code(kravi("rewrap", "clip.avi", "./-"), 0)
    check("-" in kravi.names(), "a file that is meant to be named -")


def raw(width, height, bits, compression, frames, palette=b"", **options):
    fmt = avi.video_format(width, height, bits, compression) + palette
    return avi.simple_avi([avi.Stream(b"vids", fmt, frames, **options)])


def y4m(kravi, data, *options):
    kravi.write("raw.avi", data)
    head, *frames = piped(kravi, "extract", "raw.avi", "--y4m", "-", *options)[0].split(b"FRAME\n")
    return head.decode(), frames


def test_uncompressed_pictures_for_a_pipe(kravi):
    luma, blue, red = bytes(range(15)), b"abcdef", b"uvwxyz"  # 5 x 3
    for fourcc, frame in ((b"I420", luma + blue + red), (b"IYUV", luma + blue + red), (b"YV12", luma + red + blue),
                          (b"NV12", luma + bytes(value for pair in zip(blue, red) for value in pair))):
        head, frames = y4m(kravi, raw(5, 3, 12, fourcc, [frame, b"", frame[:15]], rate=30000, scale=1001))
        equal(head, "YUV4MPEG2 W5 H3 F30000:1001 I? A0:0 C420jpeg\n", f"{fourcc}: head")
        equal(frames[:2], [luma + blue + red] * 2, f"{fourcc}: a frame, and one that repeats it")
        equal(frames[2], luma + bytes(12), f"{fourcc}: a short frame")
    padded = b"".join(luma[row * 5:row * 5 + 5] + b"\xee" * 3 for row in range(3))
    padded += b"".join(plane[row * 3:row * 3 + 3] + b"\xee" for plane in (blue, red) for row in range(2))
    equal(y4m(kravi, raw(5, 3, 12, b"I420", [padded]))[1], [luma + blue + red], "rows of multiples of four bytes")
    equal(y4m(kravi, raw(5, 3, 8, b"Y800", [luma]))[1], [luma], "grey")
    for fourcc, frame in ((b"YUY2", b"YaZb" b"y__-" b"PcQd" b"p[.]"), (b"UYVY", b"aYbZ" b"_y-_" b"cPdQ" b"[p].")):
        head, frames = y4m(kravi, raw(3, 2, 16, fourcc, [frame]))
        check(head.endswith(" C422\n"), head)
        equal(frames, [b"YZyPQp" + b"a_c[" + b"b-d]"], fourcc)
    samples = [(4 * place + 1) % 1024 for place in range(12)]  # Cb Y Cr Y
    words = b"".join(struct.pack("<I", samples[at] | samples[at + 1] << 10 | samples[at + 2] << 20) for at in range(0, 12, 3))
    head, frames = y4m(kravi, raw(6, 1, 20, b"v210", [words.ljust(128, b"\0")]))
    check(head.endswith(" C422p10\n"), head)
    equal(struct.unpack("<12H", frames[0]), (*samples[1::2], *samples[0::4], *samples[2::4]), "v210")


def test_bitmaps_for_a_pipe(kravi):
    white, red, black = b"\xff\xff\xff", b"\0\0\xff", b"\0\0\0"
    wanted = bytes((235, 82, 16, 16)) + bytes((128, 90, 128, 128)) + bytes((128, 240, 128, 128))  # white red / black black
    rows = [white + red + b"\xee\xee", black + black + b"\xee\xee"]
    palette = bytes(4) + b"\xff\xff\xff\0" + b"\0\0\xff\0" + bytes(4 * 253)
    for name, data in (("24 bits", raw(2, 2, 24, bytes(4), [rows[1] + rows[0]])),
                       ("top-down", raw(2, -2, 24, bytes(4), [rows[0] + rows[1]])),
                       ("DIB", raw(2, 2, 24, b"DIB ", [rows[1] + rows[0]])),
                       ("32 bits", raw(2, 2, 32, bytes(4), [(black + b"\1") * 2 + white + b"\2" + red + b"\3"])),
                       ("16 bits", raw(2, 2, 16, bytes(4), [bytes(4) + b"\xff\x7f" b"\0\x7c"])),
                       ("8 bits", raw(2, 2, 8, bytes(4), [b"\0\0\xee\xee" b"\1\2\xee\xee"], palette))):
        head, frames = y4m(kravi, data)
        equal(head, "YUV4MPEG2 W2 H2 F25:1 I? A0:0 C444\n", f"{name}: head")
        equal(frames, [wanted], name)
    kravi.write("raw.avi", avi.simple_avi([avi.video([bytes(16)] * 3, width=2, height=2, compression=bytes(4))],
                                          before_movi=avi.private_chunks(1, 64, 45)))
    exit_code(kravi("extract", "raw.avi", "--y4m", "out.y4m", "--from", "1"), 0)
    head, *frames = kravi.read("out.y4m").split(b"FRAME\n")
    equal((head, len(frames)), (b"YUV4MPEG2 W2 H2 F25:1 Ib A64:45 C444\n", 2), "what the file declares, and a range")
    clip(kravi)
    result = exit_code(kravi("extract", "clip.avi", "--y4m", "-"), 2)
    check("clip.avi: --y4m takes uncompressed pictures" in result.err and result.err.endswith("stream 0 is Motion JPEG\n"), result.err)
    for arguments in (["--y4m", "a", "--video", "b"], ["--y4m", "a%d"], ["--y4m", "a", "--follow"]):
        check("--y4m" in exit_code(kravi("extract", "raw.avi", *arguments), 2).err, str(arguments))


def test_sound_that_a_wave_file_cannot_carry(kravi):
    for tag, name in ((0xFF, "AAC"), (0x566F, "Vorbis"), (0x704F, "Opus"), (0xA109, "Speex")):
        fmt = struct.pack("<HHIIHHH", tag, 2, 48000, 16000, 1, 16, 2) + b"\x11\x90"
        kravi.write("clip.avi", avi.simple_avi([*avi.standard_streams(5)[:1], avi.Stream(b"auds", fmt, [b"packet"] * 5, 1024, 48000)]))
        result = exit_code(kravi("extract", "clip.avi", "--audio", "a.wav"), 2)
        check(f"clip.avi: audio stream 1 is {name}, which a WAVE file cannot carry" in result.err, result.err)
        check("a.wav" not in kravi.names(), "a file")


def test_missing_picture_in_a_sequence(kravi):
    jpegs(kravi, 6)
    kravi.remove("f002.jpg")
    result = exit_code(kravi("write", "out.avi", "--jpeg", "f%03d.jpg"), 2)
    equal(result.err, "kravi: f002.jpg: this picture is missing; the next one is f003.jpg\n", "message")
    check("out.avi" not in kravi.names(), "a file")
    exit_code(kravi("write", "out.avi", "--jpeg", "f%03d.jpg", "--start", "3"), 0)
    kravi.write("f0007.jpg", b"of another pattern")
    exit_code(kravi("write", "out.avi", "--jpeg", "f%03d.jpg", "--start", "3", "--force"), 0)
    kravi.write("f1000.jpg", b"of this one")
    check("f1000.jpg" in exit_code(kravi("write", "out.avi", "--jpeg", "f%03d.jpg", "--start", "3", "--force"), 2).err, "far away")
    equal(exit_code(kravi("write", "raw.avi", "--raw", "f%03d.jpg", "--size", "4x4"), 2).err.count("missing"), 1, "raw pictures")
