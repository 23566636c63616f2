// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Writing the report, section by section.

#include "ullage/host/report/report.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <iterator>
#include <map>
#include <set>
#include <span>
#include <string_view>
#include <utility>

#include "ullage/host/answer/diagnostics.h"
#include "ullage/host/answer/pooling.h"
#include "ullage/host/base/error.h"
#include "ullage/host/base/words.h"
#include "ullage/host/model/model_table.h"
#include "ullage/host/model/parameter_names.h"
#include "ullage/host/report/report_style.h"
#include "ullage/host/report/svg_plot.h"

namespace ullage::host {
namespace {

constexpr std::size_t kMostPatterns = 20;        // that are drawn
constexpr std::size_t kMostPatternColumns = 40;  // above it only columns with hidden cells are drawn
constexpr std::size_t kMostParameters = 10;      // rows of the table of the worst
constexpr std::size_t kMostTraces = 4;           // parameters whose chains are drawn
constexpr std::size_t kMostPoints = 250;         // of the line of one chain
constexpr std::size_t kMostLags = 100;           // of an autocorrelation
constexpr std::size_t kMostIntervals = 14;       // of a column, drawn with their draws
constexpr std::size_t kLongTable = 60;           // rows above which a table is folded
constexpr std::size_t kBins = 30;                // of a histogram, at most
constexpr double kWide = 0.9;                    // part of the draws that the wide bar of an interval holds

using Values = std::vector<double>;

/** A section of the page. */
struct Section {
    const char *id;
    const char *title;
    std::string body = {};
};

// ---- Words and numbers -------------------------------------------------------------------------------------------

std::string number(double value) {
    if (std::isnan(value)) return "\u2013";
    if (std::isinf(value)) return value < 0.0 ? "\u2212\u221e" : "\u221e";
    const double magnitude = std::fabs(value);
    const std::string digits =
        magnitude >= 1000.0 && magnitude < 1e7 ? fmt::format("{:.0f}", magnitude) : fmt::format("{:.4g}", magnitude);
    return (value < 0.0 && digits != "0" ? "\u2212" : "") + digits;
}

std::string fixed(double value, int decimals) {
    if (!std::isfinite(value)) return number(value);
    const std::string digits = fmt::format("{:.{}f}", std::fabs(value), decimals);
    return (value < 0.0 && digits.find_first_of("123456789") != std::string::npos ? "\u2212" : "") + digits;
}

std::string percent(double part, double whole) {
    return whole > 0.0 ? fmt::format("{:.1f}%", 100.0 * part / whole) : "\u2013";
}

std::string fraction(double value) {
    return std::isfinite(value) ? fmt::format("{:.1f}%", 100.0 * value) : "\u2013";
}

std::string count_words(std::int64_t count, std::string_view noun) {
    return count_of(static_cast<std::size_t>(count), noun);
}

std::string paragraph(std::string_view text) {
    return fmt::format("<p>{}</p>\n", html_escape(text));
}

std::string soft_paragraph(std::string_view text) {
    return fmt::format("<p class=\"soft\">{}</p>\n", html_escape(text));
}

std::string list(const std::vector<std::string> &items) {
    std::string html = "<ul>\n";
    for (const std::string &item : items) html += fmt::format("<li>{}</li>\n", html_escape(item));
    return html + "</ul>\n";
}

std::string join_names(const std::vector<std::string> &names) {
    return fmt::format("{}", fmt::join(names, ", "));
}

/** A parameter with its level. */
std::string full_name(const ParameterDiagnosis &parameter) {
    return parameter.level.empty() ? parameter.name : fmt::format("{}, {}", parameter.name, parameter.level);
}

// ---- Tables and figures ------------------------------------------------------------------------------------------

/** A cell of a table; a bad one is marked. */
struct Cell {
    std::string text;
    bool is_bad = false;
};

/**
 * A table. The first columns of each row are its header; long tables are folded.
 *
 * @param texts  how many columns, from the left, hold words
 */
std::string make_table(const std::string &caption, const std::vector<std::string> &head,
                       const std::vector<std::vector<Cell>> &rows, std::size_t texts = 1) {
    std::string html = fmt::format(
        "<div class=\"scroll\" role=\"region\" aria-label=\"{0}\" tabindex=\"0\"><table><caption>{0}</caption>\n"
        "<thead><tr>",
        html_escape(caption));
    for (std::size_t c = 0; c < head.size(); ++c) {
        html += fmt::format("<th scope=\"col\"{}>{}</th>", c < texts ? " class=\"text\"" : "", html_escape(head[c]));
    }
    html += "</tr></thead>\n<tbody>\n";
    for (const std::vector<Cell> &row : rows) {
        html += "<tr>";
        for (std::size_t c = 0; c < row.size(); ++c) {
            const char *begin = c == 0          ? "<th scope=\"row\">"
                                : c < texts     ? "<td class=\"text\">"
                                : row[c].is_bad ? "<td class=\"bad\">"
                                                : "<td>";
            html += begin + html_escape(row[c].text) + (c == 0 ? "</th>" : "</td>");
        }
        html += "</tr>\n";
    }
    html += "</tbody></table></div>\n";
    if (rows.size() <= kLongTable) return html;
    return fmt::format("<details><summary>{} ({} rows)</summary>\n{}</details>\n", html_escape(caption), rows.size(),
                       html);
}

std::string make_figure(const Plot &plot, std::string_view caption) {
    const bool is_wide = plot.width > 360.0;
    const std::string svg = draw_plot(plot);
    return fmt::format(
        "<figure>{}<figcaption>{}</figcaption></figure>\n",
        is_wide
            ? fmt::format("<div class=\"scroll\" role=\"region\" aria-label=\"Figure\" tabindex=\"0\">{}</div>", svg)
            : svg,
        html_escape(caption));
}

/** The meaning of the looks of a figure: class of the style sheet, and words. */
std::string make_keys(const std::vector<std::pair<std::string, std::string>> &keys) {
    std::string html = "<ul class=\"keys\" aria-label=\"Key\">";
    for (const auto &[style, words] : keys) {
        const bool is_line = style.starts_with("line ");
        html +=
            fmt::format("<li><svg width=\"14\" height=\"12\" aria-hidden=\"true\">{}</svg>{}</li>",
                        is_line ? fmt::format("<polyline class=\"{}\" points=\"0,6 14,6\"/>", style.substr(5))
                                : fmt::format("<rect class=\"{}\" x=\"0\" y=\"0\" width=\"14\" height=\"12\"/>", style),
                        html_escape(words));
    }
    return html + "</ul>\n";
}

// ---- The values of a column --------------------------------------------------------------------------------------

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

/** The value below which a part of sorted values lies: the smallest that does, none between two. */
double order_statistic(const Values &sorted, double part) {
    if (sorted.empty()) return std::numeric_limits<double>::quiet_NaN();
    const auto rank = static_cast<std::size_t>(part * static_cast<double>(sorted.size()));
    return sorted[std::min(rank, sorted.size() - 1)];
}

/** Median and central range of sorted values, in words of numbers. */
std::string middle_words(const Values &sorted) {
    if (sorted.empty()) return "\u2013";
    return fmt::format("{} ({} to {})", number(order_statistic(sorted, 0.5)),
                       number(order_statistic(sorted, (1.0 - kWide) / 2.0)),
                       number(order_statistic(sorted, (1.0 + kWide) / 2.0)));
}

/** Edges of bins at round numbers that hold all of some sorted values. */
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

/** How many sorted values each bin holds; its lower edge belongs to it. */
Values bin_counts(const Values &sorted, const Values &edges) {
    Values counts;
    for (std::size_t i = 0; i + 1 < edges.size(); ++i) {
        counts.push_back(static_cast<double>(std::lower_bound(sorted.begin(), sorted.end(), edges[i + 1]) -
                                             std::lower_bound(sorted.begin(), sorted.end(), edges[i])));
    }
    return counts;
}

/** The outline of a histogram. */
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

// ---- Sections ----------------------------------------------------------------------------------------------------

/** What is known of each cell: column after column of the model, one element per row. */
std::vector<std::vector<Knowledge>> knowledge_of(const RunResults &results) {
    std::vector<std::vector<Knowledge>> knowledge;
    for (const std::size_t place : results.tables.model) {
        knowledge.emplace_back(results.tables.rows, Knowledge::observed);
        for (const std::int32_t row : results.tables.columns[place].hidden) {
            knowledge.back()[static_cast<std::size_t>(row)] = Knowledge::missing;
        }
    }
    for (const BoundedCell &cell : results.bounds) {
        knowledge[static_cast<std::size_t>(cell.column)][static_cast<std::size_t>(cell.row)] = cell.knowledge;
    }
    return knowledge;
}

std::string what_was_read(const RunResults &results, const std::vector<std::vector<Knowledge>> &knowledge) {
    const RunRecord &record = results.record;
    const std::size_t n = record.columns.size();
    std::string text = fmt::format("The table {} has {} and {} in the model", quote(record.input_name),
                                   count_words(record.rows, "row"), count_of(n, "column"));
    if (record.by) {
        text += fmt::format("; the column {} divides the rows into {}", quote(*record.by),
                            count_of(record.levels.size(), "level"));
    }
    std::string html = paragraph(text + ".");
    std::vector<std::vector<Cell>> rows;
    for (std::size_t c = 0; c < n; ++c) {
        std::array<std::size_t, kKnowledgeCount> counts{};
        for (const Knowledge known : knowledge[c]) ++counts[static_cast<std::size_t>(known)];
        std::vector<Cell> row = {{record.columns[c].name}};
        for (const std::size_t count : counts) row.push_back({fmt::format("{}", count)});
        row.push_back({percent(static_cast<double>(record.rows) - static_cast<double>(counts[0]),
                               static_cast<double>(record.rows))});
        rows.push_back(std::move(row));
    }
    html += make_table("Cells of each column by what the table says of them",
                       {"Column", "Observed", "Missing", "Below a limit", "Above a limit", "In an interval",
                        "Known by order", "Not observed"},
                       rows);
    if (record.by) {
        rows.clear();
        for (const RunLevel &level : record.levels) {
            rows.push_back({{level.name}, {fmt::format("{}", level.rows)}, {fmt::format("{}", level.complete_rows)}});
        }
        html += make_table("Rows of each level", {*record.by, "Rows", "Complete rows"}, rows);
    }
    return html;
}

std::string pattern_picture(const RunResults &results, const std::vector<std::vector<Knowledge>> &knowledge) {
    const RunRecord &record = results.record;
    std::map<std::string, std::size_t> found;
    std::string signs(knowledge.size(), ' ');
    for (std::size_t row = 0; row < results.tables.rows; ++row) {
        for (std::size_t c = 0; c < knowledge.size(); ++c) {
            signs[c] = kKnowledgeSigns[static_cast<std::size_t>(knowledge[c][row])];
        }
        ++found[signs];
    }
    std::vector<std::pair<std::string, std::size_t>> patterns(found.begin(), found.end());
    std::stable_sort(patterns.begin(), patterns.end(),
                     [](const auto &a, const auto &b) { return a.second > b.second; });
    const auto complete = found.find(std::string(knowledge.size(), kKnowledgeSigns[0]));
    const std::size_t complete_rows = complete == found.end() ? 0 : complete->second;

    std::vector<std::size_t> columns;
    for (std::size_t c = 0; c < knowledge.size(); ++c) {
        const bool has_hidden = record.columns[c].missing + record.columns[c].bounded > 0;
        if (has_hidden || knowledge.size() <= kMostPatternColumns) columns.push_back(c);
    }
    const std::size_t shown = std::min(patterns.size(), kMostPatterns);
    const auto all_rows = static_cast<double>(results.tables.rows);
    std::string html = paragraph(
        fmt::format("{} of {} ({}) {} complete. The rows show {}{}.", complete_rows,
                    count_of(results.tables.rows, "row"), percent(static_cast<double>(complete_rows), all_rows),
                    complete_rows == 1 ? "is" : "are", count_of(patterns.size(), "pattern"),
                    shown < patterns.size() ? fmt::format("; the {} most frequent are drawn", shown) : std::string()));
    if (columns.empty()) return html;

    constexpr std::array<const char *, kKnowledgeCount> kStyles = {"pattern observed", "pattern missing",
                                                                   "pattern bounded",  "pattern bounded",
                                                                   "pattern bounded",  "pattern bounded"};
    Plot plot;
    plot.description = fmt::format(
        "Patterns of missingness, {} columns by {} patterns, the most frequent first. The table below says the same.",
        columns.size(), shown);
    std::set<char> used;
    std::vector<std::vector<Cell>> rows;
    for (const std::size_t c : columns) plot.x.categories.push_back(record.columns[c].name);
    for (std::size_t p = 0; p < shown; ++p) {
        const auto &[pattern, count] = patterns[p];
        plot.y.categories.push_back(
            fmt::format("{} ({})", count_of(count, "row"), percent(static_cast<double>(count), all_rows)));
        std::vector<std::string> hidden;
        for (std::size_t i = 0; i < columns.size(); ++i) {
            const auto known = static_cast<std::size_t>(kKnowledgeSigns.find(pattern[columns[i]]));
            used.insert(pattern[columns[i]]);
            const auto x = static_cast<double>(i);
            const auto y = static_cast<double>(p);
            plot.bars.push_back({x, x + 1.0, y, y + 1.0, kStyles[known],
                                 known < 2 ? std::string() : std::string(1, kKnowledgeSigns[known])});
            if (known > 0)
                hidden.push_back(fmt::format("{} {}", record.columns[columns[i]].name, kKnowledgeNames[known]));
        }
        rows.push_back({{hidden.empty() ? "nothing" : join_names(hidden)},
                        {fmt::format("{}", count)},
                        {percent(static_cast<double>(count), all_rows)}});
    }
    const auto n = static_cast<double>(columns.size());
    plot.width = 100.0 + n * std::clamp(420.0 / n, 22.0, 52.0) + 40.0;
    plot.height = 100.0 + 20.0 * static_cast<double>(shown);
    std::vector<std::pair<std::string, std::string>> keys;
    for (std::size_t known = 0; known < kKnowledgeCount; ++known) {
        if (!used.contains(kKnowledgeSigns[known])) continue;
        keys.emplace_back(kStyles[known], known < 2
                                              ? kKnowledgeNames[known]
                                              : fmt::format("{} {}", kKnowledgeSigns[known], kKnowledgeNames[known]));
    }
    html += make_keys(keys) + make_figure(plot, "One line per pattern, one cell per column.");
    html += fmt::format(
        "<details><summary>The patterns as a table</summary>\n{}</details>\n",
        make_table("Patterns of missingness, the most frequent first", {"Not observed", "Rows", "Part"}, rows));
    return html;
}

std::string prior_words(const RunRecord &record) {
    if (record.prior == "jeffreys")
        return "Jeffreys' prior: nothing is assumed of means and covariance before the data.";
    if (record.prior.starts_with("ridge=")) {
        return fmt::format(
            "A ridge prior worth {} cases of uncorrelated columns: it draws the correlations towards zero by that "
            "much.",
            record.prior.substr(6));
    }
    return fmt::format("A normal / inverse Wishart prior that the user gave in the file {}.", quote(record.prior));
}

std::string what_was_assumed(const RunResults &results) {
    const RunRecord &record = results.record;
    const std::size_t n = record.columns.size();
    std::vector<std::string> items;
    items.push_back(fmt::format(
        "Model: the rows are independent draws from a multivariate normal distribution of {}{}.",
        n == 1 ? "the column" : fmt::format("the {} columns together", n),
        record.by ? fmt::format(", with means and covariance of its own for each level of {}", quote(*record.by))
                  : ""));
    items.emplace_back(
        "Missing cells: whether a cell is missing may depend on the observed cells of its row, not on its own value.");
    if (!results.bounds.empty()) {
        items.emplace_back(
            "Bounded cells: each is drawn from its exact conditional distribution between its bounds, jointly with the "
            "other hidden cells of its row. No value is moved to a bound.");
    }
    items.push_back("Prior: " + prior_words(record));
    constexpr std::array<const char *, 4> kWords = {"", "logarithm", "square root", "logit"};
    for (std::size_t t = 1; t < kWords.size(); ++t) {
        std::vector<std::string> names;
        for (const RunColumn &column : record.columns) {
            if (static_cast<std::size_t>(column.transformation) == t) names.push_back(column.name);
        }
        if (names.empty()) continue;
        items.push_back(fmt::format("Transformation: the {} is modelled, and taken back in all results, of {}.",
                                    kWords[t], join_names(names)));
    }
    for (const RunColumn &column : record.columns) {
        const bool has_lower = std::isfinite(column.lower);
        const bool has_upper = std::isfinite(column.upper);
        if (!has_lower && !has_upper) continue;
        items.push_back(fmt::format("Bounds: every imputed value of {} lies {}.", column.name,
                                    has_lower && has_upper
                                        ? fmt::format("between {} and {}", number(column.lower), number(column.upper))
                                    : has_lower ? "above " + number(column.lower)
                                                : "below " + number(column.upper)));
    }
    for (const std::string &rule : record.order) items.push_back(fmt::format("Order in every row: {}.", rule));
    items.push_back(fmt::format(
        "Computation: Bayesian data augmentation in {}, each from a start of its own; {} that did not count, then an "
        "imputation every {}.",
        count_words(record.chains, "chain"), count_words(record.burn_in, "iteration"),
        record.thin == 1 ? "iteration" : fmt::format("{} iterations", record.thin)));
    return list(items);
}

/** The chains of a parameter against the iteration. */
std::string trace_figure(const ParameterDiagnosis &parameter) {
    Plot plot;
    const std::size_t length = parameter.chains.front().size();
    const std::size_t step = 1 + (length - 1) / kMostPoints;
    double low = kOpen;
    double high = -kOpen;
    for (std::size_t c = 0; c < parameter.chains.size(); ++c) {
        Line line{{}, {}, fmt::format("c{}", c % 4 + 1)};
        for (std::size_t i = 0; i < length; i += step) {
            line.x.push_back(static_cast<double>(i + 1));
            line.y.push_back(parameter.chains[c][i]);
            low = std::min(low, line.y.back());
            high = std::max(high, line.y.back());
        }
        plot.lines.push_back(std::move(line));
    }
    const double margin = high > low ? 0.05 * (high - low) : std::max(1e-300, 0.5 * std::fabs(high));
    plot.y = {.label = full_name(parameter), .low = low - margin, .high = high + margin};
    plot.x = {.label = "iteration after burn-in", .low = 0.0, .high = static_cast<double>(length)};
    plot.description = fmt::format("Trace of {} in {}: the draws lie between {} and {}.", full_name(parameter),
                                   count_of(parameter.chains.size(), "chain"), number(low), number(high));
    return make_figure(plot, fmt::format("{}: R-hat {}, effective draws {}{}", full_name(parameter),
                                         fixed(parameter.convergence.rhat, 3), fixed(parameter.convergence.ess_bulk, 0),
                                         step > 1 ? fmt::format("; every {}th draw", step) : ""));
}

std::string autocorrelation_figure(const ParameterDiagnosis &parameter, int thin) {
    const std::size_t length = parameter.chains.front().size();
    const std::size_t most = std::min({length - 1, kMostLags, static_cast<std::size_t>(std::max(20, 2 * thin))});
    Line line{{}, {}, "missing"};
    double low = 0.0;
    for (std::size_t lag = 0; lag <= most; ++lag) {
        line.x.push_back(static_cast<double>(lag));
        line.y.push_back(autocorrelation(parameter.chains, lag));
        low = std::min(low, line.y.back());
    }
    Plot plot;
    plot.x = {.label = "lag, iterations", .low = 0.0, .high = static_cast<double>(std::max<std::size_t>(most, 1))};
    plot.y = {.label = "autocorrelation of " + full_name(parameter), .low = std::min(-0.2, low), .high = 1.0};
    plot.lines.push_back({{0.0, plot.x.high}, {0.0, 0.0}, "axis"});
    const auto at = static_cast<double>(thin);
    if (static_cast<std::size_t>(thin) <= most) {
        plot.lines.push_back({{at, at}, {plot.y.low, 1.0}, "mark"});
    }
    plot.lines.push_back(std::move(line));
    plot.description = fmt::format(
        "Autocorrelation of {}: {} at lag 1, {} at lag {}, from one imputation of a chain to the next.",
        full_name(parameter), fixed(parameter.autocorrelation, 2), fixed(parameter.autocorrelation_thin, 2), thin);
    return make_figure(plot, fmt::format("{} at lag {} (dashed), from one imputation of a chain to the next",
                                         fixed(parameter.autocorrelation_thin, 2), thin));
}

std::string whether_it_converged(const RunResults &results, const Diagnosis &diagnosis) {
    const RunRecord &record = results.record;
    double rhat = 0.0;
    double bulk = kOpen;
    double tail = kOpen;
    std::size_t bad = 0;
    for (const ParameterDiagnosis &parameter : diagnosis.parameters) {
        // Comparisons that leave out what cannot be judged.
        if (parameter.convergence.rhat > rhat) rhat = parameter.convergence.rhat;
        if (parameter.convergence.ess_bulk < bulk) bulk = parameter.convergence.ess_bulk;
        if (parameter.convergence.ess_tail < tail) tail = parameter.convergence.ess_tail;
        bad += parameter.bad ? 1 : 0;
    }
    const double least = kLeastEssPerChain * record.chains;
    std::string html;
    if (rhat > 0.0) {
        html += fmt::format(
            "<p class=\"verdict{}\">{}</p>\n", bad > 0 ? " bad" : "",
            html_escape(fmt::format(
                "{} Worst R-hat {} (good up to {}); least effective number of draws {} for the centre and {} for the "
                "tails of a distribution (good from {:.0f}).",
                bad == 0 ? fmt::format("All {} parameters pass.", diagnosis.parameters.size())
                         : fmt::format("{} of {} parameters {} not pass.", bad, diagnosis.parameters.size(),
                                       bad == 1 ? "does" : "do"),
                fixed(rhat, 3), kWorstRhat, fixed(bulk, 0), fixed(tail, 0), least)));
    } else {
        html +=
            "<p class=\"verdict bad\">Convergence cannot be judged: the chains are too short, or their draws are all "
            "the same.</p>\n";
    }
    html += soft_paragraph(
        "Parameters are the means, variances and correlations on the scale of the model. R-hat compares the chains "
        "with "
        "each other and is 1 when they agree; the effective number is that of independent draws that would tell as "
        "much.");
    std::vector<std::vector<Cell>> rows;
    for (std::size_t i = 0; i < std::min(kMostParameters, diagnosis.parameters.size()); ++i) {
        const ParameterDiagnosis &parameter = diagnosis.parameters[i];
        const Convergence &convergence = parameter.convergence;
        rows.push_back({{full_name(parameter)},
                        {number(parameter.mean)},
                        {number(parameter.error)},
                        {fixed(convergence.rhat, 3), convergence.rhat > kWorstRhat},
                        {fixed(convergence.ess_bulk, 0), convergence.ess_bulk < least},
                        {fixed(convergence.ess_tail, 0), convergence.ess_tail < least},
                        {fixed(parameter.autocorrelation, 2)},
                        {fixed(parameter.autocorrelation_thin, 2)}});
    }
    html += make_table(
        fmt::format("The {} of {} that are worst off", count_of(rows.size(), "parameter"), diagnosis.parameters.size()),
        {"Parameter", "Mean", "Monte Carlo error", "R-hat", "Effective, centre", "Effective, tails",
         "Autocorrelation at lag 1", fmt::format("at lag {}", record.thin)},
        rows);
    std::vector<std::pair<std::string, std::string>> keys;
    for (int chain = 1; chain <= std::min(record.chains, 4); ++chain) {
        keys.emplace_back(fmt::format("line c{}", chain), record.chains > 4
                                                              ? fmt::format("chains {}, {}, ...", chain, chain + 4)
                                                              : fmt::format("chain {}", chain));
    }
    html += make_keys(keys) + "<div class=\"figures pairs\">\n";
    for (std::size_t i = 0; i < std::min(kMostTraces, diagnosis.parameters.size()); ++i) {
        const ParameterDiagnosis &parameter = diagnosis.parameters[i];
        if (parameter.chains.front().size() < 2) break;
        html += trace_figure(parameter) + autocorrelation_figure(parameter, record.thin);
    }
    return html + "</div>\n";
}

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

std::string pooled_table(const RunRecord &record, const std::string &caption, const std::vector<PooledRow> &pooled,
                         int decimals) {
    std::vector<std::vector<Cell>> rows;
    const auto show = [&](double value) { return decimals > 0 ? fixed(value, decimals) : number(value); };
    for (const PooledRow &row : pooled) {
        std::vector<Cell> cells;
        if (record.by) cells.push_back({row.level});
        cells.push_back({row.name});
        const Pooled &p = row.pooled;
        for (const double value : {p.estimate, p.standard_error, p.lower, p.upper}) cells.push_back({show(value)});
        cells.push_back({std::isfinite(p.df) ? fixed(p.df, 1) : number(p.df)});
        cells.push_back({fraction(p.fmi)});
        rows.push_back(std::move(cells));
    }
    std::vector<std::string> head = {"Quantity", "Estimate", "Standard error", "95% from", "to", "df", "FMI"};
    if (record.by) head.insert(head.begin(), *record.by);
    return make_table(caption, head, rows, record.by ? 2 : 1);
}

std::string pooled_estimates(const RunResults &results, const Diagnosis &diagnosis) {
    const RunRecord &record = results.record;
    if (record.imputations < 2) return paragraph("Pooling needs at least 2 imputations, and there is one.");
    std::string html = paragraph(
        "Pooled over the completed tables by Rubin's rules, in the units of the file. FMI is the fraction of missing "
        "information: how much of the uncertainty is there because cells were not observed.");
    const auto add = [&](const std::string &caption, const PoolRequest &request, int decimals) {
        try {
            html += pooled_table(record, caption, pool_moments(results.tables, request), decimals);
        } catch (const Error &error) {
            html += paragraph(fmt::format("{}: {}.", caption, error.what()));
        }
    };
    PoolRequest means;
    means.means = true;
    add("Means", means, 0);
    PoolRequest correlations;
    correlations.correlations = true;
    if (record.columns.size() > 1) add("Correlations", correlations, 3);
    for (const WorstCombination &worst : diagnosis.worst) {
        if (!std::isfinite(worst.fmi)) continue;
        std::vector<std::string> terms;
        for (std::size_t c = 0; c < worst.weights.size(); ++c) {
            if (std::fabs(worst.weights[c]) < 0.1) continue;
            terms.push_back(fmt::format("{} {}", fixed(worst.weights[c], 2), record.columns[c].transformed_name()));
        }
        html += paragraph(fmt::format(
            "The combination of means that lost most, {} of its information{}: {}.", fraction(worst.fmi),
            record.by ? fmt::format(", in {} {}", quote(*record.by), quote(worst.level)) : "", join_names(terms)));
    }
    if (diagnosis.recommended > 0) {
        html +=
            paragraph(fmt::format("For standard errors that would come out the same within 5% in another run, {} are "
                                  "recommended (largest FMI "
                                  "of a mean {}, upper limit {}); there are {}.",
                                  count_words(diagnosis.recommended, "imputation"), fraction(diagnosis.largest_fmi),
                                  fraction(diagnosis.upper_fmi), diagnosis.imputations));
    }
    return html;
}

/** A word of a command as a shell takes it. */
std::string shell_word(const std::string &word) {
    const bool is_plain = !word.empty() && std::all_of(word.begin(), word.end(), [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
               std::string_view("-_./=,:+@%").find(c) != std::string_view::npos;
    });
    if (is_plain) return word;
    std::string quoted = "'";
    for (const char c : word) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

std::string how_to_reproduce(const RunResults &results) {
    const RunRecord &record = results.record;
    std::string html;
    if (!record.command.empty()) {
        std::vector<std::string> words;
        bool has_seed = false;
        for (const std::string &word : record.command) {
            words.push_back(shell_word(word));
            has_seed = has_seed || word.starts_with("--seed");
        }
        html += paragraph(has_seed ? "The command:" : "The command, with the seed that the program had chosen added:");
        if (!has_seed) words.push_back(fmt::format("--seed {}", record.seed));
        html += fmt::format("<pre tabindex=\"0\" aria-label=\"Command\"><code>{}</code></pre>\n",
                            html_escape(fmt::format("{}", fmt::join(words, " "))));
    }
    const std::vector<std::pair<std::string, std::string>> facts = {
        {"Program", "ullage " + record.version},
        {"Random streams", fmt::format("version {}", record.stream_version)},
        {"Seed", fmt::format("{}", record.seed)},
        {"Input", fmt::format("{}, {} bytes", record.input_name, record.input_bytes)},
        {"SHA-256", record.input_sha256},
        {"Chains", fmt::format("{}, burn-in {}, thinning {}", record.chains, record.burn_in, record.thin)},
        {"Imputations", fmt::format("{}", record.imputations)},
        {"Prior", record.prior},
        {"Time", fmt::format("{:.1f} s", record.seconds)}};
    html += "<dl>\n";
    for (const auto &[name, value] : facts) {
        html += fmt::format("<dt>{}</dt><dd>{}</dd>\n", name, html_escape(value));
    }
    return html + "</dl>\n" +
           paragraph(
               "The same program, input, settings and seed give the same imputations, whatever the number of "
               "processes. run.json has all settings, parameters.csv the draws of the parameters, bounds.csv what "
               "is known of bounded cells.");
}

}  // namespace

std::string make_report(const RunResults &results) {
    const RunRecord &record = results.record;
    const Diagnosis diagnosis = diagnose(record, results.draws, &results.tables);
    const std::vector<std::vector<Knowledge>> knowledge = knowledge_of(results);
    std::vector<std::string> warnings = record.input_warnings;
    warnings.insert(warnings.end(), diagnosis.warnings.begin(), diagnosis.warnings.end());
    const std::vector<Section> sections = {
        {"read", "What was read", what_was_read(results, knowledge)},
        {"patterns", "Patterns of missingness", pattern_picture(results, knowledge)},
        {"assumed", "What was assumed", what_was_assumed(results)},
        {"converged", "Whether it converged", whether_it_converged(results, diagnosis)},
        {"imputed", "What was imputed", what_was_imputed(results)},
        {"pooled", "Pooled means and correlations", pooled_estimates(results, diagnosis)},
        {"warnings", "Warnings", warnings.empty() ? paragraph("None.") : list(warnings)},
        {"reproduce", "How to reproduce it", how_to_reproduce(results)},
    };
    std::string html = fmt::format(
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
        "<meta name=\"color-scheme\" content=\"light dark\">\n"
        "<link rel=\"icon\" href=\"data:,\">\n<title>Imputation of {0}</title>\n<style>{1}</style>\n</head>\n<body>\n"
        "<a class=\"skip\" href=\"#content\">Skip to the content</a>\n"
        "<header>\n<h1>Imputation of {0}</h1>\n",
        html_escape(std::filesystem::path(record.input_name).filename().string()), kReportStyle);
    std::int64_t hidden = 0;
    for (const RunColumn &column : record.columns) hidden += column.missing + column.bounded;
    html += paragraph(fmt::format("{} were imputed {} by ullage {}.", count_words(hidden, "cell"),
                                  record.imputations == 1 ? "once" : fmt::format("{} times", record.imputations),
                                  record.version));
    html += warnings.empty() ? "<p class=\"verdict\">No warnings.</p>\n"
                             : fmt::format("<p class=\"verdict bad\"><a href=\"#warnings\">{}</a></p>\n",
                                           count_of(warnings.size(), "warning"));
    html += "</header>\n<nav aria-label=\"Sections\">\n<ol>\n";
    for (const Section &section : sections) {
        html += fmt::format("<li><a href=\"#{}\">{}</a></li>\n", section.id, section.title);
    }
    html += "</ol>\n</nav>\n<main id=\"content\" tabindex=\"-1\">\n";
    for (const Section &section : sections) {
        html += fmt::format(
            "<section id=\"{0}\" aria-labelledby=\"{0}-title\">\n<h2 id=\"{0}-title\">{1}</h2>\n{2}"
            "</section>\n",
            section.id, section.title, section.body);
    }
    return html + "</main>\n</body>\n</html>\n";
}

}  // namespace ullage::host
