// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The values of a column of the model, by what was known of them.

#ifndef ULLAGE_HOST_REPORT_COLUMN_VALUES_H
#define ULLAGE_HOST_REPORT_COLUMN_VALUES_H

#include <cstddef>
#include <string>
#include <vector>

#include "ullage/host/report/svg_plot.h"
#include "ullage/host/run/run_results.h"

namespace ullage::host {

using Values = std::vector<double>;

inline constexpr double kWide = 0.9;  ///< part of the draws that the wide bar of an interval holds

/** The values of a column of the model, by what was known of them. */
struct ColumnValues {
    Values observed;                         ///< sorted
    Values missing;                          ///< of all imputations, sorted
    Values bounded;                          ///< of all imputations, sorted
    std::vector<const BoundedCell *> cells;  ///< the bounded ones
    std::vector<std::size_t> places;         ///< of those, in CompletedColumn::hidden
    const CompletedColumn *column;
    bool is_log;
};

[[nodiscard]] ColumnValues values_of(const RunResults &results, std::size_t index);

/** The value below which a part of sorted values lies: the smallest that does, none between two. */
[[nodiscard]] double order_statistic(const Values &sorted, double part);

/** Median and central range of sorted values, in words of numbers. */
[[nodiscard]] std::string middle_words(const Values &sorted);

/** Edges of bins at round numbers that hold all of some sorted values. */
[[nodiscard]] Values bin_edges(double low, double high, bool is_log);

/** How many sorted values each bin holds; its lower edge belongs to it. */
[[nodiscard]] Values bin_counts(const Values &sorted, const Values &edges);

/** The outline of a histogram. */
[[nodiscard]] Line outline(const Values &edges, const Values &heights, std::string style);

}  // namespace ullage::host

#endif
