# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# "ullage impute --derive": columns that are computed in every completed table, in all formats, and read back.

import csv
import json
import pathlib
import subprocess
import sys
import tempfile
import unittest

PROGRAM = sys.argv.pop(1)

TABLE = "hgt,wgt,sex,dose,note\n" + "".join(
    f"{'' if i % 7 == 3 else 150 + i * 37 % 41},{'<60' if i % 5 == 1 else 60 + i * 29 % 31},"
    f"{'' if i % 11 == 4 else 'fm'[i % 3 == 0]},{'NA' if i == 8 else i % 4},n{i}\n"
    for i in range(60)
)
RUN = ("--carry", "dose,note", "--chains", "2", "--burn-in", "9", "--thin", "4", "--seed", "3", "--log", "wgt", "--quiet")
DERIVE = ("--derive", "bmi = wgt / (hgt / 100)^2", "--derive", "`obese f` = bmi > 27 & sex == 'f'", "--derive", "much = hgt * dose")


class DerivedTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = pathlib.Path(folder.name)
        (self.path / "table.csv").write_text(TABLE)

    def run_program(self, *words, code=0):
        done = subprocess.run([PROGRAM, *words], cwd=self.path, capture_output=True, text=True, timeout=120)
        self.assertEqual(done.returncode, code, (words, done.stderr))
        return done.stdout if code == 0 else done.stderr

    def impute(self, directory, *words, m="3", code=0):
        return self.run_program("impute", "table.csv", "-o", directory, "-m", m, *RUN, *words, code=code)

    def rows(self, *name):
        with open(self.path.joinpath(*name)) as file:
            return list(csv.DictReader(file))

    def check_rows(self, rows):
        """The derived cells are those of their own rows."""
        for row in rows:
            known = "NA" not in (row["hgt"], row["wgt"])
            bmi = float(row["wgt"]) / (float(row["hgt"]) / 100) ** 2 if known else None
            self.assertEqual(row["bmi"], "NA") if bmi is None else self.assertAlmostEqual(float(row["bmi"]), bmi, places=10)
            if "NA" in (row["hgt"], row["wgt"], row["sex"]):
                self.assertEqual(row["obese f"], "NA")
            else:
                self.assertEqual(float(row["obese f"]), float(bmi > 27 and row["sex"] == "f"))
            is_missing = "NA" in (row["hgt"], row["dose"])
            self.assertEqual(row["much"], "NA") if is_missing else self.assertEqual(
                float(row["much"]), float(row["hgt"]) * float(row["dose"]))

    def answers(self, directory, *words):
        answer = json.loads(self.run_program("pool", directory, "--json", *words))
        return {key: value for key, value in answer.items() if key in ("quantities", "regressions", "regression")}

    def test_all_formats(self):
        self.impute("plain")
        expected = self.answers("plain", *DERIVE, "--lm", "bmi ~ sex + much", "--where", "dose < 9 & !is.na(dose)", "--means")
        for form in ("long", "files", "cells", "dta", "sav"):
            with self.subTest(form):
                self.impute(form, *DERIVE, "--format", form)
                self.assertEqual((self.path / form / "parameters.csv").read_bytes(),
                                 (self.path / "plain" / "parameters.csv").read_bytes())
                self.assertEqual(self.answers(form, "--lm", "bmi ~ sex + much", "--where", "dose < 9 & !is.na(dose)", "--means"),
                                 expected)
                self.run_program("report", form, "-o", "page.html")
                if form != "files":  # which do not tell a word that was drawn each time from one that was observed
                    self.assertEqual((self.path / "page.html").read_bytes(),
                                     (self.path / form / "report.html").read_bytes())
                self.assertIn("bmi = wgt / (hgt / 100)^2", (self.path / "page.html").read_text())
                self.assertEqual(self.run_program("diagnose", form), self.run_program("diagnose", "plain"))
        names = ["hgt", "wgt", "sex", "dose", "note"]
        long = self.rows("long", "imputations.csv")
        self.assertEqual(list(long[0]), [*names, "bmi", "obese f", "much", ".imp", ".id"])
        self.assertEqual([{name: row[name] for name in names} for row in long],
                         [{name: row[name] for name in names} for row in self.rows("plain", "imputations.csv")])
        self.check_rows(long)
        for k in (1, 2, 3):
            self.check_rows(self.rows("files", f"imputation_{k}.csv"))
        # A line for each cell that is hidden in the original, whichever column it is in.
        table = self.rows("cells", "original.csv")
        self.check_rows(table)
        for line in self.rows("cells", "cells.csv"):
            place = table[int(line["row"]) - 1]
            if line["imputation"] == "2":
                self.assertEqual(place[line["column"]], "NA")
                place[line["column"]] = line["value"]
        self.assertEqual(table, [{key: row[key] for key in table[0]} for row in long if row[".imp"] == "2"])
        for form, missing in (("dta", "bmi"), ("sav", "bmi")):
            said = json.loads(self.run_program("check", f"{form}/imputations.{form}", "--json"))
            column = next(column for column in said["columns"] if column["name"] == missing)
            self.assertEqual((column["observed"], column["missing"]),
                             tuple(sum((row["bmi"] == "NA") == is_na for row in long) for is_na in (False, True)))

    def test_other_roads_to_the_same_tables(self):
        self.impute("run", *DERIVE, m="4")
        for chain in ("1/2", "2/2"):
            part = [word for word in RUN if word not in ("--chains", "2")]
            self.run_program("impute", "table.csv", "-o", chain[0], "-m", "4", *part, *DERIVE, "--chain", chain)
        self.run_program("gather", "1", "2", "-o", "gathered")
        self.impute("short", *DERIVE, m="2")
        self.run_program("extend", "short", "-m", "4")
        for name in ("gathered", "short"):
            self.assertEqual((self.path / name / "imputations.csv").read_bytes(),
                             (self.path / "run" / "imputations.csv").read_bytes())
        (self.path / "new.csv").write_text("\n".join(TABLE.splitlines()[:20]) + "\n")
        self.run_program("apply", "run", "new.csv", "-o", "new")
        for k in (1, 4):
            rows = self.rows("new", f"imputation_{k}.csv")
            self.assertEqual(len(rows), 19)
            self.check_rows(rows)

    def test_what_cannot_be_derived(self):
        for derivation, why, code in (
                ("bmi = wgt /", "a number or a function is expected", 64), ("wgt = hgt", 'has a column "wgt" already', 64),
                ("note = hgt", 'has a column "note" already', 64), ("`.imp` = hgt", 'has a column ".imp" already', 64),
                ("a = depth", 'has no column "depth"', 64), ("a = sex * 2", "words", 64),
                # Before anything is drawn, and where only drawn values are wrong.
                ("a = log(hgt - 170)", "imputation 0: expression", 65),
                ("a = sqrt(wgt - 60)", "table.csv, imputation 1: expression", 65)):
            said = self.impute("none", "--derive", derivation, code=code)
            self.assertIn(why, said.replace("--derive \"", "expression \""))
            self.assertFalse((self.path / "none" / "run.json").exists())
        self.impute("run", *DERIVE)
        self.assertIn('has a column "bmi" already', self.run_program("pool", "run", "--derive", "bmi = 2", code=64))
        record = self.path / "run" / "run.json"
        record.write_text(record.read_text().replace("bmi = wgt /", "bmi = wgt / /"))
        self.assertIn('derived column "bmi"', self.run_program("pool", "run", code=65))


if __name__ == "__main__":
    unittest.main(verbosity=2)
