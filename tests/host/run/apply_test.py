# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# "ullage apply": new rows against the conditional distributions that follow from parameters.csv, and what it refuses.

import csv
import json
import math
import pathlib
import random
import signal
import statistics
import subprocess
import sys
import tempfile
import unittest

PROGRAM = sys.argv.pop(1)
PHI = statistics.NormalDist()


def table():
    lines = ["x,y,z,sex,grade,site,note"]
    for i in range(240):
        x = (i * 37 % 41) / 10
        e = PHI.inv_cdf((i * 29 % 241 + 0.5) / 242)
        f = PHI.inv_cdf((i * 83 % 239 + 0.5) / 240)
        y = "" if i % 7 == 3 else math.exp(0.5 * x + 0.4 * e)
        sex = "" if i % 9 == 4 else "f" if x - 2 + f > 0 else "m"
        grade = "" if i % 8 == 5 else ("low", "mid", "high", "top")[sum(x + f > cut for cut in (1, 2, 3))]
        lines.append(f"{x},{y},{'' if i % 11 == 2 else 2 * x + f},{sex},{grade},{'ab'[i % 2]},n{i}")
    return "\n".join(lines) + "\n"


def ruled_table():
    """Two columns in an order and much alike, steps, three words without order, and words that are known in all rows."""
    lines = ["site;z;a;b;steps;region"]
    draw = random.Random(3)
    for i in range(300):
        z = draw.gauss(0, 1)
        a = 10 + 2 * z + draw.gauss(0, 0.5)
        b = a + abs(draw.gauss(0, 0.7))
        region = ("north", "south", "west")[int(z + draw.gauss(0, 1) > 0) + int(draw.random() < 0.2)]
        lines.append(f"{'p' if i % 3 else 'q'};{z};{'nn' if i % 8 == 1 else '<9' if i % 8 == 2 and a < 9 else f'{a} ug'};"
                     f"{'' if i % 7 == 1 else f'{b} ug'};{'' if i % 6 == 1 else max(0, round(5 + z + draw.gauss(0, 1)))};"
                     f"{'' if i % 9 == 1 else region}")
    return "\n".join(lines) + "\n"


def conditional(mean, covariance, names, given):
    """Mean and covariance of all other names in a normal distribution, given the values of some."""
    mean, covariance = dict(mean), dict(covariance)
    left = list(names)
    for name, value in given.items():
        left.remove(name)
        off, variance = value - mean[name], covariance[name, name]
        slope = {n: covariance[n, name] / variance for n in left}
        for n in left:
            mean[n] += slope[n] * off
        covariance = {(n, k): covariance[n, k] - slope[n] * covariance[name, k] for n in left for k in left}
    return left, mean, covariance


def draws_of(names, mean, covariance, accept, count):
    """Draws from a normal distribution cut to what is accepted, by drawing until there are enough."""
    root = {}
    for i, n in enumerate(names):
        for j, k in enumerate(names[:i + 1]):
            rest = covariance[n, k] - sum(root[n, m] * root[k, m] for m in names[:j])
            root[n, k] = math.sqrt(rest) if n == k else rest / root[k, k]
    source, found = random.Random(1), []
    while len(found) < count:
        free = [source.gauss(0, 1) for _ in names]
        row = {n: mean[n] + sum(root[n, m] * free[j] for j, m in enumerate(names[:i + 1])) for i, n in enumerate(names)}
        if accept(row):
            found.append(row)
    return found


