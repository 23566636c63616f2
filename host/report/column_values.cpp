// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The values of a column, summed up and counted in bins.

#include "ullage/host/report/column_values.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "ullage/host/base/interrupt.h"
#include "ullage/host/report/page_pieces.h"

namespace ullage::host {
namespace {

constexpr std::size_t kBins = 30;  // of a histogram, at most
constexpr double kTail = 0.05;     // part of the values that lies beyond each end of the central 90%

/** Edges of at most kBins bins at round numbers, from at most low to at least high. */
Values round_edges(double low, double high) {
    const std::vector<Tick> ticks = round_ticks(low, high, kBins - 2);
    if (ticks.size() < 2) return {low, high};
    const double width = ticks[1].value - ticks[0].value;
    const double first = ticks.front().value > low ? ticks.front().value - width : ticks.front().value;
    Values edges;
    for (std::size_t i = 0; i <= kBins && (i < 2 || edges.back() < high); ++i) {
        edges.push_back(first + static_cast<double>(i) * width);
    }
    return edges;
}

/** Edges of bins of one width of logarithms. */
Values log_edges(double low, double high) {
    const double first = std::log10(low);
    const double width = std::max((std::log10(high) - first) / (kBins - 4.0), 0.01);
    Values edges;
    for (double i = 0.0; i <= kBins - 3.0; ++i) edges.push_back(std::pow(10.0, first + (i - 0.5) * width));
    return edges;
}

}  // namespace

Summary sum_up(Values &values) {
    constexpr double unknown = std::numeric_limits<double>::quiet_NaN();
    Summary summary{values.size(), unknown, unknown, unknown, unknown, unknown, unknown, unknown};
    if (values.empty()) return summary;
    const auto [least, most] = std::minmax_element(values.begin(), values.end());
    summary.least = *least;
    summary.most = *most;
    // In units of the largest magnitude, so that no square is out of range.
    const double unit = std::max({std::fabs(*least), std::fabs(*most), std::numeric_limits<double>::denorm_min()});
    const auto count = static_cast<double>(values.size());
    double mean = 0.0;
    for (const double value : values) mean += value / unit / count;
    double squares = 0.0;
    for (const double value : values) squares += (value / unit - mean) * (value / unit - mean);
    summary.mean = mean * unit;
    if (values.size() > 1) summary.deviation = std::sqrt(squares / (count - 1.0)) * unit;
    check_interrupt();
    // Each is looked for in what is above the one before it.
    auto begin = values.begin();
    for (const auto &[probability, place] :
         {std::pair(kTail, &summary.low), std::pair(0.5, &summary.median), std::pair(1.0 - kTail, &summary.high)}) {
        const auto rank = std::min(static_cast<std::size_t>(probability * count), values.size() - 1);
        const auto found = values.begin() + static_cast<std::ptrdiff_t>(rank);
        std::nth_element(begin, found, values.end());
        *place = *found;
        begin = found;
    }
    return summary;
}

std::string middle_words(const Summary &summary) {
    if (summary.count == 0) return "\u2013";
    return fmt::format("{} ({} to {})", number(summary.median), number(summary.low), number(summary.high));
}

ColumnValues values_of(const RunResults &results, const RunCells &cells, std::size_t index) {
    check_interrupt();
    ColumnValues values{};
    values.record = &results.record.columns[index];
    values.column = &results.tables.columns[results.tables.model[index]];
    const std::vector<std::int32_t> &hidden = values.column->hidden;
    std::vector<bool> is_bounded(hidden.size(), false);
    std::size_t place = 0;
    for (const BoundedCell *cell : cells.bounded[index]) {
        while (place < hidden.size() && hidden[place] < cell->row) ++place;
        // Of separate files, a cell whose draws are all the same counts as observed.
        if (place == hidden.size() || hidden[place] != cell->row) continue;
        values.cells.push_back(cell);
        values.places.push_back(place);
        is_bounded[place] = true;
    }
    for (const double value : values.column->original) {
        if (!std::isnan(value)) values.observed.push_back(value);
    }
    for (std::size_t k = 0; k < values.column->imputed.size(); ++k) {
        const std::span<const double> imputation = values.column->imputed[k];
        for (std::size_t h = 0; h < hidden.size(); ++h) {
            (is_bounded[h] ? values.bounded : values.missing).push_back(imputation[h]);
        }
    }
    values.of_observed = sum_up(values.observed);
    values.of_missing = sum_up(values.missing);
    values.of_bounded = sum_up(values.bounded);
    return values;
}

BinnedAxis bin(const ColumnValues &values) {
    double low = kOpen;
    double high = -kOpen;
    for (const Summary *summary : {&values.of_observed, &values.of_missing, &values.of_bounded}) {
        if (summary->count == 0) continue;
        low = std::min(low, summary->least);
        high = std::max(high, summary->most);
    }
    BinnedAxis binned;
    binned.axis = {.low = low, .high = high};
    binned.axis.is_log = values.record->transformation == Transformation::log && low > 0.0;
    if (low == high && std::fabs(low) < 1e15) {
        binned.edges = {low - 0.5, low + 0.5};
        binned.axis.is_log = false;
    } else if (!can_be_drawn(binned.axis)) {
        binned.edges = {low, high};  // of a figure that says so
    } else {
        binned.edges = binned.axis.is_log ? log_edges(low, high) : round_edges(low, high);
    }
    binned.axis.low = binned.edges.front();
    binned.axis.high = binned.edges.back();
    return binned;
}

Values bin_counts(const Values &values, const Values &edges) {
    Values counts(edges.size() - 1, 0.0);
    for (const double value : values) {
        const auto above = std::upper_bound(edges.begin(), edges.end(), value) - edges.begin();
        ++counts[static_cast<std::size_t>(std::clamp<std::ptrdiff_t>(above - 1, 0, std::ssize(counts) - 1))];
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
