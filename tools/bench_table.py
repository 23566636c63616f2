# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
"""Run the benchmarks, print medians and ratios of the engine and the plain road, and write them as CSV.

Both roads are measured in one process, repetition by repetition in random order, so that whatever else the machine does
falls on both. Times are of the processor. The spread is the distance of the quartiles over the median.
"""

import argparse
import csv
import json
import os
import pathlib
import platform
import statistics
import subprocess
import sys

# Program, workload, unit, aim (None: growth, or a cost that is only stated), what it is.
WORKLOADS = [
    ("passes", "W1", "ms", 4.5, "pass, 10,000 x 20, 30% missing at random"),
    ("passes", "W1pat", "ms", 2.2, "pass, 10,000 x 20, 20 patterns"),
    ("passes", "W1b", "ms", 8, "pass, 100,000 x 10, 30% missing"),
    ("passes", "W1c", "ms", 48, "pass, 2,000 x 100, 30% missing"),
    ("passes", "W2", "ms", 0.65, "running pass, 10,000 x 6, censored"),
    ("passes", "W3", "ms", 0.4, "running pass, 2,000 x 5, ordered"),
    ("draws", "W4limit", "ns", 36, "truncated draw, below a detection limit"),
    ("draws", "W4central", "ns", 35, "truncated draw, central"),
    ("draws", "W4narrow", "ns", 38, "truncated draw, narrow [2, 2.1]"),
    ("draws", "W4tail", "ns", 45, "truncated draw, tail from 4"),
    ("draws", "W4mixed", "ns", 50, "truncated draw, mixed regions"),
    ("draws", "source_uniform", "ns", None, "one uniform number of the light source"),
    ("draws", "source_normal", "ns", None, "one normal number of the light source"),
    ("estimates", "W5", "ms", 55, "moments, 1,000,000 x 20"),
    ("estimates", "W6", "ms", 11, "1,000,000 likelihoods of order 10"),
    ("loads", "W7short", "ms", 45, "load, 100,000 x 10, short numbers"),
    ("loads", "W7long", "ms", 55, "load, 100,000 x 10, 17 digits"),
    ("loads", "W7missing", "ms", 30, "load, 100,000 x 10, 30% missing, short numbers"),
    ("loads", "W7missinglong", "ms", 45, "load, 100,000 x 10, 30% missing, 17 digits"),
    ("passes", "W8", "ms", 7, "iteration: pass and moments, 100,000 x 10, 30% missing"),
    ("passes", "W9limit", "ns", 36, "DS_Impute, a case of one cell below a limit"),
    ("passes", "W9central", "ns", 28, "DS_Impute, a case of one central cell"),
    ("passes", "W9narrow", "ns", 28, "DS_Impute, a case of one narrow cell [2, 2.1]"),
    ("passes", "W9tail", "ns", 28, "DS_Impute, a case of one cell in the tail from 4"),
] + [
    ("passes", f"patterns_{n}", "ms", None, f"pass, 10,000 x 20, {n:,} patterns") for n in (1, 10, 100, 1000, 10000)
] + [
    ("passes", f"cases_{n}", "ms", None, f"pass, {n:,} x 10, 30% missing") for n in (1000, 10000, 100000, 1000000)
] + [
    ("passes", f"variables_{n}", "ms", None, f"pass, 200 x {n}, 30% missing") for n in (2, 5, 10, 20, 50, 100, 200)
] + [
    ("loads", f"load_{n}_{p}", "ns", None, f"load, {n:,} x {p}, 30% missing, per cell")
    for n in (20000, 100000, 1000000) for p in (10, 15, 20, 30, 64) if n * p <= 20000000
]


def processor():
    """The processor's name, for the head of the results."""
    try:
        for line in pathlib.Path("/proc/cpuinfo").read_text(encoding="utf-8").splitlines():
            if line.startswith("model name"):
                return line.partition(":")[2].strip()
    except OSError:
        pass
    return platform.processor() or platform.machine()


