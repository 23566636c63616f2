// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// What a table says of each cell.

#include "ullage/host/table/knowledge.h"

#include <algorithm>
#include <unordered_map>

#include "ullage/host/base/interrupt.h"

namespace ullage::host {

KnownCells find_knowledge(const Table &table) {
    std::vector<bool> has_rule(table.columns.size(), false);
    for (const OrderRule &rule : table.order) {
        has_rule[static_cast<std::size_t>(rule.first)] = true;
        has_rule[static_cast<std::size_t>(rule.second)] = true;
    }
    KnownCells knowledge;
    for (std::size_t c = 0; c < table.columns.size(); ++c) {
        check_interrupt();
        std::vector<Knowledge> &cells = knowledge.emplace_back(table.row_count());
        const Knowledge hidden = has_rule[c] ? Knowledge::ordered : Knowledge::missing;
        for (std::size_t row = 0; row < cells.size(); ++row) {
            cells[row] = table.is_hidden(row, c) ? hidden : Knowledge::observed;
        }
    }
    for (std::size_t row = 0; row < table.row_count(); ++row) {
        for (std::size_t b = table.bound_begin[row]; b < table.bound_begin[row + 1]; ++b) {
            const Bound &bound = table.bounds[b];
            Knowledge &cell = knowledge[static_cast<std::size_t>(bound.column)][row];
            const bool is_first = b == table.bound_begin[row] || table.bounds[b - 1].column != bound.column;
            if (bound.other >= 0 || (cell == Knowledge::ordered && !is_first)) {
                cell = Knowledge::ordered;
            } else if (is_first) {
                cell = bound.is_upper ? Knowledge::below : Knowledge::above;
            } else if (cell == (bound.is_upper ? Knowledge::above : Knowledge::below)) {
                cell = Knowledge::interval;
            }
        }
    }
    return knowledge;
}

std::vector<Pattern> count_patterns(const KnownCells &knowledge) {
    std::unordered_map<std::string, std::size_t> rows_of;
    std::string signs(knowledge.size(), ' ');
    const std::size_t rows = knowledge.empty() ? 0 : knowledge.front().size();
    for (std::size_t row = 0; row < rows; ++row) {
        check_interrupt();
        for (std::size_t c = 0; c < knowledge.size(); ++c) {
            signs[c] = kKnowledgeSigns[static_cast<std::size_t>(knowledge[c][row])];
        }
        ++rows_of[signs];
    }
    std::vector<Pattern> patterns;
    for (const auto &[pattern, count] : rows_of) patterns.push_back({pattern, count});
    std::ranges::sort(patterns, [](const Pattern &a, const Pattern &b) {
        return a.rows != b.rows ? a.rows > b.rows : a.signs < b.signs;
    });
    return patterns;
}

}  // namespace ullage::host
