# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
"""Run the program as a user would: commands with their output, exit code and files. Usage: cli_test.py PROGRAM"""

import csv
import json
import os
import pathlib
import random
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

PROGRAM = "ullage"

LEAD = """\
id,site,lead,zinc,copper_lo,copper_hi,note
1,A,<0.5,12.0,1,2,ok
2,A,0.50,NA,3,3,"a, ""b\"""
3,B,0.70,>200,,4,
4,B,2..3,<lead,5,,x
5,B,<= 1.5,7,,,
"""

LEAD_WARNING = (
    'ullage: warning: ullage impute would stop here, under its default prior: too few rows in level "A": 2 for 3 columns, which '
    "need at least 4. Use fewer columns (--columns), or a prior that is worth some cases (--prior ridge=2)\n")
LEAD_SUMMARY = """\
lead.csv: 5 rows, 3 columns in the model, 5 carried along, 2 levels

column     kind     why
id         carried  --carry
site       carried  --by
lead       number   numbers
zinc       number   numbers
copper_lo  carried  a limit of "copper"; 2 cells missing
copper_hi  carried  a limit of "copper"; 2 cells missing
copper     number   a pair of limits
note       carried  --carry; 2 cells missing

column  observed   missing     below     above  interval   ordered
lead           2         0         2         0         1         0
zinc           2         1         0         1         0         1
copper         1         1         1         1         1         0

patterns    (# observed  . missing  < below  > above  = interval  ~ ordered)
    rows      %  lead  zinc  copper
       1   20.0  #     .     #
       1   20.0  #     >     <
       1   20.0  <     #     .
       1   20.0  <     #     =
       1   20.0  =     ~     >
"""

HINT = "ullage: ullage --help and ullage COMMAND --help tell more\n"

