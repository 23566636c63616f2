# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
"""The transformer beside scikit-learn's own checks, and among its tools."""

import doctest
import importlib
import pickle

import numpy as np
import pandas as pd
import pytest
from sklearn.base import clone
from sklearn.linear_model import LinearRegression
from sklearn.model_selection import GridSearchCV
from sklearn.pipeline import make_pipeline
from sklearn.utils.estimator_checks import parametrize_with_checks

import ullage

pytestmark = pytest.mark.filterwarnings("ignore::ullage.UllageWarning")
QUICK = {"burn_in": 20, "thin": 5}
RANDOM = np.random.default_rng(4)
X = RANDOM.normal(size=(80, 3))
X[:, 2] += X[:, 0]
FULL = X.copy()
X[::4, 2] = np.nan


@parametrize_with_checks([ullage.Imputer(random_state=0, options={"burn_in": 5, "thin": 2, "chains": 1})])
def test_checks_of_scikit_learn(estimator, check):
    check(estimator)


def test_rows_of_fit_and_new_ones():
    imputer = ullage.Imputer(m=2, random_state=3, options=QUICK)
    done = imputer.fit_transform(X)
    assert (done == imputer.run_.completed(1)).all() and (done[~np.isnan(X)] == X[~np.isnan(X)]).all()
    assert (done == clone(imputer).fit_transform(X)).all()
    new = imputer.transform(X[:8])
    assert not np.isnan(new).any() and (imputer.transform(FULL) == FULL).all()
    assert (new == imputer.run_.apply(X[:8])[0]).all()
    again = pickle.loads(pickle.dumps(imputer))
    directory = imputer.run_.directory
    del imputer
    assert not directory.exists() and (again.transform(X[:8]) == new).all()
    frame = pd.DataFrame(X, columns=["a", "b", "c"]).assign(d_lo=X[:, 0] - 1, d_hi=X[:, 0] + 1)
    frame.index = frame.index + 100
    framed = ullage.Imputer(random_state=3, options=QUICK).set_output(transform="pandas").fit(frame)
    table = framed.transform(frame[:5])
    assert list(table.columns) == list(framed.get_feature_names_out()) == [*frame.columns, "d"]
    assert list(table.index) == list(frame.index[:5]) and not table.isna().any().any()
    with pytest.raises(ValueError, match="feature names"):
        framed.transform(frame.rename(columns={"a": "z"}))


def test_among_the_tools():
    pipeline = make_pipeline(ullage.Imputer(random_state=1, options=QUICK), LinearRegression())
    search = GridSearchCV(pipeline, {"imputer__options": [QUICK, {**QUICK, "prior": "ridge=5"}]}, cv=3)
    search.fit(X, FULL @ [1.0, 2.0, 3.0])
    assert 0.3 < search.best_score_ < 1.0
    assert doctest.testmod(importlib.import_module("ullage._imputer")).failed == 0
