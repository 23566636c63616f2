// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Laying tables out.

#include "text_table.h"

#include <fmt/format.h>
#include <utf8.h>

#include <algorithm>
#include <cmath>

#include "ullage/host/base/csv_quoting.h"
#include "ullage/host/base/words.h"

namespace ullage::cli {

std::string in_columns(TextTable table, std::size_t text_columns) {
    for (auto &row : table) {
        for (std::string &cell : row) cell = host::harmless(cell);
    }
    const auto width_of = [](const std::string &cell) {
        return static_cast<std::size_t>(utf8::unchecked::distance(cell.begin(), cell.end()));
    };
    std::vector<std::size_t> widths(table.front().size(), 0);
    for (const auto &row : table) {
        for (std::size_t c = 0; c < row.size(); ++c) widths[c] = std::max(widths[c], width_of(row[c]));
    }
    std::string text;
    for (const auto &row : table) {
        std::string line;
        for (std::size_t c = 0; c < row.size(); ++c) {
            if (c > 0) line += "  ";
            const std::string blanks(widths[c] - width_of(row[c]), ' ');
            line += c < text_columns ? row[c] + blanks : blanks + row[c];
        }
        text += line.substr(0, line.find_last_not_of(' ') + 1) + '\n';
    }
    return text;
}

std::string as_csv(const TextTable &table) {
    std::string text;
    for (const auto &row : table) {
        for (std::size_t c = 0; c < row.size(); ++c) {
            if (c > 0) text += ',';
            text += host::quote_cell(row[c], ',');
        }
        text += '\n';
    }
    return text;
}

std::string short_number(double number) {
    if (std::isnan(number)) return "-";
    return fmt::format("{:.5g}", number);
}

nlohmann::ordered_json number_or_null(double number) {
    return std::isfinite(number) ? nlohmann::ordered_json(number) : nlohmann::ordered_json(nullptr);
}

}  // namespace ullage::cli
