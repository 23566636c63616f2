// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Texts made fit for HTML.

#include "ullage/host/report/html_text.h"

#include <utf8.h>

#include <iterator>

namespace ullage::host {

std::string valid_utf8(std::string_view text) {
    std::string valid;
    utf8::replace_invalid(text.begin(), text.end(), std::back_inserter(valid));
    return valid;
}

std::string html_escape(std::string_view text) {
    std::string result;
    for (const char c : valid_utf8(text)) {
        switch (c) {
            case '&':
                result += "&amp;";
                break;
            case '<':
                result += "&lt;";
                break;
            case '>':
                result += "&gt;";
                break;
            case '"':
                result += "&quot;";
                break;
            case '\'':
                result += "&#39;";
                break;
            default:
                result += (static_cast<unsigned char>(c) < 32 || c == 127) ? ' ' : c;
        }
    }
    return result;
}

std::string shorten(std::string_view text, std::size_t characters) {
    const std::string valid = valid_utf8(text);
    auto end = valid.begin();
    for (std::size_t i = 1; i < characters && end != valid.end(); ++i) utf8::unchecked::next(end);
    // The last of them may stand for itself.
    auto next = end;
    if (next != valid.end()) utf8::unchecked::next(next);
    return next == valid.end() ? valid : std::string(valid.begin(), end) + "\u2026";
}

}  // namespace ullage::host
