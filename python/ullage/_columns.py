# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
"""Columns of a table on their way to the program and back.

Every table is looked at as a pandas DataFrame on its way in. A column goes to the program as an array of numbers, or as
places of its different words.
"""

import decimal
import numbers
from collections.abc import Callable, Hashable, Mapping
from dataclasses import dataclass, field
from typing import Any, Literal

import numpy as np
import numpy.typing as npt
import pandas as pd

from ullage import _ullage
from ullage._errors import UllageError

Floats = npt.NDArray[np.float64]
Kind = Literal["nominal", "binary", "ordered", "carry"]

# As many words as a column may have to be found nominal by the program.
_MOST_WORDS = 20


@dataclass
class Column:
    """A column as the program is to read it."""

    name: str
    series: "pd.Series[Any]"
    cells: _ullage.Column
    #: What its type says of the column, if that is more than its cells say.
    kind: Kind | None = None
    #: The words of an ordered column, the lowest first.
    order: list[str] | None = None
    #: What stands for a word in the table.
    objects: Mapping[str, object] = field(default_factory=dict)


@dataclass
class Filled:
    """A column as the program has completed it, for one imputation."""

    name: str
    #: Places of the cells that were hidden.
    hidden: npt.NDArray[np.int32]
    #: What stands in them now: numbers, or words.
    values: Floats | list[str | None]
    #: All cells of a column of numbers, NaN where hidden.
    original: Floats


def _floats(series: "pd.Series[Any]") -> Floats:
    return np.ascontiguousarray(series.to_numpy(dtype=np.float64, na_value=np.nan))


def _words(places: npt.NDArray[Any], texts: list[str]) -> _ullage.Column:
    return _ullage.words(np.ascontiguousarray(places, dtype=np.int64), texts)


def _number_text(value: float) -> str:
    return repr(float(value))


def _interval_text(left: float, right: float) -> str:
    """Ends that are not finite are open."""
    low = "" if not np.isfinite(left) else _number_text(left)
    high = "" if not np.isfinite(right) else _number_text(right)
    return f"{low}..{high}" if low or high else ""


def _cell_text(value: object) -> str:
    """What a cell of no particular type says in the program's language."""
    if isinstance(value, str):
        return value
    if isinstance(value, pd.Interval):
        return _interval_text(value.left, value.right)
    if isinstance(value, (bool, np.bool_)):
        return str(value)
    if isinstance(value, numbers.Integral | decimal.Decimal):
        return str(value)
    if isinstance(value, numbers.Real):
        return _number_text(float(value))
    return str(value)


def _is_plain(value: object) -> bool:
    """Whether a cell can say something to the model."""
    return isinstance(value, str | pd.Interval | numbers.Real | decimal.Decimal | np.bool_)


def _from_categories(name: str, series: "pd.Series[Any]") -> Column:
    categories = list(series.cat.categories)
    texts = [_cell_text(category) for category in categories]
    codes = series.cat.codes.to_numpy()
    objects = {text.strip(): category for text, category in zip(texts, categories, strict=True)}
    if len(objects) != len(categories):
        raise UllageError(f'column "{name}": two of its categories are the same word once blanks are taken off', 65)
    used = len(np.unique(codes[codes >= 0]))
    kind: Kind | None = None
    if series.cat.ordered and used >= 2:
        kind = "ordered"
    elif used == 2:
        kind = "binary"
    elif 3 <= used <= _MOST_WORDS:
        kind = "nominal"
    elif not all(isinstance(category, str) for category in categories):
        kind = "carry"  # as words without a kind of their own; read as numbers they would be another column
    order = [text.strip() for text in texts] if kind == "ordered" else None
    return Column(name, series, _words(codes, texts), kind, order, objects)


def _from_objects(name: str, series: "pd.Series[Any]") -> Column:
    """Text and mixtures: each different cell is told once."""
    missing = series.isna().to_numpy()
    values = series.astype(object).to_numpy()
    places = np.full(len(values), -1, dtype=np.int64)
    place_of: dict[str, int] = {}
    objects: dict[str, object] = {}
    kind: Kind | None = None
    for row in np.flatnonzero(~missing):
        value = values[row]
        if not _is_plain(value):
            kind = "carry"
        text = _cell_text(value)
        places[row] = place_of.setdefault(text, len(place_of))
        objects.setdefault(text.strip(), value)
    return Column(name, series, _words(places, list(place_of)), kind, objects=objects)


def _from_text(name: str, series: "pd.Series[Any]") -> Column:
    places, texts = pd.factorize(series)
    return Column(name, series, _words(places, [str(text) for text in texts]))


def _from_intervals(name: str, series: "pd.Series[Any]") -> Column:
    intervals = series.array
    left = np.ascontiguousarray(intervals.left, dtype=np.float64)
    right = np.ascontiguousarray(intervals.right, dtype=np.float64)
    return Column(name, series, _ullage.numbers(np.full(len(left), np.nan), left, right))


