// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The sections of the report, each in a file of its own. Each gives the HTML below its heading.

#ifndef ULLAGE_HOST_REPORT_SECTIONS_H
#define ULLAGE_HOST_REPORT_SECTIONS_H

#include <string>
#include <vector>

#include "ullage/host/answer/diagnostics.h"
#include "ullage/host/report/drawn_moments.h"
#include "ullage/host/report/run_cells.h"
#include "ullage/host/run/run_results.h"
#include "ullage/host/table/knowledge.h"

namespace ullage::host {

[[nodiscard]] std::string what_was_read(const RunResults &results, const RunCells &cells);

/** The most frequent patterns of missingness, as a picture and as a table. */
[[nodiscard]] std::string patterns_of_missingness(const RunResults &results, const RunCells &cells);

[[nodiscard]] std::string what_was_assumed(const RunRecord &record, bool has_bounded_cells);

[[nodiscard]] std::string whether_it_converged(const RunRecord &record, const Diagnosis &diagnosis);

[[nodiscard]] std::string what_was_imputed(const RunResults &results, const RunCells &cells);

/** Observed and imputed cells in the plane of the pairs of columns that are correlated most. */
[[nodiscard]] std::string pairs_of_columns(const RunResults &results, const RunCells &cells,
                                           const std::vector<DrawnMoments> &moments);

/** Over-imputation, and columns against the normal distribution. */
[[nodiscard]] std::string whether_the_model_fits(const RunResults &results);

[[nodiscard]] std::string pooled_estimates(const RunResults &results, const Diagnosis &diagnosis);

[[nodiscard]] std::string how_to_reproduce(const RunRecord &record);

}  // namespace ullage::host

#endif
