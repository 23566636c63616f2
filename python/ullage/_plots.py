# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
"""Pictures of a run, by matplotlib."""

from collections.abc import Callable, Sequence
from typing import TYPE_CHECKING, Any

import numpy as np
import numpy.typing as npt
import pandas as pd

from ullage._errors import UllageError

if TYPE_CHECKING:
    from matplotlib.axes import Axes

_MOST_PATTERNS = 30


def _axes(ax: "Axes | None") -> "Axes":
    from matplotlib import pyplot as plt

    return plt.subplots(layout="constrained")[1] if ax is None else ax


def _per_parameter(parameters: pd.DataFrame, names: Sequence[str] | None,
                   draw: Callable[["Axes", "pd.Series[Any]", str], None]) -> "np.ndarray[Any, np.dtype[Any]]":
    from matplotlib import pyplot as plt

    known = [name for name in parameters.columns if name not in ("chain", "iteration", "level")]
    chosen = [name for name in known if name.startswith("mean(")] if names is None else list(names)
    for name in chosen:
        if name not in known:
            raise UllageError(f'there is no parameter "{name}"; there are {", ".join(known)}')
    _, axes = plt.subplots(len(chosen), 1, squeeze=False, sharex=True, figsize=(7, 1 + 1.6 * len(chosen)),
                           layout="constrained")
    keys = ["chain", "level"] if "level" in parameters else ["chain"]
    for ax, name in zip(axes[:, 0], chosen, strict=True):
        for chain, draws in parameters.groupby(keys):
            draw(ax, draws.set_index("iteration")[name], " ".join(str(part) for part in chain))
        ax.set_ylabel(name)
    return axes[:, 0]


def trace(parameters: pd.DataFrame, names: Sequence[str] | None) -> "np.ndarray[Any, np.dtype[Any]]":
    """Draw a line per chain."""
    def draw(ax: "Axes", draws: "pd.Series[Any]", label: str) -> None:
        ax.plot(draws.index, draws, linewidth=0.6, label=f"chain {label}")

    axes = _per_parameter(parameters, names, draw)
    axes[-1].set_xlabel("iteration")
    return axes


def autocorrelation(parameters: pd.DataFrame, names: Sequence[str] | None,
                    lags: int) -> "np.ndarray[Any, np.dtype[Any]]":
    """Draw a line per chain, over the lags."""
    def draw(ax: "Axes", draws: "pd.Series[Any]", label: str) -> None:
        centred = draws.to_numpy() - draws.mean()
        most = min(lags, len(centred) - 1)
        scale = centred @ centred
        products = np.array([centred[: len(centred) - lag] @ centred[lag:] for lag in range(most + 1)])
        values = products / scale if scale > 0 else np.full(most + 1, np.nan)
        ax.plot(range(most + 1), values, linewidth=0.8, label=f"chain {label}")
        ax.axhline(0.0, color="grey", linewidth=0.5)

    axes = _per_parameter(parameters, names, draw)
    axes[-1].set_xlabel("lag")
    return axes


def density(name: str, observed: npt.NDArray[np.float64], imputed: npt.NDArray[np.float64],
            ax: "Axes | None") -> "Axes":
    """Draw histograms of one scale: observed as an area, imputed as lines, one per imputation."""
    ax = _axes(ax)
    bins = np.histogram_bin_edges(np.concatenate([observed, imputed.ravel()]), bins=30).tolist()
    ax.hist(observed, bins=bins, density=True, color="lightgrey", label="observed")
    for place, values in enumerate(imputed if imputed.size else []):
        ax.hist(values, bins=bins, density=True, histtype="step", color="tab:blue", alpha=0.4, linewidth=0.7,
                label="imputed" if place == 0 else None)
    ax.set_xlabel(name)
    ax.set_ylabel("density")
    ax.legend()
    return ax


def patterns(names: list[str], hidden: npt.NDArray[np.bool_], ax: "Axes | None") -> "Axes":
    """Draw a line of squares per pattern, the most frequent first; dark ones are hidden."""
    ax = _axes(ax)
    found, counts = np.unique(hidden, axis=0, return_counts=True)
    frequent = np.argsort(-counts, kind="stable")[:_MOST_PATTERNS]
    ax.imshow(found[frequent], cmap="Greys", vmin=0, vmax=1.5, aspect="auto", interpolation="none")
    ax.set_xticks(range(len(names)), names, rotation=45, ha="right")
    ax.set_yticks(range(len(frequent)), [str(count) for count in counts[frequent]])
    ax.set_ylabel("rows")
    return ax
