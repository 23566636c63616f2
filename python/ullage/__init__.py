# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
"""Multiple imputation of cells that are missing, censored, in an interval, or known by their order."""

from importlib.metadata import version as _version

from ullage._check import Check, check
from ullage._errors import Problem, UllageError, UllageWarning
from ullage._impute import impute
from ullage._run import Run, load

__version__ = _version("ullage")
__all__ = ["Check", "Problem", "Run", "UllageError", "UllageWarning", "check", "impute", "load"]


def __getattr__(name: str) -> object:
    """Give what needs scikit-learn only where it is asked for."""
    if name == "Imputer":
        from ullage._imputer import Imputer

        return Imputer
    raise AttributeError(f"module 'ullage' has no attribute '{name}'")
