# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
"""The main road: a table, a run, what is asked of it."""

import doctest
import hashlib
import importlib
import json
import os
import pathlib
import pickle
import subprocess
import sys
import time

import numpy as np
import pandas as pd
import polars as pl
import pytest
import statsmodels.formula.api as smf
from conftest import ROOT, impute
from statsmodels.imputation.mice import MICEResults

import ullage
from ullage import _program

AIRQUALITY = ROOT / "examples" / "airquality_censored.csv"


def sums(directory):
    return {name: hashlib.sha256((pathlib.Path(directory) / name).read_bytes()).hexdigest()
            for name in ("imputations.csv", "parameters.csv", "bounds.csv")}


def test_same_numbers_as_the_program(tmp_path):
    """By path, as text cells and as arrays with bounds, a table gives the bytes that the program gives for its file."""
    subprocess.run([_program.find_program(), "impute", AIRQUALITY, "-o", tmp_path / "run", "-m", "4", "--seed", "1",
                    "--burn-in", "20", "--thin", "5", "--log", "Ozone", "--quiet"], check=True, capture_output=True)
    expected = sums(tmp_path / "run")
    text = pd.read_csv(AIRQUALITY)
    bounded = text["Ozone"].str.startswith("<", na=False)
    numbers = text.assign(Ozone=pd.to_numeric(text["Ozone"], errors="coerce"))
    limits = pd.DataFrame({"Ozone": np.where(bounded, 20.0, np.nan)})
    for run in (impute(AIRQUALITY, log="Ozone"), impute(text, log=["Ozone"]),
                impute(numbers, log=["Ozone"], upper=limits, jobs=1), impute(numbers, log="Ozone", upper=dict(limits))):
        assert sums(run.directory) == expected
        assert run.record["seed"] == run.seed == 1


def test_completed_long_and_load(mixed, tmp_path):
    run = impute(mixed, step={"count": 1})
    expected = pd.read_csv(run.directory / "imputations.csv", dtype=str, keep_default_na=False)
    for imputation, table in enumerate(run, 1):
        assert list(table.index) == list(mixed.index) and not table.isna().any().any()
        kept = ["size", "count", "site", "stage", "ill", "day", "note"]
        assert (table[kept].dtypes == mixed[kept].dtypes).all()
        for column in ["size", "count", "site", "stage", "ill"]:
            seen = mixed[column].notna()
            assert (table.loc[seen, column] == mixed.loc[seen, column]).all()
        written = expected[expected[".imp"] == str(imputation)]
        for column in ["size", "count", "lead", "span"]:
            assert (table[column].to_numpy(float) == written[column].astype(float).to_numpy()).all()
        for column in ["site", "stage", "ill"]:
            assert list(table[column].astype(str)) == list(written[column])
        below = mixed["lead"].str.startswith("<", na=False)
        assert (table.loc[below, "lead"] < mixed.loc[below, "lead"].str[1:].astype(float)).all()
        assert all(value in cell for value, cell in zip(table["span"], mixed["span"], strict=True))
    long = run.long()
    assert list(long[".imp"].value_counts(sort=False)) == [60] * 5
    assert long.loc[long[".imp"] == 0, "size"].isna().sum() == mixed["size"].isna().sum()
    again = ullage.load(run.save(tmp_path / "kept"))
    for column in ["size", "lead", "site", "stage"]:
        assert list(again.completed(2)[column]) == list(run.completed(2)[column])
    with pytest.raises(ullage.UllageError, match="not empty"):
        run.save(tmp_path / "kept")
    for outside in (0, 5):
        with pytest.raises(IndexError):
            run.completed(outside)


