// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// What if missing values were not as the model draws them, but shifted: delta adjustment.

#ifndef ULLAGE_HOST_ANSWER_DELTA_H
#define ULLAGE_HOST_ANSWER_DELTA_H

#include <string>
#include <string_view>
#include <vector>

#include "ullage/host/run/bounded_cells.h"
#include "ullage/host/run/completed_tables.h"
#include "ullage/host/run/run_record.h"

namespace ullage::host {

/** A series of shifts of one column. */
struct Delta {
    std::string target;          ///< the column, or LEVEL:COLUMN
    std::vector<double> shifts;  ///< in the units of the transformed column; at least one
};

/** Read "COL=0,0.5,1" or "LEVEL:COL=1".
 * @throws Error  usage with the form that is wanted */
[[nodiscard]] Delta parse_delta(std::string_view text);

/** One shift for each of several series. */
using Scenario = std::vector<double>;

/** All combinations of the shifts, the last series changing fastest; a single one, without shifts, if there is no
 * series.
 * @throws Error  usage if there are more than 1,000, or two series of one target */
[[nodiscard]] std::vector<Scenario> scenarios_of(const std::vector<Delta> &deltas);

/** "y=0.5 b:x=1" */
[[nodiscard]] std::string name_of(const std::vector<Delta> &deltas, const Scenario &scenario);

/**
 * Shift the imputed values of cells of which nothing was known (Carpenter and Kenward 2013, Multiple Imputation and its
 * Application, chapter 10): transformed, moved, and taken back. Bounded cells stay as they are drawn, as does
 * everything else of the row.
 *
 * @param bounds  all bounded cells of the run
 * @throws Error  usage if a series names no column of numbers of the model, or no level; data, with the row, if a value
 *                leaves the range of the transformation or the limits of its column
 */
void shift_missing(CompletedTables &tables, const RunRecord &record, const std::vector<BoundedCell> &bounds,
                   const std::vector<Delta> &deltas, const Scenario &scenario);

}  // namespace ullage::host

#endif
