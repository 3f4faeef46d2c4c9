"""Mutation testing: changes the library in many small ways, one at a time, and asks whether a test notices.

The changes are drawn by a seed from all that places.py finds in the folders below; the draw depends on what stands in a
place and not on its line, so that work elsewhere does not change it. A mutant is killed when a test fails, crashes or
does not end. equivalent.txt lists, with reasons, mutants that cannot change what the library does; one of them that is
killed all the same is a mistake in the list. Ends with 1 when fewer than LEAST of the others are killed.
"""

import argparse
import collections
import concurrent.futures
import hashlib
import json
import multiprocessing
import os
import sys
import time

import places as finder
import rewrite
import trials

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
HERE = os.path.dirname(os.path.abspath(__file__))
FOLDERS = {"reader", "writer", "riffutils", "pool", "format"}
PROGRAMS = ["KrRiffUtilsInnerTests", "KrRiffUtilsTests", "KrScheduledTests"]
SCHEDULED = {"KR_SEEDS": "200", "KR_CRASHES": "500"}  # of each scheduled test: enough to notice, and soon done
LEAST = 0.95


def identity(place, change):
    """What a mutant is called in equivalent.txt: no line numbers, which move."""
    same = "" if place.occurrence == 1 else f" ({place.occurrence})"
    return f"{place.file}: {place.function}{same}", place.before, place.after(change)


def draw(places, count, seed):
    """`count` places in an order that the seed decides, each with one of its changes."""
    def rank(place):
        words = [str(seed), place.file, place.function, place.category, place.before, str(place.occurrence),
                 place.changes[0].text]
        return hashlib.sha256("\0".join(words).encode()).digest()
    chosen = sorted(((rank(place), place) for place in places), key=lambda pair: pair[0])[:count]
    drawn = [(place, place.changes[key[0] % len(place.changes)]) for key, place in chosen]
    drawn.sort(key=lambda pair: (pair[0].file, pair[0].start, -pair[0].end))
    return [(number, place, change) for number, (place, change) in enumerate(drawn, start=1)]


def read_equivalent(path):
    """Entries of four lines: file and function, the text before (-) and after (+) the change, and why it is the same."""
    entries, lines = {}, []
    with open(path, encoding="ascii") as stream:
        for line in [*stream, "\n"]:
            line = line.rstrip("\n")
            if line.startswith("#"):
                continue
            if line:
                lines.append(line)
            elif lines:
                if len(lines) != 4 or [line[:4] for line in lines[1:]] != ["  - ", "  + ", "  = "]:
                    raise RuntimeError(f"{path}: cannot read the entry {lines}")
                entries[(lines[0], lines[1][4:], lines[2][4:].strip())] = lines[3][4:]
                lines = []
    return entries


def library_sources(build, copy):
    """Sources of the folders, as in the tree, with what the parser needs to read them."""
    with open(os.path.join(build, "compile_commands.json"), encoding="utf-8") as stream:
        entries = json.load(stream)
    found = {}
    for entry in entries:
        name = os.path.relpath(entry["file"], copy)
        if name.split(os.sep)[0] in FOLDERS:
            path = os.path.join(ROOT, name)
            found.setdefault(path, [word.replace(copy, ROOT) for word in finder.arguments_of(entry)])
    return sorted(found.items())


def build_mutants(copy, build, texts, mutants):
    """Builds all mutants that compile, and answers them."""
    for _ in range(4):
        rewrite.write_tree(ROOT, copy, texts, mutants)
        wrong = rewrite.compile_programs(build, PROGRAMS)
        if not wrong:
            return mutants
        bad = {mutant[0] for mutant in mutants for line in mutant[1].lines(texts[mutant[1].file])
               if (mutant[1].file, line) in wrong}
        if not bad:
            break
        for number, place, change in mutants:
            if number in bad:
                print("does not compile, left out:", *identity(place, change), sep="\n    ")
        mutants = [mutant for mutant in mutants if mutant[0] not in bad]
    raise RuntimeError(f"the mutated tree does not build, see {build}-build.log")


def show(mutant, end=""):
    head, before, after = identity(mutant[1], mutant[2])
    line = f"{mutant[0]}: {head}\n  - {before}\n  + {after}"
    print(line + (f"\n  {end}" if end else ""), flush=True)


def measure_tests(build, count, workers):
    """Every test with the mutants that it reaches; raises when one fails without any."""
    tests = [test for program in PROGRAMS for test in trials.list_tests(os.path.join(build, "bin", program))]
    marks = os.path.join(build, "marks")
    os.makedirs(marks, exist_ok=True)
    jobs = [workers.submit(trials.measure, test, os.path.join(marks, str(at)), count)
            for at, test in enumerate(tests)]
    for job in jobs:
        job.result()
    failed = [f"{test.name} ({test.failure})" for test in tests if test.failure]
    if failed:
        raise RuntimeError("tests fail without a mutant: " + ", ".join(failed[:10]))
    return tests


