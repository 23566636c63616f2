# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
"""Tables that several tests use."""

import pathlib
import warnings

import matplotlib
import numpy as np
import pandas as pd
import pytest

import ullage

matplotlib.use("Agg")
ROOT = pathlib.Path(__file__).parents[2]
QUICK = {"m": 4, "seed": 1, "burn_in": 20, "thin": 5, "progress": False}


def impute(data, **options):
    """Impute with few iterations, whose warnings about convergence are of no interest."""
    with warnings.catch_warnings():
        warnings.simplefilter("ignore", ullage.UllageWarning)
        return ullage.impute(data, **{**QUICK, **options})


@pytest.fixture
def mixed():
    """Columns of every type that the model knows, and some that it does not."""
    random = np.random.default_rng(5)
    rows = 60
    size = random.normal(10.0, 2.0, rows)
    frame = pd.DataFrame({
        "size": size,
        "count": pd.array(np.round(size + random.normal(0.0, 1.0, rows)), dtype="Int64"),
        "lead": [f"<{value:.1f}" if value < 9.0 else f"{value:.3f}" for value in size + random.normal(0.0, 1.0, rows)],
        "span": pd.arrays.IntervalArray.from_arrays(size - 1.5, size + 1.0),
        "site": pd.Categorical(random.choice(["A", "B", "C"], rows), categories=["A", "B", "C", "never"]),
        "stage": pd.Categorical(np.where(size < 9, "lo", np.where(size < 11, "mid", "hi")), ordered=True,
                                categories=["lo", "mid", "hi"]),
        "ill": pd.array(size > 10.5, dtype="boolean"),
        "day": pd.date_range("2026-01-01", periods=rows, tz="Europe/Berlin"),
        "note": [["a", row] for row in range(rows)],
    }, index=pd.Index([f"r{row}" for row in range(rows)], name="row"))
    for place, column in enumerate(["size", "count", "lead", "site", "stage", "ill"]):
        frame.iloc[place::9, frame.columns.get_loc(column)] = None
    return frame
