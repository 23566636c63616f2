# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
"""Run an airquality host twice and check what it prints: check_airquality.py PROGRAM DATA.

Posterior means are compared with the maximum likelihood estimates, those of covariances with n / (n - p - 2) times
them, the mean of the inverse Wishart distribution of n complete cases. The tolerance is 0.1 posterior standard
deviations: the Monte Carlo error of 10,000 dependent draws is about 0.015 of them, and the missing ozone values add
about 0.04 for the covariances.
"""

import re
import subprocess
import sys
import tempfile

DAYS, VARIABLES = 153, 4
HIDDEN = {"true mean": 12.03, "cells": 33}
TOLERANCE = 0.1


def run(program, data):
    with tempfile.TemporaryDirectory() as folder:
        done = subprocess.run([program, data], cwd=folder, capture_output=True, text=True, timeout=120)
    if done.returncode != 0 or done.stderr:
        sys.exit(f"{program} ended with {done.returncode}\n{done.stderr}")
    return done.stdout


def parameter_faults(text):
    rows = re.findall(r"^(mean|cov )  ?(\w+(?: +\w+)?) +(-?[\d.]+) +([\d.]+) +(-?[\d.]+)$", text, re.M)
    if len(rows) != VARIABLES + VARIABLES * (VARIABLES + 1) // 2:
        return [f"{len(rows)} parameters printed"]
    faults = []
    for kind, name, posterior, deviation, estimate in rows:
        expected = float(estimate) * (1 if kind == "mean" else DAYS / (DAYS - VARIABLES - 2))
        distance = (float(posterior) - expected) / float(deviation)
        if not abs(distance) < TOLERANCE:
            faults.append(f"{kind} {name}: {posterior}, {distance:.3f} sd from {expected:.2f}")
    return faults


def hidden_faults(text):
    number = lambda label: float(re.search(rf"^.*{label}\D*?([\d.]+)$", text, re.M)[1])
    faults = []
    if number("given as <20") != HIDDEN["cells"] or number("true mean") != HIDDEN["true mean"]:
        faults.append("the hidden cells are not those of the data")
    # The logarithm of ozone is only roughly normal, so the model misses the mean a little and some cells altogether.
    if not abs(number("imputed mean") - HIDDEN["true mean"]) < 2:
        faults.append(f"imputed mean {number('imputed mean')}")
    if not 25 <= number("90% interval") <= HIDDEN["cells"]:
        faults.append(f"{number('90% interval')} of 33 intervals cover")
    if number("not below 20") != 0:
        faults.append(f"{number('not below 20')} imputed values are not below the limit")
    return faults


def main():
    program, data = sys.argv[1:]
    text = run(program, data)
    faults = parameter_faults(text) + hidden_faults(text)
    if run(program, data) != text:
        faults.append("a second run printed something else")
    if faults:
        print(text, *faults, f"Repeat with: python3 {' '.join(sys.argv)}", sep="\n")
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
