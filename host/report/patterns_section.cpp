// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The patterns of missingness.

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <span>

#include "ullage/host/base/words.h"
#include "ullage/host/report/page_pieces.h"
#include "ullage/host/report/sections.h"

namespace ullage::host {
namespace {

constexpr std::size_t kMostPatterns = 20;         // that are drawn
constexpr std::size_t kFewColumns = 40;           // up to it fully observed columns are drawn too
constexpr std::size_t kMostPatternColumns = 100;  // that are drawn
constexpr std::array<const char *, kKnowledgeCount> kStyles = {
    "pattern observed", "pattern missing", "pattern bounded", "pattern bounded", "pattern bounded", "pattern bounded"};

/** The columns that are drawn. */
std::vector<std::size_t> choose_columns(const CompletedTables &tables) {
    std::vector<std::size_t> columns;
    const std::size_t all = tables.model.size();
    for (std::size_t c = 0; c < all && columns.size() < kMostPatternColumns; ++c) {
        if (all <= kFewColumns || !tables.columns[tables.model[c]].hidden.empty()) columns.push_back(c);
    }
    return columns;
}

std::size_t kind_of(char sign) {
    return kKnowledgeSigns.find(sign);
}

/** One line for each pattern, one square for each column. */
Plot draw_patterns(const RunRecord &record, const std::vector<std::size_t> &columns,
                   std::span<const Pattern> patterns) {
    Plot plot;
    plot.description = fmt::format(
        "Patterns of missingness, {} columns by {} patterns, the most frequent first. The table below says the same.",
        columns.size(), patterns.size());
    for (const std::size_t c : columns) plot.x.categories.push_back(record.columns[c].name);
    for (std::size_t p = 0; p < patterns.size(); ++p) {
        const auto count = static_cast<double>(patterns[p].rows);
        plot.y.categories.push_back(fmt::format("{} ({})", count_of(patterns[p].rows, "row"),
                                                percent(count, static_cast<double>(record.rows))));
        for (std::size_t i = 0; i < columns.size(); ++i) {
            const char sign = patterns[p].signs[columns[i]];
            const auto x = static_cast<double>(i);
            const auto y = static_cast<double>(p);
            plot.bars.push_back({x, x + 1.0, y, y + 1.0, kStyles[kind_of(sign)],
                                 kind_of(sign) < 2 ? std::string() : std::string(1, sign)});
        }
    }
    const auto n = static_cast<double>(columns.size());
    plot.width = 100.0 + n * std::clamp(420.0 / n, 22.0, 52.0) + 40.0;
    plot.height = 100.0 + 20.0 * static_cast<double>(patterns.size());
    return plot;
}

std::string pattern_table(const RunRecord &record, std::span<const Pattern> patterns) {
    std::vector<std::vector<Cell>> rows;
    for (const auto &[signs, count] : patterns) {
        std::vector<std::string> hidden;
        for (std::size_t c = 0; c < signs.size(); ++c) {
            if (kind_of(signs[c]) == 0) continue;
            hidden.push_back(fmt::format("{} {}", record.columns[c].name, kKnowledgeNames[kind_of(signs[c])]));
        }
        rows.push_back({{hidden.empty() ? "nothing" : join_names(hidden)},
                        {fmt::format("{}", count)},
                        {percent(static_cast<double>(count), static_cast<double>(record.rows))}});
    }
    return make_table("Patterns of missingness, the most frequent first", {"Not observed", "Rows", "Part"}, rows);
}

/** The kinds of cells that the patterns have in the columns. */
std::string pattern_keys(const std::vector<std::size_t> &columns, std::span<const Pattern> patterns) {
    std::vector<std::pair<std::string, std::string>> keys;
    for (std::size_t kind = 0; kind < kKnowledgeCount; ++kind) {
        const char sign = kKnowledgeSigns[kind];
        const bool is_used = std::ranges::any_of(patterns, [&](const Pattern &pattern) {
            return std::ranges::any_of(columns, [&](std::size_t c) { return pattern.signs[c] == sign; });
        });
        if (!is_used) continue;
        keys.emplace_back(kStyles[kind],
                          kind < 2 ? kKnowledgeNames[kind] : fmt::format("{} {}", sign, kKnowledgeNames[kind]));
    }
    return make_keys(keys);
}

}  // namespace

std::string patterns_of_missingness(const RunResults &results, const RunCells &cells) {
    const std::size_t all = results.tables.rows;
    const std::vector<Pattern> patterns = count_patterns(cells.knowledge);
    const std::string all_observed(cells.knowledge.size(), kKnowledgeSigns[0]);
    const auto complete = std::ranges::find(patterns, all_observed, &Pattern::signs);
    const std::size_t complete_rows = complete == patterns.end() ? 0 : complete->rows;
    const std::span<const Pattern> shown(patterns.data(), std::min(patterns.size(), kMostPatterns));
    const std::string html = paragraph(
        fmt::format("{} of {} ({}) {} complete. The rows show {}{}.", complete_rows, count_of(all, "row"),
                    percent(static_cast<double>(complete_rows), static_cast<double>(all)),
                    complete_rows == 1 ? "is" : "are", count_of(patterns.size(), "pattern"),
                    shown.size() < patterns.size() ? fmt::format("; the {} most frequent are drawn", shown.size())
                                                   : std::string()));
    const std::vector<std::size_t> columns = choose_columns(results.tables);
    if (columns.empty()) return html;
    const std::string caption =
        fmt::format("One line per pattern, one cell per column{}{}.",
                    columns.size() < cells.knowledge.size() ? " with imputed cells" : "",
                    columns.size() == kMostPatternColumns ? fmt::format("; the first {}", columns.size()) : "");
    return html + pattern_keys(columns, shown) +
           make_figure(draw_patterns(results.record, columns, shown), "", caption) +
           folded("The patterns as a table", pattern_table(results.record, shown));
}

}  // namespace ullage::host
