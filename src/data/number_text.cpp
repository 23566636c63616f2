// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// From text to numbers.

#include "data/number_text.h"

#include <array>
#include <bit>
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

// A number as its significant digits times 10^exponent.
struct Decimal {
    std::uint64_t digits;            // all of them if they are at most kMostDigits
    std::int64_t significant_count;  // of them, or more: leading zeros may be counted while kMostDigits is not exceeded
    std::int64_t exponent;           // of the last digit of the whole mantissa
};

constexpr std::int64_t kMostDigits = 19;        // that always fit 64 bits
constexpr std::int64_t kExponentLimit = 99999;  // far outside the range of a double, whatever the mantissa

// Powers of ten that a double holds exactly, and those that 64 bits hold.
constexpr double kExactPowers[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,
                                   1e10, 1e11, 1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19};
constexpr std::int64_t kMostIntegerPower = 19;
constexpr auto kIntegerPowers = [] {
    std::array<std::uint64_t, kMostIntegerPower + 1> powers{1};
    for (std::size_t i = 1; i < powers.size(); ++i) powers[i] = powers[i - 1] * 10;
    return powers;
}();
constexpr std::uint64_t kMostExactInteger = std::uint64_t{1} << 53;

// Adds the digits at the front of a text to those before them, modulo 2^64; gives where they end. A text that ends in
// something else needs no end.
const char16_t *take_digits(const char16_t *text, const char16_t *text_end, std::uint64_t &digits) {
    for (; text != text_end && is_digit(*text); ++text) digits = digits * 10 + static_cast<std::uint64_t>(*text - u'0');
    return text;
}

// Scans the digits at the front of a text, at most one point among them; gives where they end.
const char16_t *scan_mantissa(const char16_t *text, const char16_t *text_end, Decimal &decimal) {
    decimal = {};
    const char16_t *end = take_digits(text, text_end, decimal.digits);
    decimal.significant_count = end - text;
    if (end != text_end && *end == u'.') {
        const char16_t *const fraction = end + 1;
        end = take_digits(fraction, text_end, decimal.digits);
        decimal.exponent = fraction - end;
        decimal.significant_count += end - fraction;
    }
    return end;
}

std::int64_t count_leading_zeros(std::u16string_view mantissa) {
    std::int64_t count = 0;
    for (char16_t unit : mantissa) {
        if (unit != u'0' && unit != u'.') break;
        if (unit == u'0') ++count;
    }
    return count;
}

// Scans an exponent behind its letter.
bool scan_exponent(std::u16string_view text, std::int64_t &exponent) {
    const bool negative = take_sign(text);
    if (text.empty()) return false;
    std::int64_t magnitude = 0;
    for (char16_t unit : text) {
        if (!is_digit(unit)) return false;
        if (magnitude < kExponentLimit) magnitude = magnitude * 10 + (unit - u'0');
    }
    exponent = negative ? -magnitude : magnitude;
    return true;
}

// Scans an unsigned number that must fill the text, and gives its mantissa.
bool scan_decimal(std::u16string_view text, Decimal &decimal, std::u16string_view &mantissa) {
    const char16_t *const end = scan_mantissa(text.data(), text.data() + text.size(), decimal);
    mantissa = text.substr(0, static_cast<std::size_t>(end - text.data()));
    if (decimal.significant_count == 0) return false;
    if (decimal.significant_count > kMostDigits) decimal.significant_count -= count_leading_zeros(mantissa);
    text.remove_prefix(mantissa.size());
    if (text.empty()) return true;
    std::int64_t exponent;
    if (!is_exponent_letter(text[0]) || !scan_exponent(text.substr(1), exponent)) return false;
    decimal.exponent += exponent;
    return true;
}

__extension__ using Uint128 = unsigned __int128;

// digits / 10^power, correctly rounded. Both are moved up to the highest bit, so that the quotient has at least 63
// bits; a remainder becomes a last bit far behind the place where the conversion to a double rounds.
double divide_by_power(std::uint64_t digits, std::int64_t power) {
    if (digits == 0) return 0.0;
    std::uint64_t divisor = kIntegerPowers[static_cast<std::size_t>(power)];
    const int digits_shift = std::countl_zero(digits);
    const int divisor_shift = std::countl_zero(divisor);
    divisor <<= divisor_shift;
    const auto dividend = static_cast<Uint128>(digits << digits_shift) << 63;
    auto quotient = static_cast<std::uint64_t>(dividend / divisor);
    if (static_cast<Uint128>(quotient) * divisor != dividend) quotient |= 1;
    const int exponent = divisor_shift - digits_shift - 63;
    const auto power_of_two = std::bit_cast<double>(static_cast<std::uint64_t>(1023 + exponent) << 52);
    return static_cast<double>(quotient) * power_of_two;  // exact: far from the ends of the range
}

// The general conversion, by the standard library, which sees the mantissa without its point.
double convert_by_library(std::u16string_view mantissa, const Decimal &decimal) {
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

double convert(std::u16string_view mantissa, const Decimal &decimal) {
    if (decimal.significant_count > kMostDigits || decimal.exponent > 0 || decimal.exponent < -kMostIntegerPower) {
        return convert_by_library(mantissa, decimal);
    }
    if (decimal.digits > kMostExactInteger) return divide_by_power(decimal.digits, -decimal.exponent);
    // Both operands are exact, so the one operation rounds correctly (Clinger 1990).
    return static_cast<double>(static_cast<std::int64_t>(decimal.digits)) / kExactPowers[-decimal.exponent];
}

}  // namespace

bool parse_strict_number(std::u16string_view text, double &value) {
    text = without_leading_space(text);
    const bool negative = take_sign(text);
    Decimal decimal;
    std::u16string_view mantissa;
    if (!scan_decimal(text, decimal, mantissa)) return false;
    const double magnitude = convert(mantissa, decimal);
    value = negative ? -magnitude : magnitude;
    return true;
}

const char16_t *parse_plain_number(const char16_t *text, double &value) {
    const bool negative = *text == u'-';
    const char16_t *const mantissa = text + negative;
    Decimal decimal;
    const char16_t *const end = scan_mantissa(mantissa, nullptr, decimal);
    if (decimal.significant_count == 0 || decimal.significant_count > kMostDigits) return nullptr;
    const double magnitude = convert({mantissa, end}, decimal);
    value = negative ? -magnitude : magnitude;
    return end;
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
