#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
"""Checkpoints: runs that are killed and resumed give the bytes of one that was never interrupted.

usage: checkpoint_test.py PROGRAM
"""

import json
import pathlib
import random
import shutil
import signal
import subprocess
import sys
import tempfile
import time

PROGRAM = sys.argv[1]
KILLS = 20
OPTIONS = ["-m", "6", "--burn-in", "400", "--lower", "y=-4"]
RENEWALS = ["--checkpoint", "0", "--renew-every", "40"]


def write_table(path):
    """Three columns, one of them with words, with missing and bounded cells."""
    draw = random.Random(3)
    with path.open("w", encoding="utf-8") as file:
        file.write("x,y,site\n")
        for _ in range(600):
            x = draw.gauss(0, 1)
            y = f"{max(x + draw.gauss(0, 1), -3.9):.3f}" if draw.random() > 0.2 else ""
            cell = "<-0.5" if x < -0.5 else f"{x:.3f}"
            file.write(f"{cell},{y},{'a' if x + draw.gauss(0, 1) > 0 else 'b' if draw.random() > 0.1 else ''}\n")


def command(table, directory, *options, seed=7, thin=150, chains=("--chains", "2")):
    lengths = ["--seed", str(seed), "--thin", str(thin), *chains]
    return [PROGRAM, "impute", str(table), "-o", str(directory), "--no-report", *OPTIONS, *lengths, *options]


def run(words, code=0):
    done = subprocess.run(words, capture_output=True, text=True, check=False)
    assert done.returncode == code, (words, done.returncode, done.stderr)
    return done.stderr


def kill_behind_checkpoint(words, directory):
    """Start a run, kill it once it has left a checkpoint, and give what it said."""
    process = subprocess.Popen(words, stderr=subprocess.PIPE, text=True)
    while not (directory / "run.checkpoint").exists():
        assert process.poll() is None, process.communicate()
        time.sleep(0.01)
    process.kill()
    return process.communicate()[1]


def results(directory):
    """The bytes of all files; of the record what does not depend on the place, the clock and the machine."""
    files = {path.name: path.read_bytes() for path in directory.iterdir()}
    record = json.loads(files["run.json"])
    assert "--resume" not in record["command"]
    del record["command"], record["timings"]
    files["run.json"] = json.dumps(record)
    return files


def test_killed(table, folder, whole):
    """Kill a run again and again, resume it with other numbers of processes, and compare."""
    begin = time.monotonic()
    run(command(table, folder / "timed", *RENEWALS, "-j", "1"))
    seconds = time.monotonic() - begin
    seed = time.time_ns()
    print("moments of seed", seed)
    draw = random.Random(seed)
    kills = resumed = 0
    while kills < KILLS:
        directory = folder / f"killed{kills}"
        while True:
            words = command(table, directory, *RENEWALS, "--resume", "-j", str(draw.choice([1, 2, 3])))
            process = subprocess.Popen(words, stderr=subprocess.PIPE)
            try:
                process.communicate(timeout=draw.uniform(0.1, 0.8) * seconds)
                assert process.returncode == 0, process.returncode
                break
            except subprocess.TimeoutExpired:
                resumed += (directory / "run.checkpoint").exists()
                process.kill()
                process.communicate()
                kills += 1
        assert results(directory) == whole, directory
        shutil.rmtree(directory)
    assert resumed > 0
    print(f"{kills} kills, {resumed} of them behind a checkpoint: the same bytes")


