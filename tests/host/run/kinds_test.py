# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
"""A table of numbers, steps and words through the program: from check to pooled shares, files of packages and the page."""

import csv
import json
import pathlib
import random
import re
import subprocess
import sys
import tempfile
import unittest

PROGRAM = sys.argv.pop(1)
STAGES = ["I", "II", "III", "IV"]
OPTIONS = ["--ordered", "stage=I,II,III,IV", "--step", "age=1,visits=1", "--log", "lead"]
SHORT = ["-m", "5", "--chains", "2", "--burn-in", "20", "--thin", "10", "--seed", "2", "--quiet"]
BOUNDED = {"<=II": "I II", "<II": "I", ">II": "III IV", "II..III": "II III", ">=III": "III IV"}


def make_table():
    numbers = random.Random(8)
    lines = ["id,day,age,sex,stage,visits,lead,site,remark"]
    for row in range(200):
        common = numbers.gauss(0, 1)
        stage = STAGES[min(3, max(0, int(common + 2)))]
        bounded = [text for text, words in BOUNDED.items() if stage in words.split()]
        cells = [f"P{row}", f"2024-03-{1 + row % 28:02}", str(round(50 + 9 * common + numbers.gauss(0, 3))),
                 "female" if common + numbers.gauss(0, 1) > 0 else "male",
                 numbers.choice(bounded) if bounded and row % 6 == 0 else stage, str(max(0, round(2 + common))),
                 f"{2.718 ** (common + numbers.gauss(0, 0.5)):.3f}", numbers.choice(['"North, Hill"', "Dale", "Mead"]),
                 "seen" if row % 7 else ""]
        lines.append(",".join("" if 2 <= place < 8 and numbers.random() < 0.15 else cell
                              for place, cell in enumerate(cells)))
    return "\n".join(lines) + "\n"


def run(*words, cwd=None, stdin=None):
    done = subprocess.run([PROGRAM, *words], capture_output=True, text=True, cwd=cwd, input=stdin, timeout=120)
    return done.returncode, done.stdout, done.stderr


