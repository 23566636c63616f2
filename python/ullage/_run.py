# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
"""A run: the completed tables, and what is asked of them."""

import contextlib
import functools
import html
import json
import os
import pathlib
import shutil
import tempfile
from collections.abc import Callable, Iterator, Sequence
from typing import TYPE_CHECKING, Any

import numpy as np
import pandas as pd

from ullage import _program, _ullage
from ullage._apply import apply as _apply
from ullage._columns import Filled
from ullage._errors import UllageError
from ullage._options import Bounds, further
from ullage._pooling import frame_of, pool_fits, regression_of
from ullage._tables import Table, table_of

if TYPE_CHECKING:
    from matplotlib.axes import Axes

_SHOWN_PARAMETERS = 10


class Run:
    """The results of `impute`, which stand in a directory as the program writes them.

    Attributes
    ----------
    directory : pathlib.Path
        That directory; of a run that was not saved it goes with the object.
    record : dict
        What ``run.json`` says: seed, settings, columns, convergence, versions.
    """

    def __init__(self, directory: pathlib.Path, table: Table | None = None,
                 keeper: "tempfile.TemporaryDirectory[str] | None" = None) -> None:
        self.directory = directory
        self._given = table
        self._keeper = keeper
        self.record: dict[str, Any] = _record(directory)

    def __reduce__(self) -> Any:
        """Keep the files in a pickle. The completed tables of what is unpickled are those of `load`."""
        return _unpacked, ({path.name: path.read_bytes() for path in self.directory.iterdir() if path.is_file()},)

    def __len__(self) -> int:
        """Count the completed tables."""
        return int(self.record["settings"]["imputations"])

    def __iter__(self) -> Iterator[Any]:
        """Go through the completed tables."""
        return (self.completed(i) for i in range(1, len(self) + 1))

    def __repr__(self) -> str:
        """Say the run in a line."""
        return f"<ullage.Run: {len(self)} completed tables of {self.record['input']['rows']} rows, seed {self.seed}>"

    @property
    def seed(self) -> int:
        """The seed of the random numbers: with it the run can be repeated."""
        return int(self.record["seed"])

    @property
    def warnings(self) -> list[str]:
        """What was noticed in the table, and whether the chains have met."""
        return [*self.record["input"]["warnings"], *self.record["warnings"]]

    @functools.cached_property
    def _columns(self) -> "list[_ullage.CompletedColumn]":
        return _ullage.read_completed(str(self.directory))

    @functools.cached_property
    def _table(self) -> Table:
        return self._given or _stored_table(self.directory, self.record)

    def _filled(self, imputation: int) -> list[Filled]:
        """Columns of the model; the cells of imputation 0 are missing."""
        model = {column["name"] for column in (*self.record["columns"], *self.record.get("derived", []))}
        columns = []
        for column in self._columns:
            if column["name"] not in model:
                continue
            values: Any = np.full(len(column["hidden"]), np.nan)
            if imputation > 0 and len(values) > 0:
                values = column["imputed"][imputation - 1]
            if column["words"]:
                values = [None if np.isnan(place) else column["words"][int(place)] for place in values]
            columns.append(Filled(column["name"], column["hidden"], values, column["original"]))
        return columns

    def completed(self, imputation: int) -> Any:
        """Give a completed table.

        Parameters
        ----------
        imputation : int
            From 1 to the number of imputations.

        Returns
        -------
        table
            Of the kind that came in, with its index and its types. Columns of bounds become columns of numbers.
        """
        if not 1 <= imputation <= len(self):
            raise IndexError(f"there are imputations 1 to {len(self)}, not {imputation}")
        return self._table.completed(self._filled(imputation))

    def long(self) -> pd.DataFrame:
        """Give all tables one below the other, with ``.imp`` (0 where nothing is imputed) and ``.id``.

        ``.id`` is the label of the row in a pandas table, and its number from 0 in others.
        """
        table = Table(self._table.frame, lambda frame, _changed: frame, self._table.objects, self._table.label)
        tables = []
        for imputation in range(len(self) + 1):
            frame: pd.DataFrame = table.completed(self._filled(imputation))
            frame[".imp"] = imputation
            frame[".id"] = frame.index
            tables.append(frame)
        return pd.concat(tables, ignore_index=True)

    def apply(self, rows: Any, m: int | None = None, seed: int | None = None, *, lower: Bounds = None,
              upper: Bounds = None, **options: Any) -> list[Any]:
        """Complete new rows under the parameters that the run has drawn; none is drawn again.

        Parameters
        ----------
        rows : table or path
            With the columns of the run's model and of its ``by``. Kinds, rules and transformations are the run's.
        m : int, optional
            Completed tables, at most those of the run, which are made if it is not given. Table i is drawn under the
            parameters of the run's imputation i.
        seed : int, optional
            Of the random numbers; that of the run if not given.
        lower, upper : mapping or table, optional
            Bounds of missing cells of these rows, as of `impute`.
        **options
            Further options of ``ullage apply``, with underscores: ``nd="lead=0.5"``.

        Returns
        -------
        list
            Tables of the kind that came in, with their index and types; pandas DataFrames for a path. What is
            observed stays.

        Raises
        ------
        UllageError
            If a row cannot be understood, or has a word or a value that the run cannot have.
        """
        objects = self._given.objects if self._given is not None else {}
        return _apply(self.directory, self.record, objects, rows, m, seed, lower, upper, options)

    @functools.cached_property
    def parameters(self) -> pd.DataFrame:
        """The draws of means and covariances, with ``chain`` and ``iteration`` and, with groups, ``level``."""
        # As text first: not every version of pandas reads a number to its last digit.
        text = pd.read_csv(self.directory / "parameters.csv", dtype=str, keep_default_na=False)
        names = {".chain": "chain", ".iteration": "iteration", ".level": "level"}
        kinds = {name: "int64" if name in names else "float64" for name in text.columns if name != ".level"}
        return text.astype(kinds).rename(columns=names)

    def diagnose(self) -> pd.DataFrame:
        """Judge every mean, variance and correlation, the worst first; ``attrs`` holds the rest of the judgement."""
        said = self._ask("diagnose")
        frame = pd.DataFrame(said.pop("parameters"))
        frame.attrs = said
        return frame

    def _ask(self, command: str, *options: str) -> Any:
        return _program.run_json([command, str(self.directory), *options], warn=False)

    def pool(self, what: str | Sequence[str] | Callable[[Any], Any] | None = None, *, df: float | None = None,
             confidence: float = 0.95, **options: Any) -> pd.DataFrame:
        """Pool by Rubin's rules.

        Parameters
        ----------
        what : str, list of str or callable, optional
            Columns, all if not given: their means, of words their shares. A callable is given each completed table, and
            gives a fit with ``params`` and ``cov_params()``, or (estimate, variance).
        df : float, optional
            Complete-data degrees of freedom for a callable whose fits have no ``df_resid``; infinite otherwise.
        confidence : float
            Of the intervals.
        **options
            Other quantities of the columns: ``variances=True``, ``covariances=True``, ``correlations=True``,
            ``quantiles="0.25,0.5"``.

        Returns
        -------
        pandas.DataFrame
            ``estimate``, ``std_error``, ``lower``, ``upper``, ``df``, ``p``, ``fmi`` and more per quantity.
        """
        if callable(what):
            if options:
                raise UllageError("a callable is pooled alone, without " + ", ".join(options))
            return pool_fits(what, self, df, confidence)
        frame = frame_of(self._ask("pool", f"--confidence={float(confidence)!r}", *further(options))["quantities"])
        if what is None:
            return frame
        names = [what] if isinstance(what, str) else list(what)
        known = [column["name"] for column in self.record["columns"]]
        for name in names:
            if name not in known:
                raise UllageError(f'there is no column "{name}" in the model; there are {", ".join(known)}')
        wanted = [row for row in frame.index if _is_about(row if isinstance(row, str) else row[-1], names)]
        return frame.loc[wanted]

    def lm(self, formula: str, confidence: float = 0.95, **options: Any) -> pd.DataFrame:
        """Fit a linear regression to each completed table and pool it.

        Parameters
        ----------
        formula : str
            Such as ``"lead ~ zinc + log(copper) + site"``.
        confidence : float
            Of the intervals.
        **options
            Further options of the command ``pool``, such as ``robust=True``, ``cluster="site"``, ``test="zinc"``.

        Returns
        -------
        pandas.DataFrame
            One row per coefficient; ``attrs`` holds the joint test, the rows and the degrees of freedom.
        """
        return self._regression("lm", formula, confidence, options)

    def logit(self, formula: str, confidence: float = 0.95, **options: Any) -> pd.DataFrame:
        """Fit a logistic regression to each completed table and pool it; arguments as of `lm`."""
        return self._regression("logit", formula, confidence, options)

    def poisson(self, formula: str, confidence: float = 0.95, **options: Any) -> pd.DataFrame:
        """Fit a Poisson regression to each completed table and pool it; arguments as of `lm`."""
        return self._regression("poisson", formula, confidence, options)

    def _regression(self, kind: str, formula: str, confidence: float, options: dict[str, Any]) -> pd.DataFrame:
        return regression_of(self._ask("pool", f"--{kind}={formula}", f"--confidence={float(confidence)!r}",
                                       *further(options)))

    def report(self, path: str | os.PathLike[str] | None = None) -> pathlib.Path:
        """Write the report, one page of HTML, and give its path; without a path it stands in the run's directory."""
        if path is None:
            _program.run(["report", str(self.directory), "--quiet"], warn=False)
            self.record = _record(self.directory)
            return self.directory / "report.html"
        target = pathlib.Path(path)
        _program.run(["report", str(self.directory), "--quiet", f"--output={target.absolute()}"], warn=False)
        return target

    def save(self, directory: str | os.PathLike[str]) -> pathlib.Path:
        """Keep the files of the run in a new or empty directory, which has all of them or none."""
        target = pathlib.Path(directory).absolute()
        if target.exists() and (not target.is_dir() or any(target.iterdir())):
            raise UllageError(f"{target} is there already and not empty", 73)
        target.parent.mkdir(parents=True, exist_ok=True)
        with tempfile.TemporaryDirectory(dir=target.parent, prefix=".ullage-") as place:
            copy = pathlib.Path(place) / "run"
            shutil.copytree(self.directory, copy)
            os.replace(copy, target)
        return target

    def to_inference_data(self) -> Any:
        """Give the draws of the parameters to ArviZ, as what its function ``from_dict`` makes of them."""
        import arviz

        names = [name for name in self.parameters.columns if name not in ("chain", "iteration", "level")]
        chains = [frame for _, frame in self.parameters.groupby("chain")]
        if "level" in self.parameters:
            draws = {f"{name}[{level}]": np.stack([frame.loc[frame["level"] == level, name] for frame in chains])
                     for level in self.parameters["level"].unique() for name in names}
        else:
            draws = {name: np.stack([frame[name] for frame in chains]) for name in names}
        if int(arviz.__version__.partition(".")[0]) > 0:
            return arviz.from_dict({"posterior": draws})
        return arviz.from_dict(posterior=draws)

    def plot_trace(self, names: Sequence[str] | None = None) -> "np.ndarray[Any, np.dtype[Any]]":
        """Draw the chains of parameters, the means if none are named; one axes per parameter."""
        from ullage import _plots

        return _plots.trace(self.parameters, names)

    def plot_autocorrelation(self, names: Sequence[str] | None = None,
                             lags: int = 50) -> "np.ndarray[Any, np.dtype[Any]]":
        """Draw the autocorrelations of parameters within the chains; one axes per parameter."""
        from ullage import _plots

        return _plots.autocorrelation(self.parameters, names, lags)

    def plot_density(self, column: str, ax: "Axes | None" = None) -> "Axes":
        """Draw how the observed and the imputed values of a column of numbers are distributed."""
        from ullage import _plots

        found = [one for one in self._columns if one["name"] == column and not one["words"]]
        if not found:
            raise UllageError(f'there is no column of numbers "{column}"')
        original = found[0]["original"]
        return _plots.density(column, original[~np.isnan(original)], found[0]["imputed"], ax)

    def plot_patterns(self, ax: "Axes | None" = None) -> "Axes":
        """Draw which cells are hidden together, and in how many rows."""
        from ullage import _plots

        model = {column["name"] for column in self.record["columns"]}
        columns = [column for column in self._columns if column["name"] in model]
        hidden = np.zeros((int(self.record["input"]["rows"]), len(columns)), dtype=bool)
        for place, column in enumerate(columns):
            hidden[column["hidden"], place] = True
        return _plots.patterns([column["name"] for column in columns], hidden, ax)

    def _repr_html_(self) -> str:
        """Show the run in a notebook."""
        warned = "".join(f"<li>{html.escape(warning)}</li>" for warning in self.warnings)
        judged = pd.DataFrame(self.record["convergence"]).head(_SHOWN_PARAMETERS)
        return (f"<p><b>{html.escape(repr(self)[1:-1])}</b></p>" + (f"<ul>{warned}</ul>" if warned else "") +
                f"<details><summary>convergence, the worst first</summary>{judged.to_html(index=False)}</details>"
                "<p>run.report(path) writes the full report.</p>")


