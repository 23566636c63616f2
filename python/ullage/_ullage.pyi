from collections.abc import Sequence
from typing import TypedDict

import numpy as np
from numpy.typing import NDArray

class Column: ...

class CompletedColumn(TypedDict):
    name: str
    original: NDArray[np.float64]
    hidden: NDArray[np.int32]
    imputed: NDArray[np.float64]
    words: list[str]

def numbers(
    values: NDArray[np.float64], lower: NDArray[np.float64] | None = None, upper: NDArray[np.float64] | None = None
) -> Column: ...
def whole_numbers(values: NDArray[np.int64]) -> Column: ...
def words(places: NDArray[np.int64], words: Sequence[str]) -> Column: ...
def write_table(path: str, names: Sequence[str], columns: Sequence[Column]) -> None: ...
def read_completed(directory: str) -> list[CompletedColumn]: ...
