# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# "ullage impute --until-converged": rounds give what a run gives that was told their length, and end as they should.

import json
import pathlib
import random
import subprocess
import sys
import tempfile
import unittest

PROGRAM = sys.argv.pop(1)


def table(rows):
    """Two numbers that are slow to draw, a word, and a column of groups."""
    source = random.Random(4)
    lines = ["x,y,stage,group"]
    for i in range(rows):
        z = source.gauss(0, 1)
        x, y = (z + source.gauss(0, 0.3) for _ in range(2))
        word = "" if i % 7 == 2 else "late" if z + source.gauss(0, 1) > 0 else "early"
        lines.append(f"{'<0' if x < 0 else round(x, 3)},{'' if i % 5 == 1 else round(y + 9, 3)},{word},g{i % 8}")
    return "\n".join(lines) + "\n"


class RoundsTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = pathlib.Path(folder.name)
        (self.path / "table.csv").write_text(table(320))

    def run_program(self, *words, code=0):
        done = subprocess.run([PROGRAM, *words], cwd=self.path, capture_output=True, text=True, timeout=300)
        self.assertEqual(done.returncode, code, (words, done.stderr))
        return done

    def impute(self, directory, *words, code=0):
        return self.run_program("impute", "table.csv", "-o", directory, "--seed", "6", *words, code=code).stderr

    def settings(self, directory):
        return json.loads((self.path / directory / "run.json").read_text())["settings"]

    def assert_same(self, one, other, names=("imputations.csv", "parameters.csv", "bounds.csv")):
        for name in names:
            self.assertEqual((self.path / one / name).read_bytes(), (self.path / other / name).read_bytes(), name)

    def test_the_same_bytes_as_one_run_of_that_length(self):
        lengths = ("--burn-in", "7", "--thin", "5")
        cases = {
            # An even and an odd number of imputations of each chain, and chains with one fewer than others.
            "words": ("-m", "7", "--chains", "3", "--max-iterations", "400"),
            "rules": ("-m", "6", "--chains", "4", "--carry", "stage,group", "--lower", "y=5", "--upper", "x=9",
                      "--order", "x<y", "--max-iterations", "300"),
            # With more jobs than chains a team draws each.
            "levels": ("-m", "5", "--chains", "2", "--by", "group", "--carry", "stage", "--max-iterations", "300"),
            "mixture": ("-m", "3", "--chains", "3", "--carry", "stage,group", "--components", "2",
                        "--max-iterations", "200"),
        }
        for name, options in cases.items():
            with self.subTest(name):
                for jobs in ("1", "2", "9"):
                    self.impute(f"{name}{jobs}", *lengths, *options, "--until-converged", "-j", jobs)
                thin = self.settings(f"{name}1")["thin"]
                self.assertGreater(thin, 9)
                told = options[:options.index("--max-iterations")]
                self.impute(f"{name}_told", *told, "--burn-in", "7", "--thin", str(thin))
                for jobs in ("1", "2", "9"):
                    self.assert_same(f"{name}{jobs}", f"{name}_told")
        self.impute("stop", *lengths, *cases["rules"], "--until-converged", "--overimpute")
        self.impute("stop_told", *cases["rules"][:-2], "--burn-in", "7", "--overimpute", "--thin",
                    str(self.settings("rules1")["thin"]))
        self.assert_same("stop", "stop_told", ("overimputation.csv",))

    def test_goes_on_until_all_have_converged(self):
        words = ("--until-converged", "--carry", "stage,group", "-m", "9")
        said = self.impute("run", *words)
        settings = self.settings("run")
        self.assertEqual(settings["until_converged"], {"rhat_below": 1.01, "ess_above": 400.0,
                                                       "max_iterations": 20000, "converged": True})
        rounds = [line for line in said.splitlines() if line.startswith("after ")]
        self.assertGreater(len(rounds), 1)
        self.assertTrue(all("going on to" in line for line in rounds[:-1]) and "going on" not in rounds[-1], said)
        judged = json.loads((self.path / "run" / "run.json").read_text())["convergence"]
        self.assertTrue(all(p["rhat"] < 1.01 and min(p["ess_bulk"], p["ess_tail"]) > 400 for p in judged))
        # The round before was not enough.
        self.impute("before", *words[1:], "--thin", str(settings["thin"] // 2))
        judged = json.loads((self.path / "before" / "run.json").read_text())["convergence"]
        self.assertFalse(all(p["rhat"] < 1.01 and min(p["ess_bulk"], p["ess_tail"]) > 400 for p in judged))
        # What is content with less ends sooner, and says what it was content with.
        self.impute("less", *words, "--rhat-below", "2", "--ess-above", "10")
        self.assertLess(self.settings("less")["iterations"], settings["iterations"])
        # Standard output takes the same tables.
        done = self.run_program("impute", "table.csv", "-o", "-", "--seed", "6", *words)
        self.assertEqual(done.stdout, (self.path / "run" / "imputations.csv").read_text())
        page = (self.path / "run" / "report.html").read_text()
        self.assertIn("R-hat was below 1.01", page)

    def test_the_most_iterations(self):
        said = self.impute("run", "--until-converged", "--carry", "stage,group", "--max-iterations", "800", "--quiet")
        settings = self.settings("run")
        self.assertEqual((settings["iterations"], settings["until_converged"]["converged"]), (700, False))
        warning = "not converged as far as --until-converged was to go: after 700 iterations"
        self.assertIn(warning, said)
        self.assertIn(warning, self.run_program("diagnose", "run").stderr)
        self.assertIn(warning, (self.path / "run" / "report.html").read_text())
        for words, why in ((("--max-iterations", "699", "--burn-in", "500", "--thin", "50"), "less than the 750 iterations"),
                           (("--rhat-below", "1"), "--rhat-below must be above 1"),
                           (("--ess-above", "0"), "--ess-above must be above 0"),
                           (("--chain", "1/4"), "only all chains together can converge")):
            self.assertIn(why, self.impute("none", "--until-converged", *words, code=64))
        self.assertIn("requires --until-converged", self.impute("none", "--ess-above", "100", code=64))
        self.assertFalse((self.path / "none").exists())

    def test_a_run_of_rounds_can_be_extended(self):
        (self.path / "options.toml").write_text('until-converged = true\ncarry = "stage,group"\nmax-iterations = 1500\n')
        self.impute("run", "--config", "options.toml", "-m", "5")
        thin = self.settings("run")["thin"]
        first = (self.path / "run" / "imputations.csv").read_bytes()
        for m in ("7", "11"):
            self.run_program("extend", "run", "-m", m)
            self.assertEqual(self.settings("run")["thin"], thin)
            self.assertTrue((self.path / "run" / "imputations.csv").read_bytes().startswith(first))
        self.impute("told", "--carry", "stage,group", "-m", "11", "--thin", str(thin))
        self.assert_same("run", "told")


if __name__ == "__main__":
    unittest.main(verbosity=2)
