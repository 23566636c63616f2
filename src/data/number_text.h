// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// From text to numbers: correctly rounded, and the same in every locale.

#ifndef ULLAGE_DATA_NUMBER_TEXT_H
#define ULLAGE_DATA_NUMBER_TEXT_H

#include <cstddef>
#include <cstdint>
#include <string_view>

// Longest text that parse_strict_number takes. The reader lets nothing longer through: its limits stay within this one.
inline constexpr std::size_t kNumberTextLimit = 1005;

// True if the whole text is a number: white space, a sign, decimal digits with at most one point, an exponent behind e,
// E, d or D. Too large a number is an infinity, too small a one 0 or a denormal. Value is untouched otherwise.
[[nodiscard]] bool parse_strict_number(std::u16string_view text, double &value);

// Where a plain number at the front of a text ends: a minus sign or none, then up to 19 digits with at most one point.
// Null if there is none, and value is untouched then. The text ends in a unit that is neither digit nor point.
[[nodiscard]] const char16_t *parse_plain_number(const char16_t *text, double &value);

// True if the whole text is a whole number of 32 bits, with white space and a sign allowed in front.
[[nodiscard]] bool parse_whole_number(std::u16string_view text, std::int32_t &value);

#endif