def try_all(mutants, reached, equivalent, workers):
    """Tries each mutant and prints those that survive: what killed each, and whether the figures are good enough."""
    jobs = {workers.submit(trials.try_mutant, mutant[0], reached[mutant[0]]): mutant for mutant in mutants}
    killers, counts = {}, collections.Counter()
    for job in concurrent.futures.as_completed(jobs):
        mutant, killer = jobs[job], job.result()
        killers[mutant[0]] = killer
        listed = identity(mutant[1], mutant[2]) in equivalent
        counts["listed wrongly" if killer and listed else "killed" if killer else
               "equivalent" if listed else "survived"] += 1
        if killer and listed:
            show(mutant, f"is listed as equivalent, and killed by {killer}")
        elif not killer and not listed:
            tests = reached[mutant[0]]
            show(mutant, f"survives {len(tests)} tests" if tests else "survives: no test reaches it")
    others = counts["killed"] + counts["survived"]
    share = counts["killed"] / others if others else 0
    print(f"killed {counts['killed']}, survived {counts['survived']}, equivalent {counts['equivalent']}: "
          f"{share:.1%} of those that change something are killed")
    return killers, share >= LEAST and counts["listed wrongly"] == 0


def parse_arguments():
    parser = argparse.ArgumentParser(
        prog="scripts/mutants.sh", description="Changes the library in small ways and asks whether a test notices.")
    parser.add_argument("--count", type=int, default=300, help="how many changes (%(default)s)")
    parser.add_argument("--seed", type=int, default=1, help="which of them (%(default)s)")
    parser.add_argument("--file", default="", help="only in files whose name begins so")
    parser.add_argument("--survivors", action="store_true", help="only those that survived the last run of the seed")
    parser.add_argument("--list", action="store_true", help="print what is drawn and build nothing")
    return parser.parse_args()


def main():
    options = parse_arguments()
    copy, build = os.path.join(ROOT, "build", "mutants-source"), os.path.join(ROOT, "build", "mutants")
    begin = time.monotonic()
    cores = len(os.sched_getaffinity(0))
    if not os.path.exists(os.path.join(build, "build.ninja")):
        rewrite.write_tree(ROOT, copy, {}, [])
    rewrite.configure(copy, build)
    with multiprocessing.Pool(cores) as pool:
        texts, places = finder.find_places(ROOT, FOLDERS, library_sources(build, copy), pool)
    equivalent = read_equivalent(os.path.join(HERE, "equivalent.txt"))
    known = {identity(place, change) for place in places for change in place.changes}
    for entry in equivalent:
        if entry not in known:
            print("in equivalent.txt, but not in the sources:", *entry, sep="\n    ")
    drawn = draw([place for place in places if place.file.startswith(options.file)], options.count, options.seed)
    print(f"{len(drawn)} of {sum(len(place.changes) for place in places)} changes in {len(places)} places, "
          f"seed {options.seed}", flush=True)
    if options.list:
        for mutant in drawn:
            show(mutant)
        return True
    results = os.path.join(build, f"results-{options.seed}.json")
    if options.survivors:
        with open(results, encoding="utf-8") as stream:
            survivors = {tuple(result["mutant"]) for result in json.load(stream) if not result["killer"]}
        drawn = [mutant for mutant in drawn if identity(mutant[1], mutant[2]) in survivors]
    mutants = build_mutants(copy, build, texts, drawn)
    print(f"built after {time.monotonic() - begin:.0f} s", flush=True)
    os.environ.update(SCHEDULED)
    with concurrent.futures.ThreadPoolExecutor(cores) as workers:
        tests = measure_tests(build, max(mutant[0] for mutant in mutants), workers)
        reached = collections.defaultdict(list)
        for test in tests:
            for number in test.reached:
                reached[number].append(test)
        print(f"{len(tests)} tests measured after {time.monotonic() - begin:.0f} s", flush=True)
        killers, good = try_all(mutants, reached, equivalent, workers)
    if not options.survivors:
        with open(results, "w", encoding="utf-8") as stream:
            json.dump([{"mutant": identity(place, change), "killer": killers[number],
                        "reached by": [test.name for test in reached[number]]} for number, place, change in mutants],
                      stream, indent=1)
    print(f"done after {time.monotonic() - begin:.0f} s")
    return good


if __name__ == "__main__":
    try:
        sys.exit(0 if main() else 1)
    except RuntimeError as error:
        sys.exit(f"mutants: {error}")