class Apply(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        cls.path = pathlib.Path(cls.folder.name)
        (cls.path / "table.csv").write_text(table())
        code, _, err = cls.run_program("impute", "table.csv", "-o", "run", "--log", "y", "--by", "site", "--carry", "note",
                                       "--ordered", "grade=low,mid,high,top", "-m", "4", "--chains", "2", "--burn-in", "40",
                                       "--thin", "7", "--seed", "5", "--no-report", "--quiet")
        assert code == 0, err
        (cls.path / "ruled.csv").write_text(ruled_table())
        code, _, err = cls.run_program("impute", "ruled.csv", "-o", "ruled", "--order", "a<b", "--upper", "b=20",
                                       "--step", "steps=1", "--nd", "a=8", "--nd-word", "nn", "--unit", "ug", "-m", "2",
                                       "--chains", "1", "--burn-in", "60", "--thin", "20", "--seed", "5", "--no-report",
                                       "--quiet")
        assert code == 0, err

    @classmethod
    def run_program(cls, *words, stdin=None):
        done = subprocess.run([PROGRAM, *words], cwd=cls.path, capture_output=True, text=True, input=stdin)
        return done.returncode, done.stdout, done.stderr

    def apply(self, text, name="new", *words, run="run"):
        (self.path / f"{name}.csv").write_text(text)
        code, _, err = self.run_program("apply", run, f"{name}.csv", "-o", name, *words)
        return code, err

    def column(self, folder, imputation, name):
        with open(self.path / folder / f"imputation_{imputation}.csv", newline="") as file:
            return [row[name] for row in csv.DictReader(file, delimiter=";" if folder in ("cut", "high") else ",")]

    def normal(self, imputation, level, names, given):
        """Mean and deviation of the first of two variables given the other, in the draw of an imputation."""
        chain, iteration = (imputation - 1) % 2 + 1, ((imputation - 1) // 2 + 1) * 7
        with open(self.path / "run" / "parameters.csv", newline="") as file:
            draw = next(row for row in csv.DictReader(file) if (row[".chain"], row[".iteration"], row[".level"])
                        == (str(chain), str(iteration), level))
        a, b = names
        number = {key: float(value) for key, value in draw.items() if not key.startswith(".")}
        covariance = number.get(f"cov({a},{b})", number.get(f"cov({b},{a})"))
        slope = covariance / number[f"var({b})"]
        return (number[f"mean({a})"] + slope * (given - number[f"mean({b})"]),
                math.sqrt(number[f"var({a})"] - slope * covariance))

    def check_share(self, got, expected, count, what):
        self.assertLess(abs(got - expected), 4.5 * math.sqrt(expected * (1 - expected) / count) + 1e-9, what)

    def test_draws_are_from_the_conditional_distribution(self):
        count = 3000
        head = "note,site,grade,x,y,z,sex\n"  # in another order than in the run
        text = head + "".join(f"q,b,,3.5,,,\nq,a,,0.5,<1.5,,\n" for _ in range(count))
        code, err = self.apply(text)
        self.assertEqual(code, 0, err)
        for imputation in (1, 4):
            with self.subTest(imputation):
                values = [math.log(float(v)) for v in self.column("new", imputation, "y")]
                mean, deviation = self.normal(imputation, "b", ("log(y)", "x"), 3.5)
                free = values[0::2]
                self.assertLess(abs(statistics.fmean(free) - mean), 4.5 * deviation / math.sqrt(count))
                self.assertLess(abs(statistics.stdev(free) / deviation - 1), 4.5 / math.sqrt(2 * count))
                # Below a limit: each draw is uniform on the distribution up to there.
                mean, deviation = self.normal(imputation, "a", ("log(y)", "x"), 0.5)
                law = statistics.NormalDist(mean, deviation)
                places = [law.cdf(v) / law.cdf(math.log(1.5)) for v in values[1::2]]
                self.assertLess(max(places), 1)
                self.assertLess(abs(statistics.fmean(places) - 0.5), 4.5 / math.sqrt(12 * count))
                self.check_share(sum(p < 0.1 for p in places) / count, 0.1, count, "the lowest tenth")
                # Words by the variables behind them.
                mean, deviation = self.normal(imputation, "b", ("sex=m", "x"), 3.5)
                self.check_share(self.column("new", imputation, "sex")[0::2].count("m") / count,
                                 PHI.cdf(mean / deviation), count, "sex")
                mean, deviation = self.normal(imputation, "b", ("grade", "x"), 3.5)
                grades = self.column("new", imputation, "grade")[0::2]
                law = statistics.NormalDist(mean, deviation)
                self.check_share(grades.count("low") / count, law.cdf(0), count, "grade low")
                self.check_share(grades.count("mid") / count, law.cdf(1) - law.cdf(0), count, "grade mid")

    def test_imputations_are_independent(self):
        # y is close to x: where both cells are hidden and one is bounded, they are drawn one at a time.
        draw = random.Random(4)
        pairs = [(x, x + draw.gauss(0, 0.15)) for x in (draw.gauss(0, 1) for _ in range(200))]
        (self.path / "close.csv").write_text("x,y\n" + "".join(f"{x:.4f},{y:.4f}\n" for x, y in pairs))
        code, _, err = self.run_program("impute", "close.csv", "-o", "close", "-m", "3", "--chains", "1", "--burn-in", "20",
                                        "--thin", "10", "--seed", "5", "--no-report", "--quiet")
        self.assertEqual(code, 0, err)
        count = 1000
        code, err = self.apply("x,y\n" + "0.1,\n<9,\n" * count, "alike", run="close")
        self.assertEqual(code, 0, err)
        columns = [[float(v) for v in self.column("alike", k, "y")] for k in (1, 2, 3)]
        for first in (0, 1):  # rows that are drawn at once, and rows that need sweeps
            for a, b in ((0, 1), (1, 2)):
                found = statistics.correlation(columns[a][first::2], columns[b][first::2])
                self.assertLess(abs(found), 4.5 / math.sqrt(count), (first, a, b))

    def assert_same_mean(self, got, expected, what):
        variance = statistics.variance(got) / len(got) + statistics.variance(expected) / len(expected)
        self.assertLess(abs(statistics.fmean(got) - statistics.fmean(expected)), 4.5 * math.sqrt(variance) + 1e-12, what)

    def test_rules_and_words_hold_in_the_joint_distribution(self):
        count = 2000
        # Cells are read as in the run: its unit, its word for "not detected" below its limit.
        text = "z;region;a;steps;b;site\n" + "0.3;;;;;p\n-1;;nn;;<10 ug;q\n" * count
        code, err = self.apply(text, "cut", run="ruled")
        self.assertEqual(code, 0, err)
        with open(self.path / "ruled" / "parameters.csv", newline="") as file:
            draw = [row for row in csv.DictReader(file) if row[".iteration"] == "40"][0]
        number = {key: float(value) for key, value in draw.items()}
        names = [key[5:-1] for key in number if key.startswith("mean(")]
        mean = {n: number[f"mean({n})"] for n in names}
        covariance = {(n, k): number.get(f"cov({n},{k})", number.get(f"cov({k},{n})", number[f"var({n})"] if n == k else None))
                      for n in names for k in names}
        site = next(n for n in names if n.startswith("site="))
        words = [n for n in names if n.startswith("region=")]
        self.assertEqual(len(words), 2)
        reference = ({"north", "south", "west"} - {w[7:] for w in words}).pop()
        for first, given, accept in (
                (0, {"z": 0.3, site: float(site[5:] == "p")}, lambda row: row["a"] < row["b"] < 20),
                (1, {"z": -1.0, site: float(site[5:] == "q")}, lambda row: row["a"] < row["b"] < 10 and row["a"] < 8)):
            with self.subTest(first):
                got = {name: self.column("cut", 2, name)[first::2] for name in ("a", "b", "steps", "region")}
                a, b = ([float(v) for v in got[name]] for name in "ab")
                expected = draws_of(*conditional(mean, covariance, names, given), accept, count)
                self.assertTrue(all(accept({"a": v, "b": w}) for v, w in zip(a, b)))
                ea, eb = ([row[name] for row in expected] for name in "ab")
                for power in (1, 2):
                    self.assert_same_mean([v**power for v in a], [v**power for v in ea], f"a^{power}")
                    self.assert_same_mean([(w - v)**power for v, w in zip(a, b)],
                                          [(w - v)**power for v, w in zip(ea, eb)], f"(b - a)^{power}")
                steps = [float(v) for v in got["steps"]]
                self.assertTrue(all(v == round(v) for v in steps))
                self.assert_same_mean(steps, [round(row["steps"]) for row in expected], "steps")
                decided = [max([(row[w], w[7:]) for w in words] + [(0.0, reference)])[1] for row in expected]
                for word in ("north", "south", "west"):
                    self.assert_same_mean([float(v == word) for v in got["region"]], [float(v == word) for v in decided],
                                          word)

    def test_a_limit_of_the_run_holds_where_it_matters(self):
        code, err = self.apply("z;region;a;steps;b;site\n" + "0.3;;19.5;;;p\n" * 200, "high", run="ruled")
        self.assertEqual(code, 0, err)
        drawn = [float(v) for v in self.column("high", 1, "b")]
        self.assertTrue(19.5 <= min(drawn) < max(drawn) <= 20, drawn)

    def test_parts_and_ways_of_reading_make_no_difference(self):
        head = "x,y,z,sex,grade,site\r\n"
        rows = [f"{i % 5},{'' if i % 2 else 2},{'>1' if i % 3 else 0.5},f,,a\r\n" for i in range(9000)]
        self.assertEqual(self.apply(head + "".join(rows), "long", "-m", "2", "--quiet")[0], 0)
        code, _, err = self.run_program("apply", "run", "-", "-o", "piped", "-m", "2", stdin=head + "".join(rows))
        self.assertEqual(code, 0, err)
        for name in ("imputation_1.csv", "imputation_2.csv"):
            self.assertEqual((self.path / "long" / name).read_bytes(), (self.path / "piped" / name).read_bytes())
        # Rows further on in the file change nothing of the parts before them.
        self.apply(head + "".join(rows[:5000]), "short", "-m", "2")
        self.assertEqual(self.column("long", 1, "z")[:4096], self.column("short", 1, "z")[:4096])
        self.assertEqual(self.column("long", 1, "x"), [str(i % 5) for i in range(9000)])
        self.apply(head + "".join(rows[:3]), "other", "--seed", "6")
        self.assertNotEqual(self.column("other", 1, "grade") + self.column("other", 1, "y"),
                            self.column("long", 1, "grade")[:3] + self.column("long", 1, "y")[:3])

    def test_refusals(self):
        good = "x,y,z,sex,grade,site\n"
        for text, code, expected in (
                ("x,y,z,sex,site\n1,2,3,f,a\n", 65, 'no column "grade"'),
                (good + "1,2,3,f,low,a\n1,2,3,f,low,c\n", 65, 'line 3 (row 2)'),
                (good + "1,2,3,f,low,c\n", 65, "its levels are a, b"),
                (good + "1,2,3,f,best,a\n", 65, "none of its words, low, mid, high, top"),
                (good + "1,2,3,f,low,a\n" * 4500 + "1,2,3,g,low,a\n", 65, "line 4502 (row 4501)"),
                (good + "1,-2,3,f,low,a\n", 65, '"y"'),
                (good + "1,2,3,f,low,a\n" * 5000 + "1,x2,3,f,low,a\n", 65, "line 5002 (row 5001)"),
                (good, 65, "bad.csv")):
            got, err = self.apply(text, "bad")
            self.assertEqual(got, code, (text[:80], err))
            self.assertIn(expected, err)
            self.assertEqual([p.name for p in (self.path / "bad").glob("*")] if (self.path / "bad").exists() else [], [])
        (self.path / "bad.csv").write_text(good + "1,2,3,f,low,a\n" * 5000 + "1,x2,3,f,low,a\n")
        code, out, _ = self.run_program("apply", "run", "bad.csv", "-o", "bad", "--json")
        told = json.loads(out)
        self.assertEqual((code, told["problem_count"], told["problems"][0]["row"], told["problems"][0]["columns"]),
                         (65, 1, 5001, ["y"]))
        (self.path / "fine.csv").write_text(good + "1,2,3,f,,a\n")
        code, out, _ = self.run_program("apply", "run", "fine.csv", "-o", "told", "--json", "--quiet")
        self.assertEqual((code, json.loads(out)), (0, {"rows": 1, "cells": 1, "imputations": 4, "problems": [],
                                                       "problem_count": 0}))
        got, err = self.apply("z;site;a;b;steps;region\n1;p;;;;\n1;;;;;\n", "bad", run="ruled")
        self.assertEqual(got, 65)
        self.assertIn("line 3 (row 2)", err)
        self.assertIn("the word is hidden", err)
        for words, code, expected in ((("fine.csv", "-o", "run"), 73, "another directory"),
                                      (("fine.csv", "-o", "out", "-m", "5"), 64, "for 4 imputations"),
                                      (("fine.csv", "-o", "-"), 64, "a directory"),
                                      (("nowhere.csv", "-o", "out"), 66, "nowhere.csv")):
            got, _, err = self.run_program("apply", "run", *words)
            self.assertEqual(got, code, err)
            self.assertIn(expected, err)

    def test_other_columns_and_files_stay_as_they_are(self):
        text = "x,y,z,sex,grade,site,age\n1,,3,f,low,a, 4\n"
        code, err = self.apply(text, "more")
        self.assertEqual(code, 0, err)
        self.assertIn('the run had no column "age"; it is carried along', err)
        self.assertEqual(self.column("more", 1, "age"), [" 4"])
        before = {path.name: path.read_bytes() for path in (self.path / "more").iterdir()}
        self.assertEqual(sorted(before), [f"imputation_{i}.csv" for i in range(1, 5)])
        code, err = self.apply(text, "more")
        self.assertEqual(code, 73)
        self.assertIn("imputation_1.csv", err)
        self.assertEqual({path.name: path.read_bytes() for path in (self.path / "more").iterdir()}, before)
        # A record without what later versions wrote into it reads cells as by default.
        record = json.loads((self.path / "run" / "run.json").read_text())
        self.assertEqual(record["reading"]["missing"], ["NA", ".", "*"])

    def test_an_interrupt_leaves_nothing(self):
        process = subprocess.Popen([PROGRAM, "apply", "run", "-", "-o", "broken"], cwd=self.path, stdin=subprocess.PIPE,
                                   stderr=subprocess.PIPE)
        try:
            process.stdin.write(b"x,y,z,sex,grade,site\n" + b"1,<2,,,,a\n" * 40000)
            process.stdin.close()
            while not any((self.path / "broken").glob(".ullage-run/new/imputation_1.csv")):
                self.assertIsNone(process.poll(), "it ended before it was interrupted")
            process.send_signal(signal.SIGINT)
            self.assertEqual(process.wait(timeout=30), 130, process.stderr.read())
        finally:
            process.kill()
            process.stderr.close()
        self.assertFalse((self.path / "broken").exists())


if __name__ == "__main__":
    unittest.main(verbosity=2)
