# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
"""The transformer for scikit-learn."""

import warnings
from collections.abc import Mapping
from typing import Any

import numpy as np
import pandas as pd
from sklearn.base import BaseEstimator, TransformerMixin
from sklearn.utils import check_random_state
from sklearn.utils.validation import _check_feature_names_in, check_array, check_is_fitted, validate_data

from ullage._errors import UllageWarning
from ullage._impute import impute
from ullage._run import Run


class Imputer(TransformerMixin, BaseEstimator):  # type: ignore[misc]
    """Draw the hidden cells of rows under parameters that were drawn from the rows of ``fit``.

    `fit_transform` gives imputation 1 of the run. `transform` completes rows as `Run.apply` does: the rows do not
    change the parameters, so those held out by a cross-validation have no say in them. So `fit_transform` and
    `transform` of the same rows draw differently. Rows without a hidden cell stay as they are.

    Parameters
    ----------
    m : int
        Imputations of the run; `transform` takes the first.
    random_state : int, RandomState or None
        What the seed is from; the same seed gives the same draws.
    options : mapping, optional
        Further arguments of `impute`: ``{"log": ["lead"], "burn_in": 500}``.

    Attributes
    ----------
    run_ : Run
        The run of the rows of ``fit``.
    n_features_in_ : int
    feature_names_in_ : ndarray of str
        Only for tables with names.

    Examples
    --------
    >>> import numpy as np, ullage
    >>> rows = np.random.default_rng(1).normal(size=(50, 2))
    >>> rows[::5, 1] = np.nan
    >>> imputer = ullage.Imputer(random_state=1).fit(rows)
    >>> bool(np.isnan(imputer.transform([[0.5, np.nan]])).any())
    False
    """

    run_: Run

    def __init__(self, m: int = 1, *, random_state: Any = None, options: Mapping[str, Any] | None = None) -> None:
        self.m = m
        self.random_state = random_state
        self.options = options

    def _table(self, rows: Any, reset: bool) -> Any:
        """Check rows as scikit-learn does; what is no table of columns becomes an array."""
        if not hasattr(rows, "columns") and not hasattr(rows, "column_names"):
            rows = check_array(rows, dtype=None, ensure_all_finite=False, ensure_min_samples=1 + reset, estimator=self)
        validate_data(self, rows, reset=reset, skip_check_array=True)
        if isinstance(rows, np.ndarray) and not reset and self._names != [f"x{i}" for i in range(rows.shape[1])]:
            return pd.DataFrame(rows, columns=self._names)
        return rows

    def fit(self, X: Any, y: Any = None) -> "Imputer":  # noqa: N803
        """Draw the parameters from the rows of a table or array."""
        table = self._table(X, reset=True)
        seed = int(check_random_state(self.random_state).randint(2**31 - 1))
        with warnings.catch_warnings():
            # Few imputations are no fault here: nothing is pooled.
            warnings.filterwarnings("ignore", ".*too few for standard errors", UllageWarning)
            self.run_ = impute(table, m=self.m, seed=seed, **{"progress": False, **(self.options or {})})
        self._names = list(getattr(self, "feature_names_in_", [f"x{i}" for i in range(self.n_features_in_)]))
        return self

    def fit_transform(self, X: Any, y: Any = None) -> Any:  # noqa: N803
        """Fit, and give imputation 1 of the rows."""
        return self.fit(X, y).run_.completed(1)

    def transform(self, X: Any) -> Any:  # noqa: N803
        """Complete rows under the parameters of imputation 1."""
        check_is_fitted(self, "run_")
        table = self._table(X, reset=False)
        with warnings.catch_warnings():
            warnings.filterwarnings("ignore", "the run has warnings", UllageWarning)
            done = self.run_.apply(table, m=1)[0]
        return done.to_numpy() if isinstance(X, np.ndarray) and isinstance(done, pd.DataFrame) else done

    def get_feature_names_out(self, input_features: Any = None) -> Any:
        """Give the names of the columns of a completed table: those of fit, and behind them those of pairs."""
        check_is_fitted(self, "run_")
        names = _check_feature_names_in(self, input_features)
        known = set(self._names)
        new = [column["name"] for column in self.run_.record["columns"] if column["name"] not in known]
        return np.asarray([*names, *new], dtype=object)

    def __sklearn_tags__(self) -> Any:
        """Say what it takes."""
        tags = super().__sklearn_tags__()
        tags.input_tags.allow_nan = True
        tags.input_tags.string = True
        tags.input_tags.categorical = True
        tags.non_deterministic = True
        return tags
