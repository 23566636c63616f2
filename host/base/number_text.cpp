// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Numbers as text.

#include "ullage/host/base/number_text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include "ullage/host/base/words.h"

namespace ullage::host {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

struct Scanned {
    double value;
    std::errc error;
    bool whole;
};

Scanned scan(std::string_view text) {
    text = trim(text);
    if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
    Scanned result{0.0, {}, false};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), result.value);
    result.error = error;
    result.whole = !text.empty() && end == text.data() + text.size();
    return result;
}

}  // namespace

std::optional<double> parse_number(std::string_view text) {
    const Scanned scanned = scan(text);
    if (!scanned.whole || scanned.error != std::errc() || !std::isfinite(scanned.value)) return std::nullopt;
    return scanned.value;
}

std::optional<double> parse_infinity(std::string_view text) {
    text = trim(text);
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+')) text.remove_prefix(1);
    std::string word(text);
    for (char &c : word) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    if (word != "inf" && word != "infinity" && word != "∞") return std::nullopt;
    return negative ? -kInfinity : kInfinity;
}

std::string explain_number(std::string_view text) {
    text = trim(text);
    const Scanned scanned = scan(text);
    if (scanned.whole && scanned.error == std::errc::result_out_of_range) {
        return "too large or too small for a number of double precision";
    }
    // What is left must be digits with the signs that people put between and before them.
    std::string plain;
    std::size_t commas = 0;
    std::size_t points = 0;
    std::size_t gaps = 0;
    bool odd_sign = false;
    for (std::string_view rest = text; !rest.empty();) {
        if (take(rest, "−") || take(rest, "–")) {
            odd_sign = true;
            plain += '-';
        } else if (take(rest, " ") || take(rest, "\u00a0") || take(rest, "\u202f") || take(rest, "\t") ||
                   take(rest, "'")) {
            ++gaps;
        } else {
            const char c = rest.front();
            rest.remove_prefix(1);
            if (c == ',') {
                ++commas;
            } else if (is_digit(c) || c == '.' || c == '-' || c == '+' || c == 'e' || c == 'E') {
                points += c == '.' ? 1 : 0;
                plain += c;
            } else {
                return {};
            }
        }
    }
    if (commas + gaps == 0 && !odd_sign) {
        return points > 1 && plain.find_first_not_of("0123456789.") == std::string::npos ? "more than one decimal point"
                                                                                         : std::string();
    }
    if (std::none_of(plain.begin(), plain.end(), is_digit)) return {};
    if (gaps > 0 && commas == 0) {
        // "12 15" and "1 234" are beyond telling apart.
        if (std::none_of(text.begin(), text.end(), [](char c) { return c == '\''; }) && parse_number(plain)) {
            return "two numbers in one cell, or a blank within a number; write 1234 for one number, 2..3 for an "
                   "interval";
        }
        return parse_number(plain) ? "a thousands separator; write " + plain : std::string();
    }
    if (commas == 0) return parse_number(plain) ? "a dash that is no minus sign; write " + plain : std::string();
    std::string pointed(text);
    std::replace(pointed.begin(), pointed.end(), ',', '.');
    if (commas == 1 && points == 0 && parse_number(pointed)) {
        const std::size_t behind = text.size() - text.find(',') - 1;
        if (behind == 3)
            return "a comma within a number; write " + pointed + " or " + plain +
                   ", whichever is meant, or give --decimal comma";
        return "a decimal comma; write " + pointed + ", or give --decimal comma";
    }
    return parse_number(plain) || points > 1
               ? "a thousands separator; write the digits without it, with a decimal point"
               : std::string();
}

std::string format_number(double value) {
    char digits[32];
    const auto [end, error] = std::to_chars(digits, digits + sizeof digits, value);
    return std::string(digits, end);
}

}  // namespace ullage::host