@pytest.mark.filterwarnings("ignore::ullage.UllageWarning")
def test_new_rows(mixed, tmp_path):
    """New rows come back as they came, with the numbers that the program gives for their file; what is seen stays."""
    run = impute(mixed, step={"count": 1})
    new = mixed.iloc[:20].copy()
    new["site"] = pd.Categorical(["A", None] * 10)  # of the words of the run only one
    done = run.apply(new)
    assert len(done) == len(run)
    new.assign(day="", note="").to_csv(tmp_path / "new.csv", index=False)
    for table in done:
        assert list(table.index) == list(new.index) and not table.isna().any().any()
        for column in ["size", "count", "site", "stage", "ill"]:
            seen = new[column].notna()
            assert list(table.loc[seen, column]) == list(new.loc[seen, column])
        kept = ["size", "count", "stage", "ill", "day"]
        assert (table[kept].dtypes == new[kept].dtypes).all()
        assert all(value in cell for value, cell in zip(table["span"], new["span"], strict=True))
        below = new["lead"].str.startswith("<", na=False)
        assert (table.loc[below, "lead"] < new.loc[below, "lead"].str[1:].astype(float)).all()
    assert set(done[0]["site"]) > {"A"} and not done[0]["size"].equals(done[1]["size"])
    again = run.apply(new, m=1)
    assert len(again) == 1 and again[0].equals(done[0]) and not run.apply(new, m=1, seed=9)[0].equals(done[0])
    whole = pd.DataFrame({"x": [1.0, 2.0, np.nan, 4.5], "y": [2.0, 1.0, 3.0, 5.0]})
    run = impute(whole)
    rows = whole.assign(y=np.nan)
    rows.to_csv(tmp_path / "new.csv", index=False)
    of_file = run.apply(tmp_path / "new.csv")
    for kind in (pl.DataFrame(rows), {"x": rows["x"].to_numpy(), "y": rows["y"].to_numpy()}):
        assert list(run.apply(kind)[3]["y"]) == list(of_file[3]["y"]) == list(run.apply(rows)[3]["y"])
    inside = run.apply(rows, lower={"y": 2.0}, upper={"y": [2.5] * 4})[0]["y"]
    assert inside.between(2.0, 2.5).all()
    with pytest.raises(ValueError) as caught:
        run.apply(pd.DataFrame({"x": ["1", "0,5"], "y": [1.0, 2.0]}, index=["a", "b"]))
    assert (caught.value.row, caught.value.column, caught.value.cell) == (1, "x", "0,5")
    assert str(caught.value).startswith("index 'b'")


def test_a_run_takes_its_files_with_it():
    run = impute({"x": [1.0, 2.0, np.nan, 4.5], "y": [2.0, 1.0, 3.0, 5.0]})
    directory = run.directory
    assert directory.exists()
    del run
    assert not directory.parent.exists()


def test_answers(tmp_path):
    run = impute(AIRQUALITY, m=10, log="Ozone")
    by_name = run.pool("Ozone")
    assert list(by_name.index) == ["mean(Ozone)"]
    means = [table["Ozone"].mean() for table in run]
    assert by_name.loc["mean(Ozone)", "estimate"] == pytest.approx(np.mean(means), rel=1e-12)
    assert list(run.pool(["Ozone", "Wind"], correlations=True).index) == ["cor(Ozone,Wind)"]
    assert list(run.pool("Ozone", quantiles=["0.25,0.5"]).index) == ["q25(Ozone)", "q50(Ozone)"]
    assert len(run.pool()) == 4
    with pytest.raises(ullage.UllageError, match='no column "ozone"'):
        run.pool("ozone")
    judged = run.diagnose()
    assert {"name", "rhat", "ess_bulk"} <= set(judged.columns) and "bad" in judged.attrs
    assert list(run.parameters.columns[:3]) == ["chain", "iteration", "mean(log(Ozone))"]
    assert len(run.parameters) == 4 * 15
    page = run.report(tmp_path / "report.html")
    assert page.read_text().startswith("<!DOCTYPE html>")
    assert run.report() == run.directory / "report.html" and len(run.pool()) == 4
    assert "convergence" in run._repr_html_() and "seed 1" in repr(run)
    with pytest.raises(ullage.UllageError) as caught:
        run.lm("Ozone ~ wind")
    assert caught.value.exit_code == 64 and "wind" in str(caught.value)


