// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The values of a column of the model, by what was known of them.

#ifndef ULLAGE_HOST_REPORT_COLUMN_VALUES_H
#define ULLAGE_HOST_REPORT_COLUMN_VALUES_H

#include <cstddef>
#include <string>
#include <vector>

#include "ullage/host/report/run_cells.h"
#include "ullage/host/report/svg_plot.h"
#include "ullage/host/run/run_results.h"

namespace ullage::host {

using Values = std::vector<double>;

/** Numbers that sum up values; all NaN if there are none. */
struct Summary {
    std::size_t count;
    double mean;
    double deviation;  ///< standard deviation; NaN of a single value
    double least;
    double low;  ///< 5% of the values are smaller
    double median;
    double high;  ///< 5% of the values are larger
    double most;
};

/** Sum up values, whose order changes. Sums neither overflow nor underflow. */
[[nodiscard]] Summary sum_up(Values &values);

/** Median and central 90%, in words of numbers. */
[[nodiscard]] std::string middle_words(const Summary &summary);

/** The values of a column of the model, by what was known of them; those of hidden cells are of all imputations. */
struct ColumnValues {
    const RunColumn *record;
    const CompletedColumn *column;
    Values observed;
    Values missing;
    Values bounded;
    Summary of_observed;
    Summary of_missing;
    Summary of_bounded;
    std::vector<const BoundedCell *> cells;  ///< the bounded ones
    std::vector<std::size_t> places;         ///< of those, in CompletedColumn::hidden
};

[[nodiscard]] ColumnValues values_of(const RunResults &results, const RunCells &cells, std::size_t index);

/** An axis for all values of a column, whose edges of bins it ends at; on a log scale if the column is modelled so. */
struct BinnedAxis {
    Axis axis;
    Values edges;  ///< of at most 30 bins, at round numbers where the axis is plain
};

[[nodiscard]] BinnedAxis bin(const ColumnValues &values);

/** How many values each bin holds. Its lower edge belongs to it, and to the last one its upper edge too. */
[[nodiscard]] Values bin_counts(const Values &values, const Values &edges);

/** The outline of a histogram. */
[[nodiscard]] Line outline(const Values &edges, const Values &heights, std::string style);

}  // namespace ullage::host

#endif
