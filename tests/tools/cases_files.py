"""Arguments, exit codes, messages, and files that cannot be read or written."""

import os
import subprocess

import avi_builder as avi
from kravi_runner import check, equal, exit_code

VERBS = ("info", "tree", "index", "extract", "map")


def small_avi(kravi, name="clip.avi"):
    return kravi.write(name, avi.simple_avi(avi.standard_streams()))


def test_help_and_version_are_answered_on_stdout_with_0(kravi):
    result = exit_code(kravi("--help"), 0)
    for verb in VERBS:
        check(verb in result.out, f"help does not name {verb}")
        verb_help = exit_code(kravi(verb, "--help"), 0)
        check("Exit codes" in verb_help.out and "Findings" in verb_help.out, f"help of {verb} lacks something")
    check(exit_code(kravi("--version"), 0).out.startswith("kravi "), "version")


def test_wrong_arguments_are_2(kravi):
    small_avi(kravi)
    for arguments in ([], ["nosuchverb"], ["info"], ["info", "clip.avi", "--nosuch"], ["tree", "clip.avi", "more"],
                      ["info", "clip.avi", "--progress=loud"], ["index", "clip.avi", "--from", "-1"],
                      ["index", "clip.avi", "--from", "010x"], ["index", "clip.avi", "--to", "99999999999999999999"],
                      ["index", "clip.avi", "--from", "5", "--to", "4"], ["extract", "clip.avi"]):
        result = exit_code(kravi(*arguments), 2)
        check(result.err.startswith("kravi: "), f"{arguments} is not explained: {result}")
        equal(result.out, "", f"output of {arguments}")


def test_wrong_arguments_with_json_give_an_error_object(kravi):
    result = exit_code(kravi("info", "--json"), 2)
    check("FILE" in result.json()["error"]["cause"], str(result))


def test_missing_file_is_2_and_named(kravi):
    for verb in ("info", "tree", "index"):
        result = exit_code(kravi(verb, "nowhere.avi"), 2)
        equal(result.err, "kravi: nowhere.avi: there is no such file\n", verb)
        equal(result.out, "", verb)
    result = exit_code(kravi("extract", "nowhere.avi", "--audio", "a.wav"), 2)
    check("nowhere.avi: there is no such file" in result.err, str(result))
    equal(kravi.names(), [], "files")


def test_usage_errors_say_what_is_wrong_and_where_help_is(kravi):
    for arguments, wanted in ((["bogus"], "kravi: there is no verb 'bogus'; see kravi --help"),
                              (["--json"], "kravi: expected a verb before '--json'; see kravi --help"),
                              (["write", "o.avi", "--jpeg", "a%d.jpg", "--jpeg", "b%d.jpg"],
                               "kravi: --jpeg is given twice; use one pattern, such as shot%04d.jpg; see kravi write --help"),
                              (["cut", "i.avi", "o.avi", "--to", "1", "--to", "2", "--to", "3"],
                               "kravi: --to is given 3 times; see kravi cut --help"),
                              (["info"], "see kravi info --help"), (["map", "clip.avi"], "see kravi map --help"),
                              (["tree", "clip.avi", "--deep"], "see kravi tree --help")):
        result = exit_code(kravi(*arguments), 2)
        check(wanted in result.err, f"{arguments}: {result}")


def test_failure_with_json_is_an_object_with_error(kravi):
    result = exit_code(kravi("info", "nowhere.avi", "--json"), 2)
    equal(result.json(), {"error": {"file": "nowhere.avi", "cause": "there is no such file"}}, "object")
    check("there is no such file" in result.err, "stderr")


def test_folder_is_2(kravi):
    os.mkdir(kravi.path("folder"))
    check("folder: it is a folder" in exit_code(kravi("tree", "folder"), 2).err, "message")


def test_file_of_200_bytes_is_2_and_the_size_is_named(kravi):
    kravi.write("tiny.avi", avi.simple_avi(avi.standard_streams())[:200])
    check("it has only 200 bytes" in exit_code(kravi("info", "tiny.avi"), 2).err, "message")
    kravi.write("empty.avi", b"")
    check("it has only 0 bytes" in exit_code(kravi("tree", "empty.avi"), 2).err, "message")


