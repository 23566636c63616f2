// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// From text to numbers.

#include "data/number_text.h"

#include <charconv>
#include <cstddef>
#include <limits>

namespace {

bool is_digit(char16_t unit) {
    return unit >= u'0' && unit <= u'9';
}

bool is_exponent_letter(char16_t unit) {
    return unit == u'e' || unit == u'E' || unit == u'd' || unit == u'D';
}

std::u16string_view without_leading_space(std::u16string_view text) {
    std::size_t i = 0;
    while (i < text.size() && ((text[i] >= 9 && text[i] <= 13) || text[i] == 32)) ++i;
    return text.substr(i);
}

// Removes a sign; true for "-".
bool take_sign(std::u16string_view &text) {
    const bool negative = !text.empty() && text[0] == u'-';
    if (negative || (!text.empty() && text[0] == u'+')) text.remove_prefix(1);
    return negative;
}

// A number as digits * 10^exponent.
struct Decimal {
    std::uint64_t digits;            // of the first kMostDigits significant digits
    std::int64_t significant_count;  // of all significant digits, leading zeros left out
    std::int64_t exponent;           // of the last digit of the whole mantissa
};

constexpr std::int64_t kMostDigits = 19;        // that always fit 64 bits
constexpr std::int64_t kExponentLimit = 99999;  // far outside the range of a double, whatever the mantissa

// Powers of ten that a double holds exactly.
constexpr double kExactPowers[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                   1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
constexpr std::int64_t kMostExactPower = 22;
constexpr std::uint64_t kMostExactInteger = std::uint64_t{1} << 53;

// Scans an unsigned number that must fill the text. The position behind the mantissa goes to mantissa_length.
bool scan_decimal(std::u16string_view text, Decimal &decimal, std::size_t &mantissa_length) {
    decimal = {};
    std::size_t i = 0;
    std::size_t digit_count = 0;
    bool behind_point = false;
    for (; i < text.size(); ++i) {
        if (is_digit(text[i])) {
            ++digit_count;
            if (behind_point) --decimal.exponent;
            if (decimal.significant_count == 0 && text[i] == u'0') continue;
            if (++decimal.significant_count <= kMostDigits) {
                decimal.digits = decimal.digits * 10 + static_cast<std::uint64_t>(text[i] - u'0');
            }
        } else if (text[i] == u'.' && !behind_point) {
            behind_point = true;
        } else {
            break;
        }
    }
    mantissa_length = i;
    if (digit_count == 0) return false;
    if (i == text.size()) return true;
    if (!is_exponent_letter(text[i])) return false;
    std::u16string_view exponent_text = text.substr(i + 1);
    const bool negative = take_sign(exponent_text);
    if (exponent_text.empty()) return false;
    std::int64_t exponent = 0;
    for (char16_t unit : exponent_text) {
        if (!is_digit(unit)) return false;
        if (exponent < kExponentLimit) exponent = exponent * 10 + (unit - u'0');
    }
    decimal.exponent += negative ? -exponent : exponent;
    return true;
}

// The general conversion, by the standard library, which sees the mantissa without its point.
double convert_exactly(std::u16string_view mantissa, const Decimal &decimal) {
    char buffer[kNumberTextLimit + 16];
    char *end = buffer;
    for (char16_t unit : mantissa) {
        if (unit != u'.') *end++ = static_cast<char>(unit);
    }
    *end++ = 'e';
    end = std::to_chars(end, buffer + sizeof buffer, decimal.exponent).ptr;
    double value = 0.0;
    if (std::from_chars(buffer, end, value).ec == std::errc::result_out_of_range) {
        // The library says that the number is out of range, not on which side, and gives no value.
        const bool is_large = decimal.significant_count + decimal.exponent > 0;
        value = is_large ? std::numeric_limits<double>::infinity() : 0.0;
    }
    return value;
}

}  // namespace

bool parse_strict_number(std::u16string_view text, double &value) {
    text = without_leading_space(text);
    const bool negative = take_sign(text);
    Decimal decimal;
    std::size_t mantissa_length;
    if (!scan_decimal(text, decimal, mantissa_length)) return false;

    double magnitude;
    if (decimal.digits <= kMostExactInteger && decimal.significant_count <= kMostDigits &&
        decimal.exponent >= -kMostExactPower && decimal.exponent <= kMostExactPower) {
        // Both operands are exact, so the one operation rounds correctly (Clinger 1990).
        magnitude = static_cast<double>(decimal.digits);
        if (decimal.exponent < 0) {
            magnitude /= kExactPowers[-decimal.exponent];
        } else {
            magnitude *= kExactPowers[decimal.exponent];
        }
    } else {
        magnitude = convert_exactly(text.substr(0, mantissa_length), decimal);
    }
    value = negative ? -magnitude : magnitude;
    return true;
}

bool parse_whole_number(std::u16string_view text, std::int32_t &value) {
    text = without_leading_space(text);
    const bool negative = take_sign(text);
    if (text.empty()) return false;
    std::int64_t magnitude = 0;
    for (char16_t unit : text) {
        if (!is_digit(unit)) return false;
        magnitude = magnitude * 10 + (unit - u'0');
        if (magnitude > std::int64_t{1} << 31) return false;
    }
    const std::int64_t number = negative ? -magnitude : magnitude;
    if (number > std::numeric_limits<std::int32_t>::max()) return false;
    value = static_cast<std::int32_t>(number);
    return true;
}
