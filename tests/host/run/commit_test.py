# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# A directory of results is of one run, whatever ends a command and whoever else writes there, and loses no input.

import concurrent.futures
import errno
import fcntl
import hashlib
import json
import os
import pathlib
import random
import resource
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

PROGRAM = sys.argv.pop(1)
FAILING_CALLS = sys.argv.pop(1)

TABLE = "lead,zinc\n" + "".join(
    f"{'<2' if i % 5 == 0 else 2 + (i * 37 % 41) / 7},{'' if i % 7 == 3 else (i * 29 % 31) / 3 + i / 9}\n" for i in range(40))
OTHER = "tin,gold\n" + "".join(f"{'' if i % 3 == 0 else i * 17 % 23},{(i * 7 % 29) / 3}\n" for i in range(50))
SHORT = ("--chains", "2", "--burn-in", "5", "--thin", "5", "-j", "1", "--quiet")
FIRST = ("table.csv", "--seed", "1", "-m", "3", *SHORT)
# Fewer files than the first of its kind, other ones, and some of the same names.
SECOND = ("other.csv", "--seed", "2", "-m", "2", "--format", "files", "--no-report", *SHORT)


class CommitTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = pathlib.Path(folder.name)
        (self.path / "table.csv").write_text(TABLE)
        (self.path / "other.csv").write_text(OTHER)

    def run_to_end(self, *words, **keywords):
        environment = os.environ | {"ASAN_OPTIONS": "verify_asan_link_order=0"} | keywords.pop("env", {})
        done = subprocess.run([PROGRAM, *words], cwd=self.path, env=environment, capture_output=True, text=True, timeout=60,
                              check=False, **keywords)
        return done.returncode, done.stderr

    def impute(self, *words, into="out", **keywords):
        return self.run_to_end("impute", *words, "-o", into, **keywords)

    def check_one_run(self, into="out"):
        """The next command takes the directory for one whole run, which it is, and nothing else is left. Its table."""
        code, err = self.run_to_end("pool", into, "--quiet")
        self.assertEqual(code, 0, err)
        folder = self.path / into
        record = json.loads((folder / "run.json").read_text())
        self.assertEqual(sorted(os.listdir(folder)), sorted(["run.json"] + [file["name"] for file in record["files"]]))
        for file in record["files"]:
            data = (folder / file["name"]).read_bytes()
            self.assertEqual((len(data), hashlib.sha256(data).hexdigest()), (file["bytes"], file["sha256"]), file["name"])
        return record["input"]["name"]

    def restart(self):
        shutil.rmtree(self.path / "out", ignore_errors=True)
        shutil.copytree(self.path / "first", self.path / "out")

    def test_every_call_that_fails(self):
        self.assertEqual(self.impute(*FIRST, into="first")[0], 0)
        self.restart()
        preloaded = {"LD_PRELOAD": FAILING_CALLS}
        code, err = self.impute(*SECOND, env=preloaded | {"FAIL_COUNT": str(self.path / "count")})
        self.assertEqual(code, 0, err)
        self.assertEqual(self.check_one_run(), "other.csv")
        calls = int((self.path / "count").read_text())
        self.assertGreater(calls, 30)
        for failure in (0, errno.ENOSPC):
            seen = set()
            for call in range(1, calls + 1):
                with self.subTest(failure=failure, call=call):
                    self.restart()
                    code, err = self.impute(*SECOND, env=preloaded | {"FAIL_CALL": str(call), "FAIL_WITH": str(failure)})
                    source = self.check_one_run()
                    seen.add((code == 0, source))
                    if failure == 0:
                        self.assertEqual(code, -signal.SIGKILL)
                    else:
                        # What is only tidied up fails without a word.
                        self.assertIn((code, source), ((0, "other.csv"), (73, "table.csv"), (70, "table.csv")), err)
            self.assertEqual({source for _, source in seen}, {"table.csv", "other.csv"})

    def wait_for_workers(self):
        """A killed run's workers end when they find it gone; until then the directory is theirs."""
        try:
            lock = os.open(self.path / "out/.ullage-run/lock", os.O_RDWR)
        except FileNotFoundError:
            return
        try:
            deadline = time.monotonic() + 30
            while time.monotonic() < deadline:
                try:
                    fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
                    return
                except BlockingIOError:
                    time.sleep(0.01)
            self.fail("workers outlive their run")
        finally:
            os.close(lock)

    def test_signals_at_any_moment(self):
        self.assertEqual(self.impute(*FIRST, into="first")[0], 0)
        numbers = random.Random(1)
        for signal_number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGKILL):
            for _ in range(10):
                self.restart()
                process = subprocess.Popen([PROGRAM, "impute", *SECOND, "-o", "out"], cwd=self.path,
                                           stderr=subprocess.DEVNULL)
                time.sleep(numbers.uniform(0, 0.06))
                process.send_signal(signal_number)
                code = process.wait(timeout=60)
                if signal_number == signal.SIGKILL:
                    self.wait_for_workers()
                source = self.check_one_run()
                if signal_number != signal.SIGKILL and code not in (0, -signal_number):
                    self.assertEqual((code, source), (128 + signal_number, "table.csv"))

    def test_limit_on_the_size_of_files(self):
        self.assertEqual(self.impute(*FIRST)[0], 0)
        for size in (0, 100, 500):
            limit = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (size, size))
            code, err = self.impute(*SECOND, preexec_fn=limit)
            self.assertEqual((code, self.check_one_run()), (73, "table.csv"), err)
            self.assertIn("File too large", err)

    def test_two_runs_at_once(self):
        def pair(number):
            into = f"pair{number}"
            with concurrent.futures.ThreadPoolExecutor() as pool:
                both = list(pool.map(lambda words: self.impute(*words, into=into), (FIRST, SECOND)))
            for code, err in both:
                self.assertIn(code, (0, 73), err)
                if code == 73:
                    self.assertIn("another run is writing its results here", err)
            self.assertIn(0, [code for code, _ in both])
            self.check_one_run(into)

        for number in range(10):
            pair(number)

    def test_a_directory_in_use(self):
        self.assertEqual(self.impute(*FIRST)[0], 0)
        process = subprocess.Popen([PROGRAM, "impute", "other.csv", "-o", "out", "-m", "1000", "--thin", "1000000"],
                                   cwd=self.path, stderr=subprocess.DEVNULL)
        while not (self.path / "out/.ullage-run/new").exists():
            time.sleep(0.01)
        for words in (("impute", *FIRST, "-o", "out"), ("report", "out")):
            code, err = self.run_to_end(*words)
            self.assertEqual(code, 73)
            self.assertIn("another run is writing its results here", err)
        # Its results are those of the run before, as long as it draws.
        self.assertEqual(self.run_to_end("pool", "out")[0], 0)
        process.kill()
        process.wait(timeout=60)
        self.assertTrue((self.path / "out/.ullage-run").exists())
        self.assertEqual(self.impute(*SECOND)[0], 0)
        self.assertEqual(self.check_one_run(), "other.csv")

    def test_no_input_is_lost(self):
        self.assertEqual(self.impute(*SECOND)[0], 0)
        out = self.path / "out"
        before = {path.name: path.read_bytes() for path in out.iterdir()}
        os.symlink("out", self.path / "again")
        os.symlink("out/imputation_1.csv", self.path / "symbolic.csv")
        os.link(out / "imputation_2.csv", self.path / "hard.csv")
        prior = out / "overimputation.csv"
        standard_input = open(out / "imputation_2.csv")
        self.addCleanup(standard_input.close)
        for words, keywords in (
                (("out/imputation_1.csv", "-m", "2"), {}), (("again/imputation_1.csv",), {}), (("symbolic.csv",), {}),
                (("hard.csv",), {}), (("out/parameters.csv",), {}), (("-",), {"stdin": standard_input})):
            code, err = self.impute(*words, *SHORT, **keywords)
            self.assertEqual(code, 73, err)
            self.assertIn("the results would take the place of the input", err)
            self.assertEqual({path.name: path.read_bytes() for path in out.iterdir()}, before, words)
        # The same in a directory that holds no run.
        shutil.copy(self.path / "table.csv", self.path / "imputations.csv")
        code, err = self.impute("imputations.csv", *SHORT, into=".")
        self.assertEqual((code, (self.path / "imputations.csv").read_text()), (73, TABLE), err)
        # A prior is an input too.
        prior.write_text(json.dumps({"columns": ["lead", "zinc"], "mean": [3, 5], "mean_cases": 1,
                                     "covariance": [[1, 0], [0, 1]], "covariance_cases": 4}))
        code, err = self.impute("table.csv", "--overimpute", "--prior", "out/overimputation.csv", *SHORT)
        self.assertEqual(code, 73)
        self.assertIn("place of the input out/overimputation.csv", err)

    def test_what_is_not_of_a_run_stays(self):
        (self.path / "out").mkdir()
        for name, content in (("imputations.csv", "mine"), ("run.json", "{}"), ("report.html", "mine")):
            file = self.path / "out" / name
            file.write_text(content)
            code, err = self.impute(*FIRST)
            self.assertEqual((code, file.read_text(), os.listdir(self.path / "out")), (73, content, [name]), err)
            self.assertIn(f"out/{name}: ", err)
            file.unlink()
        self.assertEqual(self.impute(*FIRST)[0], 0)
        (self.path / "out/report.html").write_text("mine")
        for words in (("impute", *FIRST, "-o", "out"), ("report", "out")):
            code, err = self.run_to_end(*words)
            self.assertEqual((code, (self.path / "out/report.html").read_text()), (73, "mine"), err)
        for name in ("run.json", "imputations.csv"):
            code, err = self.run_to_end("report", "out", "-o", f"out/{name}")
            self.assertEqual(code, 73)
            self.assertIn("this is a file of the run", err)

    def test_a_report_of_its_own(self):
        self.assertEqual(self.impute(*FIRST, "--no-report")[0], 0)
        self.assertEqual(self.run_to_end("report", "out", "-o", "out/../out/report.html")[0], 0)
        self.check_one_run()
        page = (self.path / "out/report.html").read_bytes()
        self.assertEqual(self.run_to_end("report", "out")[0], 0)
        self.check_one_run()
        # What is no regular file is written, not replaced.
        os.symlink("target.html", self.path / "link.html")
        self.assertEqual(self.run_to_end("report", "out", "-o", "link.html")[0], 0)
        self.assertTrue((self.path / "link.html").is_symlink())
        self.assertEqual((self.path / "target.html").read_bytes(), page)
        os.mkfifo(self.path / "fifo")
        with subprocess.Popen(["cat", self.path / "fifo"], stdout=subprocess.PIPE) as reader:
            self.assertEqual(self.run_to_end("report", "out", "-o", "fifo")[0], 0)
            self.assertEqual(reader.stdout.read(), page)
        self.assertTrue((self.path / "fifo").is_fifo())
        code, err = self.run_to_end("report", "out", "-o", "/dev/full")
        self.assertEqual(code, 73)
        self.assertIn("/dev/full: No space left", err)

    def test_files_that_differ_are_marked_in_the_original(self):
        """Imputed cells of separate files are found by their values: the tables agree with those of the long one."""
        words = ("table.csv", "--seed", "1", "-m", "3", *SHORT)
        self.assertEqual(self.impute(*words, "--format", "files", into="files")[0], 0)
        self.assertEqual(self.impute(*words)[0], 0)
        pages = []
        for into in ("out", "files"):
            self.assertEqual(self.run_to_end("report", into, "-o", f"{into}.html")[0], 0)
            page = (self.path / f"{into}.html").read_text()
            pages.append(page[page.index("id=\"imputed\""):page.index("id=\"reproduce\"")])
        self.assertEqual(pages[0], pages[1])


if __name__ == "__main__":
    unittest.main()
