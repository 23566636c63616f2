# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
"""From the arguments of a call to the options of the program."""

import json
import pathlib
from collections.abc import Mapping, Sequence
from typing import Any

import numpy as np
import pandas as pd

from ullage import _ullage
from ullage._columns import Column, Floats, column_of
from ullage._errors import UllageError
from ullage._tables import Table, is_path, table_of

#: One name or several.
Names = str | Sequence[str]
#: A number per column, or a number per cell: a mapping to arrays or a table.
Bounds = Mapping[str, Any] | Any | None

_KINDS = ("number", "step", "binary", "ordered", "nominal", "carry")


def _names(given: Names) -> list[str]:
    return [given] if isinstance(given, str) else [str(name) for name in given]


def quoted(name: str) -> str:
    """Give a name as it stands in a list."""
    return f'"{name}"' if "," in name else name


def _list(option: str, given: Names) -> list[str]:
    names = ",".join(quoted(name) for name in _names(given))
    return [f"--{option}={names}"] if names else []


def _ordered(given: Mapping[str, Sequence[Any]] | Names | None) -> list[str]:
    if given is None:
        return []
    if isinstance(given, Mapping):
        return [f"--ordered={name}=" + ",".join(quoted(str(word)) for word in words) for name, words in given.items()]
    return [f"--ordered={name}" for name in _names(given)]


def _numbers(option: str, given: Mapping[str, Any]) -> list[str]:
    return [f"--{option}={quoted(name)}={float(number)!r}" for name, number in given.items()]


def _split_bounds(which: str, given: Bounds, rows: int) -> tuple[dict[str, float], dict[str, Floats]]:
    """Bounds of columns, and bounds of cells."""
    if given is None:
        return {}, {}
    if not isinstance(given, Mapping):
        frame = table_of(given).frame
        given = {name: frame[name] for name in frame.columns}
    of_columns: dict[str, float] = {}
    of_cells: dict[str, Floats] = {}
    for name, bound in given.items():
        if np.ndim(bound) == 0:
            of_columns[str(name)] = bound
            continue
        cells = np.ascontiguousarray(pd.Series(bound).to_numpy(dtype=np.float64, na_value=np.nan))
        if cells.shape != (rows,):
            raise UllageError(f'{which}["{name}"] has {len(cells)} bounds, but the table has {rows} rows')
        if not np.all(np.isnan(cells)):
            of_cells[str(name)] = cells
    return of_columns, of_cells


def reading(names: set[str], log: Names = (), sqrt: Names = (), logit: Names = (), order: Names = (),
            lower: Mapping[str, float] | None = None, upper: Mapping[str, float] | None = None, by: str | None = None,
            id: str | None = None, number: Names = (), step: Mapping[str, float] | None = None, binary: Names = (),
            ordered: Mapping[str, Sequence[Any]] | Names | None = None, nominal: Names = (), carry: Names = (),
            columns: Sequence[Column] = (), **more: Any) -> list[str]:
    """Options about a table. Kinds that follow from types of columns hold where nothing is said of the column.

    ``names`` gains the columns to which a kind is given.
    """
    options = [*_list("log", log), *_list("sqrt", sqrt), *_list("logit", logit), *_list("number", number),
               *_list("binary", binary), *_list("nominal", nominal), *_list("carry", carry), *_ordered(ordered),
               *_numbers("step", step or {}), *_numbers("lower", lower or {}), *_numbers("upper", upper or {})]
    options += [f"--order={rule}" for rule in _names(order)]
    names.update(_names(number), _names(binary), _names(nominal), _names(carry), step or (),
                 ordered if isinstance(ordered, Mapping) else _names(ordered or ()))
    for role, name in (("by", by), ("id", id)):
        if name is not None:
            options.append(f"--{role}={name}")
            names.add(name)
    for column in columns:
        if column.kind == "ordered" and column.name not in names:
            options += _ordered({column.name: column.order or []})
        elif column.kind is not None and column.name not in names:
            options += _list(column.kind, [column.name])
    return options + further(more)


def further(more: Mapping[str, Any]) -> list[str]:
    """Options that have no argument of their own here: ``nd_word="<LOD"`` is ``--nd-word=<LOD``."""
    options = []
    for name, value in more.items():
        option = "--" + name.replace("_", "-")
        if value is True:
            options.append(option)
        elif value is not False and value is not None:
            options += [f"{option}={word}" for word in ([value] if np.ndim(value) == 0 else value)]
    return options


def prior_option(prior: str | Mapping[str, Any], directory: pathlib.Path) -> str:
    """Give the option of a prior; a full one is written to a file of the directory."""
    if isinstance(prior, str):
        known = prior in ("default", "jeffreys") or prior.startswith("ridge")
        return f"--prior={prior if known else pathlib.Path(prior).absolute()}"
    (directory / "prior.json").write_text(json.dumps(dict(prior)))
    return "--prior=prior.json"


class Input:
    """A table with what is to be known of it, written where the program reads it.

    Attributes
    ----------
    table : Table or None
        The table; None if it was given by a path.
    words : list of str
        The path of the table for the program, and the options.
    """

    def __init__(self, given: Any, directory: pathlib.Path, lower: Bounds = None, upper: Bounds = None,
                 **options: Any) -> None:
        self.table: Table | None = None
        if is_path(given):
            self.words = [str(pathlib.Path(given).absolute()), *reading(set(), lower=lower, upper=upper, **options)]
            return
        self.table = table_of(given)
        rows = len(self.table.frame)
        lowest, lower_cells = _split_bounds("lower", lower, rows)
        highest, upper_cells = _split_bounds("upper", upper, rows)
        columns = write(self.table, directory, lower_cells, upper_cells)
        self.words = ["table.csv", "--sep=,",
                      *reading(set(), lower=lowest, upper=highest, columns=columns, **options)]


def write(table: Table, directory: pathlib.Path, lower: Mapping[str, Floats],
          upper: Mapping[str, Floats]) -> list[Column]:
    """Write a table, with bounds of cells, to ``table.csv`` of a directory, and give its columns as written."""
    frame = table.frame
    if len(frame.columns) == 0:
        raise UllageError("the table has no columns", 65)
    unknown = [name for name in [*lower, *upper] if name not in frame]
    if unknown:
        raise UllageError(f'bounds are given for "{unknown[0]}", but there is no such column')
    columns = [column_of(name, frame[name], lower.get(name), upper.get(name)) for name in frame.columns]
    _ullage.write_table(str(directory / "table.csv"), list(frame.columns), [column.cells for column in columns])
    table.objects = {column.name: column.objects for column in columns}
    return columns


def bounds_of_cells(which: str, given: Bounds, rows: int) -> dict[str, Floats]:
    """Bounds of cells alone: a number for a column holds for each of its cells."""
    of_columns, of_cells = _split_bounds(which, given, rows)
    return {**{name: np.full(rows, bound, dtype=np.float64) for name, bound in of_columns.items()}, **of_cells}
