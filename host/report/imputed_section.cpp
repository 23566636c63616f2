// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// What was imputed, column by column.

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

#include "ullage/host/base/words.h"
#include "ullage/host/report/column_values.h"
#include "ullage/host/report/html_text.h"
#include "ullage/host/report/page_pieces.h"
#include "ullage/host/report/sections.h"

namespace ullage::host {
namespace {

constexpr std::size_t kMostIntervals = 14;  // of a column, drawn with their draws

/** Shares of observed and of imputed missing cells per bin. */
std::string shares_figure(const ColumnValues &values, const Axis &x, const Values &edges) {
    Plot plot;
    plot.x = x;
    double most = 0.0;
    const auto shares = [&](const Values &sorted) {
        Values heights = bin_counts(sorted, edges);
        for (double &height : heights) {
            height *= 100.0 / static_cast<double>(sorted.size());
            most = std::max(most, height);
        }
        return heights;
    };
    const Values observed = shares(values.observed);
    for (std::size_t i = 0; i < observed.size(); ++i) {
        if (observed[i] > 0.0) plot.bars.push_back({edges[i], edges[i + 1], 0.0, observed[i], "observed"});
    }
    plot.lines.push_back(outline(edges, shares(values.missing), "missing"));
    plot.y = {.label = "% of the cells of each kind", .high = 1.05 * most};
    plot.description =
        fmt::format("Histograms of {}. Observed: median and central 90% {}. Imputed for missing cells: {}.",
                    values.column->name, middle_words(values.observed), middle_words(values.missing));
    return make_figure(plot, "Observed cells against what was imputed for missing ones");
}

/** Counts of a completed table: observed, bounded and missing cells on top of each other. */
std::string completed_figure(const ColumnValues &values, const Axis &x, const Values &edges) {
    Plot plot;
    plot.x = x;
    const auto tables = static_cast<double>(values.column->imputed.size());
    Values base(edges.size() - 1, 0.0);
    const auto stack = [&](const Values &sorted, double weight, const char *style) {
        const Values counts = bin_counts(sorted, edges);
        for (std::size_t i = 0; i < counts.size(); ++i) {
            if (counts[i] == 0.0) continue;
            plot.bars.push_back({edges[i], edges[i + 1], base[i], base[i] + weight * counts[i], style});
            base[i] += weight * counts[i];
        }
    };
    stack(values.observed, 1.0, "observed");
    stack(values.bounded, 1.0 / tables, "bounded");
    stack(values.missing, 1.0 / tables, "missing");
    plot.y = {.label = "cells of a completed table", .high = 1.05 * *std::max_element(base.begin(), base.end())};
    plot.description = fmt::format(
        "Stacked histogram of {} completed. Observed: median and central 90% {}. Imputed for bounded cells: "
        "{}. Imputed for missing cells: {}.",
        values.column->name, middle_words(values.observed), middle_words(values.bounded), middle_words(values.missing));
    return make_figure(plot, "The column completed, on average over the imputations");
}

std::string interval_name(const BoundedCell &cell) {
    const bool has_lower = std::isfinite(cell.lower);
    const bool has_upper = std::isfinite(cell.upper);
    if (has_lower && has_upper) return fmt::format("{} to {}", number(cell.lower), number(cell.upper));
    if (has_lower) return "> " + number(cell.lower);
    if (has_upper) return "< " + number(cell.upper);
    return "by order";
}

/** The draws of bounded cells within their bounds; cells with the same bounds share a line. */
std::string intervals_figure(const ColumnValues &values, const Axis &x) {
    struct Group {
        const BoundedCell *cell;
        std::vector<std::size_t> places;
    };
    std::map<std::pair<double, double>, Group> found;
    for (std::size_t i = 0; i < values.cells.size(); ++i) {
        Group &group = found[{values.cells[i]->upper, values.cells[i]->lower}];
        group.cell = values.cells[i];
        group.places.push_back(values.places[i]);
    }
    std::vector<const Group *> groups;
    for (const auto &[ends, group] : found) groups.push_back(&group);
    // The most frequent are kept, in the order of their bounds.
    if (groups.size() > kMostIntervals) {
        std::vector<const Group *> frequent = groups;
        std::stable_sort(frequent.begin(), frequent.end(),
                         [](const Group *a, const Group *b) { return a->places.size() > b->places.size(); });
        const std::set<const Group *> kept(frequent.begin(), frequent.begin() + kMostIntervals);
        std::erase_if(groups, [&](const Group *group) { return !kept.contains(group); });
    }
    Plot plot;
    plot.x = x;
    std::vector<std::string> words;
    for (const Group *group : groups) {
        Values draws;
        for (const Values &imputation : values.column->imputed) {
            for (const std::size_t place : group->places) draws.push_back(imputation[place]);
        }
        std::sort(draws.begin(), draws.end());
        const auto y = static_cast<double>(plot.y.categories.size());
        const double median = order_statistic(draws, 0.5);
        plot.bars.push_back(
            {std::max(x.low, group->cell->lower), std::min(x.high, group->cell->upper), y + 0.12, y + 0.88, "range"});
        plot.bars.push_back({order_statistic(draws, (1.0 - kWide) / 2.0), order_statistic(draws, (1.0 + kWide) / 2.0),
                             y + 0.34, y + 0.66, "bounded"});
        plot.lines.push_back({{median, median}, {y + 0.12, y + 0.88}, "median"});
        const std::string name = interval_name(*group->cell);
        plot.y.categories.push_back(
            group->places.size() == 1 ? name : fmt::format("{} (\u00d7{})", name, group->places.size()));
        words.push_back(fmt::format("{}: {}", name, middle_words(draws)));
    }
    plot.height = 45.0 + std::max(2.0, static_cast<double>(groups.size())) * 22.0;
    plot.description = fmt::format("Bounds of cells of {} and the median and central 90% of their draws. {}.",
                                   values.column->name, fmt::join(words, "; "));
    return make_figure(plot, groups.size() < found.size()
                                 ? fmt::format("Bounds of cells and their draws; {} of {} bounds, the most frequent",
                                               groups.size(), found.size())
                                 : std::string("Bounds of cells and their draws"));
}

/** Where the draws of cells with two bounds lie between them; empty if there are no such cells. */
std::string place_figure(const ColumnValues &values) {
    Values places;
    std::size_t cells = 0;
    for (std::size_t i = 0; i < values.cells.size(); ++i) {
        const BoundedCell &cell = *values.cells[i];
        if (!std::isfinite(cell.lower) || !std::isfinite(cell.upper)) continue;
        ++cells;
        for (const Values &imputation : values.column->imputed) {
            places.push_back((imputation[values.places[i]] - cell.lower) / (cell.upper - cell.lower));
        }
    }
    if (places.empty()) return "";
    std::sort(places.begin(), places.end());
    Values edges;
    for (double i = 0.0; i <= 20.0; ++i) edges.push_back(i / 20.0);
    const Values counts = bin_counts(places, edges);
    Plot plot;
    double most = 0.0;
    for (std::size_t i = 0; i < counts.size(); ++i) {
        const double height = 100.0 * counts[i] / static_cast<double>(places.size());
        plot.bars.push_back({edges[i], edges[i + 1], 0.0, height, "bounded"});
        most = std::max(most, height);
    }
    plot.x = {.label = "place between the bounds: 0 lower, 1 upper"};
    plot.y = {.label = "% of the draws", .high = 1.05 * most};
    plot.description =
        fmt::format("Histogram of the place of the draws of {} between two bounds, of {}: median and central 90% {}.",
                    values.column->name, count_of(cells, "cell"), middle_words(places));
    return make_figure(plot, fmt::format("Where the draws of {} with two bounds lie", count_of(cells, "cell")));
}

}  // namespace

std::string what_was_imputed(const RunResults &results) {
    const RunRecord &record = results.record;
    std::vector<std::vector<Cell>> rows;
    std::vector<std::string> untouched;
    std::string figures;
    bool has_missing = false;
    bool has_bounded = false;
    for (std::size_t c = 0; c < record.columns.size(); ++c) {
        const ColumnValues values = values_of(results, c);
        if (values.missing.empty() && values.bounded.empty()) {
            untouched.push_back(record.columns[c].name);
            continue;
        }
        has_missing = has_missing || !values.missing.empty();
        has_bounded = has_bounded || !values.bounded.empty();
        rows.push_back({{record.columns[c].name},
                        {middle_words(values.observed)},
                        {middle_words(values.missing)},
                        {middle_words(values.bounded)}});

        double low = kOpen;
        double high = -kOpen;
        for (const Values *sorted : {&values.observed, &values.missing, &values.bounded}) {
            if (sorted->empty()) continue;
            low = std::min(low, sorted->front());
            high = std::max(high, sorted->back());
        }
        const bool is_log = values.is_log && low > 0.0;
        const Values edges = bin_edges(low, high, is_log);
        const Axis x{.label = record.columns[c].name, .low = edges.front(), .high = edges.back(), .is_log = is_log};
        figures += fmt::format("<h3>{}</h3>\n<div class=\"figures\">\n", html_escape(record.columns[c].name));
        if (!values.missing.empty()) figures += shares_figure(values, x, edges);
        if (!values.bounded.empty()) {
            figures += completed_figure(values, x, edges) + intervals_figure(values, x) + place_figure(values);
        }
        figures += "</div>\n";
    }
    if (rows.empty()) return paragraph("Nothing: every cell of the model is observed.");
    std::string html;
    if (!untouched.empty()) html += paragraph("Fully observed: " + join_names(untouched) + ".");
    html += make_table("Median, and in brackets the central 90%, of observed and imputed values",
                       {"Column", "Observed", "Imputed, missing", "Imputed, bounded"}, rows);
    html += soft_paragraph(
        fmt::format("Imputed values are those of all {}{}. Missing cells need not look like observed ones; where they "
                    "differ, the other cells of their rows should be able to explain it.",
                    count_words(record.imputations, "imputation"), record.by ? " and all levels" : ""));
    std::vector<std::pair<std::string, std::string>> keys = {{"observed", "observed"}};
    if (has_missing) keys.emplace_back("missing", "imputed, missing");
    if (has_bounded) {
        keys.emplace_back("bounded", "imputed, bounded (central 90%)");
        keys.emplace_back("range", "the bounds of a cell");
        keys.emplace_back("line median", "median of the draws");
    }
    return html + make_keys(keys) + figures;
}

}  // namespace ullage::host
