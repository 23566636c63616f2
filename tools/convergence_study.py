# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
"""How the diagnostics of runs at the defaults are distributed, over simulated tables: convergence_study.py PROGRAM
[OPTIONS OF IMPUTE].
Prints the least, the median and the largest of worst R-hat and least effective size, and how many runs warn of either."""

import json
import pathlib
import random
import statistics
import subprocess
import sys
import tempfile

# name: tables, rows, columns, correlation
KINDS = {"sound": (60, 200, 5, 0.5), "words": (40, 400, 4, 0.4), "slow": (30, 200, 3, 0.98)}


def cell(kind, column, value, numbers):
    if kind == "slow":
        return "<0.25" if value < 0.25 else f"{value:.4f}"
    if numbers.random() < 0.2:
        return ""
    if kind == "words" and column == 2:
        return "y" if value > 0.3 else "n"
    if kind == "words" and column == 3:
        utility = value + 0.5 * numbers.gauss(0, 1)
        return "a" if utility < -0.5 else "b" if utility < 0.6 else "c"
    return f"{value:.4f}"


def table(kind, seed):
    _, rows, columns, correlation = KINDS[kind]
    numbers = random.Random(seed)
    lines = [",".join(f"x{j}" for j in range(columns))]
    for _ in range(rows):
        shared = numbers.gauss(0, 1)
        values = [correlation**0.5 * shared + (1 - correlation) ** 0.5 * numbers.gauss(0, 1) for _ in range(columns)]
        lines.append(",".join(cell(kind, j, value, numbers) for j, value in enumerate(values)))
    return "\n".join(lines) + "\n"


def study(program, kind, folder, options):
    rhats, sizes, warned = [], [], 0
    for seed in range(KINDS[kind][0]):
        (folder / "table.csv").write_text(table(kind, seed))
        subprocess.run([program, "impute", "table.csv", "-o", "out", "--seed", str(seed), "--quiet", "--no-report", *options],
                       cwd=folder, check=True, capture_output=True)
        answer = json.loads(subprocess.run([program, "diagnose", "out", "--json", "--quiet"], cwd=folder, check=True,
                                           capture_output=True, text=True).stdout)
        rhats.append(max(parameter["rhat"] for parameter in answer["parameters"]))
        sizes.append(min(parameter["ess_bulk"] for parameter in answer["parameters"]))
        warned += any("chains" in warning or "draws" in warning for warning in answer["warnings"])
    numbers = [f(values) for values in (rhats, sizes) for f in (min, statistics.median, max)]
    print(f"{kind:6} R-hat {numbers[0]:.3f} {numbers[1]:.3f} {numbers[2]:.3f}  effective size "
          f"{numbers[3]:.0f} {numbers[4]:.0f} {numbers[5]:.0f}  warned {warned} of {KINDS[kind][0]}", flush=True)


def main():
    program = str(pathlib.Path(sys.argv[1]).resolve())
    with tempfile.TemporaryDirectory() as folder:
        for kind in KINDS:
            study(program, kind, pathlib.Path(folder), sys.argv[2:])


if __name__ == "__main__":
    main()
