# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
"""The workloads of the benchmarks by other programs, each in its natural fast way, beside the engine's times.

What is not installed is skipped aloud. Everything runs on one thread. Debian has it all:
    apt-get install python3-numpy r-cran-{mice,amelia,jomo,truncnorm,tmvtnorm,msm,mvtnorm,mvnfast}
"""

import argparse
import csv
import io
import os
import pathlib
import shutil
import statistics
import subprocess
import sys
import time

ONE_THREAD = {name: "1" for name in ("OMP_NUM_THREADS", "OPENBLAS_NUM_THREADS", "MKL_NUM_THREADS")}
os.environ.update(ONE_THREAD)

try:
    import numpy as np
except ImportError:
    np = None

CORRELATION = 0.6
MOST_SECONDS = 20


def repeated(run, most=7):
    """Median of the processor time in milliseconds, and how often it was run."""
    times = []
    while len(times) < most and sum(times) < MOST_SECONDS:
        start = time.process_time()
        run()
        times.append(time.process_time() - start)
    return statistics.median(times) * 1e3, len(times)


def covariance(variables):
    index = np.arange(variables)
    return CORRELATION ** np.abs(index[:, None] - index)


def numbers(rng, cases, variables):
    return rng.standard_normal((cases, variables)) @ np.linalg.cholesky(covariance(variables)).T


def draw_by_pattern(rng, x, holes, sigma):
    """One exact joint draw of all missing cells: one regression and one root for each pattern."""
    patterns, pattern_of = np.unique(holes, axis=0, return_inverse=True)
    order = np.argsort(pattern_of.ravel(), kind="stable")
    starts = np.searchsorted(pattern_of.ravel()[order], np.arange(len(patterns) + 1))
    for k, pattern in enumerate(patterns):
        missing = np.flatnonzero(pattern)
        if missing.size == 0:
            continue
        observed = np.flatnonzero(~pattern)
        rows = order[starts[k]:starts[k + 1]]
        weights = np.linalg.solve(sigma[np.ix_(observed, observed)], sigma[np.ix_(observed, missing)])
        conditional = sigma[np.ix_(missing, missing)] - sigma[np.ix_(missing, observed)] @ weights
        root = np.linalg.cholesky(conditional)
        x[np.ix_(rows, missing)] = (x[np.ix_(rows, observed)] @ weights
                                    + rng.standard_normal((rows.size, missing.size)) @ root.T)


def draw_in_batches(rng, x, holes, sigma):
    """The same for many patterns at once: every system is filled up to full order with rows of the identity."""
    patterns, pattern_of = np.unique(holes, axis=0, return_inverse=True)
    pattern_of = pattern_of.ravel()
    missing = patterns[:, :, None]
    observed = ~missing
    identity = np.eye(x.shape[1])
    cross = np.where(observed & missing.swapaxes(1, 2), sigma, 0.0)
    weights = np.linalg.solve(np.where(observed & observed.swapaxes(1, 2), sigma, identity), cross)
    conditional = np.where(missing & missing.swapaxes(1, 2), sigma - cross.swapaxes(1, 2) @ weights, identity)
    roots = np.linalg.cholesky(conditional)
    known = np.where(holes, 0.0, x)[:, None, :]
    noise = rng.standard_normal((len(x), x.shape[1], 1))
    drawn = (known @ weights[pattern_of])[:, 0, :] + (roots[pattern_of] @ noise)[:, :, 0]
    x[holes] = drawn[holes]


def pass_by_variable(rng, x, holes, sigma):
    """One Gibbs pass with the loop over variables outside."""
    precision = np.linalg.inv(sigma)
    for j in range(x.shape[1]):
        rows = np.flatnonzero(holes[:, j])
        weights = -precision[:, j] / precision[j, j]
        weights[j] = 0.0
        x[rows, j] = x[rows] @ weights + rng.standard_normal(rows.size) / np.sqrt(precision[j, j])


