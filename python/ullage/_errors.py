# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
"""What can go wrong, with the place where it did."""

from dataclasses import dataclass


@dataclass(frozen=True)
class Problem:
    """One thing that is wrong with a table.

    Attributes
    ----------
    message : str
        What is wrong and what to do.
    row : int or None
        Position of the row, from 0 as in ``iloc``.
    columns : tuple of str
        Names of the columns that it is about.
    text : str
        The cell as written; empty if it is not about a cell.
    """

    message: str
    row: int | None = None
    columns: tuple[str, ...] = ()
    text: str = ""

    @property
    def column(self) -> str | None:
        """The first of the columns."""
        return self.columns[0] if self.columns else None


class UllageError(Exception):
    """What ended a command. Where options, rules or the table are wrong it is a ValueError, too.

    Attributes
    ----------
    exit_code : int
        That of the program: 64 wrong options or rules, 65 a wrong table, 66 an input that cannot be read, 70 an
        internal fault, 73 an output that cannot be written.
    problems : tuple of Problem
        What is wrong with the table, place by place; at most 50.
    row, column, cell
        Of the first problem: the position of the row from 0, the name of the column, the cell as written; each None
        where the problem is not about one.
    """

    def __new__(cls, _message: str, exit_code: int = 64, _problems: tuple[Problem, ...] = ()) -> "UllageError":
        """Make a ValueError of what is wrong with the input."""
        bad_input = cls is UllageError and exit_code in (64, 65)
        return super().__new__(UllageValueError if bad_input else cls)

    def __init__(self, message: str, exit_code: int = 64, problems: tuple[Problem, ...] = ()) -> None:
        super().__init__(message)
        self.exit_code = exit_code
        self.problems = problems
        first = problems[0] if problems else Problem(message)
        self.row = first.row
        self.column = first.column
        self.cell = first.text or None

    def __reduce__(self) -> tuple[type["UllageError"], tuple[str, int, tuple[Problem, ...]]]:
        """Keep all attributes in a pickle, as between processes."""
        return type(self), (str(self), self.exit_code, self.problems)


class UllageValueError(UllageError, ValueError):
    """Options, rules or a table that are wrong."""


class UllageWarning(UserWarning):
    """What a command warns of."""
