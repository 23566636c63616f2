// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// What was imputed, column by column.

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

#include "ullage/host/base/interrupt.h"
#include "ullage/host/base/words.h"
#include "ullage/host/report/column_values.h"
#include "ullage/host/report/page_pieces.h"
#include "ullage/host/report/sections.h"
#include "ullage/host/report/word_shares.h"

namespace ullage::host {
namespace {

constexpr std::size_t kMostColumns = 40;    // that are drawn
constexpr std::size_t kMostIntervals = 14;  // of a column, drawn with their draws

/** Shares of observed and of imputed missing cells per bin. */
std::string shares_figure(const ColumnValues &values, const BinnedAxis &x) {
    Plot plot;
    plot.x = x.axis;
    double most = 0.0;
    const auto shares = [&](const ValuePasses &of_kind) {
        Values heights = bin_counts(of_kind, x.edges);
        for (double &height : heights) {
            height *= 100.0 / std::max(1.0, static_cast<double>(of_kind.size()));
            most = std::max(most, height);
        }
        return heights;
    };
    const Values observed = shares(values.observed);
    for (std::size_t i = 0; i < observed.size(); ++i) {
        if (observed[i] > 0.0) plot.bars.push_back({x.edges[i], x.edges[i + 1], 0.0, observed[i], "observed"});
    }
    plot.lines.push_back(outline(x.edges, shares(values.missing), "missing"));
    plot.y = {.label = "% of the cells of each kind", .high = 1.05 * most};
    plot.description =
        fmt::format("Histograms of {}. Observed: median and central 90% {}. Imputed for missing cells: {}.",
                    values.column->name, middle_words(values.of_observed), middle_words(values.of_missing));
    return make_figure(plot, values.column->name);
}

/** Counts of a completed table: observed, bounded and missing cells on top of each other. */
std::string completed_figure(const ColumnValues &values, const BinnedAxis &x) {
    Plot plot;
    plot.x = x.axis;
    const auto tables = static_cast<double>(values.column->imputed.size());
    Values base(x.edges.size() - 1, 0.0);
    const auto stack = [&](const ValuePasses &of_kind, double weight, const char *style) {
        const Values counts = bin_counts(of_kind, x.edges);
        for (std::size_t i = 0; i < counts.size(); ++i) {
            if (counts[i] == 0.0) continue;
            plot.bars.push_back({x.edges[i], x.edges[i + 1], base[i], base[i] + weight * counts[i], style});
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
        values.column->name, middle_words(values.of_observed), middle_words(values.of_bounded),
        middle_words(values.of_missing));
    return make_figure(plot, values.column->name);
}

std::string interval_name(const BoundedCell &cell) {
    const bool has_lower = std::isfinite(cell.lower);
    const bool has_upper = std::isfinite(cell.upper);
    if (has_lower && has_upper) return fmt::format("{} to {}", number(cell.lower), number(cell.upper));
    if (has_lower) return "> " + number(cell.lower);
    if (has_upper) return "< " + number(cell.upper);
    return "by order";
}

/** Bounded cells that have the same bounds. */
struct SharedBounds {
    const BoundedCell *cell;
    std::vector<std::size_t> places;  // in CompletedColumn::hidden
};

/** The bounds of a column's cells, the lowest first; of many the most frequent. */
std::vector<SharedBounds> shared_bounds(const ColumnValues &values, std::size_t &all) {
    std::map<std::pair<double, double>, SharedBounds> found;
    for (std::size_t i = 0; i < values.cells.size(); ++i) {
        SharedBounds &group = found[{values.cells[i]->upper, values.cells[i]->lower}];
        group.cell = values.cells[i];
        group.places.push_back(values.places[i]);
    }
    all = found.size();
    std::vector<SharedBounds> groups;
    for (auto &[ends, group] : found) groups.push_back(std::move(group));
    if (groups.size() <= kMostIntervals) return groups;
    std::vector<std::size_t> sizes;
    for (const SharedBounds &group : groups) sizes.push_back(group.places.size());
    std::nth_element(sizes.begin(), sizes.begin() + kMostIntervals - 1, sizes.end(), std::greater<>());
    const std::size_t least = sizes[kMostIntervals - 1];
    auto room = static_cast<std::ptrdiff_t>(kMostIntervals);
    room -= std::count_if(groups.begin(), groups.end(), [&](const auto &group) { return group.places.size() > least; });
    std::erase_if(groups, [&](const SharedBounds &group) {
        return group.places.size() < least || (group.places.size() == least && room-- <= 0);
    });
    return groups;
}

/** The draws of bounded cells within their bounds; cells with the same bounds share a line. */
std::string intervals_figure(const ColumnValues &values, const Axis &x) {
    std::size_t all = 0;
    Plot plot;
    plot.x = x;
    std::vector<std::string> words;
    for (const SharedBounds &group : shared_bounds(values, all)) {
        const Summary summary = sum_up(draws_of(*values.column, group.places));
        const auto y = static_cast<double>(plot.y.categories.size());
        plot.bars.push_back(
            {std::max(x.low, group.cell->lower), std::min(x.high, group.cell->upper), y + 0.12, y + 0.88, "range"});
        plot.bars.push_back({summary.low, summary.high, y + 0.34, y + 0.66, "bounded"});
        plot.lines.push_back({{summary.median, summary.median}, {y + 0.12, y + 0.88}, "median"});
        const std::string name = interval_name(*group.cell);
        plot.y.categories.push_back(group.places.size() == 1 ? name
                                                             : fmt::format("{} (\u00d7{})", name, group.places.size()));
        words.push_back(fmt::format("{}: {}", name, middle_words(summary)));
    }
    const std::size_t shown = plot.y.categories.size();
    plot.height = 45.0 + std::max(2.0, static_cast<double>(shown)) * 22.0;
    plot.description = fmt::format("Bounds of cells of {} and the median and central 90% of their draws. {}.",
                                   values.column->name, fmt::join(words, "; "));
    return make_figure(plot, values.column->name,
                       shown < all ? fmt::format("{} of {} bounds, the most frequent", shown, all) : std::string());
}

/** Where a draw lies between the bounds of its cell, from 0 to 1. */
double place_between(const BoundedCell &cell, double draw) {
    // Halved, as the distance of two numbers may be beyond all numbers.
    return (draw / 2.0 - cell.lower / 2.0) / (cell.upper / 2.0 - cell.lower / 2.0);
}

/** Where the draws of cells with two bounds lie between them; empty if there are no such cells. */
std::string place_figure(const ColumnValues &values) {
    std::vector<const BoundedCell *> cells;
    std::vector<std::size_t> cell_places;
    for (std::size_t i = 0; i < values.cells.size(); ++i) {
        if (!std::isfinite(values.cells[i]->lower) || !std::isfinite(values.cells[i]->upper)) continue;
        cells.push_back(values.cells[i]);
        cell_places.push_back(values.places[i]);
    }
    if (cells.empty()) return "";
    const ValuePasses draws = draws_of(*values.column, std::move(cell_places));
    const ValuePasses places(draws.size(), [&](const ValuePasses::Act &act) {
        draws.for_each_part([&](std::span<const double> some) {
            Values between(some.size());
            for (std::size_t i = 0; i < between.size(); ++i) {
                between[i] = place_between(*cells[i % cells.size()], some[i]);
            }
            act(between);
        });
    });
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
    plot.x = {.label = "place between the bounds"};
    plot.y = {.label = "% of the draws", .high = 1.05 * most};
    const Summary summary = sum_up(places);
    plot.description =
        fmt::format("Histogram of the place of the draws of {} between two bounds, of {}: median and central 90% {}.",
                    values.column->name, count_of(cells.size(), "cell"), middle_words(summary));
    return make_figure(
        plot, values.column->name,
        fmt::format("{} with two bounds; 0 is the lower one, 1 the upper", count_of(cells.size(), "cell")));
}

/** One row of numbers for each kind of cells of a column. */
void add_summaries(const ColumnValues &values, std::vector<std::vector<Cell>> &rows) {
    const std::size_t first = rows.size();
    const Summary &observed = values.of_observed;
    const auto add = [&](const Summary &of_kind, const ValuePasses &draws, const char *kind) {
        if (of_kind.count == 0) return;
        std::vector<Cell> row = {{values.column->name, false, 0}, {kind}, {fmt::format("{}", of_kind.count)}};
        for (const double value : {of_kind.mean, of_kind.deviation, of_kind.low, of_kind.median, of_kind.high}) {
            row.push_back({number(value)});
        }
        std::size_t outside = 0;
        draws.for_each([&](double draw) { outside += draw < observed.least || draw > observed.most ? 1 : 0; });
        const auto count = static_cast<double>(of_kind.count);
        row.push_back({&of_kind == &observed
                           ? std::string()
                           : fmt::format("{} ({})", outside, percent(static_cast<double>(outside), count))});
        rows.push_back(std::move(row));
    };
    add(observed, values.observed, "observed");
    add(values.of_missing, values.missing, "imputed, missing");
    add(values.of_bounded, values.bounded, "imputed, bounded");
    rows[first][0].rows = rows.size() - first;
}

/** The figures of all columns, by what they show. */
struct ImputedFigures {
    std::string words;
    std::string shares;
    std::string completed;
    std::string intervals;
    std::string places;
};

void add_figures(const ColumnValues &values, ImputedFigures &figures) {
    if (values.record->holds_words()) {
        figures.words += word_figure(values);
        return;
    }
    const BinnedAxis x = bin(values);
    if (!values.missing.empty()) figures.shares += shares_figure(values, x);
    if (values.bounded.empty()) return;
    figures.completed += completed_figure(values, x);
    figures.intervals += intervals_figure(values, x.axis);
    figures.places += place_figure(values);
}

/** A group of figures under its heading; nothing if there are none. */
std::string figure_group(std::string_view title, std::string_view words,
                         const std::vector<std::pair<std::string, std::string>> &keys, std::string_view figures) {
    if (figures.empty()) return "";
    return heading(title) + soft_paragraph(words) + make_keys(keys) + side_by_side(figures);
}

std::string all_figures(const ImputedFigures &figures) {
    return figure_group("Words, observed against imputed", "Of each kind of cells the percentage that has a word.",
                        {{"observed", "observed"}, {"missing", "imputed, missing"}, {"bounded", "imputed, bounded"}},
                        figures.words) +
           figure_group("Observed against imputed", "Of each kind of cells the percentage in each bin.",
                        {{"observed", "observed"}, {"line missing", "imputed, missing"}}, figures.shares) +
           figure_group("Columns with bounded cells, completed", "On average over the imputations.",
                        {{"observed", "observed"}, {"bounded", "imputed, bounded"}, {"missing", "imputed, missing"}},
                        figures.completed) +
           figure_group(
               "Bounded cells and their draws", "Cells with the same bounds share a line.",
               {{"range", "the bounds"}, {"bounded", "central 90% of the draws"}, {"line median", "their median"}},
               figures.intervals) +
           figure_group("Where draws lie between two bounds", "Over all cells with two bounds and all imputations.", {},
                        figures.places);
}

/** The columns that are drawn: of many those with the most imputed cells. */
std::set<std::size_t> drawn_columns(const CompletedTables &tables) {
    const auto imputed = [&](std::size_t c) { return tables.columns[tables.model[c]].hidden.size(); };
    std::vector<std::size_t> columns;
    for (std::size_t c = 0; c < tables.model.size(); ++c) {
        if (imputed(c) > 0) columns.push_back(c);
    }
    std::ranges::stable_sort(columns, std::ranges::greater(), imputed);
    return {columns.begin(), columns.begin() + static_cast<std::ptrdiff_t>(std::min(kMostColumns, columns.size()))};
}

}  // namespace

std::string what_was_imputed(const RunResults &results, const RunCells &cells) {
    const RunRecord &record = results.record;
    const std::set<std::size_t> drawn = drawn_columns(results.tables);
    std::vector<std::vector<Cell>> rows;
    std::vector<std::vector<Cell>> word_rows;
    std::vector<std::string> untouched;
    ImputedFigures figures;
    std::size_t imputed = 0;
    for (std::size_t c = 0; c < record.columns.size(); ++c) {
        if (results.tables.columns[results.tables.model[c]].hidden.empty()) {
            untouched.push_back(record.columns[c].name);
            continue;
        }
        ++imputed;
        const ColumnValues values = values_of(results, cells, c);
        values.record->holds_words() ? add_word_shares(values, word_rows) : add_summaries(values, rows);
        if (drawn.contains(c)) add_figures(values, figures);
    }
    if (imputed == 0) return paragraph("Nothing: every cell of the model is observed.");
    std::string html;
    if (!untouched.empty()) html += paragraph("Fully observed: " + join_names(untouched) + ".");
    if (!rows.empty()) {
        html += make_table("Observed and imputed values of each column",
                           {"Column", "Cells", "Number", "Mean", "Standard deviation", "5%", "Median", "95%",
                            "Outside the observed range"},
                           rows, 2);
    }
    if (!word_rows.empty()) html += word_share_table(word_rows);
    html += soft_paragraph(fmt::format(
        "Imputed values are counted over {}{}. Missing cells need not look like observed ones; where they differ, the "
        "other cells of their rows should be able to explain it. Bounded cells lie within their bounds, often outside "
        "the observed range.",
        record.imputations == 1 ? "one imputation" : fmt::format("all {} imputations", record.imputations),
        record.by ? " and all levels" : ""));
    if (drawn.size() < imputed) {
        html += paragraph(fmt::format("The figures show the {} columns with the most imputed cells.", drawn.size()));
    }
    return html + all_figures(figures);
}

}  // namespace ullage::host
