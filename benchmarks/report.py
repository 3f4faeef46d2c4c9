#!/usr/bin/env python3
"""Makes a table of ratios from a run of the benchmarks: report.py RESULTS.json

Each repetition of ours is set against the median of the other's repetitions, which ran in between.
"""

import json
import statistics
import sys


def unit(nanoseconds):
    for size, name in ((1e9, "s"), (1e6, "ms"), (1e3, "us")):
        if nanoseconds >= size:
            return f"{nanoseconds / size:.3g} {name}"
    return f"{nanoseconds:.3g} ns"


def main(path):
    with open(path, encoding="utf-8") as file:
        report = json.load(file)
    factor = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}
    times, counters = {}, {}
    for run in report["benchmarks"]:
        if run.get("run_type") != "iteration" or "real_time" not in run:
            continue
        operation, _, who = run["run_name"].partition("/")
        who = who.split("/")[0]
        times.setdefault(operation, {}).setdefault(who, []).append(run["real_time"] * factor[run["time_unit"]])
        if who == "ours" and "reads" in run:
            counters[operation] = f"{run['reads']:.0f} reads, {run['bytes']:.0f} bytes"
        if who == "ours" and "writes" in run:
            counters[operation] = f"{run['writes']:.2f} writes"
    print("| operation | ours, median | to the floor: min / median / max | to libavformat | calls and bytes |")
    print("|---|---|---|---|---|")
    for operation, runs in times.items():
        ours = runs.get("ours")
        if not ours:
            continue
        floors = [statistics.median(runs[who]) for who in runs if who.startswith("floor")]
        floor = peer = "-"
        if floors:
            ratios = [time / min(floors) for time in ours]
            floor = f"{min(ratios):.2f} / {statistics.median(ratios):.2f} / {max(ratios):.2f}"
        if "libavformat" in runs:
            peer = f"{statistics.median(runs['libavformat']) / statistics.median(ours):.1f} times faster"
        print(f"| {operation} | {unit(statistics.median(ours))} | {floor} | {peer} | {counters.get(operation, '-')} |")


if __name__ == "__main__":
    if len(sys.argv) != 2:
        raise SystemExit(__doc__)
    main(sys.argv[1])