# name, arguments, standard input, exit code, standard output, standard error; None is not looked at
COMMANDS = [
    ("summary", "check lead.csv --carry id,note --by site --quiet", "", 0, LEAD_SUMMARY, LEAD_WARNING),
    ("standard input", "check -", "x\n1\n<2\n2\n3\n", 0, None, ""),
    ("notes", "check -", "x,t\n1,2024-01-31\n3,2024-02-01\n2,\n", 0, None,
     'ullage: warning: carried along with missing cells, which no completed table fills: "t" (1)\n'),
    ("contradictions are shown with the table", "check - --order a<b", "a,b\n1,2\n3,2\n", 65,
     "standard input: 2 rows, 2 columns in the model\n\n"
     "column  kind    why\na       number  numbers\nb       number  numbers\n\n"
     "column  observed   missing     below     above  interval   ordered\n"
     "a              2         0         0         0         0         0\n"
     "b              2         0         0         0         0         0\n\n"
     "patterns    (# observed  . missing  < below  > above  = interval  ~ ordered)\n"
     "    rows      %  a  b\n       2  100.0  #  #\n",
     'ullage: standard input: line 3 (row 2), columns "a", "b": a is 3, and must be below b, which is 2\n'),
    ("cells that cannot be read", "check -", "a\n1\n\"0,5\"\n", 65, "",
     'ullage: standard input: line 3 (row 2), column "a", "0,5": a decimal comma; write 0.5, or give --decimal comma\n'),
    ("no such file", "check none.csv", "", 66, "", "ullage: none.csv: No such file or directory\n"),
    ("a directory", "check .", "", 66, "", "ullage: .: Is a directory\n"),
    ("no command", "", "", 64, "", "ullage: a command is missing\n" + HINT),
    ("unknown command", "imputt lead.csv", "", 64, "",
     'ullage: there is no command "imputt"; ullage --help shows those that there are\n'),
    ("unknown option", "check lead.csv --colums a", "", 64, "", "ullage: not expected: --colums a\n" + HINT),
    ("three files", "check lead.csv b a", "", 64, "", "ullage: not expected: b a\n" + HINT),
    ("no such column", "check lead.csv --id key", "", 64, "",
     'ullage: --id: lead.csv has no column "key"; its columns are id, site, lead, zinc, copper_lo, copper_hi, note\n'),
    ("rule without a number", "check lead.csv --lower lead=x", "", 64, "", 'ullage: --lower: "x" is no number\n'),
    ("rule without a sign", "check lead.csv --upper lead", "", 64, "",
     'ullage: --upper is given as COLUMN=NUMBER, not as "lead"\n'),
    ("name with an equals sign", "check - --lower a=b=2", "a=b\n<1\n", 65, None, None),
    ("long separator", "check lead.csv --sep ;;", "", 64, "",
     'ullage: --sep is one character such as ; or the word tab or space, not ";;"\n'),
    ("names with quotes", 'check - --quiet --lower "a""b,c"=0 --carry """d"""', '"a""b,c","""d""",e\n1,2,3\n2,3,5\n4,4,4\n', 0,
     None, ""),
    ("a quote within a name", 'check - --quiet --carry a"b" --lower e=0', '"a""b""",e\n1,2\n2,4\n4,4\n', 0, None, ""),
    ("advice about a name with a quote", "check - --carry f", '"a ""b""",e\n1,2\n2,3\n', 64, "",
     'ullage: --carry: standard input has no column "f"; its columns are "a ""b""", e; in a list, write '
     "'\"a \"\"b\"\"\"' with both kinds of quotes\n"),
    ("codes beside numbers", "check - --quiet", "lead,zinc,lead_q\n1,3,\n.5,2,U\n2,7,J\n.5,9,UJ\n3,4,U\n", 0, None,
     'ullage: warning: column "lead_q" holds codes of laboratories (J, U, UJ): if they are remarks on the values of "lead", '
     "--remark 'lead=lead_q' --remark-codes 'observed=J,below=U,below=UJ' reads these so; now all of them count as measured\n"),
    ("codes that are told", "check - --quiet --remark lead=q --remark-codes observed=J,below=U",
     "lead,q\n1,\n.5,U\n2,J\n.5,U\n3,U\n", 0, None, ""),
    ("words that are no codes", "check - --quiet", "lead,side\n1,U\n2,D\n3,U\n2,L\n5,D\n1,L\n", 0, None, ""),
    ("decimal commas", "impute - --decimal comma -o - --seed 1 -m 1 --prior ridge=2 --quiet --burn-in 1 --thin 1",
     "x;y;w\n0,5;1;1,2-a\n1,5;2,5;b\n-2,25;3..4,5;b\n1e1;0;b\n", 0, None, None),
    ("a point among decimal commas", "check - --decimal comma", "x;y\n1.234;2\n1,5;1\n", 65, "",
     'ullage: standard input: line 2 (row 1), column "x", "1.234": a point within a number, and --decimal comma is given; '
     "write it with a comma, or without a mark if it separates thousands\n"),
    ("separator by name", "check - --sep tab", "a\tb,c\n1\t2\n2\t4\n3\t5\n4\t5\n", 0, None, ""),
    ("one ending", "check lead.csv --limits _lo", "", 64, "",
     "ullage: --limits takes two endings such as _lo,_hi, or none\n"),
    ("name with a comma", 'check - --carry "a,b",c', '"a,b",c,d\n1,2,3\n1,2,4\n', 0, None, ""),
    ("advice about a name with a comma", "check -", '"x,y"\n1\nu\n', 65, "",
     'ullage: standard input: line 3 (row 2), column "x,y", "u": no number; correct it, or give --na if it means '
     "missing, or --carry '\"x,y\"' if the column is not to be imputed\n"),
    ("a name with a comma taken apart", "check - --carry x,y", 'a,"x,y"\n1,2\n', 64, "",
     'ullage: --carry: standard input has no column "x"; its columns are a, "x,y"; in a list, write '
     "'\"x,y\"' with both kinds of quotes\n"),
    ("a rule on it", "check - --log x,y", 'a,"x,y"\n1,2\n', 64, "",
     'ullage: --log: "x" is no column of the model; these are a, "x,y"; in a list, write '
     "'\"x,y\"' with both kinds of quotes\n"),
    ("nothing to impute to", "impute lead.csv", "", 64, "", None),
    ("a column of the name that the output adds", "impute - -o -", "a,.id\n1,2\n,3\n", 65, "",
     "ullage: standard input: the long format adds a column .id, and there is one already; rename it, or use --format "
     "files\n"),
    ("no imputation", "impute lead.csv -o out -m 0", "", 64, "", None),
    ("seed that is no number", "impute lead.csv -o out --seed one", "", 64, "", None),
    ("seed below zero", "impute lead.csv -o out --seed -1", "", 64, "",
     'ullage: --seed: "-1" is no whole number from 0 to 18446744073709551615\n' + HINT),
    ("seed of 65 bits", "impute lead.csv -o out --seed 18446744073709551616", "", 64, "",
     'ullage: --seed: "18446744073709551616" is no whole number from 0 to 18446744073709551615\n' + HINT),
    ("largest seed", "impute good.csv -o - --prior ridge=4 --seed 18446744073709551615 -m 1", "", 0, None, None),
    ("seed with a leading zero", "impute good.csv -o - --prior ridge=4 --seed 08 -m 1", "", 0, None, None),
    ("half an imputation", "impute lead.csv -o out -m 1.5", "", 64, "",
     'ullage: --imputations: "1.5" is no whole number from 1 to 2147483647\n' + HINT),
    ("unknown format", "impute lead.csv -o out --format xls", "", 64, "",
     'ullage: --format: "xls" is none of cells, dta, files, long, sav\n' + HINT),
    ("format by number", "impute lead.csv -o out --format 0", "", 64, "",
     'ullage: --format: "0" is none of cells, dta, files, long, sav\n' + HINT),
    ("unknown prior", "impute lead.csv -o out --prior rigde=1", "", 66, "",
     'ullage: --prior: "rigde=1" is none of default, jeffreys and ridge=CASES, and there is no such file\n'),
    ("options from a file", "check lead.csv --config options.toml", "", 0, LEAD_SUMMARY, LEAD_WARNING),
    ("unknown option in a file", "check lead.csv --config wrong.toml", "", 64, "",
     "ullage: --config: there is no option mm\n"),
    ("no such file of options", "check lead.csv --config none.toml", "", 66, "", None),
    ("a file in the place of the directory", "impute good.csv -o lead.csv", "", 73, "", None),
    ("a directory that cannot be made", "impute good.csv -o lead.csv/out", "", 73, "", None),
]

