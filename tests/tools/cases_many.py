"""Several files and folders in one call, one line for each, and reports that say less."""

import os
import struct

import avi_builder as avi
from kravi_runner import check, equal, exit_code, said_on

VERBS = ("info", "verify", "hash")


def clips(kravi):
    """Files in two folders: two that are whole, a truncated one, and one that is not an AVI file."""
    os.makedirs(kravi.path("all/below"))
    data = avi.simple_avi(avi.standard_streams())
    kravi.write("all/b.avi", data)
    kravi.write("all/A.AVI", data)
    kravi.write("all/notes.txt", b"words")
    kravi.write("all/below/cut.avi", data[:-100])
    return data


def test_folders_and_files_in_one_call(kravi):
    clips(kravi)
    names = ["all/A.AVI", "all/b.avi", "all/below/cut.avi"]
    for verb in VERBS:
        reports = exit_code(kravi(verb, "all", "--json"), 1).objects()
        equal([report["file"] for report in reports], names, f"{verb}: files")
        equal([bool(report["findings"]) for report in reports], [False, False, True], f"{verb}: findings")
        alone = exit_code(kravi(verb, "all/below/cut.avi", "--json"), 1).json()
        equal(reports[2], alone, f"{verb}: the report on one file")
        text = exit_code(kravi(verb, "all/", "all/b.avi"), 1).out
        shown = [[line for line in report.splitlines() if line.startswith("file ")] for report in text.split("\n\n")]
        equal([len(report) for report in shown], [1, 1, 1, 1], f"{verb}: reports in text\n{text}")
        exit_code(kravi(verb, "all/b.avi", "all/A.AVI"), 0)


def test_one_line_for_each_file(kravi):
    clips(kravi)
    kravi.write("s.avi", avi.chunk(b"RIFF", b"WAVE" + avi.chunk(b"data", avi.payload(1, 5000))))
    for verb in VERBS:
        result = exit_code(kravi(verb, "--brief", "all", "s.avi", "nowhere.avi"), 2)
        rows = result.out.splitlines()
        equal([row.split(": ")[0] for row in rows], ["all/A.AVI", "all/b.avi", "all/below/cut.avi", "s.avi", "nowhere.avi"], verb)
        equal(rows[3:], ["s.avi: failed: not an AVI file (it is RIFF 'WAVE')", "nowhere.avi: failed: there is no such file"], verb)
        equal(result.err, "", f"{verb}: diagnostics")
        equal(len(exit_code(kravi(verb, "--brief", "all/b.avi"), 0).out.splitlines()), 1, f"{verb}: one file")
        equal(len(exit_code(kravi(verb, "--brief", "all/b.avi", "--json"), 0).objects()), 1, f"{verb}: one object on a line")
    rows = exit_code(kravi("verify", "--brief", "all"), 1).out.splitlines()
    check(rows[0] == "all/A.AVI: no defects" and rows[2].startswith("all/below/cut.avi: ") and "segment-beyond-file" in rows[2], str(rows))
    rows = exit_code(kravi("info", "--brief", "all"), 1).out.splitlines()
    size = os.path.getsize(kravi.path("all/b.avi"))
    equal(rows[1], f"all/b.avi: AVI 1.0, 00:00:00:12, {size} bytes, Motion JPEG 64x48 25 fps, PCM 48000 Hz stereo, complete", "info")
    check("truncated" in rows[2], rows[2])
    rows = exit_code(kravi("hash", "--brief", "all"), 1).out.splitlines()
    streams = kravi("hash", "all/b.avi", "--json").json()["streams"]
    equal(rows[1], "all/b.avi: " + ", ".join(f"{row['kind']} {row['number']} {row['xxh128']}" for row in streams), "hash")


