# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# "ullage pool --delta": shifted missing cells against the same reckoned from the completed tables.

import csv
import json
import math
import pathlib
import subprocess
import sys
import tempfile
import unittest

PROGRAM = sys.argv.pop(1)

# x has missing and censored cells, p missing cells of shares, n:w a name with a colon.
TABLE = "g,x,p,n:w,word\n" + "".join(
    f"{'a' if i % 2 else 'b'},{'' if i % 5 == 1 else '<3' if i % 6 == 0 else 3 + (i * 37 % 41) / 7},"
    f"{'' if i % 4 == 3 else 0.1 + (i * 29 % 31) / 40},{'' if i % 9 == 2 else i * 17 % 23},{'u' if i % 3 else 'v'}\n"
    for i in range(80)
)


class DeltaTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.path = pathlib.Path(folder.name)
        (cls.path / "table.csv").write_text(TABLE)
        cls.given = list(csv.DictReader(TABLE.splitlines()))
        cls.run_program("impute", "table.csv", "-o", "by", "--by", "g", "--log", "x", "--logit", "p", "--carry", "word",
                        "--seed", "1", "-m", "5", "--quiet", "--no-report")
        cls.run_program("impute", "table.csv", "-o", "words", "--seed", "1", "-m", "3", "--burn-in", "20", "--thin", "5",
                        "--upper", "n:w=60", "--by", "g", "--format", "files", "--quiet", "--no-report")

    @classmethod
    def run_program(cls, *words, code=0):
        done = subprocess.run([PROGRAM, *words], cwd=cls.path, capture_output=True, text=True, timeout=120)
        assert done.returncode == code, (words, done.returncode, done.stderr)
        return done.stdout if code == 0 else done.stderr

    def pooled(self, *options):
        return json.loads(self.run_program("pool", "by", "--json", *options))

    def mean(self, column, shift, moved):
        """Of all completed tables and each level, with shift(value) where the cell of a row was missing and moved."""
        sums = {"a": [], "b": []}
        with open(self.path / "by" / "imputations.csv", newline="") as file:
            for row in csv.DictReader(file):
                if row[".imp"] == "0":
                    continue
                given = self.given[int(row[".id"]) - 1]
                value = float(row[column])
                sums[row["g"]].append(shift(value) if given[column] == "" and moved(row) else value)
        return {level: sum(values) / len(values) for level, values in sums.items()}

    def check(self, column, delta, shift, moved=lambda row: True):
        expected = self.mean(column, shift, moved)
        for row in self.pooled("--delta", delta)["quantities"]:
            if row["name"] == f"mean({column})":
                self.assertAlmostEqual(row["estimate"], expected[row["level"]], places=10)
                self.assertEqual(row["delta"], delta)

    def test_missing_cells_move_on_the_scale_of_the_model(self):
        self.check("x", "x=0.5", lambda value: value * math.exp(0.5))
        self.check("p", "p=-1", lambda value: 1 / (1 + math.exp(1) * (1 - value) / value))
        self.check("n:w", "n:w=2.5", lambda value: value + 2.5)
        self.check("n:w", "a:n:w=2.5", lambda value: value + 2.5, lambda row: row["g"] == "a")

    def test_series_is_one_table(self):
        series = self.pooled("--delta", "x=0,0.5,1", "--delta", "b:p=0,1")["quantities"]
        self.assertEqual(len(series), 6 * 6)
        of_x = [row for row in series if row["name"] == "mean(x)" and row["level"] == "b"]
        self.assertEqual([row["delta"] for row in of_x],
                         [f"x={x} b:p={p}" for x in ("0", "0.5", "1") for p in ("0", "1")])
        self.assertEqual([row["name"] for row in series[:6]], ["mean(x)"] * 6, "side by side")
        self.assertEqual(len({row["level"] for row in series[:6]}), 1)
        plain = {(row["level"], row["name"]): row["estimate"] for row in self.pooled()["quantities"]}
        for row in series:
            if row["delta"] == "x=0 b:p=0":
                self.assertEqual(row["estimate"], plain[row["level"], row["name"]])
        # Derived columns follow, and so do regressions.
        fits = self.pooled("--lm", "y ~ p", "--derive", "y = log(x)", "--delta", "x=0,1")["regressions"]
        self.assertEqual([(fit["level"], fit["coefficients"][0]["delta"]) for fit in fits],
                         [("b", "x=0"), ("b", "x=1"), ("a", "x=0"), ("a", "x=1")])
        self.assertNotEqual(fits[0]["coefficients"][1]["estimate"], fits[1]["coefficients"][1]["estimate"])
        text = self.run_program("pool", "by", "--lm", "x ~ p", "--delta", "x=0,1")
        self.assertEqual([line for line in text.splitlines() if "40 rows" in line],
                         [f"x ~ p, level {level}: 40 rows, 5 imputations, residual df 38" for level in "ba"])
        self.assertEqual(len([line for line in text.splitlines() if line.startswith(("a ", "b "))]), 8)

    def test_wrong_shifts(self):
        for arguments, code, message in [
            (("by", "--delta", "x"), 64, "not of the form"),
            (("by", "--delta", "x=1,"), 64, "not of the form"),
            (("by", "--delta", "=1"), 64, "not of the form"),
            (("by", "--delta", "y=1"), 64, "neither a column"),
            (("by", "--delta", "c:x=1"), 64, "neither a column"),
            (("by", "--delta", "x=1", "--delta", "x=2"), 64, "twice"),
            (("by", "--delta", "x=" + ",".join("0" * 600), "--delta", "p=0,0"), 64, "more than 1000"),
            (("by", "--delta", "x=1000"), 65, "beyond the range"),
            (("words", "--delta", "word=1"), 64, "words"),
            (("words", "--delta", "n:w=100"), 65, "beyond the range"),
        ]:
            err = self.run_program("pool", *arguments, code=code)
            self.assertIn(message, err)
        self.run_program("pool", "--estimates", "table.csv", "--delta", "x=1", code=64)


if __name__ == "__main__":
    unittest.main()
