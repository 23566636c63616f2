// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The report of a run: one page for a reader who must decide whether to trust it.

#ifndef ULLAGE_HOST_REPORT_H
#define ULLAGE_HOST_REPORT_H

#include <string>
#include <vector>

#include "ullage/host/bounded_cells.h"
#include "ullage/host/impute.h"
#include "ullage/host/run_directory.h"

namespace ullage::host {

/** All that a report is made of. */
struct RunResults {
    RunRecord record;
    ParameterDraws draws;
    CompletedTables tables;
    std::vector<BoundedCell> bounds;
};

/**
 * Read the results of a run.
 *
 * @throws Error  as the readers of run.json, parameters.csv, the completed tables and bounds.csv
 */
[[nodiscard]] RunResults read_results(const std::string &directory);

/** The same results as long as they are in memory. Only the columns of the model are among the tables' columns. */
[[nodiscard]] RunResults gather_results(RunRecord record, const ModelTable &model, const Imputations &imputations);

/**
 * Make the report: a page of HTML that needs nothing besides itself, neither files, nor a network, nor scripts.
 *
 * Its sections: what was read, the patterns of missingness, what was assumed, whether the chains converged, what was
 * imputed, pooled means and correlations, warnings, how to reproduce the run. Where there are too few imputations or
 * rows to pool, the section says so. The same results give the same bytes.
 */
[[nodiscard]] std::string make_report(const RunResults &results);

}  // namespace ullage::host

#endif
