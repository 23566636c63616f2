// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Pieces of the user's text.

#include "ullage/host/base/words.h"

#include <fmt/format.h>

#include <algorithm>

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

bool take(std::string_view &text, std::string_view prefix) {
    if (!text.starts_with(prefix)) return false;
    text.remove_prefix(prefix.size());
    return true;
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

}  // namespace ullage::host
