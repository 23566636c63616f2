// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Collecting what is known of the cells of a run.

#include "ullage/host/report/run_cells.h"

#include <algorithm>

#include "ullage/host/base/interrupt.h"

namespace ullage::host {

RunCells run_cells(const RunResults &results) {
    RunCells cells;
    for (const std::size_t place : results.tables.model) {
        check_interrupt();
        std::vector<Knowledge> &column = cells.knowledge.emplace_back(results.tables.rows, Knowledge::observed);
        for (const std::int32_t row : results.tables.columns[place].hidden) {
            column[static_cast<std::size_t>(row)] = Knowledge::missing;
        }
    }
    cells.bounded.resize(cells.knowledge.size());
    for (const BoundedCell &cell : results.bounds) {
        const auto column = static_cast<std::size_t>(cell.column);
        cells.knowledge[column][static_cast<std::size_t>(cell.row)] = cell.knowledge;
        cells.bounded[column].push_back(&cell);
    }
    for (std::vector<const BoundedCell *> &column : cells.bounded) {
        // A file that was edited may have them in any order, and one cell twice.
        std::ranges::stable_sort(column, {}, &BoundedCell::row);
        const auto is_same = [](const BoundedCell *a, const BoundedCell *b) { return a->row == b->row; };
        column.erase(std::unique(column.begin(), column.end(), is_same), column.end());
    }
    return cells;
}

}  // namespace ullage::host
