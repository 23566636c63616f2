# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# Chains as jobs of their own: what "ullage gather" puts together, and what it refuses to.

import json
import pathlib
import subprocess
import sys
import tempfile
import unittest

PROGRAM = sys.argv.pop(1)

TABLE = "site,lead,zinc,stage\n" + "".join(
    f"s{i},{'<2' if i % 5 == 0 else 2 + (i * 37 % 41) / 7},{'' if i % 7 == 3 else 20 + (i * 29 % 31) / 3},"
    f"{'' if i % 11 == 4 else ('low', 'high')[i % 3 == 0]}\n"
    for i in range(60)
)
SETTINGS = ("--burn-in", "20", "--thin", "5", "--quiet", "--id", "site")


class GatherTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = pathlib.Path(folder.name)
        (self.path / "table.csv").write_text(TABLE)

    def run_program(self, *words, code=0):
        done = subprocess.run([PROGRAM, *words], capture_output=True, text=True, cwd=self.path, timeout=120)
        self.assertEqual(done.returncode, code, done.stderr)
        return done.stderr

    def run_part(self, directory, chain, *options, seed="5", m="7"):
        self.run_program("impute", "table.csv", "-o", directory, "--chain", chain, "--seed", seed, "-m", m, *SETTINGS,
                         *options)

    def test_parts_are_one_run(self):
        cases = (("long", ("--order", "lead<zinc"), "7"), ("cells", (), "7"), ("files", ("--no-report",), "7"),
                 ("sav", (), "2"),  # leaves a chain without an imputation
                 ("mixture", ("--components", "2", "--carry", "stage"), "7"))
        for form, options, m in cases:
            words = options if form == "mixture" else ("--format", form, *options)
            self.run_program("impute", "table.csv", "-o", f"whole_{form}", "--chains", "3", "--seed", "5", "-m", m,
                             *SETTINGS, *words)
            for k in (1, 2, 3):
                self.run_part(f"part{k}", f"{k}/3", *words, "-j", str(k), m=m)
            self.run_program("gather", "part2", "part3", "part1", "-o", f"got_{form}", "--quiet")
            names = {p.name for p in (self.path / f"whole_{form}").iterdir()}
            self.assertEqual(names, {p.name for p in (self.path / f"got_{form}").iterdir()})
            for name in names - {"run.json", "report.html"}:
                self.assertEqual((self.path / f"whole_{form}" / name).read_bytes(),
                                 (self.path / f"got_{form}" / name).read_bytes(), f"{form} {name}")
            # The command, the times, and with them the report are those of the jobs.
            records = [json.loads((self.path / f"{road}_{form}" / "run.json").read_text()) for road in ("whole", "got")]
            self.assertIn("--chains", records[1]["command"])
            self.assertNotIn("--chain", records[1]["command"])
            for record in records:
                del record["command"], record["timings"]
                record["files"] = [file for file in record["files"] if file["name"] != "report.html"]
            self.assertEqual(*records)
            if "--no-report" not in options:
                pages = [(self.path / f"{road}_{form}" / "report.html").read_text() for road in ("whole", "got")]
                self.assertEqual(*(page[: page.index("impute table.csv")].rpartition("<code>")[0] for page in pages))

    def test_what_is_no_run(self):
        prior = {"columns": ["lead", "zinc"], "mean": [5, 20], "mean_cases": 1, "covariance_cases": 5,
                 "covariance": [[1, 0], [0, 1]]}
        self.run_part("one", "1/2")
        self.run_part("two", "2/2")
        self.run_part("again", "2/2")
        self.run_part("seed", "2/2", seed="6")
        self.run_part("options", "2/2", "--log", "lead")
        self.run_part("three", "2/3")
        for number, name in enumerate(("prior1", "prior2")):
            (self.path / "prior.json").write_text(json.dumps(prior | {"mean_cases": 1 + number}))
            self.run_part(name, f"{number + 1}/2", "--prior", "prior.json", "--carry", "stage")
        self.run_program("impute", "table.csv", "-o", "whole", "--seed", "5", "-m", "7", *SETTINGS)
        (self.path / "other.csv").write_text(TABLE.replace("s1,", "t1,"))
        self.run_program("impute", "other.csv", "-o", "input", "--chain", "2/2", "--seed", "5", "-m", "7", *SETTINGS)
        cases = (
            (("one",), 65, "chain 2 of 2 is missing: give the directory that ullage impute --chain 2/2 wrote"),
            (("two", "one", "again"), 65, "two and again are both chain 2 of 2"),
            (("one", "seed"), 65, "one and seed are not parts of one run: their seeds differ"),
            (("one", "options"), 65, "one and options are not parts of one run: their options differ"),
            (("one", "three"), 65, "one and three are not parts of one run: their numbers of chains differ"),
            (("one", "input"), 65, "one and input are not parts of one run: their inputs differ"),
            (("prior1", "prior2"), 65, "prior1 and prior2 are not parts of one run: their prior files differ"),
            (("one", "whole"), 65, "whole: these are the results of a whole run"),
            (("one", "nowhere"), 66, "nowhere: there is no such directory"),
        )
        for directories, code, words in cases:
            self.assertIn(words, self.run_program("gather", *directories, "-o", "out", code=code))
        self.assertIn("would take the place of the input", self.run_program("gather", "one", "two", "-o", "one", code=73))
        for command in ("pool", "diagnose", "report"):
            self.assertIn("one: these are the results of chain 1 of 2 alone", self.run_program(command, "one", code=65))
        part = self.path / "two" / "chain.part"
        whole = part.read_bytes()
        part.write_bytes(whole[:-8])
        self.assertIn("two/chain.part: this file is not as the run",
                      self.run_program("gather", "one", "two", "-o", "out", code=65))
        part.write_bytes(whole)
        (self.path / "table.csv").write_text(TABLE.replace("s1,", "t1,"))
        self.assertIn("the inputs differ", self.run_program("gather", "one", "two", "-o", "out", code=65))
        self.assertFalse((self.path / "out").exists())

    def test_options_of_parts(self):
        for options, words in ((("--chain", "3/2", "--seed", "1"), "is not K/N"), (("--chain", "1/2"), "give --seed"),
                               (("--chain", "1", "--seed", "1"), "is not K/N"),
                               (("--chain", "1/2", "--chains", "2", "--seed", "1"), "excludes"),
                               (("--chain", "1/2", "--seed", "1", "--overimpute"), "--overimpute")):
            self.assertIn(words, self.run_program("impute", "table.csv", "-o", "out", *options, code=64))
        self.assertFalse((self.path / "out").exists())


if __name__ == "__main__":
    unittest.main()