def numpy_peers():
    """Results of NumPy as (workload, peer, unit, median, repetitions)."""
    rng = np.random.default_rng(1)
    for workload, cases, variables, pattern_count in (("W1", 10000, 20, None), ("W1pat", 10000, 20, 20),
                                                      ("W1b", 100000, 10, None), ("W1c", 2000, 100, None)):
        x = numbers(rng, cases, variables)
        sigma = covariance(variables)
        if pattern_count is None:
            holes = rng.random(x.shape) < 0.3
        else:
            holes = (rng.random((pattern_count, variables)) < 0.3)[rng.integers(pattern_count, size=cases)]
        yield workload, "NumPy by pattern", "ms", *repeated(lambda: draw_by_pattern(rng, x, holes, sigma))
        yield workload, "NumPy in batches", "ms", *repeated(lambda: draw_in_batches(rng, x, holes, sigma))
        yield workload, "NumPy by variable", "ms", *repeated(lambda: pass_by_variable(rng, x, holes, sigma))

    x = rng.standard_normal((1000000, 20))
    yield "W5", "NumPy: mean and cov (BLAS)", "ms", *repeated(lambda: (x.mean(axis=0), np.cov(x, rowvar=False)))

    def likelihoods():
        root = np.linalg.cholesky(sigma)
        z = x @ np.linalg.inv(root).T
        return np.exp(-0.5 * np.einsum("ij,ij->i", z, z)) / np.prod(np.diag(root))

    x = numbers(rng, 1000000, 10)
    sigma = covariance(10)
    yield "W6", "NumPy (BLAS)", "ms", *repeated(likelihoods)
    for workload, form in (("W7short", "%.5g"), ("W7long", "%.17g")):
        stream = io.StringIO()
        np.savetxt(stream, x[:100000], fmt=form, delimiter="\t")
        text = stream.getvalue()
        yield workload, "NumPy: loadtxt", "ms", *repeated(lambda: np.loadtxt(io.StringIO(text), delimiter="\t"))
        yield workload, "NumPy: fromstring", "ms", *repeated(lambda: np.fromstring(text, sep=" "))


def r_peers():
    """Results of R's packages; what R says besides goes to standard error."""
    script = pathlib.Path(__file__).with_name("peers.R")
    process = subprocess.Popen(["Rscript", "--vanilla", str(script)], stdout=subprocess.PIPE, text=True)
    for line in process.stdout:
        fields = line.rstrip("\n").split(",")
        if len(fields) != 5:
            print(line.rstrip("\n"), file=sys.stderr)
            continue
        workload, peer, unit, median, repetitions = fields
        yield workload, peer, unit, float(median), int(repetitions)
    if process.wait() != 0:
        sys.exit(f"Rscript {script} failed; its messages are above")


def engine_times(path):
    """The engine's medians by workload."""
    if not path.exists():
        print(f"skipped: the engine's own times; run make bench first to get {path}", file=sys.stderr)
        return {}
    with path.open(newline="", encoding="utf-8") as file:
        return {row["workload"]: float(row["engine"]) for row in csv.DictReader(file)}


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build", type=pathlib.Path, help="build folder of the preset bench, with the table of make bench")
    options = parser.parse_args()
    engine = engine_times(options.build / "bench.csv")

    sources = []
    if np is None:
        print(f"skipped: NumPy is not installed for {sys.executable} (Debian: python3-numpy, for /usr/bin/python3)",
              file=sys.stderr)
    else:
        sources.append(numpy_peers())
    if shutil.which("Rscript") is None:
        print("skipped: R is not installed (Debian: r-base-core)", file=sys.stderr)
    else:
        sources.append(r_peers())

    output = options.build / "peers.csv"
    with output.open("w", newline="", encoding="utf-8") as file:
        writer = csv.writer(file)
        writer.writerow(["workload", "peer", "unit", "median", "repetitions", "times_the_engine"])
        for source in sources:
            for workload, peer, unit, median, repetitions in source:
                times = f"{median / engine[workload]:.1f}" if workload in engine else ""
                print(f"{workload:10} {median:12.2f} {unit} {times + 'x' if times else '':>9}  {peer} "
                      f"(median of {repetitions})", flush=True)
                writer.writerow([workload, peer, unit, f"{median:.4g}", repetitions, times])
    print(f"\nWritten to {output}")


if __name__ == "__main__":
    main()
