"""The manual page and the shell completion match --help."""

import os
import re
import shutil
import subprocess

from kravi_runner import check, equal, exit_code, said_on

LISTED = re.compile(r"^  (--?[\w-]+(?:,--[\w-]+)*)(?: ([^\s].*?))?(?: REQUIRED)?(?:  +|$)")
tools_are_asked = True  # pylint: disable=invalid-name


def options_of(kravi, verb):
    """Option names of a verb's help, each with its value's placeholder."""
    help_text = exit_code(kravi(*([verb] if verb else []), "--help"), 0).out
    text = help_text[help_text.index("\nOptions:\n"):]
    text = text[:text.index("\n\n")]
    found = {}
    for line in text.splitlines()[2:]:
        match = LISTED.match(line)
        for name in match.group(1).split(",") if match else ():
            found[name] = match.group(2) or ""
    return found


def all_options(kravi):
    if not hasattr(all_options, "known"):
        all_options.known = {verb: options_of(kravi, verb) for verb in kravi.verbs()}
    return all_options.known


def tool(name, kravi):
    """A program of this machine, unless kravi runs under an emulator."""
    return shutil.which(name) if tools_are_asked and not kravi.is_emulated else None


def run(command, **options):
    return subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          timeout=60, check=False, **options).stdout.decode("utf-8")


def test_manual_page_has_every_verb_option_and_example(kravi):
    page = exit_code(kravi("man"), 0).out
    plain = page
    for escape, character in (("\\-", "-"), ("\\(aq", "'"), ("\\(dq", '"'), ("\\(ga", "`"), ("\\(ha", "^"), ("\\(ti", "~"),
                              ("\\&", ""), ("\\e", "\\")):
        plain = plain.replace(escape, character)
    check(len(kravi.verbs()) >= 9, f"verbs: {kravi.verbs()}")
    for verb in kravi.verbs():
        section = plain[plain.index(f".SS kravi {verb} [OPTIONS]"):]
        section = section[:re.search(r"^\.S[SH] ", section[1:], re.MULTILINE).start() + 1]
        names = options_of(kravi, verb)
        check("--help" in names, f"{verb}: {names}")
        for name, value in names.items():
            check(f"\\fB{name}\\fR" in section, f"{verb} {name}")
            check(f"\\fI{value}\\fR" in section if value else True, f"{verb} {name} {value}")
        for example in re.findall(r"^  (kravi .*)$", exit_code(kravi(verb, "--help"), 0).out, re.MULTILINE):
            check(example in section, f"{verb}: {example}")


def test_manual_page_describes_each_option_once(kravi):
    page = exit_code(kravi("man"), 0).out
    entries = re.findall(r"^\.TP\n(\\fB\\-.*)\n(.*)$", page, re.MULTILINE)
    equal(sorted(entries), sorted(set(entries)), "options")
    check(sum("\\-\\-json" in names for names, _ in entries) == 1, str(entries))
    shared = page[page.index(".SH OPTIONS OF SEVERAL VERBS"):]
    check("\\-\\-json" in shared and "Of all verbs but man and completion." in shared and "Of rewrap, cut and concat." in shared, shared)


def test_progress_option_reads_well(kravi):
    text = exit_code(kravi("info", "--help"), 0).out
    check(re.search(r"--progress MODE +Progress on the error stream: auto, none or json\n", text), text)


def test_manual_page_is_well_formed(kravi):
    kravi.write("kravi.1", exit_code(kravi("man"), 0).out.encode())
    kravi.write("bad.1", b".TH KRAVI 1\n.SH NAME\nkravi\n.NOSUCH\n")
    if tool("mandoc", kravi):
        # The page of a build has no date, so that builds are reproducible.
        remarks = run(["mandoc", "-T", "lint", "-W", "warning", kravi.path("kravi.1")]).splitlines()
        equal([line for line in remarks if "missing date" not in line], [], "mandoc")
        check("NOSUCH" in run(["mandoc", "-T", "lint", "-W", "warning", kravi.path("bad.1")]), "mandoc sees nothing")
    if tool("groff", kravi):
        text = run(["groff", "-ww", "-man", "-Tutf8", "-P-cbou", kravi.path("kravi.1")])
        for words in ("kravi extract [OPTIONS] FILE", "kravi map [OPTIONS] -o NAME FILE", "--video-stream N", "frame-%06d.jpg", "EXIT STATUS"):
            check(words in text, f"{words}: {text}")
        remarks = ["groff", "-ww", "-man", "-Tutf8", "-z"]  # and no page
        equal(run([*remarks, kravi.path("kravi.1")]), "", "groff")
        check("NOSUCH" in run([*remarks, kravi.path("bad.1")]), "groff sees nothing")


COMPLETE = """
source completion.bash
COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1))
_kravi
printf '%s\\n' "${COMPREPLY[@]}"
"""


