// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The values of a column, summed up and counted in bins.

#include "ullage/host/report/column_values.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <span>
#include <utility>

#include "ullage/host/base/interrupt.h"
#include "ullage/host/report/page_pieces.h"

namespace ullage::host {
namespace {

constexpr std::size_t kBins = 30;                    // of a histogram, at most
constexpr double kTail = 0.05;                       // part of the values that lies beyond each end of the central 90%
constexpr std::size_t kHeld = std::size_t{1} << 20;  // draws that are held rather than read in each pass, at most

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

/** A number for a value, larger for a larger value, and the same for both zeros. */
std::uint64_t order_key(double value) {
    const auto bits = std::bit_cast<std::uint64_t>(value + 0.0);
    return (bits >> 63) != 0 ? ~bits : bits | (std::uint64_t{1} << 63);
}

double value_of_key(std::uint64_t key) {
    return std::bit_cast<double>((key >> 63) != 0 ? key & ~(std::uint64_t{1} << 63) : ~key);
}

/**
 * The values of some ranks, from 0: their keys are found digit by digit, the highest first, by counting in each pass
 * the values whose digits before are the same.
 */
template <std::size_t count>
std::array<double, count> values_of_ranks(const ValuePasses &values, std::array<std::size_t, count> ranks) {
    constexpr int digit_bits = 11;
    constexpr int digits = 6;
    std::array<std::uint64_t, count> keys{};  // the digits found, from the highest
    for (int digit = digits - 1; digit >= 0; --digit) {
        std::vector<std::array<std::size_t, std::size_t{1} << digit_bits>> counts(count);
        values.for_each([&](double value) {
            const std::uint64_t key = order_key(value) >> (digit * digit_bits);
            for (std::size_t i = 0; i < count; ++i) {
                if (key >> digit_bits == keys[i]) ++counts[i][key & ((1U << digit_bits) - 1)];
            }
        });
        for (std::size_t i = 0; i < count; ++i) {
            std::uint64_t found = 0;
            for (; ranks[i] >= counts[i][found]; ++found) ranks[i] -= counts[i][found];
            keys[i] = (keys[i] << digit_bits) | found;
        }
    }
    std::array<double, count> found{};
    std::ranges::transform(keys, found.begin(), value_of_key);
    return found;
}

}  // namespace

void ValuePasses::for_each_part(const Act &act) const {
    check_interrupt();
    if (size_ > 0) pass_(act);
}

Summary sum_up(const ValuePasses &values) {
    constexpr double unknown = std::numeric_limits<double>::quiet_NaN();
    Summary summary{values.size(), unknown, unknown, unknown, unknown, unknown, unknown, unknown};
    if (values.empty()) return summary;
    summary.least = kOpen;
    summary.most = -kOpen;
    values.for_each([&](double value) {
        summary.least = std::min(summary.least, value);
        summary.most = std::max(summary.most, value);
    });
    // In units of the largest magnitude, so that no square is out of range.
    const double unit =
        std::max({std::fabs(summary.least), std::fabs(summary.most), std::numeric_limits<double>::denorm_min()});
    const auto count = static_cast<double>(values.size());
    double mean = 0.0;
    values.for_each([&](double value) { mean += value / unit / count; });
    double squares = 0.0;
    values.for_each([&](double value) { squares += (value / unit - mean) * (value / unit - mean); });
    summary.mean = mean * unit;
    if (values.size() > 1) summary.deviation = std::sqrt(squares / (count - 1.0)) * unit;
    const auto rank = [&](double probability) {
        return std::min(static_cast<std::size_t>(probability * count), values.size() - 1);
    };
    const auto middle = values_of_ranks<3>(values, {rank(kTail), rank(0.5), rank(1.0 - kTail)});
    summary.low = middle[0];
    summary.median = middle[1];
    summary.high = middle[2];
    return summary;
}

std::string middle_words(const Summary &summary) {
    if (summary.count == 0) return "\u2013";
    return fmt::format("{} ({} to {})", number(summary.median), number(summary.low), number(summary.high));
}

ValuePasses draws_of(const CompletedColumn &column, std::vector<std::size_t> places) {
    const std::size_t imputations = places.empty() ? 0 : column.imputed.size();
    const std::size_t size = places.size() * imputations;
    const ValuePasses read(size, [&column, imputations, places = std::move(places)](const ValuePasses::Act &act) {
        Values draws(places.size());
        for (std::size_t k = 0; k < imputations; ++k) {
            check_interrupt();
            const std::span<const double> imputation = column.imputed[k];
            std::ranges::transform(places, draws.begin(), [&](std::size_t place) { return imputation[place]; });
            act(draws);
        }
    });
    if (size > kHeld) return read;
    Values held;
    read.for_each_part([&](std::span<const double> part) { held.insert(held.end(), part.begin(), part.end()); });
    return {size, [held = std::move(held)](const ValuePasses::Act &act) { act(held); }};
}

ColumnValues values_of(const RunResults &results, const RunCells &cells, std::size_t index) {
    check_interrupt();
    ColumnValues values{};
    values.record = &results.record.columns[index];
    values.column = &results.tables.columns[results.tables.model[index]];
    const std::vector<std::int32_t> &hidden = values.column->hidden;
    std::vector<std::size_t> missing;
    std::size_t place = 0;
    for (const BoundedCell *cell : cells.bounded[index]) {
        for (; place < hidden.size() && hidden[place] < cell->row; ++place) missing.push_back(place);
        // Of separate files, a cell whose draws are all the same counts as observed.
        if (place == hidden.size() || hidden[place] != cell->row) continue;
        values.cells.push_back(cell);
        values.places.push_back(place);
        ++place;
    }
    for (; place < hidden.size(); ++place) missing.push_back(place);
    const std::vector<double> &original = values.column->original;
    const auto unknown =
        static_cast<std::size_t>(std::ranges::count_if(original, [](double value) { return std::isnan(value); }));
    values.observed = {original.size() - unknown, [&original](const ValuePasses::Act &act) {
                           // What lies between two hidden cells at a time.
                           auto begin = original.begin();
                           while (begin != original.end()) {
                               const auto known = [](double value) { return !std::isnan(value); };
                               begin = std::find_if(begin, original.end(), known);
                               const auto end = std::find_if_not(begin, original.end(), known);
                               act(std::span(begin, end));
                               begin = end;
                           }
                       }};
    values.missing = draws_of(*values.column, std::move(missing));
    values.bounded = draws_of(*values.column, values.places);
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

Values bin_counts(const ValuePasses &values, const Values &edges) {
    Values counts(edges.size() - 1, 0.0);
    values.for_each([&](double value) {
        const auto above = std::upper_bound(edges.begin(), edges.end(), value) - edges.begin();
        ++counts[static_cast<std::size_t>(std::clamp<std::ptrdiff_t>(above - 1, 0, std::ssize(counts) - 1))];
    });
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
