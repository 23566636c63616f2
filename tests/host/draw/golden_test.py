# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
"""The bytes that a seed gives: runs of small tables against golden.json, which holds their checksums and the version of
the streams. Every build is held to the same sums, whatever its compiler and instructions. A change of the bytes needs a
new kStreamVersion; golden_test.py PROGRAM --write then takes the new sums."""

import hashlib
import json
import pathlib
import subprocess
import sys
import tempfile

GOLDEN = pathlib.Path(__file__).with_name("golden.json")
FILES = ("imputations.csv", "parameters.csv")


class Numbers:
    """Numbers of three decimals by a linear congruence, the same in every Python."""

    def __init__(self, seed):
        self.state = seed

    def uniform(self):
        self.state = (self.state * 6364136223846793005 + 1442695040888963407) % 2**64
        return (self.state >> 33) % 1000 / 1000

    def bell(self):
        return round(self.uniform() + self.uniform() + self.uniform() - 1.5, 3)


def table(rows, columns, seed, cell):
    """Columns that share a part; cell(column, value, numbers) is what the table says of a value."""
    numbers = Numbers(seed)
    lines = [",".join(f"x{j}" for j in range(columns)) + ",site"]
    for row in range(rows):
        shared = numbers.bell()
        cells = [cell(j, round(5 + shared + numbers.bell(), 3), numbers) for j in range(columns)]
        lines.append(",".join([*cells, "north" if row % 3 else "south"]))
    return "\n".join(lines) + "\n"


def missing(share):
    return lambda j, value, numbers: "" if numbers.uniform() < share else str(value)


def censored(j, value, numbers):
    choice = numbers.uniform()
    if choice < 0.1:
        return "NA"
    if j == 0 and value < 4.5:
        return "<4.5"
    if j == 1 and value > 5.5:
        return ">5.5"
    return f"{value - 0.25:.3f}..{value + 0.5:.3f}" if choice > 0.8 else str(value)


def ordered(j, value, numbers):
    if j == 3:
        return f"<{value + 3:.3f}" if numbers.uniform() < 0.3 else str(value)
    return "" if numbers.uniform() < 0.3 else f"{value + 4 * j:.3f}"


def close(j, value, numbers):
    """Two columns that nearly follow from each other; where the second is missing, the first is below a limit."""
    if j == 0:
        close.value = value
        close.hidden = value < 4.7
        return "<4.7" if close.hidden else str(value)
    if j == 1:
        return "" if close.hidden else f"{close.value + numbers.bell() / 200:.4f}"
    return str(value)


def cells_ordered(j, value, numbers):
    return "<x0" if j == 1 and numbers.uniform() < 0.2 else f"{value - 9 * (j == 1):.3f}"


SHORT = ("-m", "3", "--chains", "2", "--burn-in", "10", "--thin", "5", "--carry", "site")
RUNS = {
    "missing": (table(60, 4, 1, missing(0.2)), SHORT),
    "censored": (table(80, 4, 2, censored), SHORT),
    "order": (table(60, 4, 3, ordered), (*SHORT, "--order", "x0<x1<x2")),
    "rules": (table(60, 4, 9, ordered), ("-m", "2", "--chains", "2", "--burn-in", "25", "--thin", "5",
                                          "--order", "x0<x1<x2", "--lower", "x0=2", "--carry", "site")),
    "cells in order": (table(60, 3, 4, cells_ordered), SHORT),
    "close": (table(90, 3, 11, close), ("-m", "3", "--chains", "2", "--burn-in", "60", "--thin", "5", "--carry", "site")),
    "levels": (table(90, 3, 5, missing(0.2)), (*SHORT[:-2], "--by", "site", "--prior", "ridge=2")),
    "blocks": (table(13000, 3, 6, missing(0.4)), ("-m", "1", "--chains", "1", "--burn-in", "2", "--thin", "1", "--carry", "site")),
    "16 columns": (table(90, 16, 7, missing(0.1)), SHORT),
    "mixture": (table(120, 4, 10, censored), (*SHORT, "--components", "3")),
    "40 columns": (table(160, 40, 8, missing(0.1)), SHORT),
}


def run_all(program):
    """The version of the streams, and the checksums of every run."""
    version, sums = None, {}
    with tempfile.TemporaryDirectory() as folder:
        folder = pathlib.Path(folder)
        for name, (text, options) in RUNS.items():
            (folder / "table.csv").write_text(text)
            subprocess.run([program, "impute", "table.csv", "-o", "out", "--seed", "1", "--quiet", *options],
                           cwd=folder, check=True, timeout=120)
            version = json.loads((folder / "out" / "run.json").read_text())["stream_version"]
            sums[name] = {file: hashlib.sha256((folder / "out" / file).read_bytes()).hexdigest() for file in FILES}
    return version, sums


def main():
    program, *options = str(pathlib.Path(sys.argv[1]).resolve()), *sys.argv[2:]
    version, sums = run_all(program)
    golden = json.loads(GOLDEN.read_text()) if GOLDEN.exists() else {"stream_version": 0, "runs": {}}
    changed = [name for name in golden["runs"] if golden["runs"][name] != sums.get(name)]
    if options == ["--write"]:
        if changed and version == golden["stream_version"]:
            sys.exit(f"{', '.join(changed)}: other bytes under stream version {version}; raise kStreamVersion first")
        GOLDEN.write_text(json.dumps({"stream_version": version, "runs": sums}, indent=1) + "\n")
        return
    if changed or version != golden["stream_version"] or sums.keys() != golden["runs"].keys():
        sys.exit(f"stream version {version}, recorded {golden['stream_version']}; other bytes in: "
                 f"{', '.join(changed) or 'no run'}. A change that is meant needs a new kStreamVersion; then repeat "
                 f"with: python3 {sys.argv[0]} {program} --write")


if __name__ == "__main__":
    main()