def test_pooling_agrees_with_statsmodels():
    """Estimates, variances and fractions by Rubin's rules, of a fit by the program, by a callable, and pooled there."""
    run = impute(AIRQUALITY, m=10)
    formula = "Ozone ~ Wind + Temp"
    fits = [smf.ols(formula, table).fit() for table in run]
    within = np.mean([fit.cov_params().to_numpy() for fit in fits], axis=0)
    estimates = np.array([fit.params for fit in fits])
    total = within + 1.1 * np.cov(estimates.T)
    theirs = MICEResults(type("Model", (), {"exog_names": list(fits[0].params.index)})(), estimates.mean(axis=0), total)
    own = run.lm(formula.replace("Intercept", "(Intercept)"))
    called = run.pool(lambda table: smf.ols(formula, table).fit())
    assert list(called.index) == ["Intercept", "Wind", "Temp"]
    of_table = iter(fits)
    pair = run.pool(lambda _: ((fit := next(of_table)).params, np.diag(fit.cov_params())), df=fits[0].df_resid)
    for pooled in (own, called, pair):
        assert pooled["estimate"].to_numpy() == pytest.approx(np.asarray(theirs.params), rel=1e-8)
        assert pooled["std_error"].to_numpy() == pytest.approx(np.asarray(theirs.bse), rel=1e-8)
        assert pooled["df"].to_numpy() == pytest.approx(own["df"].to_numpy(), rel=1e-6)
    assert own.attrs["rows"] == 153 and own.attrs["tests"][0]["df1"] == 2
    scalar = run.pool(lambda table: (table["Wind"].mean(), table["Wind"].var() / len(table)))
    assert scalar.loc["estimate", "estimate"] == pytest.approx(9.957516)
    for wrong, message in ((lambda _: 3, "params"), (lambda _: (1.0, -1.0), "variance")):
        with pytest.raises(ullage.UllageError, match=message):
            run.pool(wrong)


def test_groups(mixed):
    run = impute(mixed[["size", "count"]].assign(group=["a", "b"] * 30), by="group")
    assert set(run.parameters["level"]) == {"a", "b"}
    assert list(run.lm("size ~ count").index.names) == ["level", "name"]
    assert len(run.pool("size")) == 2


def test_plots():
    run = impute(AIRQUALITY)
    assert run.plot_trace()[0].get_ylabel() == "mean(Ozone)"
    lines = run.plot_autocorrelation(["var(Ozone)"], lags=3)[0].get_lines()
    assert lines[0].get_ydata()[0] == pytest.approx(1.0) and len(lines[0].get_ydata()) == 4
    ax = run.plot_density("Ozone")
    assert ax.get_legend_handles_labels()[1] == ["observed", "imputed"]
    counts = [int(label.get_text()) for label in run.plot_patterns().get_yticklabels()]
    assert sum(counts) == 153 and counts == sorted(counts, reverse=True)
    with pytest.raises(ullage.UllageError, match="there are mean"):
        run.plot_trace(["mean"])


def test_inference_data():
    pytest.importorskip("arviz")
    run = impute(AIRQUALITY)
    posterior = run.to_inference_data()["posterior"]
    assert posterior["mean(Ozone)"].shape == (4, 5)
    chain = run.parameters[run.parameters["chain"] == 3]
    assert (posterior["mean(Ozone)"].to_numpy()[2] == chain["mean(Ozone)"].to_numpy()).all()


@pytest.mark.filterwarnings("ignore::ullage.UllageWarning")
def test_warnings_and_progress():
    steps = []
    with pytest.warns(ullage.UllageWarning, match="too short") as caught:
        run = ullage.impute(AIRQUALITY, m=2, burn_in=3, thin=2, progress=lambda *step: steps.append(step))
    assert pathlib.Path(caught[0].filename) == pathlib.Path(__file__)
    assert steps[-1] == (4 * 5, 4 * 5)
    assert any("too short" in warning for warning in run.warnings)


@pytest.mark.filterwarnings("ignore::ullage.UllageWarning")
def test_chains_as_long_as_the_program_has_them():
    words = pd.DataFrame({"x": np.arange(40.0) % 7, "word": ["a", "b", "b", None, "b", "a", "a", "b"] * 5})
    settings = ullage.impute(words, m=2, seed=1, progress=False).record["settings"]
    assert (settings["burn_in"], settings["thin"]) == (1000, 1000)
    steps = []
    run = ullage.impute(words, m=4, seed=1, burn_in=20, thin=5, until_converged=True, ess_above=50, rhat_below=1.1,
                        progress=lambda *step: steps.append(step))
    settings = run.record["settings"]
    assert settings["until_converged"]["converged"] and settings["thin"] > 5
    assert steps[-1] == (4 * settings["iterations"],) * 2