def completed(kravi, *words):
    """The completions that bash offers for the last word."""
    return run(["bash", "-c", COMPLETE, "bash", *words], cwd=kravi.folder).split()


def test_bash_completes(kravi):
    script = exit_code(kravi("completion", "bash"), 0).out
    if not tool("bash", kravi):
        return
    kravi.write("completion.bash", script.encode())
    verbs = set(kravi.verbs())
    equal(set(completed(kravi, "kravi", "")), verbs | {"-h", "--help", "--version"}, "first word")
    equal(completed(kravi, "kravi", "ext"), ["extract"], "beginning of a verb")
    for verb, names in all_options(kravi).items():
        equal(set(completed(kravi, "kravi", verb, "clip.avi", "-")), set(names), f"options of {verb}")
    equal(completed(kravi, "kravi", "extract", "--aud"), ["--audio", "--audio-stream"], "beginning of an option")
    equal(completed(kravi, "kravi", "tree", "--progress", ""), ["auto", "none", "json"], "values")
    equal(completed(kravi, "kravi", "tree", "--progress", "=", "j"), ["json"], "value after =")
    equal(completed(kravi, "kravi", "write", "o.avi", "--scan", "=")[0], "upper", "no value after =")
    equal(completed(kravi, "kravi", "completion", ""), ["bash", "zsh", "fish"], "shells")
    rates = ["23.976", "24", "25", "29.97", "30", "50", "59.94", "60"]
    equal(completed(kravi, "kravi", "write", "o.avi", "--rate", ""), rates, "usual values")
    equal(completed(kravi, "kravi", "rewrap", "i.avi", "o.avi", "--rate", "2"), ["23.976", "24", "25", "29.97"], "of a copy")
    equal(completed(kravi, "kravi", "write", "o.avi", "--bits", ""), ["16", "24", "32"], "bits")
    equal(completed(kravi, "kravi", "write", "o.avi", "--size", "1"), ["1280x720", "1920x1080"], "sizes")
    equal(completed(kravi, "kravi", "info", ""), [], "file names are left to the shell")
    kravi.write("a clip.avi", b"")
    # An interactive shell: a tab after the beginning of the name completes it, quoted.
    typed = "source completion.bash; PS1=; bind 'set enable-bracketed-paste off'\nkravi() { echo \"got:$2.\"; }\n"
    typed += "kravi info a\t\nexit\n"
    check("got:a clip.avi." in interactive(["bash", "--norc", "--noprofile", "-i"], typed, kravi.folder), "file name")


def interactive(command, typed, folder):
    """The output of a program on a terminal on which this is typed."""
    import pty
    child, terminal = pty.fork()
    if child == 0:
        os.chdir(folder)
        os.environ["TERM"] = "dumb"
        os.execvp(command[0], command)
    os.write(terminal, typed.encode())
    said = said_on(terminal)
    os.waitpid(child, 0)
    return said


def test_fish_completes(kravi):
    script = exit_code(kravi("completion", "fish"), 0).out
    if not tool("fish", kravi):
        return
    kravi.write("completion.fish", script.encode())

    def offered(line):
        text = run(["fish", "--no-config", "-c", f"source completion.fish; complete -C '{line}'"], cwd=kravi.folder,
                   env={**os.environ, "HOME": kravi.folder})
        return {row.split("\t")[0] for row in text.splitlines()}

    equal(offered("kravi "), set(kravi.verbs()), "verbs")
    for verb in ("extract", "completion"):
        equal(offered(f"kravi {verb} -"), set(all_options(kravi)[verb]) - {"-h"} | {"-h"}, f"options of {verb}")
    equal(offered("kravi tree --progress "), {"auto", "none", "json"}, "values")
    equal(offered("kravi write o.avi --bits "), {"16", "24", "32"}, "usual values")


def test_zsh_completes(kravi):
    script = exit_code(kravi("completion", "zsh"), 0).out
    if not tool("zsh", kravi):
        return
    kravi.write("_kravi", script.encode())
    typed = ("PS1=; zstyle ':completion:*' list-prompt ''; unsetopt beep; fpath=($PWD $fpath); autoload -U compinit; "
             "compinit -D -u; bindkey '^I' complete-word; bindkey '^D' list-choices\nkravi() { echo \"got:$*.\"; }\n"
             "kravi ext\t--video-\t3\nkravi tree --progress=j\t\nexit\n")
    said = interactive(["zsh", "-f", "-i"], typed, kravi.folder)
    for words in ("got:extract --video-stream=3.", "got:tree --progress=json."):
        check(words in said.replace("= ", "="), f"{words}: {said}")


def test_unknown_shell_is_2(kravi):
    check("not one of bash, zsh, fish" in exit_code(kravi("completion", "tcsh"), 2).err, "message")
    exit_code(kravi("completion"), 2)
    exit_code(kravi("man", "more"), 2)
