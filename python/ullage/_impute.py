# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
"""Multiple imputation of a table."""

import contextlib
import pathlib
import tempfile
from collections.abc import Callable, Iterator, Mapping, Sequence
from typing import Any

from ullage import _program
from ullage._check import explained
from ullage._errors import UllageError
from ullage._options import Bounds, Input, Names, further, prior_option
from ullage._run import Run

# Options that the program has for this command alone.
_OF_IMPUTE = ("overimpute", "sweeps", "until_converged", "rhat_below", "ess_above", "max_iterations")


@contextlib.contextmanager
def _bar(progress: bool | Callable[[int, int], None]) -> Iterator[_program.Progress | None]:
    """Show progress by tqdm, if it is there."""
    if callable(progress):
        yield progress
        return
    try:
        from tqdm.auto import tqdm
    except ImportError:
        progress = False
    if not progress:
        yield None
        return
    with tqdm(desc="ullage", unit=" iterations", leave=False) as bar:
        def show(done: int, total: int) -> None:
            bar.total = total
            bar.update(done - bar.n)

        yield show


def impute(data: Any, m: int = 20, seed: int | None = None, *, log: Names = (), sqrt: Names = (), logit: Names = (),
           order: Names = (), lower: Bounds = None, upper: Bounds = None, by: str | None = None,
           id: str | None = None, prior: str | Mapping[str, Any] = "default", chains: int = 4,
           burn_in: int | None = None, thin: int | None = None, jobs: int | None = None, number: Names = (),
           step: Mapping[str, float] | None = None, binary: Names = (),
           ordered: Mapping[str, Sequence[Any]] | Names | None = None, nominal: Names = (), carry: Names = (),
           progress: bool | Callable[[int, int], None] = True, **options: Any) -> Run:
    """Draw the cells of a table that are missing or known only by bounds, m times.

    Parameters
    ----------
    data : table or path
        A DataFrame of pandas or polars, an Arrow table or whatever gives an Arrow stream, a dict of arrays, an array
        with two dimensions, or the path of a file that the program reads. Cells of text say what they say in a file:
        ``"<0.5"``, ``"2..3"``, ``">zinc"``. A cell may be a `pandas.Interval`. Categories are words.
    m : int
        Completed tables.
    seed : int, optional
        Of the random numbers; one is chosen otherwise, see `Run.seed`. The same seed gives the same numbers as the
        program, with any number of jobs.
    log, sqrt, logit : str or list of str
        Columns that are modelled on this scale.
    order : str or list of str
        Rules for every row, such as ``"dissolved<total"``.
    lower, upper : mapping or table, optional
        Bounds of missing cells: a number per column, or a column (or a table) with one per cell, NaN for none.
    by : str, optional
        A column of groups, each with parameters of its own.
    id : str, optional
        A column that names the rows.
    prior : str or mapping
        ``"default"``, ``"jeffreys"``, ``"ridge=CASES"``, the path of a file, or what such a file says.
    chains, burn_in, thin : int, optional
        Independent chains, their iterations before the first imputation, and from one to the next; if not given, as
        the program has it for the table.
    jobs : int, optional
        Processes that share the work; one per processor if not given.
    number, binary, nominal, carry : str or list of str
        Columns that are of this kind, whatever their types say.
    step : mapping, optional
        Columns of multiples of a number, such as counts: ``{"age": 1}``.
    ordered : mapping or list of str, optional
        Columns of words in an order, ``{"stage": ["I", "II", "III"]}``, or of numbers by size.
    progress : bool or callable
        Whether to show a bar (by tqdm, if it is there); a callable is given the iterations done and all.
    **options
        Further options of ``ullage impute``, with underscores: ``nd="lead=0.5"``, ``until_converged=True``.

    Returns
    -------
    Run

    Raises
    ------
    UllageError
        With the rows and columns that are wrong in ``problems``.

    Examples
    --------
    >>> import pandas as pd, ullage
    >>> days = pd.DataFrame({"ozone": [41, 36, None, 18, "<20", 28, 23, "<20", 8, None],
    ...                      "wind": [7.4, 8.0, 12.6, 11.5, 14.3, 14.9, 8.6, 13.8, 20.1, 8.6]})
    >>> run = ullage.impute(days, m=100, seed=1, progress=False)
    >>> bool((run.completed(3)["ozone"][[4, 7]] < 20).all())
    True
    """
    if options.get("derive"):
        raise UllageError("derive: compute columns of the completed tables in Python, or by pool(derive=...)")
    keeper = tempfile.TemporaryDirectory(prefix="ullage-")
    directory = pathlib.Path(keeper.name)
    try:
        given = Input(data, directory, lower=lower, upper=upper, log=log, sqrt=sqrt, logit=logit, order=order, by=by,
                      id=id, number=number, step=step, binary=binary, ordered=ordered, nominal=nominal, carry=carry,
                      **_table_options(options))
        words = ["impute", *given.words, "--output=run", "--no-report", "--progress=json",
                 prior_option(prior, directory), f"--imputations={m}", f"--chains={chains}",
                 *further({"burn_in": burn_in, "thin": thin, "seed": seed, "jobs": jobs}),
                 *further({name: value for name, value in options.items() if name in _OF_IMPUTE})]
        try:
            with _bar(progress) as show:
                _program.run(words, directory=directory, progress=show)
        except UllageError as error:
            raise explained(error, given, directory) from None
        return Run(directory / "run", given.table, keeper)
    except BaseException:
        keeper.cleanup()
        raise


def _table_options(options: Mapping[str, Any]) -> dict[str, Any]:
    """Those that ``check`` knows, too."""
    return {name: value for name, value in options.items() if name not in _OF_IMPUTE}