def test_other_files_are_2(kravi):
    kravi.write("text.avi", b"These are words, and more words follow them. " * 40)
    kravi.write("zeros.avi", bytes(5000))
    unknown = "no AVI header at the start; if this is a damaged AVI file, try kravi recover"
    for verb in ("info", "verify"):
        for name in ("text.avi", "zeros.avi"):
            equal(exit_code(kravi(verb, name), 2).err, f"kravi: {name}: {unknown}\n", f"{name}: {verb}")
    kravi.write("s.wav", avi.chunk(b"RIFF", b"WAVE" + avi.chunk(b"data", avi.payload(1, 5000))))
    for verb in ("info", "verify"):
        equal(exit_code(kravi(verb, "s.wav"), 2).err, "kravi: s.wav: not an AVI file (it is RIFF 'WAVE')\n", verb)
    result = exit_code(kravi("recover", "s.wav", "out.avi"), 2)
    equal(result.err, "kravi: s.wav: not an AVI file (it is RIFF 'WAVE')\n", "recover")
    packets = b"".join(b"\x47" + bytes(187) for _ in range(9))
    for name, head in (("MP4 or QuickTime", b"\0\0\0\x20ftypisom"), ("Matroska or WebM", b"\x1a\x45\xdf\xa3\xa3\x42\x86\x81"),
                       ("an MPEG transport stream", packets), ("Windows Media", b"\x30\x26\xb2\x75\x8e\x66\xcf\x11")):
        kravi.write("other.avi", head + bytes(5000))
        for arguments in (["info", "other.avi"], ["rewrap", "other.avi", "out.avi"], ["recover", "other.avi", "out.avi"]):
            equal(exit_code(kravi(*arguments), 2).err, f"kravi: other.avi: not an AVI file (it is {name})\n", str(arguments))
    headers = avi.simple_avi(avi.standard_streams())
    kravi.write("empty.avi", headers[:12] + bytes(5000))
    exit_code(kravi("info", "empty.avi"), 2)


def test_all_inputs_are_looked_at_first(kravi):
    """Nobody waits for hours to hear that the second name is wrong."""
    small_avi(kravi)
    for verb in (["concat", "clip.avi", "nowhere.avi", "-o", "out.avi"], ["hash", "clip.avi", "--compare", "nowhere.avi"]):
        result = exit_code(kravi(*verb), 2)
        equal((result.out, result.err), ("", "kravi: nowhere.avi: there is no such file\n"), verb[0])


def test_folder_of_the_output_is_named(kravi):
    small_avi(kravi)
    for arguments in (["rewrap", "clip.avi", "no/out.avi"], ["extract", "clip.avi", "--audio", "no/a.wav"],
                      ["rewrap", "clip.avi", "no/out.avi", "--layout", "recording"]):
        check(exit_code(kravi(*arguments), 2).err.endswith(": it cannot be written: there is no folder no/\n"), str(arguments))


def test_output_that_takes_nothing_is_said_once(kravi):
    if kravi.is_emulated:
        return
    small_avi(kravi)
    for options in ([], ["--json"]):
        with open("/dev/full", "wb") as full:
            done = subprocess.run([*kravi.command, "verify", "clip.avi", *options], cwd=kravi.folder, stdin=subprocess.DEVNULL,
                                  stdout=full, stderr=subprocess.PIPE, timeout=60, check=False)
        equal((done.returncode, done.stderr), (2, b"kravi: cannot write to standard output\n"), str(options))


def test_file_in_use_is_2(kravi):
    if kravi.is_emulated:
        return  # a writer there holds another kind of lock
    import fcntl
    small_avi(kravi)
    with open(kravi.path("clip.avi"), "r+b") as file:
        fcntl.flock(file, fcntl.LOCK_EX)
        check("clip.avi: it is in use" in exit_code(kravi("tree", "clip.avi"), 2).err, "message")
        check("being recorded" in exit_code(kravi("info", "clip.avi"), 0).out, "a recording under way")
    exit_code(kravi("info", "clip.avi"), 0)


