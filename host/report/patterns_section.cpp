// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The patterns of missingness.

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <set>

#include "ullage/host/base/words.h"
#include "ullage/host/report/page_pieces.h"
#include "ullage/host/report/sections.h"

namespace ullage::host {
namespace {

constexpr std::size_t kMostPatterns = 20;        // that are drawn
constexpr std::size_t kMostPatternColumns = 40;  // above it only columns with hidden cells are drawn

}  // namespace

std::string patterns_of_missingness(const RunResults &results, const KnownCells &knowledge) {
    const RunRecord &record = results.record;
    const std::vector<Pattern> patterns = count_patterns(knowledge);
    const std::string all_observed(knowledge.size(), kKnowledgeSigns[0]);
    const auto complete = std::ranges::find(patterns, all_observed, &Pattern::signs);
    const std::size_t complete_rows = complete == patterns.end() ? 0 : complete->rows;

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

}  // namespace ullage::host
