// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Between the 16-bit text of the engine and the text of files and test output.

#ifndef ULLAGE_TESTS_SUPPORT_UTF16_H
#define ULLAGE_TESTS_SUPPORT_UTF16_H

#include <string>
#include <string_view>

// Each byte of an ASCII text as a unit.
inline std::u16string wide(std::string_view ascii) {
    return {ascii.begin(), ascii.end()};
}

// Each unit of an ASCII text as a byte; others become '?'.
inline std::string narrow(std::u16string_view text) {
    std::string bytes;
    for (char16_t unit : text) bytes += unit < 128 ? static_cast<char>(unit) : '?';
    return bytes;
}

// A text of any kind many times over.
template <typename Text>
Text repeated(const Text &text, std::size_t count) {
    Text all;
    for (std::size_t i = 0; i < count; ++i) all += text;
    return all;
}

#endif
