// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The table's own text, and its cells in words.

#include "ullage/host/table.h"

#include <fmt/format.h>

#include <algorithm>

#include "words.h"

namespace ullage::host {

std::string_view trim(std::string_view text) {
    constexpr std::string_view no_break_space = "\u00a0";
    for (;;) {
        if (text.starts_with(' ') || text.starts_with('\t')) {
            text.remove_prefix(1);
        } else if (text.ends_with(' ') || text.ends_with('\t')) {
            text.remove_suffix(1);
        } else if (text.starts_with(no_break_space)) {
            text.remove_prefix(no_break_space.size());
        } else if (text.ends_with(no_break_space)) {
            text.remove_suffix(no_break_space.size());
        } else {
            return text;
        }
    }
}

std::string quote(std::string_view text) {
    constexpr std::size_t longest = 60;
    std::string result = "\"";
    std::size_t length = std::min(text.size(), longest);
    while (length < text.size() && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) ++length;
    for (const char c : text.substr(0, length)) result += static_cast<unsigned char>(c) < 32 || c == 127 ? ' ' : c;
    return result + (length < text.size() ? "...\"" : "\"");
}

std::string in_list(std::string_view name) {
    const char *mark = name.find(',') == std::string_view::npos ? "" : "\"";
    return fmt::format("{}{}{}", mark, name, mark);
}

std::string list_of(const std::vector<std::string> &names) {
    std::string text;
    std::string hint;
    for (const std::string &name : names) {
        const std::string word = in_list(name);
        text += (text.empty() ? "" : ", ") + word;
        if (word != name && hint.empty()) hint = fmt::format("; in a list, write '{}' with both kinds of quotes", word);
    }
    return text + hint;
}

std::string count_of(std::size_t count, std::string_view noun) {
    return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
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

std::string Table::cell_text(std::size_t row, std::size_t column) const {
    const Column &c = columns[column];
    std::string text = file.text(row, static_cast<std::size_t>(c.file_column));
    if (c.upper_file_column >= 0) text += " .. " + file.text(row, static_cast<std::size_t>(c.upper_file_column));
    return text;
}

std::string Table::describe_cell(std::size_t row, std::size_t column) const {
    return fmt::format("line {} (row {}), column {}, {}", file.line[row], row + 1, quote(columns[column].name),
                       quote(cell_text(row, column)));
}

std::optional<std::size_t> Table::find_column(std::string_view name) const {
    const auto found = std::find_if(columns.begin(), columns.end(), [&](const Column &c) { return c.name == name; });
    if (found == columns.end()) return std::nullopt;
    return static_cast<std::size_t>(found - columns.begin());
}

}  // namespace ullage::host
