# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
"""Tables of all kinds on their way in and out, odd ones, and what is wrong with them."""

import decimal
import pathlib

import numpy as np
import pandas as pd
import polars as pl
import pyarrow as pa
import pytest
from conftest import ROOT, impute

import ullage
from ullage import _ullage

RANDOM = np.random.default_rng(3)
X = RANDOM.normal(5.0, 1.0, 30)
Y = X + RANDOM.normal(0.0, 0.5, 30)
Y[::5] = np.nan
SITE = [None if row % 7 == 3 else "ABC"[row % 3] for row in range(30)]
WHOLE = [None if row % 6 == 1 else 10 * row for row in range(30)]


class Stream:
    """A table that is known by its Arrow stream alone."""

    def __init__(self, table):
        self.table = table

    def __arrow_c_stream__(self, requested_schema=None):
        return self.table.__arrow_c_stream__(requested_schema)


def arrow_table():
    return pa.table({"x": X, "y": pa.array(Y, from_pandas=True), "site": pa.array(SITE).dictionary_encode(),
                     "word": pa.array(SITE, pa.large_string()), "whole": pa.array(WHOLE, pa.int32()),
                     "bound": [f"<{value:.2f}" if value > 5 else f"{value:.2f}" for value in X],
                     "day": pa.array(pd.date_range("2026-01-01", periods=30, tz="Asia/Tokyo")),
                     "list": [[row] for row in range(30)]})


def assert_completed(values, before):
    """Nothing is missing, and what was there has stayed."""
    values, before = pd.Series(list(values), dtype=object), pd.Series(list(before), dtype=object)
    assert values.notna().all()
    seen = before.notna()
    assert list(values[seen]) == list(before[seen])


@pytest.mark.parametrize("step", [None, {"whole": 10}])
@pytest.mark.parametrize("make", [arrow_table, lambda: Stream(arrow_table())])
def test_arrow(make, step):
    table = arrow_table()
    done = impute(make(), step=step).completed(1)
    assert isinstance(done, pa.Table) and done.column_names == table.column_names
    kept = ["x", "y", "site", "word", "day", "list"] + (["whole"] if step else [])
    for name in kept:
        assert done.schema.field(name).type == table.schema.field(name).type
        assert_completed(done[name].to_pylist(), table[name].to_pylist())
    assert done["bound"].type == pa.float64() and done["whole"].type == (pa.int32() if step else pa.float64())


def test_polars():
    table = pl.DataFrame(arrow_table()).with_columns(
        pl.col("site").cast(pl.Enum(["C", "B", "A", "never"])), flag=pl.Series([None, True, False] * 10))
    done = impute(table, step={"whole": 10}).completed(2)
    assert isinstance(done, pl.DataFrame)
    assert {name: kind for name, kind in table.schema.items() if name != "bound"} == \
        {name: kind for name, kind in done.schema.items() if name != "bound"}
    for name in ("x", "y", "site", "word", "whole", "flag", "list"):
        assert_completed([None if value != value else value for value in done[name].to_list()],
                         [None if value != value else value for value in table[name].to_list()])
    assert done["bound"].dtype == pl.Float64


def test_dict_and_array():
    table = {"x": X, "y": Y, 3: np.array(SITE, dtype=object)}
    done = impute(table).completed(1)
    assert list(done) == ["x", "y", 3] and done["x"] is table["x"]
    assert_completed(done["y"], pd.Series(Y).where(~np.isnan(Y), None).astype(object))
    assert_completed(done[3], SITE)
    array = np.column_stack([X, Y])
    done = impute(array).completed(1)
    assert done.dtype == np.float64 and (done[~np.isnan(array)] == array[~np.isnan(array)]).all()
    assert not np.isnan(done).any() and np.isnan(array).sum() == 6


@pytest.mark.parametrize("dtype", ["float32", "Float64", "Float32", "double[pyarrow]", "object"])
def test_types_of_numbers_in_pandas(dtype):
    frame = pd.DataFrame({"x": X, "y": pd.Series(Y).astype(dtype)})
    done = impute(frame).completed(1)
    assert done["y"].dtype == (np.dtype("float64") if dtype == "object" else frame["y"].dtype)
    assert_completed(done["y"], frame["y"])