def test_name_beyond_ascii_is_read_and_reported(kravi):
    name = small_avi(kravi, "Größe 日本 \U0001F3AC.avi")
    result = exit_code(kravi("info", name, "--json"), 0)
    equal(result.json()["file"], name, "name")
    exit_code(kravi("extract", name, "--video", "é-%d.jpg", "--to", "0"), 0)
    check("é-0.jpg" in kravi.names(), str(kravi.names()))


def test_name_that_is_no_utf8_is_2(kravi):
    if kravi.is_emulated:
        return  # names are wide there
    result = exit_code(kravi("info", b"\xff\xfe.avi", "--json"), 2)
    check("not valid UTF-8" in result.json()["error"]["cause"], str(result))


def test_existing_output_is_kept_without_force(kravi):
    small_avi(kravi)
    for name, option in (("out.wav", "--audio"), ("out.mjpg", "--video")):
        kravi.write(name, b"precious")
        result = exit_code(kravi("extract", "clip.avi", option, name), 2)
        check(f"{name}: it exists already" in result.err, str(result))
        equal(kravi.read(name), b"precious", name)
        exit_code(kravi("extract", "clip.avi", option, name, "--force"), 0)
        check(kravi.read(name) != b"precious", f"{name} was not replaced")
    equal(kravi.names(), ["clip.avi", "out.mjpg", "out.wav"], "files")


def test_existing_frame_is_found_before_anything_is_written(kravi):
    small_avi(kravi)
    kravi.write("f-7.jpg", b"precious")
    exit_code(kravi("extract", "clip.avi", "--video", "f-%d.jpg", "--audio", "a.wav"), 2)
    equal(kravi.names(), ["clip.avi", "f-7.jpg"], "files")
    exit_code(kravi("extract", "clip.avi", "--video", "f-%d.jpg", "--to", "6"), 0)
    equal(kravi.read("f-7.jpg"), b"precious", "frame after the range")


def test_input_is_never_replaced(kravi):
    small_avi(kravi)
    before = kravi.read("clip.avi")
    for arguments in (["--video", "clip.avi"], ["--audio", "./clip.avi"]):
        exit_code(kravi("extract", "clip.avi", *arguments, "--force"), 2)
    equal(kravi.read("clip.avi"), before, "input")


def test_targets_that_cannot_be_written_are_2(kravi):
    small_avi(kravi)
    os.mkdir(kravi.path("folder"))
    check("it is a folder" in exit_code(kravi("extract", "clip.avi", "--audio", "folder", "--force"), 2).err, "folder")
    result = exit_code(kravi("extract", "clip.avi", "--audio", "nowhere/a.wav"), 2)
    check("nowhere/a.wav: it cannot be written" in result.err, str(result))
    result = exit_code(kravi("extract", "clip.avi", "--audio", "same", "--video", "same"), 2)
    check("need different files" in result.err, str(result))
    if not kravi.is_emulated:
        os.mkfifo(kravi.path("pipe"))
        exit_code(kravi("extract", "clip.avi", "--audio", "pipe", "--force"), 2)
        exit_code(kravi("info", "pipe"), 2)
    equal([name for name in kravi.names() if name.endswith(".tmp")], [], "temporary files")


def test_bad_patterns_are_2(kravi):
    small_avi(kravi)
    for pattern in ("%", "f%", "f%s", "f%5d", "f%0d", "f%00d", "f%021d", "f%-3d", "f%d%d", "f%03d-%d", "f%ld", "f%n",
                    "f%x", "f%%%", "f%099999999999999999999999d"):
        result = exit_code(kravi("extract", "clip.avi", "--video", pattern), 2)
        check("bad pattern" in result.err, f"{pattern}: {result}")
    equal(kravi.names(), ["clip.avi"], "files")


def test_model_of_recover_is_never_replaced(kravi):
    small_avi(kravi, "good.avi")
    small_avi(kravi)
    before = kravi.read("good.avi")
    result = exit_code(kravi("recover", "clip.avi", "good.avi", "--like", "good.avi", "--force"), 2)
    check("good.avi: it is the input file" in result.err, result.err)
    equal(kravi.read("good.avi"), before, "the file")
