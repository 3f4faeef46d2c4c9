"""set and undo: header fields change in place, nothing else does, and undo restores the file byte for byte."""

import os
import struct
import subprocess

import avi_builder as avi
from kravi_runner import check, equal, exit_code

UNDO = ".kravi-undo"


def vprp(fields=2, lines=(23, 336), aspect=(4, 3), refresh=25):
    """With the descriptions of so many fields."""
    head = struct.pack("<9I", 0, 0, refresh, 864, 625, aspect[0] << 16 | aspect[1], 720, 576, fields)
    return avi.chunk(b"vprp", head + b"".join(struct.pack("<8I", 288, 720, 288, 720, 0, 0, 0, line) for line in lines[:fields]))


def with_chunk(data, after, extra):
    """A chunk after the first one of an id, in a file without positions in its headers; the lists around it grow."""
    place = data.index(after) + 8
    place += struct.unpack_from("<I", data, place - 4)[0]
    place += place % 2
    patched = bytearray(data[:place] + extra + data[place:])
    for position in (4, data.index(b"hdrl") - 4, data.rindex(b"strl", 0, place) - 4):
        struct.pack_into("<I", patched, position, struct.unpack_from("<I", patched, position)[0] + len(extra))
    return bytes(patched)


def info_list(*texts):
    return avi.lst(b"INFO", *(avi.chunk(name, text + b"\0") for name, text in texts))


def mended(kravi, *options, name="in.avi", code=0):
    return exit_code(kravi("set", name, *options, "--json"), code).json()


def undone(kravi, name="in.avi", code=0):
    return exit_code(kravi("undo", name, "--json"), code).json()


def differences(one, other):
    return [place for place, (left, right) in enumerate(zip(one, other)) if left != right]


def after_set(kravi, data, *options):
    """The file and the report after a change that undo takes back."""
    kravi.write("in.avi", data)
    report = mended(kravi, *options)
    changed = kravi.read("in.avi")
    equal(len(changed), len(data), f"{options}: length")
    check(changed != data, f"{options}: unchanged")
    undone(kravi)
    check(kravi.read("in.avi") == data, f"{options}: undo")
    check("in.avi" + UNDO not in kravi.names(), f"{options}: undo file")
    return changed, report


def refused(kravi, words, *arguments, data=None):
    """Leaves the file as it was."""
    before = data if data is not None else kravi.read("in.avi")
    result = exit_code(kravi(*arguments), 2)
    check(words in result.err, f"{arguments}: {result}")
    check(kravi.read("in.avi") == before, f"{arguments}: the file changed")


def test_rate_codec_handler_and_start(kravi):
    streams = avi.standard_streams(6)
    data = avi.simple_avi(streams)
    strh, strf = data.index(b"strh") + 8, data.index(b"strf") + 8
    micro = data.index(b"avih") + 8
    for options, wanted in {("--rate", "30000/1001"): [(strh + 20, 1001), (strh + 24, 30000), (micro, 33366)],
                            ("--rate", "29.97"): [(strh + 20, 1001), (strh + 24, 30000), (micro, 33366)],
                            ("--rate", "50"): [(strh + 20, 1), (strh + 24, 50), (micro, 20000)],
                            ("--codec", "XVID"): [(strf + 16, b"XVID")],
                            ("--codec", "DIB "): [(strf + 16, bytes(4))],
                            ("--handler", "divx"): [(strh + 4, b"divx")],
                            ("--start", "7"): [(strh + 28, 7)],
                            ("--start", "0.48s"): [(strh + 28, 12)],
                            ("--start", "24000", "--stream", "1"): [(data.index(b"strh", strh) + 36, 24000)],
                            ("--start", "0.5s", "--stream", "1"): [(data.index(b"strh", strh) + 36, 24000)],
                            }.items():
        changed, report = after_set(kravi, data, *options)
        expected = bytearray(data)
        for place, value in wanted:
            expected[place:place + 4] = value if isinstance(value, bytes) else struct.pack("<I", value)
        equal(differences(changed, expected), [], f"{options}")
        equal(report["changes"][0]["offset"], wanted[0][0], f"{options}: offset")
        check(0 < report["bytesChanged"] <= 16, f"{options}: {report}")
    kravi.write("in.avi", data)
    mended(kravi, "--rate", "30000/1001")
    check(all(row["severity"] == "note" for row in kravi("verify", "in.avi", "--json").json()["results"]), "verify")


