# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
"""Pooled answers as the program gives them."""

import csv
import io
from collections.abc import Callable, Iterable, Mapping
from typing import Any

import numpy as np
import pandas as pd

from ullage import _program
from ullage._errors import UllageError


def frame_of(rows: list[dict[str, Any]]) -> pd.DataFrame:
    """Give pooled rows as a frame; with groups the index has their levels, too."""
    frame = pd.DataFrame(rows).rename(columns={"standard_error": "std_error"})
    if frame.empty:
        return frame
    numbers = frame.columns.difference(["level", "name"])
    frame[numbers] = frame[numbers].astype("float64")
    if (frame["level"] == "").all():
        return frame.drop(columns="level").set_index("name")
    return frame.set_index(["level", "name"])


def regression_of(said: Mapping[str, Any]) -> pd.DataFrame:
    """Give the coefficients of a pooled regression; ``attrs`` holds what is said of the fit."""
    fits = said["regressions"]
    frame = frame_of([row for fit in fits for row in fit["coefficients"]])
    facts = [{key: value for key, value in fit.items() if key != "coefficients"} for fit in fits]
    frame.attrs = facts[0] if len(facts) == 1 else {"fits": facts}
    return frame


def _terms(fit: Any) -> "tuple[pd.Series[Any], pd.Series[Any]]":
    """Estimates of one fit and their variances, by name."""
    if hasattr(fit, "params") and hasattr(fit, "cov_params"):
        covariance = np.asarray(fit.cov_params(), dtype=np.float64)
        names = getattr(fit.params, "index", None)
        if names is None:
            names = fit.model.exog_names if hasattr(fit, "model") else range(len(fit.params))
        names = [str(name) for name in names]
        return pd.Series(np.asarray(fit.params), names), pd.Series(np.diag(covariance), names)
    if isinstance(fit, tuple) and len(fit) == 2:
        estimates, variances = (pd.Series(np.atleast_1d(part), getattr(part, "index", None)) for part in fit)
        if len(estimates) == len(variances):
            names = ["estimate"] if np.ndim(fit[0]) == 0 else [str(name) for name in estimates.index]
            return estimates.set_axis(names), variances.set_axis(names)
    raise UllageError("the function gives neither a fit with params and cov_params(), nor (estimate, variance)")


def pool_fits(fit: Callable[[Any], Any], tables: Iterable[Any], df: float | None, confidence: float) -> pd.DataFrame:
    """Fit to each table and pool by Rubin's rules.

    The complete-data degrees of freedom are those of the fits (``df_resid``) where they have them.
    """
    text = io.StringIO()
    writer = csv.writer(text)
    writer.writerow(["term", "estimate", "std.error"])
    for table in tables:
        result = fit(table)
        estimates, variances = _terms(result)
        for name in estimates.index:
            variance = float(variances[name])
            if not variance >= 0.0:
                raise UllageError(f'the variance of "{name}" is {variance}')
            writer.writerow([name, repr(float(estimates[name])), repr(variance**0.5)])
        if df is None and getattr(result, "df_resid", None) is not None:
            df = float(result.df_resid)
    options = [] if df is None or not np.isfinite(df) else [f"--df={float(df)!r}"]
    said = _program.run_json(["pool", "--estimates=-", f"--confidence={float(confidence)!r}", *options],
                             stdin=text.getvalue())
    return frame_of(said["quantities"])
