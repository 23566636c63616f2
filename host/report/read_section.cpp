// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// What was read: rows, columns, and what the table says of their cells.

#include <fmt/format.h>

#include <array>

#include "ullage/host/base/interrupt.h"
#include "ullage/host/base/words.h"
#include "ullage/host/report/page_pieces.h"
#include "ullage/host/report/sections.h"

namespace ullage::host {

std::string what_was_read(const RunResults &results, const RunCells &cells) {
    const RunRecord &record = results.record;
    const std::size_t n = record.columns.size();
    std::string text = fmt::format("The table {} has {} and {} in the model", quote(record.input_name),
                                   count_words(record.rows, "row"), count_of(n, "column"));
    if (record.by) {
        text += fmt::format("; the column {} divides the rows into {}", quote(*record.by),
                            count_of(record.levels.size(), "level"));
    }
    std::string html = paragraph(text + ".");
    std::vector<std::string> head = {"Column",         "Kind",           "Observed",
                                     "Missing",        "Below a limit",  "Above a limit",
                                     "In an interval", "Known by order", "Not observed"};
    std::vector<std::vector<Cell>> rows;
    for (std::size_t c = 0; c < n; ++c) {
        check_interrupt();
        std::array<std::size_t, kKnowledgeCount> counts{};
        for (const Knowledge known : cells.knowledge[c]) ++counts[static_cast<std::size_t>(known)];
        std::vector<Cell> row = {{record.columns[c].name}, {name_of(record.columns[c].kind)}};
        for (const std::size_t count : counts) row.push_back({fmt::format("{}", count)});
        row.push_back({percent(static_cast<double>(record.rows) - static_cast<double>(counts[0]),
                               static_cast<double>(record.rows))});
        rows.push_back(std::move(row));
    }
    drop_columns_of("0", head, rows);
    html += make_table("Cells of each column by what the table says of them", head, rows, 2);
    if (!record.carried.empty()) {
        std::vector<std::string> carried;
        for (const CarriedColumn &column : record.carried) {
            const std::string blanks = column.blank == 0 ? "" : "; " + count_words(column.blank, "blank");
            carried.push_back(fmt::format("{} ({}{})", column.name, column.reason, blanks));
        }
        html += paragraph(fmt::format("Carried along, neither modelled nor changed: {}.", join_names(carried)));
    }
    if (record.by) {
        rows.clear();
        for (const RunLevel &level : record.levels) {
            rows.push_back({{level.name}, {fmt::format("{}", level.rows)}, {fmt::format("{}", level.complete_rows)}});
        }
        html += make_table("Rows of each level", {*record.by, "Rows", "Complete rows"}, rows);
    }
    return html;
}

}  // namespace ullage::host