def test_cells_of_objects():
    """Numbers, decimals, intervals and text in one column; categories that are numbers; what is no number."""
    cells = [1.5, 2, decimal.Decimal("2.50"), pd.Interval(1, 2), pd.Interval(-np.inf, 1), "3..4", ">4", None, pd.NA,
             np.nan, np.float32(0.5), np.int8(3), *X[:18]]
    frame = pd.DataFrame({"cells": pd.Series(cells, dtype=object), "x": X,
                          "rank": pd.Categorical([1, 2, 3, None, 1] * 6, ordered=True),
                          "code": pd.Categorical([7, 8, 9, None, 7] * 6),
                          "answer": pd.Series([True, False, None] * 10, dtype=object),
                          "when": pd.Series([pd.Timestamp("2026-01-01").date()] * 30, dtype=object)})
    run = impute(frame)
    kinds = {column["name"]: column["kind"] for column in run.record["columns"]}
    assert kinds == {"cells": "number", "x": "number", "rank": "ordered", "code": "nominal", "answer": "binary"}
    done = run.completed(1)
    expected = [1.5, 2.0, 2.5, None, None, None, None, None, None, None, 0.5, 3.0, *X[:18]]
    assert_completed(done["cells"], expected)
    low, high = [1, -np.inf, 3, 4], [2, 1, 4, np.inf]
    assert all(done["cells"].iloc[3:7].between(low, high, inclusive="neither"))
    assert (done[["rank", "code"]].dtypes == frame[["rank", "code"]].dtypes).all()
    assert set(done["answer"]) == {True, False} and list(done["when"]) == list(frame["when"])


def test_kinds_that_the_caller_gives():
    """An argument goes before the type of the column; names and words may need quotes."""
    frame = pd.DataFrame({"a, b": pd.Categorical(["p,q", "r", "s", None] * 10), "n": [1.0, 2.0, 3.0, np.nan] * 10,
                          "x": RANDOM.uniform(0.2, 0.9, size=40)})
    run = impute(frame, ordered={"n": [1, 2, 3]})
    assert [column["kind"] for column in run.record["columns"]] == ["nominal", "ordered", "number"]
    assert run.completed(1)["a, b"].isin(["p,q", "r", "s"]).all() and set(run.completed(1)["n"]) == {1.0, 2.0, 3.0}
    run = impute(frame, carry=["a, b"], number="n", lower={"n": 0.5}, order="x<n", prior="ridge=3", nd="x=0", jobs=1)
    assert [column["name"] for column in run.record["columns"]] == ["n", "x"]
    assert (run.completed(1)["n"] > run.completed(1)["x"])[3::4].all() and run.completed(1)["a, b"].isna().any()
    prior = {"columns": ["x"], "mean": [3.0], "mean_cases": 1e6, "covariance": [[1.0]], "covariance_cases": 50}
    assert impute(frame[["x"]], prior=prior).parameters["mean(x)"].mean() == pytest.approx(3.0, abs=0.05)


def test_odd_tables():
    """Names that are not text, an index with two levels, pairs of limits, categories that do not occur, one column."""
    index = pd.MultiIndex.from_product([["u", "v"], range(15)])
    frame = pd.DataFrame({0: X, ("b", 1): Y}, index=index)
    done = impute(frame).completed(1)
    assert list(done.columns) == [0, ("b", 1)] and done.index.equals(index)
    pairs = pd.DataFrame({"x": X, "z_lo": X - 1, "z_hi": X + 1})
    done = impute(pairs).completed(1)
    assert list(done.columns) == ["x", "z_lo", "z_hi", "z"] and (abs(done["z"] - X) < 1).all()
    none = pd.DataFrame({"x": X, "y": Y, "c": pd.Categorical([None] * 30, categories=["a", "b"])})
    assert impute(none).completed(1)["c"].isna().all()
    assert not impute({"x": Y}).completed(1).keys() - {"x"}
    big = pd.DataFrame({"x": X, "y": Y, "id": 2**62 + np.arange(30), "u": np.uint64(2**63) + np.arange(30, dtype="u8")})
    run = impute(big, id="id", carry="u")
    assert (run.completed(1)[["id", "u"]] == big[["id", "u"]]).all().all()
    assert "4611686018427387905" in (run.directory / "imputations.csv").read_text()
    twice = pd.DataFrame(np.column_stack([X, Y]), columns=["a", "b"], index=[7] * 30)
    assert list(impute(twice).completed(1).index) == [7] * 30