def test_failures_do_not_end_the_call(kravi):
    clips(kravi)
    os.mkdir(kravi.path("empty"))
    for verb in VERBS:
        result = exit_code(kravi(verb, "nowhere.avi", "empty", "all/b.avi", "--json"), 2)
        causes = [report.get("error", {}).get("cause") for report in result.objects()]
        equal(sorted(map(str, causes)), ["None", "no file in this folder has a name that ends with .avi", "there is no such file"], verb)
        check("kravi: nowhere.avi: there is no such file\n" in result.err, result.err)
        exit_code(kravi(verb, "all/below/cut.avi", "nowhere.avi"), 2)
    result = exit_code(kravi("hash", "all", "--compare", "all/b.avi"), 2)
    check("--compare needs exactly one FILE" in result.err, result.err)
    check("FILE is required" in exit_code(kravi("verify"), 2).err, "no file")


def test_folders_that_link_to_themselves(kravi):
    """A linked folder may contain the one that is walked; a linked file is a file."""
    if kravi.is_emulated:
        return
    clips(kravi)
    os.symlink(".", kravi.path("all/around"))
    os.symlink("..", kravi.path("all/below/up"))
    os.symlink("b.avi", kravi.path("all/c.avi"))
    os.symlink("all", kravi.path("named"))
    for name in ("all", "named"):
        reports = exit_code(kravi("info", name, "--json"), 1).objects()
        equal([report["file"] for report in reports], [f"{name}/{file}" for file in ("A.AVI", "b.avi", "c.avi", "below/cut.avi")], name)


def test_quiet(kravi):
    clips(kravi)
    for arguments, code in ((["info", "all/b.avi"], 0), (["tree", "all/b.avi"], 0), (["rewrap", "all/b.avi", "new.avi"], 0),
                            (["verify", "all/below/cut.avi"], 1), (["info", "all/below/cut.avi"], 1)):
        result = exit_code(kravi(*arguments, "--quiet"), code)
        equal(result.out, "", f"{arguments}: output")
        wanted = kravi(*arguments, *(["--force"] if arguments[0] == "rewrap" else [])).out
        findings = [line[len("finding: "):] for line in wanted.splitlines() if line.startswith("finding: ")]
        equal(result.err.splitlines(), [f"kravi: {finding}" for finding in findings], f"{arguments}: findings")
        check(bool(findings) == (code == 1), wanted)
    result = exit_code(kravi("info", "all", "--quiet"), 1)
    check(result.err.startswith("kravi: all/below/cut.avi: the file is truncated"), result.err)
    equal(exit_code(kravi("info", "nowhere.avi", "--quiet"), 2).err, "kravi: nowhere.avi: there is no such file\n", "failure")
    check(exit_code(kravi("info", "all/b.avi", "--quiet", "--json"), 0).json()["file"] == "all/b.avi", "JSON was asked for")


def shown_on_terminal(kravi, *arguments, **surroundings):
    import pty
    child, terminal = pty.fork()
    if child == 0:
        os.chdir(kravi.folder)
        os.environ.pop("NO_COLOR", None)
        os.environ.update({"TERM": "xterm", **surroundings})
        os.execvp(kravi.command[0], [*kravi.command, *arguments])
    said = said_on(terminal)
    os.waitpid(child, 0)
    return said


def test_colours_on_a_terminal(kravi):
    if kravi.is_emulated:
        return  # the other end of a pseudo terminal is no console there
    data = clips(kravi)
    broken = bytearray(data)
    struct.pack_into("<I", broken, data.index(b"avih") + 8 + 16, 13)
    kravi.write("all/b.avi", bytes(broken))
    check("\x1b[32mcomplete\x1b[0m" in shown_on_terminal(kravi, "info", "all/A.AVI"), "health")
    check("\x1b[31mfinding:\x1b[0m the file is truncated" in shown_on_terminal(kravi, "info", "all/below/cut.avi"), "finding")
    check("\x1b[31merror\x1b[0m segment-beyond-file" in shown_on_terminal(kravi, "verify", "all/below/cut.avi"), "severity")
    for surroundings in ({"NO_COLOR": "1"}, {"TERM": "dumb"}):
        check("\x1b" not in shown_on_terminal(kravi, "verify", "all/below/cut.avi", **surroundings), str(surroundings))
    check("\x1b[31m" in shown_on_terminal(kravi, "info", "all/below/cut.avi", NO_COLOR=""), "empty NO_COLOR")
    check("\x1b" not in kravi("info", "all/below/cut.avi").out, "not a terminal")
