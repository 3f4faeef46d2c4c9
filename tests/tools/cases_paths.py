"""Names: every verb accepts any that the system accepts, outside ASCII, outside 16 bits, and long."""

import os

import avi_builder as avi
from cases_write import jpegs, wave, sound
from json_schemas import LINES
from kravi_runner import check, equal, exit_code

STRANGE = "Größe 日本 \U0001F3AC \U00020BB7"
LONGEST_NAME = 150  # characters of one part; the system's own limit is higher
READING, COPYING = (["FILE"], ["FILE..."], ["[FILE...]"]), ["FILE", "OUTPUT"]  # kinds of arguments
NO_FILE = ("man", "completion")


def long_folder(kravi, base):
    """A folder whose path has more than 260 characters."""
    path = base
    while len(path) <= 280:
        path += "/" + (STRANGE + "-" * LONGEST_NAME)[:LONGEST_NAME // 2]
        os.makedirs(kravi.path(path), exist_ok=True)
    return path


def check_name(result, key, name, verb):
    report = result.objects()[-1] if verb in LINES else result.json()
    equal(report.get(key), name, f"{verb}: the name in the report")


def check_reading(kravi, folder):
    """Each verb whose only argument is a file that it reads."""
    name = f"{folder}/{STRANGE}.avi"
    kravi.write(name, avi.simple_avi(avi.standard_streams(3)))
    other = f"{folder}/ö{STRANGE}.avi"
    kravi.write(other, kravi.read(name))
    verbs = [verb for verb, arguments in kravi.verbs().items() if arguments in READING and verb != "write"]
    check({"info", "tree", "index", "extract", "hash", "map", "verify", "follow"} <= set(verbs), f"verbs: {verbs}")
    options = {"extract": ["--video", f"{folder}/é\U0001F3AC-%d.jpg", "--audio", f"{folder}/\U00020BB7.wav"],
               "hash": ["--compare", other], "map": ["-o", f"{folder}/{STRANGE}.svg", "--force"],
               "set": ["--rate", "50"]}
    for verb in verbs:
        result = kravi(verb, name, *options.get(verb, []), "--json")
        check(result.code in (0, 1), f"{verb}: {result}")  # some verbs find faults in so simple a file
        check_name(result, "file", name, verb)
        if verb in ("hash", "map"):
            check_name(result, *{"hash": ("other", other), "map": ("output", f"{folder}/{STRANGE}.svg")}[verb], verb)
    for made in ("é\U0001F3AC-2.jpg", "\U00020BB7.wav", f"{STRANGE}.svg"):
        check(os.path.exists(kravi.path(f"{folder}/{made}")), f"{made} is not there")
    missing = f"{folder}/no {STRANGE}.avi"
    for verb in verbs:
        result = exit_code(kravi(verb, missing, *options.get(verb, []), "--json"), 2)
        equal(result.json()["error"], {"file": missing, "cause": "there is no such file"}, verb)
    return name


def check_writing(kravi, folder, name):
    """The verbs that write: their inputs and outputs have such names, and so has the temporary file."""
    jpegs(kravi, 3)
    for number in range(3):
        os.replace(kravi.path(f"f{number:03d}.jpg"), kravi.path(f"{folder}/ü\U0001F3AC{number}.jpg"))
    kravi.write(f"{folder}/\U0001F3B5.wav", wave(sound(3)))
    written = f"{folder}/{STRANGE} 1.avi"
    result = exit_code(kravi("write", written, "--jpeg", f"{folder}/ü\U0001F3AC%d.jpg", "--audio",
                             f"{folder}/\U0001F3B5.wav", "--json"), 0)
    check_name(result, "output", written, "write")
    verbs = [verb for verb, arguments in kravi.verbs().items() if arguments == COPYING]
    check({"rewrap", "recover", "cut"} <= set(verbs), f"verbs: {verbs}")
    for verb in verbs:
        output = f"{folder}/{STRANGE} {verb}.avi"
        result = exit_code(kravi(verb, name, output, "--json"), 0)
        check_name(result, "output", output, verb)
        check(os.path.getsize(kravi.path(output)) > 1000, f"{verb}: {output}")
    output = f"{folder}/{STRANGE} concat.avi"
    sources = [f"{folder}/{STRANGE} {verb}.avi" for verb in ("rewrap", "cut")]
    result = exit_code(kravi("concat", *sources, "-o", output, "--json"), 0)
    check_name(result, "output", output, "concat")
    equal([clip["file"] for clip in result.json()["clips"]], sources, "concat: the names in the report")
    left = [entry for entry in os.listdir(kravi.path(folder)) if entry.endswith(".tmp")]
    equal(left, [], "temporary files")


def test_names_outside_ascii(kravi):
    os.mkdir(kravi.path(STRANGE))
    check_writing(kravi, STRANGE, check_reading(kravi, STRANGE))


def test_paths_of_more_than_260_characters(kravi):
    folder = long_folder(kravi, "long")
    name = check_reading(kravi, folder)
    check(len(name) > 260, "length")
    check_writing(kravi, folder, name)


def test_short_names_in_a_deep_folder(kravi):
    """No name has 260 characters, but with kravi's current folder they do."""
    kravi.folder = kravi.path("f" * (200 - len(kravi.folder)))
    os.makedirs(kravi.path("g" * 80))
    check_writing(kravi, "g" * 80, check_reading(kravi, "g" * 80))


def test_every_verb_is_in_one_of_the_tables(kravi):
    """Names must be considered for each new kind of arguments."""
    for verb, arguments in kravi.verbs().items():
        known = arguments in (*READING, COPYING) or verb in NO_FILE
        check(known or verb == "concat", f"{verb} {arguments} is tested nowhere here")
