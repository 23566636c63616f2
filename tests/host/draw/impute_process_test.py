# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# "ullage impute" as a process: equal bytes for any number of jobs, its files, and what it leaves when it is stopped.

import csv
import json
import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import time
import unittest

PROGRAM = sys.argv.pop(1)

TABLE = "site,lead,zinc,depth\n" + "".join(
    f"s{i},{'<2' if i % 5 == 0 else 2 + (i * 37 % 41) / 7},{'' if i % 7 == 3 else (i * 29 % 31) / 3 + i / 9},{i * 17 % 23}\n"
    for i in range(60)
)


class ImputeTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.path = pathlib.Path(self.folder.name)
        self.scratch = self.path / "scratch"
        self.scratch.mkdir()
        (self.path / "table.csv").write_text(TABLE)

    def start(self, *options, **keywords):
        keywords = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE} | keywords
        return subprocess.Popen([PROGRAM, "impute", "table.csv", "--seed", "5", *options], cwd=self.path,
                                env=os.environ | {"TMPDIR": str(self.scratch)}, **keywords)

    def run_to_end(self, *options):
        process = self.start(*options)
        out, err = process.communicate(timeout=60)
        return process.returncode, out, err.decode()

    def check_nothing_left(self, *kept):
        self.assertEqual(sorted(p.name for p in self.path.iterdir()), sorted(["scratch", "table.csv", *kept]))
        self.assertEqual(list(self.scratch.iterdir()), [])

    def test_jobs_change_no_byte(self):
        short = ("-m", "5", "--chains", "3", "--burn-in", "20", "--thin", "5", "--id", "site", "--quiet")
        results = []
        for jobs in ("1", "2", "3"):
            self.assertEqual(self.run_to_end("-o", jobs, "-j", jobs, *short)[0], 0)
            results.append([(self.path / jobs / name).read_bytes() for name in ("imputations.csv", "parameters.csv")])
        self.assertEqual(results[0], results[1])
        self.assertEqual(results[0], results[2])
        code, out, err = self.run_to_end("-o", "-", *short)
        self.assertEqual((code, out), (0, results[0][0]), err)
        self.check_nothing_left("1", "2", "3")

    def test_teams_change_no_byte(self):
        # Enough blocks, of two levels, for several processes to share a chain.
        self.make_large_table()
        short = ("--by", "half", "-m", "3", "--chains", "2", "--burn-in", "3", "--thin", "2", "--quiet")
        results = []
        for jobs in ("1", "4", "7", "16"):
            code, _, err = self.run_to_end("-o", jobs, "-j", jobs, *short)
            self.assertEqual(code, 0, err)
            results.append([(self.path / jobs / name).read_bytes() for name in ("imputations.csv", "parameters.csv")])
        self.assertEqual(results, results[:1] * 4)
        self.check_nothing_left("1", "16", "4", "7")

    def make_large_table(self):
        with open(self.path / "table.csv", "w") as file:
            file.write("x,y,half\n")
            for i in range(40000):
                x, y = i * 37 % 4001, i * 53 % 3989 + i * 37 % 401
                file.write(f"{x if i % 3 else ''},{y if i % 2 else f'<{y + 100}'},{'ab'[i % 5 == 0]}\n")

    def test_files_say_what_was_done(self):
        code, out, err = self.run_to_end("-o", "out", "-m", "10", "--thin", "40", "--format", "files", "--json",
                                         "--progress", "json")
        self.assertEqual(code, 0, err)
        self.assertRegex(err, r"\nlead +number +numbers\n")
        names = [f"imputation_{i:02}.csv" for i in range(1, 11)]
        written = set(os.listdir(self.path / "out"))
        self.assertLessEqual({*names, "parameters.csv", "run.json"}, written)
        self.assertFalse([name for name in written if name.startswith(".") or name == "imputations.csv"])
        record = json.loads(out)
        self.assertEqual(out, (self.path / "out" / "run.json").read_bytes())
        self.assertEqual(record["seed"], 5)
        self.assertEqual(record["settings"]["iterations"], 200 + 3 * 40)
        self.assertEqual([c["bounded"] for c in record["columns"]], [12, 0, 0])
        progress = [json.loads(line) for line in err.splitlines() if line.startswith("{")]
        self.assertEqual(progress[-1]["done"], 4 * 320)
        self.assertEqual(progress[-1]["seconds_left"], 0)  # to the millisecond
        # The draws of a mean lie around the mean of the completed tables, under the right name.
        with open(self.path / "out" / "parameters.csv") as file:
            draws = list(csv.DictReader(file))
        self.assertEqual(len(draws), 4 * 120)
        for column in ("lead", "zinc", "depth"):
            mean = sum(float(draw[f"mean({column})"]) for draw in draws) / len(draws)
            cells = []
            for name in names:
                with open(self.path / "out" / name) as file:
                    cells += [float(row[column]) for row in csv.DictReader(file)]
            spread = sum(float(draw[f"var({column})"]) for draw in draws) / len(draws)
            self.assertLess(abs(mean - sum(cells) / len(cells)), 0.15 * spread ** 0.5, column)

    def test_a_second_run_leaves_nothing_of_the_first(self):
        short = ("-o", "out", "--chains", "2", "--burn-in", "20", "--thin", "5")
        always = {"parameters.csv", "bounds.csv", "run.json"}
        own = {"imputation_a.csv", "imputation_.csv", "imputations.csv.bak", "imputation_1.txt", "ximputation_1.csv"}
        out = self.path / "out"
        out.mkdir()
        (out / "imputation_7.csv").write_text("")
        for name in own:
            (out / name).write_text("")
        # Without the record of a run, the directory is the user's.
        _, _, err = self.run_to_end(*short, "-m", "12", "--format", "files", "--overimpute")
        written = {f"imputation_{i:02}.csv" for i in range(1, 13)} | {"overimputation.csv", "report.html"}
        self.assertEqual(set(os.listdir(out)), {*always, *own, *written, "imputation_7.csv"})
        self.assertNotIn("removed", err)
        own.add("imputation_7.csv")
        for options, kept in [
            (("-m", "10", "--format", "files"), {f"imputation_{i:02}.csv" for i in range(1, 11)} | {"report.html"}),
            (("-m", "4", "--format", "dta", "--no-report"), {"imputations.csv", "imputations.dta"}),
            (("-m", "4", "--format", "files", "--no-report"), {f"imputation_{i}.csv" for i in range(1, 5)}),
        ]:
            code, _, err = self.run_to_end(*short, *options)
            self.assertEqual(code, 0, err)
            self.assertEqual(set(os.listdir(out)), {*always, *own, *kept})
            self.assertIn("removed from out, as an earlier run wrote them: imputation", err)
        # A file that was changed since is the user's.
        (out / "imputation_3.csv").write_text("mine")
        code, _, err = self.run_to_end(*short, "--no-report")
        self.assertEqual(code, 0, err)
        self.assertEqual(set(os.listdir(out)), {*always, *own, "imputation_3.csv", "imputations.csv"})
        self.assertIn("warning: left in out, as they were changed after an earlier run wrote them: imputation_3.csv", err)

    def long_run(self, *options):
        """A run that would take hours, once its workers are at work."""
        process = self.start("-o", "out", "-m", "1000", "--thin", "1000000", *(options or ("-j", "2")),
                             start_new_session=True)
        return process, self.children_of(process.pid, 2)

    def children_of(self, parent, count):
        children = pathlib.Path(f"/proc/{parent}/task/{parent}/children")
        for _ in range(600):
            found = [int(word) for word in children.read_text().split()]
            if len(found) == count:
                return found
            time.sleep(0.05)
        self.fail("no workers")

    def check_gone(self, workers):
        for worker in workers:
            self.assertFalse(os.path.exists(f"/proc/{worker}"), "a worker is left")

    def test_a_dying_worker_ends_the_run(self):
        process, workers = self.long_run()
        os.kill(workers[0], signal.SIGKILL)
        _, err = process.communicate(timeout=30)
        self.assertEqual(process.returncode, 70)
        self.assertIn(b"the worker of chain 1 was ended by signal 9", err)
        self.check_gone(workers)
        self.check_nothing_left()

    def test_a_dying_member_of_a_team_ends_the_run(self):
        self.make_large_table()
        process, workers = self.long_run("--chains", "2", "-j", "6")
        members = [self.children_of(worker, 2) for worker in workers]
        begin = time.monotonic()
        os.kill(members[1][0], signal.SIGKILL)
        _, err = process.communicate(timeout=30)
        self.assertLess(time.monotonic() - begin, 5)
        self.assertEqual(process.returncode, 70)
        self.assertIn(b"a process of the team was ended by signal 9", err)
        self.check_gone(workers)
        # The other team's members end when their leader has, and it is for the system to bury them.
        time.sleep(0.5)
        for member in members[0] + members[1]:
            stat = pathlib.Path(f"/proc/{member}/stat")
            self.assertTrue(not stat.exists() or ") Z " in stat.read_text(), "a member is left")
        self.check_nothing_left()

    def test_interrupt_leaves_nothing(self):
        for signal_number in (signal.SIGINT, signal.SIGTERM):
            process, workers = self.long_run()
            os.killpg(process.pid, signal_number)  # as a terminal does: to the workers too
            process.communicate(timeout=30)
            self.assertEqual(process.returncode, 128 + signal_number)
            self.check_gone(workers)
            self.check_nothing_left()

    def test_workers_do_not_outlive_a_killed_program(self):
        process, workers = self.long_run()
        process.kill()
        process.communicate(timeout=30)
        for _ in range(200):
            if not any(os.path.exists(f"/proc/{worker}") for worker in workers):
                return
            time.sleep(0.05)
        self.check_gone(workers)

    def test_outputs_that_cannot_be(self):
        (self.path / "file").write_text("")
        self.assertEqual(self.run_to_end("-o", "file")[0], 73)
        self.assertEqual(self.run_to_end("-o", "file/below")[0], 73)
        self.assertEqual(self.run_to_end("-o", "-", "--format", "files")[0], 64)
        self.assertEqual(self.run_to_end("-o", "-", "--json")[0], 64)
        with open("/dev/full", "wb") as full:
            process = self.start("-o", "-", stdout=full)
            process.communicate(timeout=60)
            self.assertEqual(process.returncode, 73)
        with self.start("-o", "-", "-m", "3000") as process:
            process.stdout.close()
            process.stderr.read()
        self.assertEqual(process.returncode, 141)
        self.check_nothing_left("file")


if __name__ == "__main__":
    unittest.main()
