#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
"""Print src/platform/character_table.h, the letters and decimal digits among the 16-bit units.

The categories are those of Unicode 14.0, which Python 3.11 knows; another Python is refused, as the table must
not change with the machine that makes it. With --check FILE nothing is printed: the exit status is 0 if the file
is what would be printed, 1 if not, 77 if this Python knows another Unicode.
"""

import argparse
import pathlib
import sys
import unicodedata

UNICODE_VERSION = "14.0.0"
PER_LINE = 12

HEAD = """\
// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Letters (general categories L*) and decimal digits (Nd) of Unicode 14.0; made by tools/make_character_table.py.

#ifndef ULLAGE_PLATFORM_CHARACTER_TABLE_H
#define ULLAGE_PLATFORM_CHARACTER_TABLE_H

// Ascending edges by turns: a run of letters and digits begins, and the first unit behind it.
constexpr char16_t kLetterDigitEdges[] = {
    // clang-format off
"""

TAIL = """\
    // clang-format on
};

#endif
"""


def is_letter_or_digit(code):
    category = unicodedata.category(chr(code))
    return category.startswith("L") or category == "Nd"


def edges():
    """The codes at which the class changes, from none at 0; the last run ends before 0xFFFF."""
    marks = [is_letter_or_digit(code) for code in range(0x10000)]
    found = [code for code in range(1, 0x10000) if marks[code] != marks[code - 1]]
    assert not marks[0] and not marks[-1] and len(found) % 2 == 0
    return found


def table():
    codes = [f"0x{code:04X}," for code in edges()]
    lines = [" ".join(codes[i : i + PER_LINE]) for i in range(0, len(codes), PER_LINE)]
    return HEAD + "".join(f"    {line}\n" for line in lines) + TAIL


def main():
    parser = argparse.ArgumentParser(description="Print the table of letters and decimal digits.")
    parser.add_argument("--check", metavar="FILE", type=pathlib.Path, help="compare with FILE instead of printing")
    arguments = parser.parse_args()
    if unicodedata.unidata_version != UNICODE_VERSION:
        print(
            f"SKIPPED: this Python knows Unicode {unicodedata.unidata_version}; the table needs {UNICODE_VERSION} "
            "(Python 3.11).",
            file=sys.stderr,
        )
        return 77
    if arguments.check is None:
        sys.stdout.write(table())
        return 0
    if arguments.check.read_text(encoding="utf-8") == table():
        return 0
    print(f"{arguments.check} is out of date: python3 tools/make_character_table.py > {arguments.check}", file=sys.stderr)
    return 1


if __name__ == "__main__":
    sys.exit(main())
