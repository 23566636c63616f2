// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The bounded cells of a table, and the file of a run that keeps them: bounds.csv.

#ifndef ULLAGE_HOST_RUN_BOUNDED_CELLS_H
#define ULLAGE_HOST_RUN_BOUNDED_CELLS_H

#include <cstdint>
#include <string>
#include <vector>

#include "ullage/host/base/output_file.h"
#include "ullage/host/run/run_record.h"
#include "ullage/host/table/knowledge.h"
#include "ullage/host/table/table.h"

namespace ullage::host {

/** A hidden cell of which the table says something. */
struct BoundedCell {
    std::int32_t row;     ///< from 0
    std::int32_t column;  ///< of the model, from 0
    Knowledge knowledge;  ///< below, above, interval or ordered
    double lower;         ///< all numbers known: the cell's own, its column's and those that follow from its row
    double upper;
};

/** The bounded cells of a table, row by row and within a row by column. */
[[nodiscard]] std::vector<BoundedCell> find_bounded_cells(const Table &table, const HiddenCells &hidden);

/** Write bounds.csv: row (from 1), column, knowledge, lower and upper (-Inf and Inf where open) of each cell;
 * of a column of words the first and the last word that the cell may have. */
void write_bounded_cells(OutputFile &file, const Table &table, const std::vector<BoundedCell> &cells);

/**
 * Read DIR/bounds.csv.
 *
 * @throws Error  no_input if there is no such file, data if it is broken or not of the run that the record describes
 */
[[nodiscard]] std::vector<BoundedCell> read_bounded_cells(const std::string &directory, const RunRecord &record);

}  // namespace ullage::host

#endif
