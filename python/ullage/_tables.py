# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
"""The kinds of tables: each becomes a DataFrame on its way in, and columns of it go back into a table of its kind."""

import os
from collections.abc import Callable, Mapping, Sequence
from dataclasses import dataclass
from typing import Any

import numpy as np
import pandas as pd

from ullage._columns import Filled, fill, names_of
from ullage._errors import UllageError


@dataclass
class Table:
    """A table that came in.

    Attributes
    ----------
    frame : pandas.DataFrame
        Its cells; the names are those that the program reads.
    back : callable
        Makes a table of the kind of the first one of a frame whose columns may have changed, and of the names of those
        that have.
    """

    frame: pd.DataFrame
    back: Callable[[pd.DataFrame, list[str]], Any]
    #: What stands for a word in a column of the table.
    objects: Mapping[str, Mapping[str, object]]
    #: Says a row in a message.
    label: Callable[[int], str]

    def completed(self, columns: Sequence[Filled]) -> Any:
        """Fill cells in; columns that the table does not have yet come last."""
        frame = self.frame.copy(deep=False)
        changed = []
        for column in columns:
            if column.name in frame:
                before = frame[column.name]
                series = fill(before, self.objects.get(column.name, {}), column)
                if series is before:
                    continue
            else:
                values = column.original.copy()
                values[column.hidden] = column.values
                series = pd.Series(values, index=frame.index, name=column.name)
            frame[column.name] = series
            changed.append(column.name)
        return self.back(frame, changed)


def _row_label(row: int) -> str:
    return f"row {row}"


def _pandas_table(table: pd.DataFrame) -> Table:
    given = table.columns
    frame = table.copy(deep=False)
    frame.columns = pd.Index(names_of(given))

    def back(result: pd.DataFrame, _changed: list[str]) -> pd.DataFrame:
        # New columns, if there are any, stand behind those of the table.
        if len(result.columns) == len(given):
            result.columns = given
        else:
            result.columns = pd.Index([*given, *result.columns[len(given):]])
        return result

    def label(row: int) -> str:
        return f"index {table.index[row]!r}"

    plain = isinstance(table.index, pd.RangeIndex)
    return Table(frame, back, {}, _row_label if plain else label)


def _arrow_frame(table: Any) -> pd.DataFrame:
    frame: pd.DataFrame = table.to_pandas(date_as_object=True)
    frame = frame.reset_index(drop=True)
    frame.columns = pd.Index(names_of(pd.Index(table.column_names)))
    return frame


def _arrow_array(series: "pd.Series[Any]", kind: Any) -> Any:
    """Make an Arrow array of that type, or of that of the values where it cannot hold them."""
    import pyarrow as pa

    if kind is not None and pa.types.is_dictionary(kind):
        codes = pa.array(series.cat.codes.to_numpy(), kind.index_type, mask=series.isna().to_numpy())
        words = pa.array(list(series.cat.categories), kind.value_type)
        return pa.DictionaryArray.from_arrays(codes, words, ordered=kind.ordered)
    values = pa.array(series, from_pandas=True)
    if kind is None or (pa.types.is_integer(kind) and pa.types.is_floating(values.type)):
        try:
            return values.cast(kind) if kind is not None else values
        except pa.ArrowInvalid:
            return values
    if pa.types.is_floating(values.type) and not pa.types.is_floating(kind):
        return values  # bounds in words have become numbers
    return values.cast(kind)


def _arrow_table(table: Any) -> Table:
    def back(frame: pd.DataFrame, changed: list[str]) -> Any:
        result = table
        for place, name in enumerate(frame.columns):
            if name not in changed:
                continue
            if place < table.num_columns:
                array = _arrow_array(frame[name], table.schema.field(place).type)
                result = result.set_column(place, table.column_names[place], array)
            else:
                result = result.append_column(name, _arrow_array(frame[name], None))
        return result

    return Table(_arrow_frame(table), back, {}, _row_label)


def _polars_table(table: Any) -> Table:
    import polars as pl

    def back(frame: pd.DataFrame, changed: list[str]) -> Any:
        result = table
        for name in changed:
            place = list(frame.columns).index(name)
            kind = table.dtypes[place] if place < len(table.dtypes) else None
            series = pl.Series(table.columns[place] if kind is not None else name, _plain_list(frame[name]))
            result = result.with_columns(_polars_cast(series, kind))
        return result

    return Table(_arrow_frame(table.to_arrow()), back, {}, _row_label)


def _polars_cast(series: Any, kind: Any) -> Any:
    import polars as pl

    if kind is None or (series.dtype == pl.Float64 and not kind.is_numeric()):
        return series
    if kind.is_integer() and series.dtype == pl.Float64 and not (series.drop_nulls() % 1 == 0).all():
        return series
    return series.cast(kind)


def _plain_list(series: "pd.Series[Any]") -> Any:
    if pd.api.types.is_float_dtype(series.dtype):
        return series.to_numpy(dtype=np.float64)
    return [None if missing else value for value, missing in zip(series, series.isna(), strict=True)]


def _dict_table(table: Mapping[Any, Any]) -> Table:
    arrays = {name: np.asarray(values) for name, values in table.items()}
    if any(array.ndim != 1 for array in arrays.values()):
        raise UllageError("each column of a dict of arrays has one dimension", 65)
    if len({len(array) for array in arrays.values()}) > 1:
        raise UllageError("the arrays of a dict have different lengths", 65)
    names = names_of(pd.Index(list(arrays), dtype=object))
    frame = pd.DataFrame(dict(zip(names, arrays.values(), strict=True)))

    def back(result: pd.DataFrame, changed: list[str]) -> dict[Any, Any]:
        keys = dict(zip(names, arrays, strict=True))
        return {keys.get(name, name): result[name].to_numpy() if name in changed else arrays[keys[name]]
                for name in result.columns}

    return Table(frame, back, {}, _row_label)


def _numpy_table(table: Any) -> Table:
    if table.ndim != 2:
        raise UllageError(f"an array is taken with two dimensions, not {table.ndim}", 65)
    frame = pd.DataFrame(table)
    frame.columns = pd.Index([f"x{place}" for place in range(table.shape[1])])

    def back(result: pd.DataFrame, _changed: list[str]) -> Any:
        return result.to_numpy()

    return Table(frame, back, {}, _row_label)


def is_path(table: object) -> bool:
    """Whether a table is given by its path."""
    return isinstance(table, str | os.PathLike)


def table_of(table: Any) -> Table:
    """Take a table of whatever kind.

    Raises
    ------
    UllageError
        If it is of a kind that is not known, or two of its columns have one name.
    """
    kind = f"{type(table).__module__.partition('.')[0]}.{type(table).__name__}"
    if isinstance(table, pd.DataFrame):
        return _pandas_table(table)
    if kind == "polars.DataFrame":
        return _polars_table(table)
    if kind == "pyarrow.Table":
        return _arrow_table(table)
    if isinstance(table, Mapping):
        return _dict_table(table)
    if isinstance(table, np.ndarray):
        return _numpy_table(table)
    if hasattr(table, "__arrow_c_stream__"):
        import pyarrow as pa

        return _arrow_table(pa.table(table))
    raise UllageError(f"a table is a DataFrame, an Arrow table, a dict of arrays, an array or a path, not a {kind}")
