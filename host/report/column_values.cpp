// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The values of a column, sorted, summed up and counted in bins.

#include "ullage/host/report/column_values.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "ullage/host/report/page_pieces.h"

namespace ullage::host {
namespace {

constexpr std::size_t kBins = 30;  // of a histogram, at most

}  // namespace

ColumnValues values_of(const RunResults &results, std::size_t index) {
    ColumnValues values;
    values.column = &results.tables.columns[results.tables.model[index]];
    values.is_log = results.record.columns[index].transformation == Transformation::log;
    const std::vector<std::int32_t> &hidden = values.column->hidden;
    std::vector<bool> is_bounded(hidden.size(), false);
    for (const BoundedCell &cell : results.bounds) {
        if (cell.column != static_cast<std::int32_t>(index)) continue;
        const auto found = std::lower_bound(hidden.begin(), hidden.end(), cell.row);
        // Of separate files, a cell whose draws are all the same counts as observed.
        if (found == hidden.end() || *found != cell.row) continue;
        values.cells.push_back(&cell);
        values.places.push_back(static_cast<std::size_t>(found - hidden.begin()));
        is_bounded[values.places.back()] = true;
    }
    for (const double value : values.column->original) {
        if (!std::isnan(value)) values.observed.push_back(value);
    }
    for (const Values &imputation : values.column->imputed) {
        for (std::size_t h = 0; h < hidden.size(); ++h) {
            (is_bounded[h] ? values.bounded : values.missing).push_back(imputation[h]);
        }
    }
    std::sort(values.observed.begin(), values.observed.end());
    std::sort(values.missing.begin(), values.missing.end());
    std::sort(values.bounded.begin(), values.bounded.end());
    return values;
}

double order_statistic(const Values &sorted, double part) {
    if (sorted.empty()) return std::numeric_limits<double>::quiet_NaN();
    const auto rank = static_cast<std::size_t>(part * static_cast<double>(sorted.size()));
    return sorted[std::min(rank, sorted.size() - 1)];
}

std::string middle_words(const Values &sorted) {
    if (sorted.empty()) return "\u2013";
    return fmt::format("{} ({} to {})", number(order_statistic(sorted, 0.5)),
                       number(order_statistic(sorted, (1.0 - kWide) / 2.0)),
                       number(order_statistic(sorted, (1.0 + kWide) / 2.0)));
}

Values bin_edges(double low, double high, bool is_log) {
    Values edges;
    if (is_log) {
        const double first = std::log10(low);
        const double width = std::max((std::log10(high) - first) / (kBins - 4.0), 0.01);
        for (double i = 0.0; i <= kBins - 3.0; ++i) edges.push_back(std::pow(10.0, first + (i - 0.5) * width));
        return edges;
    }
    if (!(high > low)) return {low - 0.5, low + 0.5};
    const std::vector<Tick> ticks = round_ticks(low, high, kBins - 2);
    const double width = ticks.size() > 1 ? ticks[1].value - ticks[0].value : high - low;
    const double first = ticks.front().value > low ? ticks.front().value - width : ticks.front().value;
    for (double i = 0.0; edges.empty() || edges.back() <= high; ++i) edges.push_back(first + i * width);
    return edges;
}

Values bin_counts(const Values &sorted, const Values &edges) {
    Values counts;
    for (std::size_t i = 0; i + 1 < edges.size(); ++i) {
        counts.push_back(static_cast<double>(std::lower_bound(sorted.begin(), sorted.end(), edges[i + 1]) -
                                             std::lower_bound(sorted.begin(), sorted.end(), edges[i])));
    }
    return counts;
}

Line outline(const Values &edges, const Values &heights, std::string style) {
    Line line{{edges.front()}, {0.0}, std::move(style)};
    for (std::size_t i = 0; i < heights.size(); ++i) {
        line.x.insert(line.x.end(), {edges[i], edges[i + 1]});
        line.y.insert(line.y.end(), {heights[i], heights[i]});
    }
    line.x.push_back(edges.back());
    line.y.push_back(0.0);
    return line;
}

}  // namespace ullage::host
