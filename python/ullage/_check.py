# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
"""What a table says, and what is wrong with it."""

import pathlib
import tempfile
from dataclasses import dataclass
from typing import Any

import pandas as pd

from ullage import _program
from ullage._errors import Problem, UllageError
from ullage._options import Input
from ullage._tables import Table


@dataclass(frozen=True)
class Check:
    """What the cells of a table say.

    Attributes
    ----------
    rows : int
    kinds : pandas.DataFrame
        The kind of every column, and why.
    columns : pandas.DataFrame
        Of each column of the model how many cells are observed, missing, below, above, in an interval, ordered.
    patterns : pandas.DataFrame
        How many rows have which pattern of cells: ``#`` observed, ``.`` missing, ``<`` below, ``>`` above, ``=`` in an
        interval, ``~`` ordered.
    problems : tuple of Problem
        Where cells and rules contradict each other; empty if all is well.
    """

    rows: int
    kinds: pd.DataFrame
    columns: pd.DataFrame
    patterns: pd.DataFrame
    problems: tuple[Problem, ...]


def problems_of(said: dict[str, Any]) -> tuple[Problem, ...]:
    """Problems as ``ullage check --json`` tells them."""
    return tuple(Problem(entry["message"], entry["row"] - 1 if "row" in entry else None,
                         tuple(entry.get("columns", ())), entry.get("text", "")) for entry in said["problems"])


def in_words(problem: Problem, table: Table | None) -> str:
    """Say a problem, with the label that its row has in the table."""
    places = []
    if problem.row is not None:
        places.append(table.label(problem.row) if table is not None else f"row {problem.row}")
    if problem.columns:
        noun = "column" if len(problem.columns) == 1 else "columns"
        places.append(noun + " " + ", ".join(f'"{name}"' for name in problem.columns))
    if problem.text:
        places.append(f'"{problem.text}"')
    return (", ".join(places) + ": " if places else "") + problem.message


def explained(error: UllageError, given: Input, directory: pathlib.Path) -> UllageError:
    """Give the same error with the problems of the table, if it is the table that is wrong."""
    if error.exit_code != 65:
        return error
    try:
        said = _program.run_json(["check", *given.words, "--quiet"], directory=directory, check=False, warn=False)
    except UllageError:
        return error
    return error_of(said, given.table) or error


def error_of(said: dict[str, Any], table: Table | None) -> UllageError | None:
    """Give the error of the problems that the program tells, if there are any."""
    problems = problems_of(said)
    if not problems:
        return None
    lines = [in_words(problem, table) for problem in problems]
    if said["problem_count"] > len(problems):
        lines.append(f"and {said['problem_count'] - len(problems)} more")
    return UllageError("\n".join(lines), 65, problems)


def check(data: Any, **options: Any) -> Check:
    """Show what the cells of a table say, and look for contradictions.

    Parameters
    ----------
    data : table or path
        As for `impute`.
    **options
        Those arguments of `impute` that are about the table: kinds, bounds, orders, transformations, ``by``, ``id``.

    Returns
    -------
    Check

    Raises
    ------
    UllageError
        If cells cannot be understood.

    Examples
    --------
    >>> import pandas as pd, ullage
    >>> found = ullage.check(pd.DataFrame({"lead": ["<0.5", "1.5", None], "zinc": [12.0, 7.5, 3.0]}))
    >>> found.columns.loc["lead", ["observed", "missing", "below"]].to_list()
    [1, 1, 1]
    """
    with tempfile.TemporaryDirectory(prefix="ullage-") as place:
        directory = pathlib.Path(place)
        given = Input(data, directory, **options)
        try:
            said = _program.run_json(["check", *given.words], directory=directory, check=False)
        except UllageError as error:
            raise explained(error, given, directory) from None
        problems = problems_of(said)
        if "columns" not in said:
            raise UllageError("\n".join(in_words(problem, given.table) for problem in problems), 65, problems)
    patterns = pd.DataFrame(said["patterns"], columns=["rows", "cells"])
    return Check(said["rows"], pd.DataFrame(said["kinds"]).set_index("name"),
                 pd.DataFrame(said["columns"]).set_index("name"), patterns, problems)