def test_derived_columns(tmp_path):
    subprocess.run([_program.find_program(), "impute", AIRQUALITY, "-o", tmp_path / "run", "-m", "3", "--seed", "1",
                    "--burn-in", "20", "--thin", "5", "--derive", "dry = Ozone / Wind", "--quiet"],
                   check=True, capture_output=True)
    run = ullage.load(tmp_path / "run")
    for table in run:
        np.testing.assert_array_equal(table["dry"], table["Ozone"] / table["Wind"])
    with pytest.raises(ullage.UllageError, match="in Python"):
        impute(AIRQUALITY, derive="dry = Ozone / Wind")


@pytest.mark.parametrize("by_signal", [True, False])
def test_interrupt_leaves_no_process_and_no_file(tmp_path, by_signal):
    """Ctrl-C comes as KeyboardInterrupt, whatever else ends the call as itself; the process goes on."""
    script = f"""
import json, os, signal, threading, time, numpy as np, ullage
numbers = np.random.default_rng(1).normal(size=(20000, 6))
numbers[::3, 1] = np.nan
started = []
def progress(done, total):
    if not started:
        started.append(True)
        if {by_signal}: threading.Timer(0.2, os.kill, (os.getpid(), signal.SIGINT)).start()
        else: raise ZeroDivisionError
begin = time.monotonic()
try:
    ullage.impute(numbers, burn_in=10**6, jobs=2, progress=progress)
except (KeyboardInterrupt, ZeroDivisionError) as error:
    name = type(error).__name__
rows = len(ullage.impute(numbers[:50], m=1, burn_in=5, thin=1, progress=False).completed(1))
print(json.dumps([name, rows, os.listdir({str(tmp_path)!r})]))
"""
    environment = {**os.environ, "TMPDIR": str(tmp_path), "PYTHONWARNINGS": "ignore"}
    done = subprocess.run([sys.executable, "-c", script], capture_output=True, text=True, timeout=60, env=environment,
                          cwd=tmp_path, check=True)
    assert json.loads(done.stdout) == ["KeyboardInterrupt" if by_signal else "ZeroDivisionError", 50, []]
    end = time.monotonic() + 10
    while left := _processes_in(tmp_path):
        assert time.monotonic() < end, left
        time.sleep(0.1)


def _processes_in(directory):
    """Processes whose working directory was in that one."""
    found = []
    for process in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            if os.readlink(process / "cwd").startswith(str(directory)):
                found.append(process.name)
        except OSError:
            continue
    return found


def test_many_runs_keep_no_memory():
    """What a run has taken is given back with it: 60 of them are held in no more than the first ones."""
    def resident():
        return int(pathlib.Path("/proc/self/statm").read_text().split()[1]) * os.sysconf("SC_PAGE_SIZE")

    numbers = np.random.default_rng(1).normal(size=(3000, 6))
    numbers[::2, 1:4] = np.nan
    for count in range(25):
        impute(numbers, m=10, burn_in=1, thin=1).completed(1)
        if count == 8:
            before = resident()
    assert resident() - before < 6e6  # a run that stayed would hold 0.5 MB or more


def test_errors_travel_between_processes():
    error = ullage.UllageError("wrong", 65, (ullage.Problem("m", 3, ("a",), "x"),))
    again = pickle.loads(pickle.dumps(error))
    assert (str(again), again.exit_code, again.problems) == ("wrong", 65, error.problems)
    assert (again.row, again.column, again.cell) == (3, "a", "x") and isinstance(again, ValueError)
    assert not isinstance(ullage.UllageError("no file", 66), ValueError)


@pytest.mark.parametrize("module", ["_impute", "_check"])
@pytest.mark.filterwarnings("ignore::ullage.UllageWarning")
def test_examples_of_the_docstrings(module):
    assert doctest.testmod(importlib.import_module(f"ullage.{module}")).failed == 0


@pytest.mark.filterwarnings("ignore::ullage.UllageWarning")
def test_examples_of_the_document(monkeypatch):
    monkeypatch.chdir(ROOT)
    result = doctest.testfile(str(ROOT / "docs" / "python.md"), module_relative=False,
                              optionflags=doctest.NORMALIZE_WHITESPACE)
    assert result.failed == 0 and result.attempted > 15
