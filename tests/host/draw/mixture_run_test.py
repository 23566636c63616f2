# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# "ullage impute --components" as its users run it: what its files hold, and the tables that it refuses.

import csv
import json
import math
import pathlib
import random
import subprocess
import sys
import tempfile
import unittest

PROGRAM = sys.argv.pop(1)
SHORT = ("--components", "3", "-m", "4", "--chains", "2", "--burn-in", "100", "--thin", "50", "--seed", "2")


def humps(rows, seed):
    """x lies about 0 or 10, y follows x in another way in each hump; 30% of x are missing, small y censored."""
    numbers = random.Random(seed)
    lines = ["x,y,site"]
    for _ in range(rows):
        low = numbers.random() < 0.4
        x = numbers.gauss(0 if low else 10, 1)
        y = numbers.gauss(2 + x if low else 15 - x, 0.5)
        lines.append(f"{'' if numbers.random() < 0.3 else x},{'<1.5' if y < 1.5 else y},{'a' if low else 'b'}")
    return "\n".join(lines) + "\n"


class MixtureRunTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = pathlib.Path(folder.name)
        (self.path / "table.csv").write_text(humps(300, 1))

    def run_program(self, *words):
        done = subprocess.run([PROGRAM, *words], cwd=self.path, capture_output=True, text=True, timeout=120)
        return done.returncode, done.stdout, done.stderr

    def impute(self, *options):
        code, _, said = self.run_program("impute", "table.csv", "-o", "out", "--carry", "site", *SHORT, *options)
        self.assertEqual(code, 0, said)
        return said

    def rows(self, name):
        with open(self.path / "out" / name, newline="") as file:
            return list(csv.DictReader(file))

    def test_files_hold_the_mixture_and_its_moments(self):
        said = self.impute("-j", "1")
        record = json.loads((self.path / "out" / "run.json").read_text())
        self.assertEqual(record["settings"]["components"], 3)
        draws = self.rows("parameters.csv")
        filled = sum(float(draw["components"]) for draw in draws) / len(draws)
        self.assertAlmostEqual(record["levels"][0]["components_filled"], filled)
        self.assertIn(f"mixture: {filled:.1f} of the 3 components hold rows", said)
        self.assertIn("mixture of at most 3 multivariate normal", (self.path / "out" / "report.html").read_text())
        for draw in draws[::20]:
            number = {name: float(text) for name, text in draw.items()}
            weight = [number[f"weight[{k}]"] for k in (1, 2, 3)]
            mean = {c: [number[f"mean({c})[{k}]"] for k in (1, 2, 3)] for c in "xy"}
            self.assertAlmostEqual(sum(weight), 1)
            whole = {c: sum(w * m for w, m in zip(weight, mean[c])) for c in "xy"}
            self.assertAlmostEqual(whole["x"], number["mean(x)"])
            between = [(x - whole["x"]) * (y - whole["y"]) for x, y in zip(mean["x"], mean["y"])]
            total = sum(w * (number[f"cov(y,x)[{k + 1}]"] + between[k]) for k, w in enumerate(weight))
            self.assertAlmostEqual(total, number["cov(y,x)"])
        named = {parameter["parameter"] for parameter in record["convergence"]}
        self.assertLessEqual({"mean(x)", "var(y)", "cor(x,y)", "log.likelihood"}, named)
        self.assertFalse([name for name in named if "[" in name], "components have no names to judge by")
        # What reads a run reads this one.
        for command in (("diagnose", "out"), ("pool", "out"), ("pool", "out", "--lm", "y ~ x"), ("report", "out")):
            code, _, err = self.run_program(*command)
            self.assertEqual(code, 0, err)

    def test_imputed_values_have_the_humps(self):
        self.impute("--quiet")
        hidden = {row[".id"] for row in self.rows("imputations.csv") if row[".imp"] == "0" and row["x"] == "NA"}
        errors, between, cells = 0, 0, 0
        for row in self.rows("imputations.csv"):
            if row[".imp"] == "0" or row[".id"] not in hidden:
                continue
            x = float(row["x"])
            cells += 1
            between += 3.5 < x < 6.5
            # Where y is far from the crossing, it tells the hump.
            y = float(row["y"])
            errors += row["site"] == "b" and y > 5 + 3 and x < 5
        self.assertGreater(cells, 200)
        self.assertLess(between, 0.01 * cells)
        self.assertEqual(errors, 0)
        shares = [float(row["x"]) > 5 for row in self.rows("imputations.csv") if row[".id"] in hidden and row[".imp"] != "0"]
        self.assertAlmostEqual(sum(shares) / cells, 0.6, delta=4 * math.sqrt(0.24 / len(hidden)))

    def test_jobs_change_no_byte(self):
        sums = []
        for jobs in ("1", "2", "8"):
            self.impute("-j", jobs, "--quiet")
            sums.append([(self.path / "out" / name).read_bytes() for name in ("imputations.csv", "parameters.csv")])
        self.assertEqual(sums[0], sums[1])
        self.assertEqual(sums[0], sums[2])

    def test_one_component_is_one_normal_distribution(self):
        bytes_of = []
        for options in (("--components", "1"), ()):
            code, out, err = self.run_program("impute", "table.csv", "-o", "-", "--carry", "site", "--seed", "1", "-m", "2",
                                              "--burn-in", "10", "--thin", "5", "--quiet", *options)
            self.assertEqual(code, 0, err)
            bytes_of.append(out)
        self.assertEqual(*bytes_of)

    def test_refusals_come_before_drawing(self):
        (self.path / "prior.json").write_text("{}")
        cases = {
            (): "column of words",
            ("--by", "site"): "--by",
            ("--carry", "site", "--lower", "x=-20"): "--lower",
            ("--carry", "site", "--step", "x=0.5"): "steps",
            ("--carry", "site", "--prior", "ridge=1"): "--prior",
            ("--carry", "site", "--order", "x<y"): "--order",
            ("--carry", "site", "--components", "0"): "whole number from 1 to 100",
            ("--carry", "site", "--components", "some"): "neither auto nor",
        }
        (self.path / "table.csv").write_text("x,y,site\n1,5,a\n2,6,b\n,7,a\n3.5,,b\n3,8.5,a\n4,9,b\n1.5,7,a\n2,7.5,b\n")
        for options, message in cases.items():
            for command in (("impute", "table.csv", "-o", "out", "--progress", "json"), ("check", "table.csv")):
                if command[0] == "check" and "--prior" in options:
                    continue
                last = () if "--components" in options else ("--components", "auto")
                code, _, err = self.run_program(*command, *options, *last)
                self.assertEqual(code, 64, (options, err))
                self.assertIn(message, err)
                self.assertNotIn('"done"', err)
        self.assertFalse((self.path / "out").exists())


if __name__ == "__main__":
    unittest.main()
