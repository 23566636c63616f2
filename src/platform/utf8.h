// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The engine's one conversion from wide text to UTF-8.

#ifndef ULLAGE_PLATFORM_UTF8_H
#define ULLAGE_PLATFORM_UTF8_H

#include <cstddef>
#include <string_view>

// Convert whole characters from the front of text until text is used up or the next character does not fit into what is
// left of bytes[capacity]. What was converted is removed from text, so repeated calls bring a text of any length
// through a small buffer; four bytes take every character. Gives the number of bytes written; no terminator is added. A
// surrogate pair is one character, a lone surrogate becomes U+FFFD.
std::size_t utf8_convert(std::u16string_view &text, char *bytes, std::size_t capacity);

#endif
