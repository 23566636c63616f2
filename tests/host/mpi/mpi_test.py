# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# "ullage-mpi": the bytes of "ullage" for any number of ranks, and the end of all ranks when one of them fails.

import json
import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import time
import unittest

PROGRAM, MPI_PROGRAM, MPIEXEC = (sys.argv.pop(1) for _ in range(3))

TABLE = "site,lead,zinc,stage\n" + "".join(
    f"s{i},{'<2' if i % 5 == 0 else 2 + (i * 37 % 41) / 7},{'' if i % 7 == 3 else 20 + (i * 29 % 31) / 3},"
    f"{'' if i % 11 == 4 else ('low', 'high')[i % 3 == 0]}\n"
    for i in range(60)
)
SHORT = ("--seed", "5", "--burn-in", "20", "--thin", "5", "--quiet")
SANITIZED = b"__asan_init" in pathlib.Path(MPI_PROGRAM).read_bytes()
OPEN_MPI = "OpenRTE" in subprocess.run([MPIEXEC, "--version"], capture_output=True, text=True).stdout
# The search for PCI devices, which MPI asks for, loses memory and then fails a program that counts it.
ENVIRONMENT = os.environ | {"HWLOC_COMPONENTS": "-pci", "OMPI_ALLOW_RUN_AS_ROOT": "1",
                            "OMPI_ALLOW_RUN_AS_ROOT_CONFIRM": "1", "OMPI_MCA_rmaps_base_oversubscribe": "1"}


class MpiTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = pathlib.Path(folder.name)
        (self.path / "table.csv").write_text(TABLE)

    def make_large_table(self):
        with open(self.path / "large.csv", "w") as file:
            file.write("x,y,half\n")
            for i in range(40000):
                x, y = i * 37 % 4001, i * 53 % 3989 + i * 37 % 401
                file.write(f"{x if i % 3 else ''},{y if i % 2 else f'<{y + 100}'},{'ab'[i % 5 == 0]}\n")

    def start(self, ranks, *words):
        return subprocess.Popen([MPIEXEC, "-n", str(ranks), MPI_PROGRAM, *words], cwd=self.path, env=ENVIRONMENT,
                                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                                start_new_session=True)

    def finish(self, process, code):
        out, err = process.communicate(timeout=120)
        self.assertEqual(process.returncode, code, err)
        return out, err

    def run_ranks(self, ranks, *words, code=0):
        return self.finish(self.start(ranks, *words), code)

    def run_alone(self, *words):
        subprocess.run([PROGRAM, *words], cwd=self.path, check=True, timeout=120, capture_output=True)

    def compare(self, one, other):
        names = {p.name for p in (self.path / one).iterdir()}
        self.assertEqual(names, {p.name for p in (self.path / other).iterdir()})
        for name in names - {"run.json", "report.html"}:
            self.assertEqual((self.path / one / name).read_bytes(), (self.path / other / name).read_bytes(), name)
        records = [json.loads((self.path / name / "run.json").read_text()) for name in (one, other)]
        for record in records:
            del record["command"], record["timings"]
            record["files"] = [file for file in record["files"] if file["name"] != "report.html"]
        self.assertEqual(*records)

    def ranks_of(self, process, count):
        """The processes of a run, once all of them have begun to draw."""
        for _ in range(600):
            found = []
            for status in pathlib.Path("/proc").glob("[0-9]*/cmdline"):
                try:
                    if status.read_bytes().startswith(MPI_PROGRAM.encode() + b"\0") and (
                            os.path.realpath(status.parent / "cwd") == os.path.realpath(self.path)):
                        found.append(int(status.parent.name))
                except OSError:
                    continue
            if len(found) == count and (self.path / "out" / ".ullage-run").exists():
                time.sleep(0.5)
                return sorted(found)
            self.assertIsNone(process.poll())
            time.sleep(0.05)
        self.fail("no ranks")

    def check_gone(self, ranks):
        for _ in range(100):
            if not any(os.path.exists(f"/proc/{rank}") for rank in ranks):
                return
            time.sleep(0.05)
        self.fail("a rank is left")

    def test_ranks_change_no_byte(self):
        for name, options in (("words", ("--chains", "3", "--order", "lead<zinc", "--overimpute")),
                              ("mixture", ("--chains", "2", "--components", "2", "--carry", "stage")),
                              ("renewed", ("--chains", "3", "--checkpoint", "0", "--renew-every", "7")),
                              ("cells", ("--chains", "4", "--format", "cells", "--carry", "stage"))):
            words = ("impute", "table.csv", "-m", "5", *SHORT, *options)
            self.run_alone(*words, "-o", f"{name}_alone", "-j", "2")
            for ranks in (1, 2, 3, 5):
                self.run_ranks(ranks, *words, "-o", f"{name}_{ranks}")
                self.compare(f"{name}_alone", f"{name}_{ranks}")

    def test_teams_change_no_byte(self):
        # Enough blocks, of two levels, for several ranks to share a chain.
        self.make_large_table()
        words = ("impute", "large.csv", "--by", "half", "-m", "3", "--chains", "2", "--seed", "5", "--burn-in", "3",
                 "--thin", "2", "--quiet", "--no-report")
        for jobs in (1, 7):
            self.run_alone(*words, "-o", f"alone_{jobs}", "-j", str(jobs))
        for ranks in (1, 3, 5):
            self.run_ranks(ranks, *words, "-o", f"ranks_{ranks}")
            self.compare("alone_1", f"ranks_{ranks}")
        self.compare("alone_1", "alone_7")

    def test_rounds_and_longer_runs_change_no_byte(self):
        rounds = ("impute", "table.csv", "-m", "4", "--chains", "2", "--carry", "stage", *SHORT, "--until-converged",
                  "--max-iterations", "200")
        self.run_alone(*rounds, "-o", "alone")
        for ranks in (2, 3):
            self.run_ranks(ranks, *rounds, "-o", "rounds")
            self.compare("alone", "rounds")
        _, err = self.run_ranks(1, *rounds, "-o", "none", code=64)
        self.assertIn("start at least 2 ranks", err)
        for directory in ("alone", "ranks"):
            self.run_alone("impute", "table.csv", "-m", "4", "--chains", "2", *SHORT, "-o", directory)
        self.run_alone("extend", "alone", "-m", "6")
        self.run_ranks(3, "extend", "ranks", "-m", "6")
        self.assertEqual(*((self.path / d / "imputations.csv").read_bytes() for d in ("alone", "ranks")))

    def test_rank_0_alone_speaks(self):
        out, err = self.run_ranks(3, "impute", "table.csv", "-o", "-", "-m", "2", "--burn-in", "20", "--thin", "5",
                                  "--progress", "json")
        self.assertEqual(out.count(".imp"), 1)
        self.assertEqual(err.count("seed "), 1)  # chosen by rank 0 for all
        progress = [json.loads(line) for line in err.splitlines() if line.startswith("{")]
        self.assertEqual(progress[-1]["done"], progress[-1]["total"])
        out, _ = self.run_ranks(3, "check", "table.csv")
        self.assertEqual(out.count("patterns"), 1)
        out, _ = self.run_ranks(2, "--version")
        self.assertEqual(out.count("ullage"), 1)

    def test_errors_are_said_once(self):
        (self.path / "bad.csv").write_text(TABLE + "s9,<1,\n")
        (self.path / "prior.json").write_text("{")
        for words, code, said in (
            (("impute", "bad.csv", "-o", "out"), 65, "line 62"),
            (("impute", "none.csv", "-o", "out"), 66, "none.csv"),
            (("impute", "table.csv", "-o", "out", "--prior", "prior.json"), 64, "prior.json"),
            (("impute", "table.csv"), 64, "--output"),
            (("impute", "-", "-o", "out"), 64, "standard input"),
            (("impute", "table.csv", "-o", "table.csv"), 73, "table.csv"),
        ):
            _, err = self.run_ranks(3, *words, code=code)
            self.assertEqual(err.count(said), 1, err)
            self.assertEqual(sorted(p.name for p in self.path.iterdir()), ["bad.csv", "prior.json", "table.csv"])

    def test_a_rank_that_fails_ends_all(self):
        # A wrapper gives rank 2 another table, none, and too little memory.
        with open(self.path / "large.csv", "w") as file:
            file.write("x,y,z\n")
            for i in range(300000):
                x, y = i * 37 % 4001, i * 53 % 3989 + i * 37 % 401
                file.write(f"{x if i % 3 else ''},{y if i % 2 else ''},{i * 17 % 101}\n")
        for name, act, code, said in (
            ("other", "cd other", 65, "another table"),
            ("none", "cd none", 66, "rank 2"),
            ("memory", "ulimit -v 190000", 70, "rank 2"),
        ):
            if name == "memory" and (SANITIZED or OPEN_MPI):  # which ask for more themselves
                continue
            for folder in ("other", "none"):
                (self.path / folder).mkdir(exist_ok=True)
            (self.path / "other" / "large.csv").write_text("x,y\n1,2\n2,\n3,4\n5,5\n7,3\n2,1\n")
            (self.path / "wrap.sh").write_text(
                "#!/bin/sh\n[ \"${PMI_RANK:-$OMPI_COMM_WORLD_RANK}\" = 2 ] && { "
                + act + f"; }}\nexec {MPI_PROGRAM} \"$@\"\n")
            (self.path / "wrap.sh").chmod(0o755)
            begin = time.monotonic()
            process = subprocess.run([MPIEXEC, "-n", "3", self.path / "wrap.sh", "impute", "large.csv", "-o",
                                      str(self.path / "out"), "--chains", "1", "-m", "2", "--thin", "1000", "--quiet"],
                                     cwd=self.path, env=ENVIRONMENT, capture_output=True, text=True, timeout=120)
            self.assertEqual(process.returncode, code, f"{name}: {process.stderr}")
            self.assertEqual(process.stderr.count(said), 1, process.stderr)
            self.assertLess(time.monotonic() - begin, 50)  # a rank without memory may be found by its silence
            self.assertFalse((self.path / "out" / "run.json").exists())

    def long_run(self, ranks):
        process = self.start(ranks, "impute", "table.csv", "-o", "out", "-m", "1000", "--thin", "1000000", "--seed", "5")
        return process, self.ranks_of(process, ranks)

    def test_a_killed_rank_ends_the_run(self):
        for number in (0, 2):
            process, ranks = self.long_run(3)
            begin = time.monotonic()
            os.kill(ranks[number], signal.SIGKILL)
            out, err = process.communicate(timeout=60)
            self.assertNotEqual(process.returncode, 0)
            self.assertLess(time.monotonic() - begin, 20)
            self.assertIn("signal 9", out + err)  # says mpiexec
            self.check_gone(ranks)
            # The next command in the directory removes what the dead run had begun.
            self.run_alone("impute", "table.csv", "-o", "out", "-m", "2", "--chains", "2", *SHORT)
            self.assertEqual(sorted(p.name for p in (self.path / "out").iterdir()),
                             ["bounds.csv", "imputations.csv", "parameters.csv", "report.html", "run.json"])

    def test_interrupts(self):
        process, ranks = self.long_run(3)
        os.kill(ranks[0], signal.SIGTERM)
        _, err = self.finish(process, 143)
        self.assertEqual(err.count("interrupted"), 1)
        self.assertFalse((self.path / "out").exists())
        process, ranks = self.long_run(3)
        os.killpg(process.pid, signal.SIGINT)  # as a terminal does
        process.communicate(timeout=60)  # mpiexec has an exit code of its own
        self.check_gone(ranks)
        self.assertFalse((self.path / "out" / "run.json").exists())


if __name__ == "__main__":
    unittest.main()
