// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Reading the cells of the candidates.

#ifndef ULLAGE_HOST_TABLE_READ_COLUMNS_H
#define ULLAGE_HOST_TABLE_READ_COLUMNS_H

#include <cstddef>
#include <vector>

#include "ullage/host/base/problems.h"
#include "ullage/host/table/column_choice.h"
#include "ullage/host/table/read_options.h"
#include "ullage/host/table/table.h"

namespace ullage::host {

/** What the cells of a candidate say. */
struct CandidateCells {
    std::size_t numbers = 0;  ///< cells with a number in them, malformed ones included
    std::size_t words = 0;    ///< cells that are neither numbers nor missing
    std::vector<double> values = {};
    std::vector<CellState> states = {};
    Problems problems = {};
};

/**
 * The cells of all candidates.
 *
 * The bounds are not yet those of a table: Bound::column is an index into the candidates, and Bound::other an operand,
 * a file column or, for a pair of limits, the number of file columns plus the index of its candidate.
 */
struct ReadCells {
    std::vector<CandidateCells> columns;  ///< one per candidate
    std::vector<Bound> bounds;            ///< row by row
    std::vector<std::size_t> bound_begin;
};

/** Read the cells of the candidates.
 * @throws Error  interrupted */
[[nodiscard]] ReadCells read_columns(const FileText &file, const FileColumns &columns,
                                     const std::vector<Candidate> &candidates, const ReadOptions &options);

/** Whether a cell, without the blanks around it, means that nothing is known. */
[[nodiscard]] bool is_missing(std::string_view text, const ReadOptions &options);

}  // namespace ullage::host

#endif