def test_aspect_and_scan_mode(kravi):
    streams = avi.standard_streams(3)
    streams[0].fmt = avi.video_format(720, 576)
    private = avi.simple_avi(streams, before_movi=avi.private_chunks(1, 16, 15))
    changed, report = after_set(kravi, private, "--aspect", "16:9", "--scan", "upper")
    equal(differences(changed, avi.simple_avi(streams, before_movi=avi.private_chunks(0, 64, 45))), [], "private chunks")
    equal([(change["field"], change["before"], change["after"]) for change in report["changes"]],
          [("pixel aspect", "16:15", "64:45")] * 2 + [("scan mode", "lower", "upper")] * 2, "changes")
    shape = with_chunk(avi.simple_avi(streams), b"strf", vprp())
    for options, wanted in ((("--aspect", "16:9"), vprp(aspect=(16, 9))), (("--scan", "lower"), vprp(lines=(336, 23))),
                            (("--rate", "50"), vprp(refresh=50))):
        changed, report = after_set(kravi, shape, *options)
        equal(changed[changed.index(b"vprp"):][:len(wanted)][4:], wanted[4:], f"{options}")
    kravi.write("in.avi", shape)
    report = mended(kravi, "--scan", "upper")
    equal((report["bytesChanged"], report["undoFile"], kravi.names()), (0, None, ["in.avi"]), "the same mode")
    refused(kravi, "no chunk of it has a scan mode that can be changed", "set", "in.avi", "--scan", "progressive")
    kravi.write("in.avi", avi.simple_avi(streams))
    refused(kravi, "no chunk of it has a display aspect", "set", "in.avi", "--aspect", "16:9")
    refused(kravi, "no chunk of it has a scan mode", "set", "in.avi", "--scan", "upper")
    kravi.write("in.avi", with_chunk(private, b"strf", vprp(1)))
    equal(mended(kravi, "--scan", "upper")["notes"],
          ["'vprp' describes 1 field of a frame, which cannot be changed in place"], "notes")


def test_texts(kravi):
    streams = avi.standard_streams(3)
    texts = info_list((b"INAM", b"An old title"), (b"IART", b"me"))
    for name, before, options, wanted in (
            ("the same length", texts, ("--title", "A new title!"), info_list((b"INAM", b"A new title!"), (b"IART", b"me"))),
            ("shorter, with filler", texts, ("--title", "A"),
             info_list((b"INAM", b"A"), (b"IART", b"me")) + avi.chunk(b"JUNK", bytes(4))),
            ("a little shorter", texts, ("--title", "An old one"),
             info_list((b"INAM", b"An old one"), (b"IART", b"me" + bytes(3)))),
            ("longer, out of the filler", texts + avi.chunk(b"JUNK", bytes(60)), ("--title", "A title longer than the old one"),
             info_list((b"INAM", b"A title longer than the old one"), (b"IART", b"me")) + avi.chunk(b"JUNK", bytes(42))),
            ("one more", texts + avi.chunk(b"JUNK", bytes(60)), ("--comment", "hm", "--artist", "M\u00fcller"),
             info_list((b"INAM", b"An old title"), (b"IART", "M\u00fcller".encode()), (b"ICMT", b"hm")) +
             avi.chunk(b"JUNK", bytes(44))),
            ("in filler alone", avi.chunk(b"JUNK", bytes(100)), ("--copyright", "free"),
             info_list((b"ICOP", b"free")) + avi.chunk(b"JUNK", bytes(74)))):
        data = avi.simple_avi(streams, before_movi=before)
        changed, _ = after_set(kravi, data, *options)
        equal(changed, avi.simple_avi(streams, before_movi=wanted), name)
    for before, words in ((texts, "and there is room for 46"), (texts + avi.chunk(b"JUNK", b"x" * 60), "and there is room for 46"),
                          (b"", "neither texts ('INFO') nor filler")):
        data = avi.simple_avi(streams, before_movi=before)
        kravi.write("in.avi", data)
        refused(kravi, words, "set", "in.avi", "--title", "A title that is longer than the old one")
    refused(kravi, "without control characters", "set", "in.avi", "--title", "a\nb")


def test_what_makes_no_sense(kravi):
    kravi.write("in.avi", avi.simple_avi(avi.standard_streams(3)))
    for words, *options in (("nothing to set",), ("is not one of", "--rate", "fast"), ("is not a frame rate", "--rate", "30/0"),
                            ("--codec must be four characters", "--codec", "XVIDX"), ("--aspect: '16'", "--aspect", "16"),
                            ("--start: 'soon'", "--start", "soon"), ("--start: '-1s'", "--start", "-1s"),
                            ("there is no stream 9: the file has 2 streams", "--rate", "25", "--stream", "9"),
                            ("stream 1 is not video", "--rate", "25", "--stream", "1")):
        refused(kravi, words, "set", "in.avi", *options)
    for name, data, words in (("text", b"some words of text" * 30, "not an AVI file"), ("sound", avi.chunk(b"RIFF", b"WAVEfmt "), "RIFF 'WAVE'"),
                              ("empty", b"", "not an AVI file"), ("no headers", avi.chunk(b"RIFF", b"AVI " + bytes(300)), "no header list")):
        kravi.write("in.avi", data)
        refused(kravi, words, "set", "in.avi", "--rate", "25")
    equal(kravi.names(), ["in.avi"], "files")


