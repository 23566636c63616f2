// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Observed and imputed cells in the plane of two columns.

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <set>
#include <utility>

#include "ullage/host/base/interrupt.h"
#include "ullage/host/base/words.h"
#include "ullage/host/report/page_pieces.h"
#include "ullage/host/report/sections.h"

namespace ullage::host {
namespace {

constexpr std::size_t kMostPairs = 8;   // that are drawn
constexpr std::size_t kMostDots = 300;  // of each kind in a plot

struct Pair {
    std::size_t first;
    std::size_t second;
    double correlation;
};

/** Each column with hidden cells beside the one that it is correlated with most; of these the strongest. */
std::vector<Pair> choose_pairs(const RunResults &results, const std::vector<DrawnMoments> &moments) {
    const RunRecord &record = results.record;
    const std::size_t columns = record.columns.size();
    std::vector<std::size_t> variables;
    for (std::size_t c = 0; c < columns; ++c) variables.push_back(record.variable_of(c));
    std::vector<Pair> pairs;
    std::set<std::pair<std::size_t, std::size_t>> taken;
    for (std::size_t c = 0; c < columns; ++c) {
        check_interrupt();
        if (results.tables.columns[results.tables.model[c]].hidden.empty() || record.columns[c].holds_words()) continue;
        Pair best{0, 0, 0.0};
        for (std::size_t other = 0; other < columns; ++other) {
            if (other == c || record.columns[other].holds_words()) continue;
            const double correlation = mean_correlation(record, moments, variables[c], variables[other]);
            if (std::fabs(correlation) > std::fabs(best.correlation)) best = {other, c, correlation};
        }
        if (best.correlation == 0.0 || !taken.insert(std::minmax(best.first, best.second)).second) continue;
        pairs.push_back(best);
    }
    std::stable_sort(pairs.begin(), pairs.end(),
                     [](const Pair &a, const Pair &b) { return std::fabs(a.correlation) > std::fabs(b.correlation); });
    pairs.resize(std::min(pairs.size(), kMostPairs));
    return pairs;
}

/** The rows by what is known of two of their cells: both observed, one missing, or else one bounded. */
std::array<std::vector<std::int32_t>, 3> divide_rows(const KnownCells &knowledge, const Pair &pair) {
    std::array<std::vector<std::int32_t>, 3> divided;
    for (std::size_t row = 0; row < knowledge[pair.first].size(); ++row) {
        const auto [less, more] = std::minmax(knowledge[pair.first][row], knowledge[pair.second][row]);
        const bool is_missing = less == Knowledge::missing || more == Knowledge::missing;
        divided[more == Knowledge::observed ? 0 : is_missing ? 1 : 2].push_back(static_cast<std::int32_t>(row));
    }
    return divided;
}

/** A cell's value in the first imputation. */
double value_at(const CompletedColumn &column, std::int32_t row) {
    const auto found = std::lower_bound(column.hidden.begin(), column.hidden.end(), row);
    if (found == column.hidden.end() || *found != row) return column.original[static_cast<std::size_t>(row)];
    return column.imputed[0][static_cast<std::size_t>(found - column.hidden.begin())];
}

/** An axis for the values of dots. */
Axis axis_of(const RunColumn &column, const std::vector<Line> &dots, bool is_x) {
    Axis axis{.label = column.name, .low = kOpen, .high = -kOpen};
    for (const Line &kind : dots) {
        for (const double value : is_x ? kind.x : kind.y) {
            axis.low = std::min(axis.low, value);
            axis.high = std::max(axis.high, value);
        }
    }
    axis.is_log = column.transformation == Transformation::log && axis.low > 0.0;
    if (axis.is_log || !can_be_drawn(axis)) return axis;
    const double margin = 0.03 * (axis.high - axis.low);
    axis.low -= margin;
    axis.high += margin;
    return axis;
}

std::string pair_figure(const RunResults &results, const RunCells &cells, const Pair &pair) {
    constexpr std::array<const char *, 3> kStyles = {"dots observed", "dots missing", "dots bounded"};
    const RunColumn &x = results.record.columns[pair.first];
    const RunColumn &y = results.record.columns[pair.second];
    const auto &columns = results.tables.columns;
    const std::vector<std::size_t> &model = results.tables.model;
    const auto divided = divide_rows(cells.knowledge, pair);
    Plot plot;
    bool is_thinned = false;
    for (std::size_t kind = 0; kind < divided.size(); ++kind) {
        const std::vector<std::int32_t> &rows = divided[kind];
        const std::size_t step = 1 + (rows.size() - 1) / kMostDots;
        is_thinned = is_thinned || (!rows.empty() && step > 1);
        Line dots{{}, {}, kStyles[kind]};
        for (std::size_t i = 0; i < rows.size(); i += step) {
            dots.x.push_back(value_at(columns[model[pair.first]], rows[i]));
            dots.y.push_back(value_at(columns[model[pair.second]], rows[i]));
        }
        if (!dots.x.empty()) plot.dots.push_back(std::move(dots));
    }
    plot.x = axis_of(x, plot.dots, true);
    plot.y = axis_of(y, plot.dots, false);
    plot.height = 230.0;
    plot.description = fmt::format(
        "Scatter plot of {} against {}, whose correlation is {}: {} with both cells observed, {} with a missing cell, "
        "{} with a bounded cell and no missing one.",
        y.name, x.name, fixed(pair.correlation, 2), count_of(divided[0].size(), "row"), divided[1].size(),
        divided[2].size());
    return make_figure(
        plot, "",
        fmt::format("Correlation {}{}", fixed(pair.correlation, 2),
                    is_thinned ? fmt::format("; every so many rows, {} of a kind at most", kMostDots) : ""));
}

}  // namespace

std::string pairs_of_columns(const RunResults &results, const RunCells &cells,
                             const std::vector<DrawnMoments> &moments) {
    std::string figures;
    bool has_bounded = false;
    for (const Pair &pair : choose_pairs(results, moments)) {
        figures += pair_figure(results, cells, pair);
        for (const std::size_t c : {pair.first, pair.second}) {
            has_bounded = has_bounded || !cells.bounded[c].empty();
        }
    }
    if (figures.empty()) return paragraph("There is no pair of columns of numbers one of which has imputed cells.");
    std::vector<std::pair<std::string, std::string>> keys = {{"dot dots observed", "both cells observed"},
                                                             {"dot dots missing", "one missing and imputed"}};
    if (has_bounded) keys.emplace_back("dot dots bounded", "one bounded and imputed");
    return soft_paragraph(
               "Columns of numbers with imputed cells, each against the one that it is correlated with most; values of "
               "the first "
               "imputation. Imputed cells belong into the cloud of the observed ones or, where the known cell of the "
               "row is unusual, into what continues it. Correlations are those of the model" +
               std::string(results.record.by ? ", within levels." : ".")) +
           make_keys(keys) + side_by_side(figures);
}

}  // namespace ullage::host
