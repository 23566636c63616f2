// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The language of a cell: numbers, and what a cell can say instead of one.

#ifndef ULLAGE_HOST_TABLE_READ_CELL_H
#define ULLAGE_HOST_TABLE_READ_CELL_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ullage::host {

/** One bound as a cell states it: by a number, or by the name of another column. */
struct StatedBound {
    bool is_upper;
    double limit;            ///< if there is no name
    std::string_view other;  ///< name of a column, or empty
    bool or_equal = false;   ///< the cell may also equal it
};

enum class CellKind {
    missing,  ///< only for a cell whose every bound is open, such as "[-inf, inf]"
    bounds,
    word,       ///< text that does not look like a number
    malformed,  ///< text that was meant to be a number or a bound
};

/** What a cell says. */
struct CellContent {
    CellKind kind = CellKind::word;
    std::vector<StatedBound> bounds;
    bool is_number_like = false;  ///< of a malformed cell: made of digits and signs alone, such as "0,5"
    std::string message;          ///< of a malformed cell: what is wrong and what to do
};

/** Read a cell that is neither a number nor a missing word. The result refers to the text. */
[[nodiscard]] CellContent parse_cell(std::string_view text);

}  // namespace ullage::host

#endif