class Kinds(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        cls.path = pathlib.Path(cls.folder.name)
        (cls.path / "clinic.csv").write_text(make_table())
        code, _, cls.said = run("impute", "clinic.csv", "-o", "out", *OPTIONS, *SHORT, cwd=cls.path)
        assert code == 0, cls.said

    def rows(self, name="out/imputations.csv"):
        with open(self.path / name, newline="") as file:
            return list(csv.DictReader(file))

    def test_check_says_the_kind_of_every_column_and_why(self):
        code, out, err = run("check", "clinic.csv", *OPTIONS, cwd=self.path)
        self.assertEqual(code, 0, err)
        for line in [r"id +carried +its words are all different", r"day +carried +dates", r"age +stepped +--step, in steps of 1",
                     r"sex +binary +two words: female, male", r"stage +ordered +--ordered: I, II, III, IV",
                     r"lead +number +numbers, modelled as log\(lead\)", r'site +nominal +3 words: Dale, Mead, .North, Hill',
                     r"remark +carried +it has a single word; 29 cells missing"]:
            self.assertRegex(out, re.compile("^" + line, re.MULTILINE))
        self.assertIn('carried along with missing cells, which no completed table fills: "remark" (29)', err)

    def test_completed_tables_hold_words_and_keep_what_is_known(self):
        original = list(csv.DictReader(make_table().splitlines()))
        seen = set()
        for number, row in enumerate(self.rows()):
            imputation, index = divmod(number, 200)
            for column, text in original[index].items():
                got = row[column]
                if column in ("id", "day", "remark") or (text and text not in BOUNDED):
                    self.assertEqual(got, text)
                elif imputation == 0:
                    self.assertEqual(got, "NA")
                elif column == "stage":
                    self.assertIn(got, BOUNDED[text].split() if text else STAGES)
                    seen.add((index, got))
                elif column in ("age", "visits"):
                    self.assertRegex(got, r"^-?\d+$")
                else:
                    self.assertIn(got, {"sex": ["female", "male"], "site": ["North, Hill", "Dale", "Mead"]}.get(column, got))
        hidden = sum(row["stage"] == "NA" for row in self.rows()[:200])
        self.assertGreater(len(seen), hidden, "imputations differ")

    def test_bounds_of_words_are_words(self):
        stages = {row["row"]: (row["lower"], row["upper"]) for row in self.rows("out/bounds.csv") if row["column"] == "stage"}
        original = list(csv.DictReader(make_table().splitlines()))
        expected = {str(i + 1): (BOUNDED[row["stage"]].split()[0], BOUNDED[row["stage"]].split()[-1])
                    for i, row in enumerate(original) if row["stage"] in BOUNDED}
        self.assertEqual(stages, expected)

    def test_shares_are_those_of_the_tables(self):
        code, out, err = run("pool", "out", "--json", cwd=self.path)
        self.assertEqual(code, 0, err)
        pooled = {row["name"]: row for row in json.loads(out)["quantities"]}
        rows = self.rows()
        for stage in STAGES:
            shares = [sum(row["stage"] == stage for row in rows if row[".imp"] == str(k)) / 200 for k in range(1, 6)]
            row = pooled[f"share(stage={stage})"]
            self.assertAlmostEqual(row["estimate"], sum(shares) / 5, places=12)
            self.assertAlmostEqual(row["within"], sum(p * (1 - p) / 199 for p in shares) / 5, places=12)
        self.assertIn("share(site=`North, Hill`)", pooled)
        self.assertNotIn("mean(stage)", pooled)
        code, out, err = run("pool", "out", "--correlations", "--csv", cwd=self.path)
        self.assertEqual((code, out.count("cor(")), (0, 3), "of age, visits and lead")

    def test_parameters_are_named_by_their_variables(self):
        header = (self.path / "out/parameters.csv").read_text().splitlines()[0]
        for name in ("mean(age)", "mean(sex=male)", "mean(stage)", "mean(log(lead))", "mean(site=Dale)"):
            self.assertIn(name, header)
        code, out, err = run("diagnose", "out", "--json", cwd=self.path)
        names = [row["name"] for row in json.loads(out)["parameters"]]
        self.assertNotIn("var(sex=male)", names, "is 1 by definition")
        self.assertIn("cor(sex=male,stage)", names)
        fmi = {row["name"]: row["fmi"] for row in json.loads(out)["parameters"]}
        self.assertTrue(0 < fmi["mean(sex=male)"] < 1)

    def test_one_file_or_several_give_the_same(self):
        code, _, err = run("impute", "clinic.csv", "-o", "files", "--format", "files", *OPTIONS, *SHORT, cwd=self.path)
        self.assertEqual(code, 0, err)
        self.assertEqual(run("pool", "files", cwd=self.path), run("pool", "out", cwd=self.path))

    def test_files_of_packages_label_words(self):
        for form in ("sav", "dta"):
            code, _, err = run("impute", "clinic.csv", "-o", form, "--format", form, *OPTIONS, *SHORT, cwd=self.path)
            self.assertEqual(code, 0, err)
            code, out, err = run("check", f"{form}/imputations.{form}", "--json", cwd=self.path)
            counts = {c["name"]: c for c in json.loads(out)["columns"]}
            hidden = sum(row["site"] == "NA" for row in self.rows())
            self.assertEqual((counts["site"]["observed"], counts["site"]["missing"]), (1200 - hidden, hidden), form)

    def test_overimputation_counts_hits(self):
        code, _, err = run("impute", "clinic.csv", "-o", "over", "--overimpute", *OPTIONS, *SHORT[:-1], cwd=self.path)
        self.assertEqual(code, 0, err)
        rows = {row["column"]: row for row in self.rows("over/overimputation.csv")}
        self.assertEqual((rows["lead"]["hits"], rows["sex"]["in_50"]), ("", ""))
        for name in ("sex", "stage", "site"):
            cells, hits, expected = (float(rows[name][k]) for k in ("cells", "hits", "expected_hits"))
            # Hits of a right model are as many as agreements; four standard errors.
            self.assertLess(abs(hits - expected), 4 * float(rows[name]["hit_error"]), name)
            self.assertTrue(0.2 * cells < expected < cells)
        page = (self.path / "over/report.html").read_text()
        self.assertIn("how many imputations hit them", page)
        self.assertIn("Words of observed and imputed cells of each column", page)
        again = run("report", "over", "-o", "-", cwd=self.path)
        self.assertEqual((again[0], again[1]), (0, page))

    def test_options_that_cannot_be(self):
        table = "i,x,w,b\n" + "".join(f"{i},{i * i % 7},{'uvw'[i % 3]},{'yn'[i % 2]}\n" for i in range(12))
        for options, code, words in (
            (["--ordered", "w"], 64, "give the words of \"w\" in their order: --ordered 'w=u,v,w'"),
            (["--ordered", "w=u,v"], 65, "none of its words, u, v"), (["--ordered", "w=u,u"], 64, "two or more different"),
            (["--binary", "w"], 64, "has 3 different words"), (["--step", "x=0"], 64, "must be above 0"),
            (["--number", "w"], 65, "w"), (["--nominal", "nowhere"], 64, 'no column "nowhere"'),
            (["--binary", "b", "--carry", "b"], 64, "carried along by another option"),
            (["--log", "i"], 64, "as its numbers count the rows; --number or"), (["--log", "w"], 64, '"w"'), (["--lower", "b=0"], 64, '"b"'), (["--order", "x<w"], 64, '"w"')):
            got, _, err = run("check", "-", "--quiet", *options, stdin=table)
            self.assertEqual(got, code, (options, err))
            self.assertIn(words, err, options)


if __name__ == "__main__":
    unittest.main()