GOOD = "a,b,c,t\n" + "".join(
    f"{a},{b},{c},{t}\n" for a, b, c, t in [
        ("1.50", "2", "9", "u"), ("2.25", "3.0", "8", "v"), ("0.75", "<2", "7.5", "w"), ("<1", "1.5", "", ""),
        ("1.2", ">2.5", "8.5", "x"), ("", "", "", "y"), ("1.0", "2.2", "9.5..9.75", "z"), ("<b", "2.5", "8.7", "z"),
        ("1.7", "2.4", "10", ""), ("0.5", "1.1", "11.5", ""), ("1.9", "2.0", "6.5", ""), ("1.1", "1.6", "9.1", "")])


class CommandLine(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.path = pathlib.Path(self.folder.name)
        self.write("lead.csv", LEAD)
        self.write("good.csv", GOOD)
        self.write("options.toml", 'by = "site"\ncarry = ["id", "note"]\nquiet = true\nm = 3\nseed = 1\n')
        self.write("wrong.toml", "mm = 3\n")

    def write(self, name, text):
        (self.path / name).write_text(text, encoding="utf-8")

    def start(self, arguments, **options):
        options = {"stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE, "stderr": subprocess.PIPE} | options
        return subprocess.Popen([PROGRAM] + arguments.split(), cwd=self.path, text=True, encoding="utf-8", **options)

    def run_program(self, arguments, text=""):
        process = self.start(arguments, stdin=subprocess.PIPE)
        out, err = process.communicate(text)
        return process.returncode, out, err

    def names(self):
        return sorted(str(p.relative_to(self.path)) for p in self.path.rglob("*"))

    def test_commands(self):
        for name, arguments, text, code, out, err in COMMANDS:
            with self.subTest(name):
                before = self.names()
                got = self.run_program(arguments, text)
                self.assertEqual(got[0], code, got[2])
                if out is not None:
                    self.assertEqual(got[1], out)
                if err is not None:
                    self.assertEqual(got[2], err)
                elif code != 0:
                    self.assertRegex(got[2], r"\A(ullage: .+\n)+\Z")
                self.assertEqual(self.names(), before)

    def test_help_and_version_go_to_standard_output(self):
        for arguments, part in [("--help", "Exit codes:"), ("check --help", "Example:\n  ullage check"),
                                ("impute --help", "--no-report  "),
                                ("impute --help", "Example:\n  ullage impute"), ("help", " 143  interrupted by SIGTERM"),
                                ("help pool", "--lm FORMULA"), ("--version", "ullage 0."), ("-V", "ullage 0.")]:
            code, out, err = self.run_program(arguments)
            self.assertEqual((code, err), (0, ""))
            self.assertIn(part, out)

    def test_a_column_without_values_is_modelled_under_a_proper_prior(self):
        self.write("blank.csv", "x,y\n" + "".join(f"{i * 7 % 11},\n" for i in range(20)))
        self.write("prior.json", '{"columns": ["x", "y"], "mean": [5, 50], "mean_cases": 1000, "covariance": [[9, 0], [0, 1]], '
                                 '"covariance_cases": 1000}')
        common = "impute blank.csv -o blank --columns x,y --seed 1 -m 2 --no-report"
        code, _, err = self.run_program(common)
        self.assertEqual((code, "all its cells are missing" in err), (65, True), err)
        code, _, err = self.run_program(common + " --prior prior.json")
        self.assertEqual(code, 0, err)
        rows = (self.path / "blank" / "imputations.csv").read_text().splitlines()
        drawn = [float(row.split(",")[1]) for row in rows[21:]]
        self.assertTrue(45 < min(drawn) < max(drawn) < 55, drawn)
        shutil.rmtree(self.path / "blank")

    def test_check_as_json(self):
        code, out, err = self.run_program("check - --json --order a<b", "a,b,t\n>5,<4,x\n3,2,y\n1,,z\n")
        report = json.loads(out)
        self.assertEqual((code, report["rows"], report["carried"], report["problem_count"]), (65, 3, ["t"], 2))
        self.assertEqual(report["columns"][0], {"name": "a", "observed": 2, "missing": 0, "below": 0, "above": 1,
                                                "interval": 0, "ordered": 0})
        self.assertEqual(report["columns"][1]["ordered"], 1)
        self.assertEqual(report["patterns"][1], {"rows": 1, "cells": "#~"})
        self.assertEqual([(p["line"], p["row"], p["columns"]) for p in report["problems"]],
                         [(2, 1, ["a", "b"]), (3, 2, ["a", "b"])])
        self.assertEqual(report["kinds"][2], {"name": "t", "kind": "carried",
                                              "why": "its words are all different, as names of the rows are"})
        self.assertEqual(report["notices"], [])

    def test_wide_tables_show_patterns_without_names(self):
        names = [f"column{i}" for i in range(30)]
        rows = "".join(",".join("" if (r >> (c % 6)) & 1 else "1" for c in range(30)) + "\n" for r in range(64))
        code, out, err = self.run_program("check -", ",".join(names) + "\n" + rows)
        self.assertEqual(code, 0)
        self.assertIn("columns from left to right as above\n", out)
        self.assertIn("       1    1.6  ##############################\n", out)
        self.assertTrue(out.endswith("      34   53.1  in 34 other patterns\n"), out)
        self.assertTrue(self.run_program("check -", ",".join(names) + "\n" + "".join(rows.splitlines(True)[:31]))[1]
                        .endswith("       1    3.2  in 1 other pattern\n"))

    def test_rules_are_measured_against_the_data(self):
        numbers = random.Random(8)
        above = [x for x in (numbers.gauss(1, 1) for _ in range(400)) if x > 0]
        for name, values, warned in (("near.csv", above, False), ("tail.csv", [x ** 8 for x in above], True)):
            (self.path / name).write_text("x,y\n" + "".join(
                f"{'' if i % 4 == 0 else x},{numbers.gauss(0, 1)}\n" for i, x in enumerate(values)))
            _, out, err = self.run_program(f"check {name} --lower x=0 --json --carry y")
            text = [n["text"] for n in json.loads(out)["notices"] if n["warning"] == warned and "break the rules" in n["text"]]
            self.assertEqual((len(text), "--log" in text[0], text[0].startswith("more than 99%")), (1, warned, warned), out)
        settings = "-o ruled --lower x=0 --seed 1 -m 2 --burn-in 50 --thin 20 --chains 2"
        code, _, err = self.run_program(f"impute near.csv {settings}")
        self.assertEqual(code, 0, err)
        share = json.loads((self.path / "ruled/run.json").read_text())["levels"][0]["refused"]
        self.assertAlmostEqual(share, 0.16, delta=0.1)
        self.assertIn(f"rules: {100 * share:.1f}% of the rows", err)
        self.assertIn(f"{100 * share:.1f}% of its rows break them", (self.path / "ruled/report.html").read_text())

    def test_imputations_keep_what_is_known(self):
        settings = "--seed 5 -m 3 --burn-in 20 --thin 5 --chains 2 --order a<b --log a --lower b=0 --prior ridge=4 --carry t"
        code, _, err = self.run_program(f"impute good.csv -o out {settings} --quiet -j 1")
        self.assertEqual(code, 0, err)
        self.assertEqual(sorted(os.listdir(self.path / "out")),
                         ["bounds.csv", "imputations.csv", "parameters.csv", "report.html", "run.json"])
        with open(self.path / "out/imputations.csv", encoding="utf-8") as file:
            rows = list(csv.DictReader(file))
        original = list(csv.DictReader(GOOD.splitlines()))
        self.assertEqual(len(rows), 4 * len(original))
        self.assertEqual(list(rows[0])[-2:], [".imp", ".id"])
        hidden = {(2, "b"), (3, "a"), (3, "c"), (4, "b"), (5, "a"), (5, "b"), (5, "c"), (6, "c"), (7, "a")}
        seen = set()
        for number, row in enumerate(rows):
            imputation, index = divmod(number, len(original))
            self.assertEqual((row[".imp"], row[".id"]), (str(imputation), str(index + 1)))
            for column, text in original[index].items():
                if (index, column) not in hidden:
                    self.assertEqual(row[column], text)
                elif imputation == 0:
                    self.assertEqual(row[column], "NA")
                else:
                    seen.add((index, column, row[column]))
            if imputation > 0:
                a, b, c = (float(row[name]) for name in "abc")
                self.assertTrue(0 < a < b)
                limits = {2: b < 2, 3: a < 1, 4: b > 2.5, 6: 9.5 < c < 9.75}
                self.assertTrue(limits.get(index, True), row)
        self.assertEqual(len(seen), 3 * len(hidden))  # every imputation draws anew

        # The same tables on standard output, one file each, and with two processes.
        code, out, _ = self.run_program(f"impute good.csv -o - {settings} -j 2")
        self.assertEqual((code, out), (0, (self.path / "out/imputations.csv").read_text(encoding="utf-8")))
        code, _, _ = self.run_program(f"impute good.csv -o files --format files {settings}")
        self.assertEqual(code, 0)
        for imputation in range(1, 4):
            with open(self.path / f"files/imputation_{imputation}.csv", encoding="utf-8") as file:
                for row, long_row in zip(csv.DictReader(file), rows[imputation * len(original):]):
                    self.assertEqual(row, {name: long_row[name] for name in "abct"})

    def test_full_disk(self):
        for arguments in ["check lead.csv --quiet", "--help", "impute good.csv -o - --prior ridge=4 --quiet"]:
            with open("/dev/full", "w", encoding="utf-8") as full:
                process = self.start(arguments, stdout=full)
            _, err = process.communicate()
            self.assertEqual(process.returncode, 73, arguments)
            self.assertRegex(err, r"ullage: standard output: No space left on device\n\Z"
                             if "help" not in arguments else "ullage: standard output cannot be written")

    def test_standard_error_that_takes_nothing(self):
        with open("/dev/full", "w", encoding="utf-8") as full:
            for arguments, code in [("check lead.csv", 0), ("check none.csv", 66),
                                    ("impute good.csv -o - --prior ridge=4 --progress json", 0)]:
                process = self.start(arguments, stderr=full)
                process.communicate()
                self.assertEqual(process.returncode, code, arguments)
        # With all three streams closed, no output file may take the place of one and get the talk as content.
        command = f"exec '{PROGRAM}' impute good.csv -o out --prior ridge=4 --seed 1 -m 1 <&- >&- 2>&-"
        self.assertEqual(subprocess.run(["sh", "-c", command], cwd=self.path, check=False).returncode, 0)
        for name in os.listdir(self.path / "out"):
            self.assertNotRegex((self.path / "out" / name).read_text(encoding="utf-8"), r"(?m)^seed 1$")

    def test_file_that_may_not_grow(self):
        draw = random.Random(1).gauss
        rows = [f"{draw(0, 1):.3f},{draw(0, 1):.3f}" if row % 3 else f"{draw(0, 1):.3f}," for row in range(9000)]
        self.write("long.csv", "\n".join(["a,b"] + rows))
        before = self.names()
        # 3000 draws take 24 kB; with one imputation they have room where the tables have none.
        for size, imputations, text in [(8, 20, "out: the drawn values cannot be kept there: File too large"),
                                        (80, 1, "out/imputations.csv: File too large"),
                                        (8, 20, "{tmp}/ullage: the drawn values cannot be kept there: File too large")]:
            to = "-" if "{tmp}" in text else "out"
            command = (f"ulimit -f {size}; TMPDIR='{self.path}' exec '{PROGRAM}' impute long.csv -o {to} --seed 1 "
                       f"--burn-in 1 --thin 1 -m {imputations} --quiet | cat; exit ${{PIPESTATUS[0]}}")
            process = subprocess.run(["bash", "-c", command], cwd=self.path, capture_output=True, text=True,
                                     check=False)
            self.assertEqual(process.returncode, 73, process.stderr)
            self.assertTrue(process.stderr.endswith(f"ullage: {text.format(tmp=self.path)}\n"), process.stderr)
            self.assertEqual(self.names(), before)

    def test_closed_pipe_is_silent(self):
        for arguments in ["check lead.csv --quiet", "impute good.csv -o - --prior ridge=4 --quiet --burn-in 1000"]:
            read_end, write_end = os.pipe()
            os.close(read_end)
            process = self.start(arguments, stdout=write_end)
            os.close(write_end)
            _, err = process.communicate()
            self.assertEqual(process.returncode, 141, arguments)
            self.assertNotIn("standard output", err)

    def test_signals_leave_nothing_behind(self):
        before = self.names()
        for number, code in [(signal.SIGINT, 130), (signal.SIGTERM, 143)]:
            process = self.start("impute good.csv -o out --prior ridge=4 --thin 100000 --quiet -j 2")
            while not (self.path / "out").exists():
                time.sleep(0.02)
                self.assertIsNone(process.poll())
            time.sleep(0.2)
            process.send_signal(number)
            _, err = process.communicate(timeout=20)
            self.assertEqual((process.returncode, err), (code, "ullage: interrupted\n"))
            self.assertEqual(self.names(), before)
        process = self.start("check -", stdin=subprocess.PIPE)
        time.sleep(0.2)
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(timeout=20), 130)
        process.communicate()


if __name__ == "__main__":
    PROGRAM = str(pathlib.Path(sys.argv.pop(1)).resolve())
    unittest.main()
