# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
# "ullage-mpi" on two hosts, which are two network namespaces of this machine: equal bytes, a rank that is killed, and
# a connection that goes down in the middle.

import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import time
import unittest

PROGRAM, MPI_PROGRAM, MPIEXEC = (sys.argv.pop(1) for _ in range(3))

NAMES = [f"ullage{os.getpid()}{end}" for end in "ab"]
HOSTS = ["10.213.77.1", "10.213.77.2"]
LAUNCHER = """#!/bin/sh
# As ssh would: options, host, command.
while [ "${1#-}" != "$1" ]; do shift; done
host=$1
shift
"""
# Only what two hosts have: no shared memory, and no network but that between them.
ENVIRONMENT = os.environ | {"UCX_TLS": "tcp,self", "UCX_NET_DEVICES": "veth0", "HWLOC_COMPONENTS": "-pci"}
SHORT = ("--seed", "5", "--burn-in", "3", "--thin", "2", "--quiet", "--no-report")


def ip(*words):
    return subprocess.run(["ip", *words], check=True, capture_output=True, text=True).stdout


def link_hosts():
    for name in NAMES:
        ip("netns", "add", name)
    ip("link", "add", "veth0", "netns", NAMES[0], "type", "veth", "peer", "name", "veth0", "netns", NAMES[1])
    for name, host in zip(NAMES, HOSTS):
        ip("-n", name, "addr", "add", f"{host}/24", "dev", "veth0")
        ip("-n", name, "link", "set", "lo", "up")
        ip("-n", name, "link", "set", "veth0", "up")
    for name in NAMES:  # the kernel takes a while to say that it is up
        while " UP " not in ip("-n", name, "-br", "link", "show", "veth0"):
            time.sleep(0.05)


def remove_hosts():
    for name in NAMES:
        pids = subprocess.run(["ip", "netns", "pids", name], capture_output=True, text=True).stdout.split()
        for pid in pids:
            os.kill(int(pid), signal.SIGKILL)
        subprocess.run(["ip", "netns", "del", name], capture_output=True)


class TwoHostsTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = pathlib.Path(folder.name)
        with open(self.path / "table.csv", "w") as file:
            file.write("x,y\n")
            for i in range(40000):
                x, y = i * 37 % 4001, i * 53 % 3989 + i * 37 % 401
                file.write(f"{x if i % 3 else ''},{y if i % 2 else f'<{y + 100}'}\n")
        cases = "".join(f'[ "$host" = {host} ] && exec ip netns exec {name} sh -c "$*"\n'
                        for name, host in zip(NAMES, HOSTS))
        (self.path / "launcher").write_text(LAUNCHER + cases)
        (self.path / "launcher").chmod(0o755)
        self.addCleanup(remove_hosts)
        link_hosts()

    def start(self, ranks, *words):
        return subprocess.Popen(["ip", "netns", "exec", NAMES[0], MPIEXEC, "-launcher", "ssh", "-launcher-exec",
                                 self.path / "launcher", "-hosts", ",".join(HOSTS), "-ppn", str(ranks // 2), "-n",
                                 str(ranks), MPI_PROGRAM, "impute", "table.csv", *words], cwd=self.path,
                                env=ENVIRONMENT, text=True, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE)

    def ranks_in(self, name):
        pids = subprocess.run(["ip", "netns", "pids", name], capture_output=True, text=True).stdout.split()
        return [int(pid) for pid in pids if self.name_of(pid) == "ullage-mpi"]

    def name_of(self, pid):
        try:
            return pathlib.Path(f"/proc/{pid}/comm").read_text().strip()
        except OSError:
            return ""

    def long_run(self):
        process = self.start(4, "-o", "out", "-m", "1000", "--thin", "1000000", "--chains", "2", "--seed", "5")
        for _ in range(600):
            if (self.path / "out" / ".ullage-run").exists() and len(self.ranks_in(NAMES[1])) == 2:
                time.sleep(1)
                return process
            self.assertIsNone(process.poll())
            time.sleep(0.05)
        self.fail("no ranks")

    def check_gone(self):
        for _ in range(600):
            if not any(self.ranks_in(name) for name in NAMES):
                return
            time.sleep(0.05)
        self.fail("a rank is left")

    def test_hosts_change_no_byte(self):
        subprocess.run([PROGRAM, "impute", "table.csv", "-m", "3", "--chains", "1", *SHORT, "-o", "alone"],
                       cwd=self.path, check=True, capture_output=True)
        for ranks in (2, 4):
            process = self.start(ranks, "-m", "3", "--chains", "1", *SHORT, "-o", f"hosts_{ranks}")
            _, err = process.communicate(timeout=120)
            self.assertEqual(process.returncode, 0, err)
            for name in ("imputations.csv", "parameters.csv", "bounds.csv"):
                self.assertEqual((self.path / "alone" / name).read_bytes(),
                                 (self.path / f"hosts_{ranks}" / name).read_bytes(), name)

    def test_a_connection_that_goes_down_ends_the_run(self):
        process = self.long_run()
        begin = time.monotonic()
        ip("-n", NAMES[1], "link", "set", "veth0", "down")
        _, err = process.communicate(timeout=120)
        self.assertEqual(process.returncode, 70, err)
        self.assertLess(time.monotonic() - begin, 40)
        self.assertEqual(err.count("has heard nothing of rank"), 1, err)
        self.assertFalse((self.path / "out").exists())
        self.check_gone()

    def test_a_killed_rank_ends_the_run(self):
        process = self.long_run()
        begin = time.monotonic()
        os.kill(self.ranks_in(NAMES[1])[0], signal.SIGKILL)
        process.communicate(timeout=120)
        self.assertNotEqual(process.returncode, 0)
        self.assertLess(time.monotonic() - begin, 30)
        self.assertFalse((self.path / "out" / "run.json").exists())
        self.check_gone()


if __name__ == "__main__":
    version = subprocess.run([MPIEXEC, "--version"], capture_output=True, text=True).stdout
    if "HYDRA" not in version:
        print("SKIPPED: mpiexec is not that of MPICH, whose launcher can be replaced")
        sys.exit(77)
    try:
        link_hosts()
    except (OSError, subprocess.CalledProcessError) as error:
        print("SKIPPED: no network namespaces can be made here:", getattr(error, "stderr", error))
        sys.exit(77)
    finally:
        try:
            remove_hosts()
        except OSError:
            pass
    unittest.main()