@pytest.mark.parametrize(("table", "options", "code", "message"), [
    (pd.DataFrame([[1, 2]], columns=["a", "a"]), {}, 65, 'two columns have the name "a"'),
    (pd.DataFrame({"a": [1], " a": [2]}), {}, 65, 'two columns have the name "a"'),
    (pd.DataFrame({"a": pd.Series([], dtype=float)}), {}, 65, "no row"),
    (pd.DataFrame(), {}, 65, "no columns"),
    (pd.DataFrame({"a": [1.0, 2.0, np.inf], "b": X[:3]}), {}, 65, "row 2, column \"a\""),
    ({"a": [1.0, 2.0], "b": [1.0]}, {}, 65, "different lengths"),
    ({"a": [[1.0, 2.0]]}, {}, 65, "one dimension"),
    (np.zeros(3), {}, 65, "two dimensions"),
    (3, {}, 64, "not a builtins.int"),
    ("no/such/file.csv", {}, 66, "No such file"),
    ({"x": X, "y": Y}, {"log": "z"}, 64, '"z"'),
    ({"x": X, "y": Y}, {"m": 0}, 64, "imputations"),
    ({"x": X, "y": Y}, {"lower": {"y": [1.0]}}, 64, "1 bounds, but the table has 30 rows"),
    ({"x": X, "y": Y}, {"upper": {"z": X}}, 64, "no such column"),
    ({"x": X, "y": SITE}, {"lower": {"y": X}}, 64, "columns of numbers"),
    ({"x": X, "y": Y}, {"no_such": 1}, 64, "--no-such"),
    ({"x": X, "y": X}, {}, 65, "x"),
])
def test_errors(table, options, code, message):
    with pytest.raises(ullage.UllageError) as caught:
        impute(table, **options)
    assert message in str(caught.value) and caught.value.exit_code == code


def test_problems_have_places():
    frame = pd.DataFrame({"lead": ["1.5", "0,5", "<zinc", "1 2"], "zinc": [1.0, 2.0, 3.0, 4.0]}, index=list("abcd"))
    with pytest.raises(ullage.UllageError) as caught:
        impute(frame, sweeps=2)
    first, second = caught.value.problems
    assert (first.row, first.column, first.text) == (1, "lead", "0,5") and second.row == 3
    assert str(caught.value).startswith("index 'b', column \"lead\", \"0,5\": ")
    frame = pd.DataFrame({"a": [1.0, 5.0], "b": [2.0, 3.0]})
    found = ullage.check(frame, order="a<b")
    assert [problem.columns for problem in found.problems] == [("a", "b")] and found.rows == 2
    assert list(found.patterns["cells"]) == ["##"] and list(found.kinds["kind"]) == ["number"] * 2


def test_arrays_are_written_to_the_last_digit(tmp_path):
    """Over several blocks of rows, in any layout, numbers read back as they were."""
    rows = 70_000
    values = RANDOM.normal(size=rows) * 10.0 ** RANDOM.integers(-300, 300, rows)
    values[5] = np.nan
    whole = RANDOM.integers(-(2**63), 2**63 - 1, rows)
    places = RANDOM.integers(-1, 2, rows)
    path = tmp_path / "table.csv"
    _ullage.write_table(str(path), ["v", 'a "b", c', "w"],
                        [_ullage.numbers(values), _ullage.whole_numbers(whole), _ullage.words(places, ["p,q", 'r"'])])
    frame = pd.read_csv(path, dtype=str, keep_default_na=False)
    assert list(frame.columns) == ["v", 'a "b", c', "w"] and frame["v"][5] == ""
    assert (np.delete(frame["v"].to_numpy(), 5).astype(float) == np.delete(values, 5)).all()
    assert [int(text) for text in frame.iloc[:, 1]] == whole.tolist()
    assert list(frame["w"]) == [["p,q", 'r"', ""][place] for place in places]
    for columns in ([_ullage.numbers(values), _ullage.numbers(values[1:])], [_ullage.words(places, ["a"])]):
        with pytest.raises(ValueError):
            _ullage.write_table(str(path), ["a", "b"][:len(columns)], columns)
    with pytest.raises(ullage.UllageError) as caught:
        _ullage.write_table(str(tmp_path / "no" / "t.csv"), ["w"], [_ullage.words(places, ["a", "b"])])
    assert caught.value.exit_code == 73


def test_load_refuses_what_is_no_run(tmp_path):
    with pytest.raises(ullage.UllageError, match="holds no run"):
        ullage.load(tmp_path)
    run = impute(ROOT / "examples" / "airquality.csv")
    with pathlib.Path(run.directory / "imputations.csv").open("a") as file:
        file.write("x")
    with pytest.raises(ullage.UllageError) as caught:
        run.completed(1)
    assert caught.value.exit_code == 65
