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

std::string harmless(std::string_view text, bool keeps_lines) {
    std::string result;
    const auto byte = [&](std::size_t i) { return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U; };
    for (std::size_t i = 0; i < text.size(); ++i) {
        const unsigned c = byte(i);
        const unsigned second = byte(i + 1);
        const unsigned third = byte(i + 2);
        const bool is_blank = c == '\t' || c == '\r' || (c == '\n' && !keeps_lines);
        const bool is_mark = c == 0xE2 && ((second == 0x80 && (third == 0x8E || third == 0x8F)) ||  // LRM, RLM
                                           (second == 0x80 && third >= 0xA8 && third <= 0xAE) ||    // LS to RLO
                                           (second == 0x81 && third >= 0xA6 && third <= 0xA9));     // LRI to PDI
        const bool is_pair = (c == 0xC2 && second < 0xA0) || (c == 0xD8 && second == 0x9C);         // C1, ALM
        if (is_blank) {
            result += ' ';
        } else if (c != '\n' && (c < 32 || c == 127 || is_mark || is_pair)) {
            result += "\uFFFD";
            i += is_mark ? 2 : is_pair ? 1 : 0;
        } else {
            result += text[i];
        }
    }
    return result;
}

std::string brief(std::string_view text) {
    constexpr std::size_t longest = 60;
    std::size_t length = std::min(text.size(), longest);
    while (length < text.size() && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) ++length;
    return harmless(text.substr(0, length)) + (length < text.size() ? "..." : "");
}

std::string quote(std::string_view text) {
    return '"' + brief(text) + '"';
}

std::string shell_word(std::string_view text) {
    std::string result = "'";
    for (const char c : text) {
        if (c == '\'') result += "'\\'";
        result += c;
    }
    return result + '\'';
}

std::string in_list(std::string_view name) {
    if (name.find_first_of(",\"") == std::string_view::npos) return std::string(name);
    std::string word = "\"";
    for (const char c : name) word.append(c == '"' ? 2 : 1, c);
    return word + '"';
}

std::string list_of(const std::vector<std::string> &names) {
    std::string text;
    std::string hint;
    constexpr std::size_t most = 40;
    for (const std::string &name : names) {
        if (&name == names.data() + most) return fmt::format("{} and {} more{}", text, names.size() - most, hint);
        const std::string word = in_list(name);
        text += (text.empty() ? "" : ", ") + word;
        if (word != name && hint.empty())
            hint = fmt::format("; in a list, write {} with both kinds of quotes", shell_word(word));
    }
    return text + hint;
}

std::string count_of(std::size_t count, std::string_view noun) {
    return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

}  // namespace ullage::host
