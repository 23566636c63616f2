// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The results of a run, all together.

#ifndef ULLAGE_HOST_RUN_RUN_RESULTS_H
#define ULLAGE_HOST_RUN_RUN_RESULTS_H

#include <optional>
#include <string>
#include <vector>

#include "ullage/host/draw/impute.h"
#include "ullage/host/draw/overimpute.h"
#include "ullage/host/model/model_table.h"
#include "ullage/host/run/bounded_cells.h"
#include "ullage/host/run/completed_tables.h"
#include "ullage/host/run/parameter_file.h"
#include "ullage/host/run/run_record.h"

namespace ullage::host {

/** All that a run leaves, as it is read or as long as it is in memory. */
struct RunResults {
    RunRecord record;
    ParameterDraws draws;
    CompletedTables tables;
    std::vector<BoundedCell> bounds;
    std::optional<std::vector<OverimputedColumn>> overimputation;  ///< if there was one
};

/**
 * Read the results of a run.
 *
 * @throws Error  as the readers of run.json, parameters.csv, the completed tables, bounds.csv and overimputation.csv
 */
[[nodiscard]] RunResults read_results(const std::string &directory);

/** The draws of the parameters as parameters.csv has them. */
[[nodiscard]] ParameterDraws gather_draws(const ModelTable &model, const Imputations &imputations);

/** The same results of a run that has just been drawn, without over-imputation. The values of the hidden cells are read
 * where the imputations have them, so the cells of the model must outlive the results. Only the columns of the model
 * are among the tables' columns. */
[[nodiscard]] RunResults gather_results(RunRecord record, const ModelTable &model, const Imputations &imputations);

}  // namespace ullage::host

#endif
