// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The table's own text, and its cells in words.

#include "ullage/host/table/table.h"

#include <fmt/format.h>

#include <algorithm>

#include "ullage/host/base/error.h"
#include "ullage/host/base/words.h"

namespace ullage::host {

std::string FileText::place_of(std::size_t row) const {
    return line[row] > 0 ? fmt::format("line {}", line[row]) : fmt::format("row {}", row + 1);
}

std::string FileText::text(std::size_t row, std::size_t file_column) const {
    const std::string_view cell = raw(row, file_column);
    if (!cell.starts_with('"')) return std::string(cell);
    std::string result;
    result.reserve(cell.size());
    for (std::size_t i = 1; i + 1 < cell.size(); ++i) {
        result += cell[i];
        if (cell[i] == '"') ++i;
    }
    return result;
}

std::string_view FileText::trimmed(std::size_t row, std::size_t file_column, std::string &buffer) const {
    const std::string_view cell = raw(row, file_column);
    if (!cell.starts_with('"')) return trim(cell);
    buffer = text(row, file_column);
    return trim(buffer);
}

std::string Table::cell_text(std::size_t row, std::size_t column) const {
    const Column &c = columns[column];
    std::string text = file.text(row, static_cast<std::size_t>(c.file_column));
    if (c.upper_file_column >= 0) text += " .. " + file.text(row, static_cast<std::size_t>(c.upper_file_column));
    return text;
}

std::string Table::describe_cell(std::size_t row, std::size_t column) const {
    return fmt::format("{}, column {}, {}", describe_row(row), quote(columns[column].name),
                       quote(cell_text(row, column)));
}

std::string Table::describe_row(std::size_t row) const {
    return place_in_words(file.line[row], static_cast<std::int64_t>(row + 1));
}

std::optional<std::size_t> Table::find_column(std::string_view name) const {
    const auto found = std::find_if(columns.begin(), columns.end(), [&](const Column &c) { return c.name == name; });
    if (found == columns.end()) return std::nullopt;
    return static_cast<std::size_t>(found - columns.begin());
}

}  // namespace ullage::host
