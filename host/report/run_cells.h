// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// What is known of the cells of a run.

#ifndef ULLAGE_HOST_REPORT_RUN_CELLS_H
#define ULLAGE_HOST_REPORT_RUN_CELLS_H

#include <vector>

#include "ullage/host/run/run_results.h"
#include "ullage/host/table/knowledge.h"

namespace ullage::host {

/** The cells of the columns of the model. */
struct RunCells {
    KnownCells knowledge;
    std::vector<std::vector<const BoundedCell *>> bounded;  ///< of each column, by row; in RunResults::bounds
};

[[nodiscard]] RunCells run_cells(const RunResults &results);

}  // namespace ullage::host

#endif