def measure(program, workload, repetitions):
    """The times of every repetition by road, in the unit of the benchmark."""
    command = [str(program), f"--benchmark_filter=^{workload}/", f"--benchmark_repetitions={repetitions}",
               "--benchmark_enable_random_interleaving=true", "--benchmark_min_time=0.02", "--benchmark_format=json"]
    run = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, check=False)
    if run.returncode != 0:
        sys.exit(f"{' '.join(command)}\n{run.stderr}")
    times = {}
    for entry in json.loads(run.stdout)["benchmarks"]:
        if entry["run_type"] != "iteration":
            continue
        # A manual time is already the processor's; it stands where the wall clock's would.
        time = entry["real_time" if "manual_time" in entry["name"] else "cpu_time"]
        road = entry["name"].split("/")[1]
        times.setdefault(road, []).append(time / entry.get("draws", entry.get("cells", 1)))
    return times


def summary(times):
    """Median and relative spread."""
    median = statistics.median(times)
    lower, _, upper = statistics.quantiles(times, n=4)
    return median, (upper - lower) / median


def digits(value):
    """Three significant digits and no more, without an exponent."""
    return f"{value:.{0 if value >= 100 else 1 if value >= 10 else 2 if value >= 1 else 4}f}"


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build", type=pathlib.Path, help="build folder of the preset bench")
    parser.add_argument("--repetitions", type=int, default=9, help="repetitions of each road (default 9)")
    parser.add_argument("--only", metavar="NAME", action="append", help="only this workload; can be repeated")
    parser.add_argument("--output", type=pathlib.Path, help="the CSV (default: BUILD/bench.csv)")
    parser.add_argument("--against", metavar="LIBRARY", type=pathlib.Path,
                        help="measure beside this library of the engine instead of the plain road")
    options = parser.parse_args()
    if options.against:
        os.environ["ULLAGE_BENCH_AGAINST"] = str(options.against.resolve(strict=True))
    if options.repetitions < 7:
        parser.error("medians of fewer than 7 repetitions say little")
    known = {workload for _, workload, *_ in WORKLOADS}
    for name in options.only or []:
        if name not in known:
            parser.error(f"there is no workload {name}; there are {', '.join(sorted(known))}")

    output = options.output or options.build / "bench.csv"
    machine = processor()
    print(f"{machine}; medians of {options.repetitions} repetitions, processor time\n")
    print(f"{'':15} {'engine':>9} {'other' if options.against else 'plain':>9}      {'ratio':>12} {'spread':>11} {'aim':>6}")
    rows = []
    for program, workload, unit, aim, title in WORKLOADS:
        if options.only and workload not in options.only:
            continue
        times = measure(options.build / "bench" / f"{program}_bench", workload, options.repetitions)
        roads = {road: summary(samples) for road, samples in times.items()}
        engine, spread = roads.get("fast") or roads["light"]
        plain, plain_spread = roads.get("plain", (None, None))
        versus = f"{digits(plain):>9} {unit} {plain / engine:14.2f}" if plain else f"{'':9} {unit} {'':14}"
        spreads = f"{spread:4.0%} / {plain_spread:4.0%}" if plain else f"{spread:4.0%}"
        print(f"{workload:15} {digits(engine):>9} {versus} {spreads:>12} {aim if aim else '':>6}  {title}", flush=True)
        rows.append({"workload": workload, "title": title, "unit": unit, "engine": f"{engine:.4g}",
                     "plain": f"{plain:.4g}" if plain else "", "ratio": f"{plain / engine:.3f}" if plain else "",
                     "engine_spread": f"{spread:.3f}", "plain_spread": f"{plain_spread:.3f}" if plain else "",
                     "aim": aim or "", "repetitions": options.repetitions, "machine": machine})
    with output.open("w", newline="", encoding="utf-8") as file:
        writer = csv.DictWriter(file, rows[0].keys())
        writer.writeheader()
        writer.writerows(rows)
    print(f"\nWritten to {output}")


if __name__ == "__main__":
    main()
