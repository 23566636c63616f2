# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# "ullage diagnose" and "ullage pool" as their users run them: results that are whole, broken, or not of one run.

import csv
import io
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).parents[1]))
from seal import seal

PROGRAM = sys.argv.pop(1)

TABLE = "site;lead;zinc;depth, m;lab\n" + "".join(
    f"{'north' if i % 2 else 'south'};{'<2' if i % 5 == 0 else 2 + (i * 37 % 41) / 7};"
    f"{'' if i % 7 == 3 else (i * 29 % 31) / 3 + i / 9};{i * 17 % 23};L{i % 3}\n"
    for i in range(60)
)
SHORT = ("-m", "4", "--chains", "2", "--burn-in", "10", "--thin", "10", "--seed", "3", "--quiet", "--carry", "lab,site")


def run(*words, cwd=None, stdin=None):
    done = subprocess.run([PROGRAM, *words], capture_output=True, text=True, cwd=cwd, input=stdin, timeout=120)
    return done.returncode, done.stdout, done.stderr


class ResultsTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        cls.path = pathlib.Path(cls.folder.name)
        (cls.path / "table.csv").write_text(TABLE)
        (cls.path / "e.csv").write_text('term,estimate,se\n"a ""b"", c",1,1\n"a ""b"", c",1.01,1\n')
        for name, *options in (("plain",), ("by", "--by", "site", "--carry", "lab"), ("files", "--format", "files"),
                              ("cells", "--format", "cells"), ("by_cells", "--by", "site", "--carry", "lab", "--format", "cells")):
            code, _, err = run("impute", "table.csv", "-o", name, "--log", "lead", *(SHORT[:-2] if name.startswith("by") else SHORT), *options, cwd=cls.path)
            assert code == 0, err

    def json_of(self, *words):
        code, out, err = run(*words, "--json", cwd=self.path)
        self.assertEqual(code, 0, err)
        return json.loads(out)

    def test_pooled_mean_is_that_of_the_tables(self):
        with open(self.path / "plain" / "imputations.csv") as file:
            rows = list(csv.DictReader(file, delimiter=";"))
        means = [sum(float(row["zinc"]) for row in rows if row[".imp"] == str(k)) / 60 for k in range(1, 5)]
        pooled = {row["name"]: row for row in self.json_of("pool", "plain")["quantities"]}
        self.assertEqual(list(pooled), ["mean(lead)", "mean(zinc)", "mean(`depth, m`)"])
        self.assertAlmostEqual(pooled["mean(zinc)"]["estimate"], sum(means) / 4, places=12)
        self.assertEqual(pooled["mean(`depth, m`)"]["fmi"], 0)

    def test_one_file_or_several_give_the_same(self):
        words = ("--means", "--correlations", "--quantiles", "0.1,0.5", "--lm", "log(lead) ~ zinc + `depth, m`")
        for one, other in (("plain", "files"), ("plain", "cells"), ("by", "by_cells")):
            self.assertEqual(self.json_of("pool", one, *words), self.json_of("pool", other, *words))
            self.assertEqual(self.json_of("diagnose", one), self.json_of("diagnose", other))
        pages = []
        for name in ("plain", "cells"):
            code, page, err = run("report", name, "-o", "-", cwd=self.path)
            self.assertEqual(code, 0, err)
            pages.append(page[: page.index("ullage impute ")])
        self.assertEqual(*pages)

    @unittest.skipIf(b"__asan_init" in pathlib.Path(PROGRAM).read_bytes(), "the sanitizer keeps freed memory")
    def test_memory_does_not_grow_with_the_imputations(self):
        rows = [f"{i * 37 % 1009 / 100},{'' if i % 3 else i * 61 % 1013 / 100}" for i in range(9000)]
        (self.path / "many.csv").write_text("\n".join(["a,b", *rows]) + "\n")
        peaks = {}
        for imputations in ("5", "300"):
            for words in (("impute", "many.csv", "-o", "of" + imputations, "--burn-in", "10", "--thin", "1", "--seed", "3",
                           "--quiet", "-m", imputations),
                          ("pool", "of" + imputations), ("diagnose", "of" + imputations),
                          ("report", "of" + imputations, "-o", "page.html")):
                process = subprocess.Popen([PROGRAM, *words], cwd=self.path, stdout=subprocess.DEVNULL,
                                           stderr=subprocess.DEVNULL)
                _, status, usage = os.wait4(process.pid, 0)
                process.returncode = os.waitstatus_to_exitcode(status)
                self.assertEqual(process.returncode, 0, words)
                peaks.setdefault(words[0], []).append(usage.ru_maxrss)
        # 295 more imputations of 6,000 cells are 14 MB; at most 8 MB of draws are held while the page is made.
        for command, (few, many) in peaks.items():
            self.assertLess(many - few, 10000 if command in ("impute", "report") else 3000, command)

    def test_cells_are_those_of_the_long_table(self):
        long, original, cells = ((self.path / place).read_text().splitlines() for place in (
            "plain/imputations.csv", "cells/original.csv", "cells/cells.csv"))
        names = next(csv.reader(original[:1], delimiter=";"))
        tables = [list(csv.reader(long[1 + k * 60 : 61 + k * 60], delimiter=";")) for k in range(5)]
        self.assertEqual([row[:-2] for row in tables[0]], list(csv.reader(original[1:], delimiter=";")))
        expected = [[str(row + 1), name, str(k), tables[k][row][c]] for k in range(1, 5) for row in range(60)
                    for c, name in enumerate(names) if tables[0][row][c] == "NA"]
        self.assertEqual(list(csv.reader(cells, delimiter=";")), [["row", "column", "imputation", "value"], *expected])

    def test_levels_and_forms_of_output(self):
        words = ("pool", "by", "--lm", "lead ~ zinc", "--correlations")
        answer = self.json_of(*words)
        self.assertEqual([r["level"] for r in answer["regressions"]], ["south", "north"])
        self.assertEqual([r["rows"] for r in answer["regressions"]], [30, 30])
        code, out, _ = run(*words, "--csv", cwd=self.path)
        table = list(csv.DictReader(io.StringIO(out)))
        everything = answer["quantities"] + [c for r in answer["regressions"] for c in r["coefficients"]]
        self.assertEqual([(row["level"], row["term"], float(row["estimate"])) for row in table],
                         [(row["level"], row["name"], row["estimate"]) for row in everything])
        code, out, _ = run(*words, "--test", "(Intercept),zinc", cwd=self.path)
        self.assertEqual(code, 0)
        self.assertIn("Wald test (D1) of (Intercept), zinc: F(2, ", out)
        self.assertIn("cor(zinc,`depth, m`)", out)

    def test_rows_without_a_level_can_be_one(self):
        lines = TABLE.splitlines()
        blank = "\n".join([lines[0], *("NA" + line[5:] if i % 3 == 0 else line for i, line in enumerate(lines[1:]))]) + "\n"
        (self.path / "blank.csv").write_text(blank)
        words = ("impute", "blank.csv", "-o", "blank", *SHORT[:-2], "--carry", "lab", "--by", "site", "--no-report")
        code, _, err = run(*words, cwd=self.path)
        self.assertEqual((code, "--by-blank NAME" in err), (65, True), err)
        code, _, err = run(*words, "--by-blank", "elsewhere", cwd=self.path)
        self.assertEqual(code, 0, err)
        levels = [row["level"] for row in self.json_of("pool", "blank")["quantities"]]
        self.assertEqual(set(levels), {"elsewhere", "north", "south"})
        with open(self.path / "blank" / "imputations.csv") as file:
            self.assertEqual({row["site"] for row in csv.DictReader(file, delimiter=";")}, {"NA", "north", "south"})
        code, _, err = run("apply", "blank", "blank.csv", "-o", "again", cwd=self.path)
        self.assertEqual(code, 0, err)

    def test_diagnose_is_sorted_and_strict(self):
        answer = self.json_of("diagnose", "by")
        self.assertEqual(len(answer["parameters"]), 2 * (3 + 3 + 3))
        rhats = [p["rhat"] for p in answer["parameters"] if p["bad"]]
        self.assertEqual(rhats, sorted(rhats, reverse=True))
        self.assertEqual([w["level"] for w in answer["worst_combinations"]], ["south", "north"])
        # 20 draws per chain cannot be enough, and the sizes say so.
        self.assertTrue(answer["bad"])
        self.assertEqual(run("diagnose", "by", cwd=self.path)[0], 0)
        code, out, err = run("diagnose", "by", "--strict", cwd=self.path)
        self.assertEqual(code, 1, err)
        self.assertIn("worst linear combination of the means in level south: FMI ", out)
        self.assertIn("ullage: warning: ", err)

    def test_pool_repeats_the_warnings_of_the_run(self):
        warnings = json.loads((self.path / "plain" / "run.json").read_text())["warnings"]
        self.assertTrue(warnings)  # 20 draws per chain cannot be enough
        code, _, err = run("pool", "plain", "--quiet", cwd=self.path)
        self.assertEqual((code, err), (0, "".join(f"ullage: warning: {warning}\n" for warning in warnings)))
        self.assertEqual(self.json_of("pool", "plain")["warnings"], warnings)

    def test_estimates_from_elsewhere(self):
        table = "estimate,std.error\n10,1\n11,1\n9,1\n10.5,1\n9.5,1\n"
        code, out, err = run("pool", "--estimates", "-", "--df", "30", "--json", stdin=table)
        self.assertEqual(code, 0, err)
        row = json.loads(out)["quantities"][0]
        self.assertEqual((row["estimate"], row["between"], row["total"]), (10, 0.625, 1.75))
        old, observed = 4 * (7 / 3) ** 2, 31 / 33 * 30 * 4 / 7
        self.assertAlmostEqual(row["df"], old * observed / (old + observed), places=12)

    def test_statistics_files_go_round(self):
        first = None
        for form in ("sav", "dta"):
            code, _, err = run("impute", "table.csv", "-o", form, "--format", form, *SHORT, cwd=self.path)
            self.assertEqual(code, 0, err)
            again = (self.path / form / f"imputations.{form}").read_bytes()
            code, _, err = run("impute", "table.csv", "-o", form, "--format", form, *SHORT, cwd=self.path)
            self.assertEqual(again, (self.path / form / f"imputations.{form}").read_bytes(), "the clock is in the file")
            # What was written is a table again: 60 original rows with hidden cells, 240 completed ones.
            code, out, err = run("check", f"{form}/imputations.{form}", "--json", cwd=self.path)
            answer = json.loads(out)
            self.assertEqual((code, answer["rows"], answer["carried"]), (0, 300, []), err)
            counts = {c["name"]: (c["observed"], c["missing"]) for c in answer["columns"]}
            self.assertEqual(counts["lead"], (288, 12))
            self.assertEqual(counts["zinc"], (291, 9))
            self.assertIn("depth__m", counts)
            csv_bytes = (self.path / form / "imputations.csv").read_bytes()
            first = first or csv_bytes
            self.assertEqual(csv_bytes, first, "the format decides nothing else")
        whole = {form: (self.path / form / f"imputations.{form}").read_bytes() for form in ("sav", "dta")}
        damaged = [("cut.sav", whole["sav"][:700], 65, "it was cut off or is damaged"),
                   ("cut.dta", whole["dta"][:-3000], 65, "it was cut off or is damaged"),
                   ("other.xpt", whole["dta"], 65, "not of the kind that its name says"),
                   ("nameless.dta", whole["dta"].replace(b"zinc\0", b"\0\0\0\0\0"), 0, "column 3 has no name"),
                   ("foreign.dta", whole["dta"].replace(b"zinc\0", b"zin\xff\0"), 65,
                    "the name of variable 3 is not in the character set that the file claims")]
        for name, data, code, words in damaged:
            (self.path / name).write_bytes(data)
            got = run("check", name, cwd=self.path)
            self.assertEqual(got[0], code, name)
            self.assertIn(words, got[2], name)
        self.assertEqual(run("check", "nowhere.dta", cwd=self.path)[::2],
                         (66, "ullage: nowhere.dta: No such file or directory\n"))
        self.assertEqual(run("check", "-", stdin="x\n1\n")[0], 0)

    def test_overimputation_counts_the_cells_that_it_hid(self):
        code, out, err = run("impute", "table.csv", "-o", "over", "--overimpute", *SHORT[:-3], *SHORT[-2:], cwd=self.path)
        self.assertEqual(code, 0, err)
        with open(self.path / "over" / "overimputation.csv") as file:
            rows = {row["column"]: row for row in csv.DictReader(file)}
        # A tenth of the observed cells in each of five runs: 48, 52 and 60 are observed.
        self.assertEqual({name: int(row["cells"]) for name, row in rows.items()},
                         {"lead": 20, "zinc": 25, "depth, m": 30})
        for name, row in rows.items():
            self.assertLessEqual(int(row["in_50"]), int(row["in_90"]), name)
            # Some 75 cells of a model that fits them badly on purpose; below half the nominal share counting is wrong.
            self.assertGreater(int(row["in_90"]), 0.45 * int(row["cells"]), name)
        self.assertIn("in 90% interval", err)
        self.assertEqual(run("impute", "table.csv", "-o", "-", "--overimpute", cwd=self.path)[0], 64)

    def test_tables_for_programs_and_people(self):
        name = 'a "b", c'
        code, out, err = run("pool", "--estimates", "e.csv", "--csv", cwd=self.path)
        self.assertEqual((code, [row["term"] for row in csv.DictReader(io.StringIO(out))]), (0, [name]), err)
        # lambda is 7.5e-5: some 1.8e8 degrees of freedom, which nobody reads to the digit.
        self.assertRegex(run("pool", "--estimates", "e.csv", cwd=self.path)[1], r" >10000 ")

    def test_names_that_look_like_others(self):
        tables = {"log": ("a,log(a)", ("--log", "a")), "comma": ('"a,b",b,"c,a",c,a`', ())}
        for name, (header, options) in tables.items():
            rows = "".join(",".join("" if (i + j) % 7 == 3 else str(1 + (i * (29 + 2 * j) % 31) + i / (9 + j))
                                    for j in range(len(next(csv.reader([header]))))) + "\n" for i in range(50))
            (self.path / f"{name}.csv").write_text(header + "\n" + rows)
            code, _, err = run("impute", f"{name}.csv", "-o", name, *options, *SHORT[:-2], cwd=self.path)
            self.assertEqual(code, 0, err)
            names = [p["name"] for p in self.json_of("diagnose", name)["parameters"]]
            self.assertEqual(len(names), len(set(names)))
            names = [q["name"] for q in self.json_of("pool", name, "--covariances")["quantities"]]
            self.assertEqual(len(names), len(set(names)))
        self.assertIn("mean(log(a)),mean(`log(a)`)", (self.path / "log" / "parameters.csv").read_text())

    def test_wrong_options(self):
        for words, code in (((), 64), (("plain", "--estimates", "x.csv"), 64), (("plain", "--test", "zinc"), 64),
                            (("plain", "--json", "--csv"), 64), (("plain", "--quantiles", "0.5,2"), 64),
                            (("plain", "--quantiles", "half"), 64),
                            (("plain", "--quantiles", "0.9999999999999999"), 65),
                            (("--estimates", "e.csv", "--df", "1e-320"), 64), (("plain", "--confidence", "95"), 64),
                            (("plain", "--lm", "lab ~ lead"), 64), (("plain", "--lm", "lead ~ (zinc"), 64),
                            (("plain", "--lm", "lead ~ zinc", "--poisson", "lead ~ zinc"), 64),
                            (("plain", "--where", "zinc > 3"), 64), (("plain", "--logit", "lead ~ zinc"), 65),
                            (("plain", "--lm", "lead ~ zinc", "--robust", "--cluster", "lab"), 64),
                            (("nowhere",), 66), (("--estimates", "nowhere.csv"), 66)):
            self.assertEqual(run("pool", *words, cwd=self.path)[0], code, words)
        self.assertEqual(run("diagnose", cwd=self.path)[0], 64)

    def test_broken_results(self):
        def change(name, old, new):
            def act(folder):
                text = (folder / name).read_text()
                self.assertIn(old, text)
                (folder / name).write_text(text.replace(old, new, 1))
                seal(folder)
            return act

        def set_member(value, *place):
            def act(folder):
                record = json.loads((folder / "run.json").read_text())
                inner = record
                for step in place[:-1]:
                    inner = inner[step]
                inner[place[-1]] = value
                (folder / "run.json").write_text(json.dumps(record))
            return act

        def huge(folder):
            settings = {"imputations": 2**31 - 1, "chains": 2**31 - 1, "thin": 2**31 - 1, "burn_in": 0, "iterations": 2**31 - 1}
            record = json.loads((folder / "run.json").read_text())
            record["settings"] |= settings
            (folder / "run.json").write_text(json.dumps(record))

        def fifo(folder):
            (folder / "run.json").unlink()
            os.mkfifo(folder / "run.json")

        def cut(name):
            def act(folder):
                lines = (folder / name).read_text().splitlines(keepends=True)
                (folder / name).write_text("".join(lines[:-1]))
                seal(folder)
            return act

        cases = (
            (lambda folder: (folder / "run.json").unlink(), 66, "run.json: No such file"),
            (lambda folder: (folder / "parameters.csv").unlink(), 66, "parameters.csv: No such file"),
            (lambda folder: (folder / "imputations.csv").unlink(), 66, "imputations.csv: No such file"),
            (lambda folder: (folder / "run.json").write_text("{"), 65, "no JSON"),
            (lambda folder: (folder / "run.json").write_text("[1]"), 65, "program is missing"),
            (change("run.json", '"thin": 10', '"thin": "10"'), 65, "settings.thin"),
            (change("run.json", '"thin": 10', '"thin": 11'), 65, "settings.iterations"),
            (huge, 65, "settings has more draws"),
            (set_member(2**31 - 1, "settings", "imputations"), 65, "settings.iterations does not follow"),
            (set_member(2**63, "input", "rows"), 65, "input.rows is no whole number"),
            (set_member(61, "input", "rows"), 65, "columns[0] has other numbers of cells"),
            (set_member(".imp", "columns", 1, "name"), 65, "columns[1].name is that of a column"),
            (set_member("zinc", "columns", 0, "name"), 65, "columns[1].name stands there twice"),
            (set_member(29, "levels", 0, "rows"), 65, "levels have other numbers of rows"),
            (set_member("../table.csv", "files", 0, "name"), 65, "files[0].name is that of no file of a run"),
            (set_member([], "files"), 65, "files has neither imputations.csv nor imputation_1.csv"),
            (set_member("0" * 64, "files", 0, "sha256"), 65, "imputations.csv: this file is not as the run"),
            (fifo, 66, "run.json: this is no regular file"),
            (lambda folder: shutil.copy(self.path / "plain" / "parameters.csv", folder), 65,
             "parameters.csv: this file is not as the run"),
            (change("run.json", '"transformation": "log"', '"transformation": "exp"'), 65, "columns[0].transformation"),
            (change("run.json", '"transformation": "log"', '"transformation": "sqrt"'), 65, "sqrt(lead)"),
            (change("run.json", '"name": "zinc"', '"name": "tin"'), 65, "variables[1].column"),
            (change("run.json", '"name": "south"', '"name": "west"'), 65, "west"),
            (change("parameters.csv", "1,1,south", "1,2,south"), 65, "line 2: expected chain 1, iteration 1"),
            (cut("parameters.csv"), 65, "not the 80"),
            (cut("imputations.csv"), 65, "not the 300"),
            (change("imputations.csv", ".imp;.id", ".imp;.key"), 65, ".imp and .id"),
            (change("imputations.csv", ";1;1\n", ";2;1\n"), 65, "column .imp: expected 1"),
            (change("imputations.csv", ";1;1\n", ";1;9\n"), 65, "column .id"),
            (change("imputations.csv", "south;NA;", "south;3;"), 65, "observed cell"),
            (change("imputations.csv", "south;NA;", "south;<3;"), 65, "is no number"),
        )
        cells = (
            (lambda folder: (folder / "original.csv").unlink(), 66, "original.csv: No such file"),
            (change("original.csv", "south;NA;", "south;3;"), 65, 'line 2: expected row 4, column \"zinc\"'),
            (change("cells.csv", "1;lead;1;", "1;zinc;1;"), 65, "line 2: expected row 1, column \"lead\", imputation 1"),
            (change("cells.csv", "1;lead;1;", "1;lead;1;<"), 65, "is no number"),
            (cut("cells.csv"), 65, "the file is cut off"),
            (change("cells.csv", "row;", "line;"), 65, "its columns are not row, column, imputation, value"),
            (lambda folder: shutil.copy(self.path / "cells" / "cells.csv", folder), 65,
             "cells.csv: this file is not as the run"),
        )
        cases = [("by", *case) for case in cases] + [("by_cells", *case) for case in cells]
        for number, (whole, act, code, text) in enumerate(cases):
            folder = self.path / f"broken{number}"
            shutil.copytree(self.path / whole, folder)
            act(folder)
            got, out, err = run("diagnose", folder.name, cwd=self.path)
            self.assertEqual((got, out), (code, ""), f"{number}: {err}")
            self.assertIn(text, err)


if __name__ == "__main__":
    unittest.main()