def test_foreign_checkpoints(table, folder, whole):
    """A checkpoint that is not the run's is refused, and stays."""
    directory = folder / "foreign"
    checkpoint = directory / "run.checkpoint"
    kill_behind_checkpoint(command(table, directory, *RENEWALS, thin=100000), directory)
    kept = checkpoint.read_bytes()
    assert "--resume" in run(command(table, directory, *RENEWALS), 73)
    assert "--resume" in run(command(table, directory), 73)
    assert "options differ" in run(command(table, directory, *RENEWALS, "--resume"), 65)
    assert "seeds differ" in run(command(table, directory, *RENEWALS, "--resume", seed=8), 65)
    for broken in (kept[:-1], kept[: len(kept) // 2], b"", kept[:3000] + bytes([kept[3000] ^ 1]) + kept[3001:]):
        checkpoint.write_bytes(broken)
        assert "no checkpoint" in run(command(table, directory, *RENEWALS, "--resume"), 65)
        assert checkpoint.read_bytes() == broken
    checkpoint.unlink()
    run(command(table, directory, *RENEWALS, "--resume"))
    assert results(directory) == whole


def test_seed_is_that_of_the_checkpoint(table, folder):
    """A run without a seed resumes the one that was chosen."""
    directory = folder / "unsaid"
    words = [PROGRAM, "impute", str(table), "-o", str(directory), "--no-report", "-m", "2", "--thin", "1500", *RENEWALS]
    seed = kill_behind_checkpoint(words, directory).splitlines()[0]
    assert seed.startswith("seed ")
    said = run([*words, "--resume"])
    assert seed in said and "resumed behind iteration" in said, said


def test_chains_as_jobs(table, folder):
    """One chain of a run resumes its own checkpoint alone."""
    whole, directory = folder / "part", folder / "resumed_part"
    first, second = ("--chain", "1/2"), ("--chain", "2/2")
    run(command(table, whole, *RENEWALS, chains=first))
    kill_behind_checkpoint(command(table, directory, *RENEWALS, chains=first), directory)
    assert "chains differ" in run(command(table, directory, *RENEWALS, "--resume", chains=second), 65)
    assert "chains differ" in run(command(table, directory, *RENEWALS, "--resume"), 65)
    assert "resumed behind" in run(command(table, directory, *RENEWALS, "--resume", chains=first))
    assert results(directory) == results(whole)


def test_stopped(table, folder):
    """Who stops a run is told how it goes on, and sees what is done already."""
    directory = folder / "stopped"
    words = command(table, directory, *RENEWALS, "--resume", thin=100000)
    kill_behind_checkpoint(words, directory)
    process = subprocess.Popen([*words, "--progress", "json"], stderr=subprocess.PIPE, text=True)
    lines = []
    while len(lines) < 3:
        line = process.stderr.readline()
        assert line, lines
        if line.startswith("{"):
            lines.append(json.loads(line))
    process.send_signal(signal.SIGINT)
    said = process.communicate()[1]
    assert process.returncode == 130 and "run.checkpoint is kept" in said, said
    assert all(line["done"] >= 80 for line in lines), lines


def test_refused(table, folder):
    """What cannot be resumed is refused before anything is read."""
    directory = folder / "refused"
    assert "--until-converged" in run(command(table, directory, "--checkpoint", "5", "--until-converged"), 64)
    assert "--checkpoint" in run(command(table, directory, "--resume"), 64)
    assert "at least 0" in run(command(table, directory, "--checkpoint", "-1"), 64)
    assert "directory" in run(command(table, "-", "--checkpoint", "5"), 64)
    assert not directory.exists()


def main():
    with tempfile.TemporaryDirectory() as place:
        folder = pathlib.Path(place)
        table = folder / "table.csv"
        write_table(table)
        run(command(table, folder / "whole", *RENEWALS, "-j", "1"))
        whole = results(folder / "whole")
        assert "run.checkpoint" not in whole and json.loads(whole["run.json"])["settings"]["renew_every"] == 40
        test_refused(table, folder)
        test_chains_as_jobs(table, folder)
        test_stopped(table, folder)
        test_foreign_checkpoints(table, folder, whole)
        test_seed_is_that_of_the_checkpoint(table, folder)
        test_killed(table, folder, whole)


if __name__ == "__main__":
    main()