def _from_whole(name: str, series: "pd.Series[Any]") -> Column:
    if series.isna().any():
        return Column(name, series, _ullage.numbers(_floats(series)))
    if len(series) > 0 and int(series.max()) > np.iinfo(np.int64).max:
        return _from_objects(name, series.astype(object))
    return Column(name, series, _ullage.whole_numbers(np.ascontiguousarray(series.to_numpy(dtype=np.int64))))


def _from_bool(name: str, series: "pd.Series[Any]") -> Column:
    values = series.astype("boolean")
    places = values.fillna(False).to_numpy(dtype=np.int64)
    places[values.isna().to_numpy()] = -1
    return Column(name, series, _words(places, ["False", "True"]), objects={"False": False, "True": True})


def _from_others(name: str, series: "pd.Series[Any]") -> Column:
    """Dates and times, which the model does not know."""
    column = _from_objects(name, series.astype(object))
    return Column(name, series, column.cells, "carry")


def column_of(name: str, series: "pd.Series[Any]", lower: Floats | None = None, upper: Floats | None = None) -> Column:
    """Make a column of one of a DataFrame; lower and upper bound its missing cells, each NaN where nothing is known."""
    types = pd.api.types
    dtype = series.dtype
    if lower is not None or upper is not None:
        if not types.is_numeric_dtype(dtype) or types.is_bool_dtype(dtype):
            raise UllageError(f'column "{name}": lower= and upper= with a bound per cell are for columns of numbers')
        return Column(name, series, _ullage.numbers(_floats(series), lower, upper))
    makers: list[tuple[Callable[[Any], bool], Callable[[str, Any], Column]]] = [
        (lambda kind: isinstance(kind, pd.CategoricalDtype), _from_categories),
        (lambda kind: isinstance(kind, pd.IntervalDtype), _from_intervals),
        (types.is_bool_dtype, _from_bool),
        (types.is_integer_dtype, _from_whole),
        (types.is_float_dtype, lambda name, series: Column(name, series, _ullage.numbers(_floats(series)))),
        (lambda kind: isinstance(kind, pd.StringDtype), _from_text),
        (types.is_object_dtype, _from_objects),
    ]
    for is_kind, make in makers:
        if is_kind(dtype):
            return make(name, series)
    return _from_others(name, series)


def fill(series: "pd.Series[Any]", objects: Mapping[str, object], filled: Filled) -> "pd.Series[Any]":
    """Give a column with its hidden cells filled, of the same type where the type can hold them."""
    if isinstance(filled.values, list):
        return _fill_words(series, objects, filled.hidden, filled.values)
    types = pd.api.types
    if not types.is_numeric_dtype(series.dtype) or types.is_bool_dtype(series.dtype):
        numbers_now = filled.original.copy()
        numbers_now[filled.hidden] = filled.values
        return pd.Series(numbers_now, index=series.index, name=series.name)
    if len(filled.hidden) == 0:
        return series
    if types.is_integer_dtype(series.dtype):
        values = np.asarray(filled.values)
        if not np.all(np.isnan(values) | (values == np.floor(values))):
            series = series.astype("Float64" if types.is_extension_array_dtype(series.dtype) else "float64")
    return _put(series, filled.hidden, pd.Series(filled.values).astype(series.dtype).array)


def _fill_words(series: "pd.Series[Any]", objects: Mapping[str, object], hidden: npt.NDArray[np.int32],
                words: list[str | None]) -> "pd.Series[Any]":
    if pd.api.types.is_numeric_dtype(series.dtype) and not pd.api.types.is_bool_dtype(series.dtype):
        return _put(series, hidden, [None if word is None else float(word) for word in words])
    filled = [None if word is None else objects.get(word, word) for word in words]
    if isinstance(series.dtype, pd.CategoricalDtype):
        new = {word: None for word in filled if word is not None and word not in series.cat.categories}
        series = series.cat.add_categories(list(new)) if new else series
    return _put(series, hidden, filled)


def _put(series: "pd.Series[Any]", rows: npt.NDArray[np.int32], values: Any) -> "pd.Series[Any]":
    if len(rows) == 0:
        return series
    copy = series.copy()
    copy.iloc[rows] = values
    return copy


def names_of(columns: "pd.Index[Any]") -> list[str]:
    """Give the names of columns as the program reads them.

    Raises
    ------
    UllageError
        If two are the same then.
    """
    seen: dict[str, Hashable] = {}
    for column in columns:
        name = str(column).strip()
        if name in seen:
            raise UllageError(f'two columns have the name "{name}"; rename one of them', 65)
        seen[name] = column
    return list(seen)