def _record(directory: pathlib.Path) -> dict[str, Any]:
    try:
        record: dict[str, Any] = json.loads((directory / "run.json").read_text(encoding="utf-8"))
    except OSError as error:
        raise UllageError(f"{directory} holds no run: {error.strerror}", 66) from None
    except ValueError as error:
        raise UllageError(f"{directory}/run.json is broken: {error}", 65) from None
    return record


def _unpacked(files: dict[str, bytes]) -> Run:
    keeper = tempfile.TemporaryDirectory(prefix="ullage-")
    directory = pathlib.Path(keeper.name) / "run"
    directory.mkdir()
    for name, content in files.items():
        (directory / name).write_bytes(content)
    return Run(directory, None, keeper)


def _is_about(quantity: str, columns: list[str]) -> bool:
    """Whether the name of a quantity, such as mean(lead), share(site=A) or cor(a,b), is of these columns alone."""
    inside = quantity[quantity.find("(") + 1:-1]
    written = [f"`{name}`" if any(sign in name for sign in ",()`") else name for name in columns]
    begins = tuple(f"{name}=" for name in written)
    if inside in written or (quantity.startswith("share(") and inside.startswith(begins)):
        return True
    return any(inside == f"{first},{second}" for first in written for second in written)


def _stored_table(directory: pathlib.Path, record: dict[str, Any]) -> Table:
    """Give the original table of a run as its files hold it. Columns of the model are filled in later."""
    names = {file["name"] for file in record["files"]}
    name = next((name for name in ("original.csv", "imputations.csv") if name in names), None)
    name = name or min(name for name in names if name.startswith("imputation_"))
    frame = pd.read_csv(directory / name, sep=record["input"]["separator"], dtype=str, keep_default_na=False,
                        na_values=["NA", ""], nrows=int(record["input"]["rows"]))
    frame = frame.drop(columns=[".imp", ".id"], errors="ignore")
    model = {column["name"] for column in record["columns"]}
    for column in frame.columns.difference(list(model)):
        with contextlib.suppress(ValueError):
            frame[column] = pd.to_numeric(frame[column])
    return table_of(frame)


def load(directory: str | os.PathLike[str]) -> Run:
    """Read a run that `Run.save` or the program has written.

    Its completed tables are pandas DataFrames, whatever kind of table the run began with.

    Raises
    ------
    UllageError
        If there is no run in the directory; where files were changed, as soon as they are read.
    """
    return Run(pathlib.Path(directory).absolute())

