# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
"""New rows, completed under the parameters of a run."""

import json
import pathlib
import tempfile
from collections.abc import Mapping, Sequence
from typing import Any

import numpy as np
import pandas as pd

from ullage import _program
from ullage._check import error_of
from ullage._columns import Filled
from ullage._errors import UllageError
from ullage._options import Bounds, bounds_of_cells, further, write
from ullage._tables import Table, is_path, table_of


def _run(words: Sequence[str], directory: pathlib.Path, table: Table | None) -> None:
    """Run the program; where the rows are wrong, the error says where."""
    told: list[str] = []
    try:
        _program.run(words, directory=directory, printed_to=told.append)
    except UllageError as error:
        said = json.loads(told[0]) if told and told[0] else {"problems": []}
        raise (error_of(said, table) or error) from None


def _filled(name: str, has_words: bool, texts: "pd.Series[Any]", before: "pd.Series[Any] | None") -> Filled:
    """Give the cells of a column as the program completed them; what the table had before stays."""
    rows = len(texts)
    seen = np.zeros(rows, dtype=bool) if before is None else np.array(before.notna())
    if has_words:
        words = texts.tolist()
        if before is not None:  # text may have said what its word is not, such as "<=II"
            cells = before.astype(object)
            seen &= [not isinstance(cell, str) or cell.strip() == word for cell, word in zip(cells, words, strict=True)]
        hidden = np.flatnonzero(~seen).astype(np.int32)
        return Filled(name, hidden, [words[row] for row in hidden], np.full(rows, np.nan))
    values = texts.to_numpy(dtype=np.float64)
    hidden = np.flatnonzero(~seen).astype(np.int32)
    return Filled(name, hidden, values[hidden], values)


def apply(run: pathlib.Path, record: Mapping[str, Any], objects: Mapping[str, Mapping[str, object]], rows: Any,
          m: int | None, seed: int | None, lower: Bounds, upper: Bounds, options: Mapping[str, Any]) -> list[Any]:
    """Complete rows; objects say what stands for the words of the run."""
    imputations = int(record["settings"]["imputations"]) if m is None else m
    words = [f"--{name}={value}" for name, value in (("imputations", m), ("seed", seed)) if value is not None]
    columns = {column["name"]: bool(column["words"]) for column in record["columns"]}
    with tempfile.TemporaryDirectory(prefix="ullage-") as place:
        directory = pathlib.Path(place)
        words = ["apply", str(run), *words, "--json", "--quiet", "--output=done", *further(options)]
        table = None if is_path(rows) else table_of(rows)
        if table is None:
            if lower is not None or upper is not None:
                raise UllageError("lower= and upper= are for tables, not for files")
            _run([*words, str(pathlib.Path(rows).absolute())], directory, None)
        else:
            count = len(table.frame)
            write(table, directory, bounds_of_cells("lower", lower, count), bounds_of_cells("upper", upper, count))
            table.objects = {name: {**objects.get(name, {}), **own} for name, own in table.objects.items()}
            _run([*words, "--sep=,", "table.csv"], directory, table)
        done = []
        for imputation in range(1, imputations + 1):
            path = directory / "done" / f"imputation_{imputation:0{len(str(imputations))}}.csv"
            if table is None:
                words_as_text = {name: str for name, has_words in columns.items() if has_words}
                done.append(pd.read_csv(path, sep=None, engine="python", dtype=words_as_text))
                continue
            texts = pd.read_csv(path, dtype=str, keep_default_na=False, usecols=list(columns))
            done.append(table.completed([
                _filled(name, has_words, texts[name], table.frame.get(name))
                for name, has_words in columns.items()]))
    return done