def test_damaged_headers_are_refused(kravi):
    """Each byte of the headers zeroed or all ones: a change that undo takes back, or none."""
    data = avi.simple_avi(avi.standard_streams(2), before_movi=avi.private_chunks() + info_list((b"INAM", b"a title")))
    end = data.index(b"movi")
    for place in range(0, end, end // kravi.rounds(end // 7)):
        for value in (b"\0", b"\xff"):
            damaged = data[:place] + value + data[place + 1:]
            kravi.write("in.avi", damaged)
            result = kravi("set", "in.avi", "--rate", "24", "--aspect", "16:9", "--title", "b")
            check(result.code in (0, 2), f"{place}: {result}")
            if "in.avi" + UNDO in kravi.names():
                exit_code(kravi("undo", "in.avi"), 0)
            check(kravi.read("in.avi") == damaged, f"{place}, {value}")


def test_lists_in_lists(kravi):
    """As deep as a file is long, and the stack of a program is not: on Windows it has 2 MB."""
    inner = b""
    for _ in range(9900):
        inner = b"LIST" + struct.pack("<I", len(inner) + 4) + b"hdrl" + inner
    kravi.write("in.avi", avi.chunk(b"RIFF", b"AVI " + inner))
    arguments = [*kravi.command, "set", kravi.path("in.avi"), "--rate", "25"]
    limited = arguments if kravi.is_emulated else ["sh", "-c", 'ulimit -s 2048; exec "$@"', "sh", *arguments]
    done = subprocess.run(limited, stdin=subprocess.DEVNULL, capture_output=True, check=False)
    check(done.returncode == 2 and b"no video stream" in done.stderr, f"{done}")


def test_several_changes(kravi):
    data = avi.simple_avi(avi.standard_streams(3))
    kravi.write("in.avi", data)
    contents = [data]
    for options in (("--rate", "50"), ("--codec", "XVID"), ("--rate", "24", "--start", "3")):
        mended(kravi, *options)
        contents.append(kravi.read("in.avi"))
    contents.pop()
    while contents:
        report = undone(kravi)
        equal(kravi.read("in.avi"), contents.pop(), "taken back")
        equal((report["undone"], report["hasMore"]), ("set", bool(contents)), "report")
    refused(kravi, "nothing to undo: there is no file in.avi.kravi-undo", "undo", "in.avi")


def interrupted(data, changed, part):
    """As a crash leaves a file: some of its sectors are the new ones."""
    return b"".join((changed if part >> (place // 512) & 1 else data)[place:place + 512] for place in range(0, len(data), 512))


def test_interrupted_changes(kravi):
    streams = avi.standard_streams(3)
    data = avi.simple_avi(streams, before_movi=avi.private_chunks() + info_list((b"INAM", b"a title")))
    kravi.write("in.avi", data)
    mended(kravi, "--rate", "50", "--aspect", "16:9", "--title", "another")
    changed, journal = kravi.read("in.avi"), kravi.read("in.avi" + UNDO)
    parts = {place // 512 for place in differences(data, changed)}
    check(len(parts) > 1, f"changes in one sector: {parts}")
    first = 1 << min(parts)
    half = interrupted(data, changed, first)
    kravi.write("in.avi", half)
    refused(kravi, "kravi set was interrupted while it changed the file; take that back first", "set", "in.avi", "--codec", "XVID")
    equal(undone(kravi)["undone"], "set", "half of the change")
    check(kravi.read("in.avi") == data, "undo")
    for length in (0, 5, 100, len(journal) - 1):  # of an undo file that did not reach the disk
        for tail in (journal[:length], bytes(length), journal[:length] + bytes(len(journal) - length)):
            kravi.write("in.avi" + UNDO, tail)
            report = undone(kravi)
            equal((report["undone"], report["bytesRestored"], kravi.names()), (None, 0, ["in.avi"]), f"{length} bytes")
            check(kravi.read("in.avi") == data, f"{length} bytes")
    kravi.write("in.avi" + UNDO, journal[:70])
    mended(kravi, "--rate", "24")
    undone(kravi)
    check(kravi.read("in.avi") == data and kravi.names() == ["in.avi"], "over the rest of an undo file")


def test_undo_files_of_other_files(kravi):
    streams = avi.standard_streams(3)
    data = avi.simple_avi(streams)
    kravi.write("in.avi", data)
    mended(kravi, "--rate", "50")
    changed, journal = kravi.read("in.avi"), kravi.read("in.avi" + UNDO)
    others = {"another rate": changed.replace(struct.pack("<II", 1, 50), struct.pack("<II", 1, 60)), "shorter": changed[:-1],
              "longer": changed + b"x", "other headers": changed.replace(b"MJPG", b"mjpg"),
              "another end": changed[:-1] + bytes([changed[-1] ^ 1])}
    for name, other in others.items():
        kravi.write("in.avi", other)
        refused(kravi, "changed by another program since", "undo", "in.avi")
        refused(kravi, "it is about another file", "set", "in.avi", "--codec", "XVID")
        equal(kravi.read("in.avi" + UNDO), journal, f"{name}: undo file")
    kravi.write("in.avi", changed)
    for foreign in (b"my own notes", b"KrUndo2\nand more" * 9):
        kravi.write("in.avi" + UNDO, foreign)
        for arguments in (("undo", "in.avi"), ("set", "in.avi", "--codec", "XVID")):
            refused(kravi, "it is not an undo file of kravi", *arguments)
        equal(kravi.read("in.avi" + UNDO), foreign, "somebody's file")
    for place in range(0, len(journal), 1 if len(journal) < 200 else 3):  # the damage of any byte is noticed
        kravi.write("in.avi" + UNDO, journal[:place] + bytes([journal[place] ^ 0x40]) + journal[place + 1:])
        result = kravi("undo", "in.avi")
        check(kravi.read("in.avi") == changed, f"{place}: {result}")


def test_files_that_cannot_be_changed(kravi):
    data = avi.simple_avi(avi.standard_streams(3))
    kravi.write("in.avi", data)
    os.mkdir(kravi.path("folder"))
    verbs = (("set", "--rate", "50"), ("undo",))
    for verb, *options in verbs:
        for name, words in (("missing.avi", "there is no such file"), ("folder", "it is a folder")):
            refused(kravi, words, verb, name, *options)
    if kravi.is_emulated:
        return
    import fcntl  # pylint: disable=import-outside-toplevel
    os.symlink("in.avi", kravi.path("link.avi"))
    for verb, *options in verbs:
        refused(kravi, "it is a symbolic link; name the file that it leads to", verb, "link.avi", *options)
        for lock in (fcntl.LOCK_EX, fcntl.LOCK_SH):  # somebody records, somebody reads
            with open(kravi.path("in.avi"), "rb") as file:
                fcntl.flock(file, lock)
                refused(kravi, "it is in use", verb, "in.avi", *options)
    os.symlink("in.avi", kravi.path("in.avi" + UNDO))
    for verb, *options in verbs:
        refused(kravi, "it is a symbolic link, not an undo file", verb, "in.avi", *options)
    os.remove(kravi.path("in.avi" + UNDO))
    os.mkdir(kravi.path("in.avi" + UNDO))
    refused(kravi, "it is a folder", "set", "in.avi", "--rate", "50")
    os.rmdir(kravi.path("in.avi" + UNDO))
    equal(kravi.names(), ["folder", "in.avi", "link.avi"], "files")


def test_files_without_permission(kravi):
    """As another user where this one may do anything."""
    if kravi.is_emulated:
        return
    data = avi.simple_avi(avi.standard_streams(3))
    kravi.write("in.avi", data)
    os.chmod(kravi.folder, 0o755)
    os.chmod(kravi.path("in.avi"), 0o444)
    user = {"user": 65534} if os.geteuid() == 0 else {}
    try:
        done = subprocess.run([*kravi.command, "set", "in.avi", "--rate", "50"], cwd=kravi.folder, stdin=subprocess.DEVNULL,
                              capture_output=True, check=False, **user)
    except PermissionError:
        return  # not even kravi itself may be run
    equal((done.returncode, done.stderr), (2, b"kravi: in.avi: no permission to change it\n"), "set")
    check(kravi.read("in.avi") == data, "the file changed")
    os.chmod(kravi.path("in.avi"), 0o666)  # but no undo file can be made in the folder
    done = subprocess.run([*kravi.command, "set", "in.avi", "--rate", "50"], cwd=kravi.folder, stdin=subprocess.DEVNULL,
                          capture_output=True, check=False, **user)
    if user:
        equal((done.returncode, done.stderr), (2, b"kravi: in.avi.kravi-undo: it cannot be created, and without an undo file "
                                                  b"nothing is changed\n"), "undo file")
        check(kravi.read("in.avi") == data, "the file changed")
