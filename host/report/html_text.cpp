// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Texts made fit for HTML.

#include "ullage/host/report/html_text.h"

#include <fmt/format.h>
#include <utf8.h>

#include <iterator>

namespace ullage::host {
namespace {

constexpr int kLongestWord = 20;  // characters of a name that stay together

bool is_control(char32_t code) {
    return code < 0x20 || (code >= 0x7f && code < 0xa0) || code == 0x2028 || code == 0x2029;
}

/** Marks, embeddings, overrides and isolates of the bidirectional algorithm. */
bool turns_text(char32_t code) {
    return code == 0x61c || code == 0x200e || code == 0x200f || (code >= 0x202a && code <= 0x202e) ||
           (code >= 0x2066 && code <= 0x2069);
}

void append_escaped(char32_t code, std::string &html) {
    switch (code) {
        case '&':
            html += "&amp;";
            break;
        case '<':
            html += "&lt;";
            break;
        case '>':
            html += "&gt;";
            break;
        case '"':
            html += "&quot;";
            break;
        case '\'':
            html += "&#39;";
            break;
        default:
            utf8::unchecked::append(code, std::back_inserter(html));
    }
}

}  // namespace

std::string showable(std::string_view text) {
    std::string valid;
    utf8::replace_invalid(text.begin(), text.end(), std::back_inserter(valid));
    std::string result;
    for (auto next = valid.begin(); next != valid.end();) {
        const char32_t code = utf8::unchecked::next(next);
        if (is_control(code)) {
            result += ' ';
        } else if (turns_text(code)) {
            fmt::format_to(std::back_inserter(result), "[U+{:04X}]", static_cast<unsigned>(code));
        } else {
            utf8::unchecked::append(code, std::back_inserter(result));
        }
    }
    return result;
}

std::string html_escape(std::string_view text) {
    const std::string shown = showable(text);
    std::string html;
    for (auto next = shown.begin(); next != shown.end();) append_escaped(utf8::unchecked::next(next), html);
    return html;
}

std::string breakable(std::string_view text) {
    const std::string shown = showable(text);
    std::string html;
    int together = 0;
    for (auto next = shown.begin(); next != shown.end();) {
        const char32_t code = utf8::unchecked::next(next);
        append_escaped(code, html);
        together = code == ' ' ? 0 : together + 1;
        const bool is_end = next == shown.end() || *next == ' ';
        const bool is_punctuation =
            code < 128 && std::string_view("_,:;/)-=|\\").find(static_cast<char>(code)) != std::string_view::npos;
        if (is_end || !((is_punctuation && together > 4) || together == kLongestWord)) continue;
        html += "<wbr>";
        together = 0;
    }
    return html;
}

std::string shorten(std::string_view text, std::size_t characters) {
    const std::string shown = showable(text);
    auto end = shown.begin();
    for (std::size_t i = 1; i < characters && end != shown.end(); ++i) utf8::unchecked::next(end);
    // The last of them may stand for itself.
    auto next = end;
    if (next != shown.end()) utf8::unchecked::next(next);
    return next == shown.end() ? shown : std::string(shown.begin(), end) + "\u2026";
}

}  // namespace ullage::host
