# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
"""How much hidden cells that are drawn one at a time keep from one imputation of a chain to the next, with one sweep an
iteration and with as many as the chains choose: cells_study.py PROGRAM. Prints the table of docs/diagnostics.md."""

import json
import pathlib
import random
import subprocess
import sys
import tempfile


def table(correlation, seed):
    draw = random.Random(seed)
    lines = ["x,y,z"]
    for _ in range(600):
        x = draw.gauss(0, 1)
        y = correlation * x + (1 - correlation**2) ** 0.5 * draw.gauss(0, 1)
        hidden = x < -0.5 and draw.random() < 0.3
        lines.append(f"{'<-0.5' if hidden else f'{x:.5f}'},{'' if hidden else f'{y:.5f}'},{x / 2 + draw.gauss(0, 1):.4f}")
    return "\n".join(lines) + "\n"


def kept(program, folder, *options):
    """The worst autocorrelation of the cells, and the most sweeps."""
    subprocess.run([program, "impute", "table.csv", "-o", "out", "--seed", "1", "--quiet", "--no-report", *options],
                   cwd=folder, check=True, stderr=subprocess.DEVNULL)
    said = subprocess.run([program, "diagnose", "out", "--json"], cwd=folder, check=True, capture_output=True, text=True)
    record = json.loads((folder / "out" / "run.json").read_text())
    return json.loads(said.stdout)["cells"][0]["autocorrelation_thin"], record["settings"].get("most_sweeps", 1)


def main():
    program = str(pathlib.Path(sys.argv[1]).resolve())
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        for correlation in (0.9, 0.98, 0.99, 0.999, 0.9999):
            (folder / "table.csv").write_text(table(correlation, 1))
            slow, _ = kept(program, folder, "--sweeps", "1")
            chosen, sweeps = kept(program, folder)
            print(f"| {correlation} | {slow:.2f} | {chosen:.2f}, {sweeps} |")


main()
