# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# "ullage extend": the longer run is that which is drawn at once, and what cannot be extended stays as it was.

import json
import pathlib
import subprocess
import sys
import tempfile
import unittest

PROGRAM = sys.argv.pop(1)


class Extend(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = pathlib.Path(folder.name)
        rows = [f"{i * 37 % 41 / 10 + 1},{'' if i % 5 == 1 else '<3' if i % 7 == 1 else i * 29 % 43 / 10 + 1}" for i in range(90)]
        (self.path / "table.csv").write_text("x,y\n" + "\n".join(rows) + "\n")
        self.run_program("impute", "--log=y", "-o", "out", "table.csv", "-m3", "--chains", "2", "--burn-in=20", "--thin", "6",
                         "--seed", "5", "--format", "files", "--quiet")

    def run_program(self, *words, code=0):
        done = subprocess.run([PROGRAM, *words], cwd=self.path, capture_output=True, text=True)
        self.assertEqual(done.returncode, code, (words, done.stderr))
        return done.stderr

    def contents(self, folder):
        return {path.name: path.read_bytes() for path in (self.path / folder).iterdir()}

    def test_gives_the_bytes_of_a_longer_run(self):
        before = self.contents("out")
        self.run_program("extend", "out", "-m", "7", "-j", "1")
        self.run_program("impute", "table.csv", "-o", "once", "--log", "y", "-m", "7", "--chains", "2", "--burn-in", "20",
                         "--thin", "6", "--seed", "5", "--format", "files")
        extended, once = self.contents("out"), self.contents("once")
        self.assertEqual(extended.keys(), once.keys())
        for name in extended.keys() - {"run.json", "report.html"}:
            self.assertEqual(extended[name], once[name], name)
        for i in (1, 2, 3):
            self.assertEqual(extended[f"imputation_{i}.csv"], before[f"imputation_{i}.csv"])
        self.assertTrue(extended["parameters.csv"].startswith(before["parameters.csv"].split(b"\n2,")[0]))
        # The record names a command that gives the whole run, and so it can be extended again, from another place too.
        record = json.loads(extended["run.json"])
        self.assertEqual(record["settings"]["imputations"], 7)
        (self.path / "table.csv").rename(self.path / "moved.csv")
        self.assertIn("says where the input of the run is now", self.run_program("extend", "out", "-m", "9", code=66))
        self.run_program("extend", "out", "moved.csv", "-m", "9")
        self.assertEqual(self.contents("out")["imputation_7.csv"], extended["imputation_7.csv"])

    def test_refusals_change_nothing(self):
        before = self.contents("out")
        self.assertIn("has 3 imputations already", self.run_program("extend", "out", "-m", "3", code=64))
        (self.path / "table.csv").write_text((self.path / "table.csv").read_text() + "1,2\n")
        self.assertIn("has changed since the run", self.run_program("extend", "out", "-m", "5", code=65))
        self.assertEqual(self.contents("out"), before)
        self.run_program("impute", "table.csv", "-o", "other", "--config", "run.toml", "--quiet", code=66)
        (self.path / "run.toml").write_text('log = "y"\n')
        words = ("impute", "table.csv", "-o", "other", "--config", "run.toml", "-m", "2", "--burn-in", "9", "--thin", "5",
                 "--seed", "1", "--quiet")
        self.run_program(*words)
        before = self.contents("other")
        (self.path / "run.toml").write_text('log = "x"\n')
        self.assertIn("are not those of the run", self.run_program("extend", "other", "-m", "5", code=65))
        self.assertEqual(self.contents("other"), before)


if __name__ == "__main__":
    unittest.main(verbosity=2)
