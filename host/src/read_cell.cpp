// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The language of a cell.

#include "read_cell.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include "words.h"

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

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

/** Take a prefix off, and tell whether it was there. */
bool take(std::string_view &text, std::string_view prefix) {
    if (!text.starts_with(prefix)) return false;
    text.remove_prefix(prefix.size());
    return true;
}

/** One end of an interval: a number, an infinity or nothing for an open end. False leaves a message. */
bool read_end(std::string_view text, double open, double &value, std::string &message) {
    text = trim(text);
    value = open;
    if (text.empty()) return true;
    if (const auto number = parse_number(text)) {
        value = *number;
        return true;
    }
    if (parse_infinity(text) == open) return true;
    message = explain_number(text);
    if (message.empty()) message = quote(text) + " is no number; write an interval as 2..3 or [2, 3]";
    return false;
}

/** Add the bounds of an interval. */
void read_interval(std::string_view low_text, std::string_view high_text, CellContent &cell) {
    double low = 0.0;
    double high = 0.0;
    if (!read_end(low_text, -kInfinity, low, cell.message) || !read_end(high_text, kInfinity, high, cell.message)) {
        return;
    }
    if (low > high) {
        cell.message = "the lower end is above the upper one; exchange them";
    } else if (low == high) {
        cell.message = "an interval without a width; write the number alone";
    } else {
        if (low > -kInfinity) cell.bounds.push_back({false, low, {}});
        if (high < kInfinity) cell.bounds.push_back({true, high, {}});
    }
}

/** Add the bound of an inequality, whose sign has been taken off. */
void read_inequality(bool is_upper, std::string_view operand, CellContent &cell) {
    operand = trim(operand);
    if (const auto number = parse_number(operand)) {
        cell.bounds.push_back({is_upper, *number, {}});
    } else if (parse_infinity(operand)) {
        if (parse_infinity(operand) != (is_upper ? kInfinity : -kInfinity)) {
            cell.message = "no number is beyond infinity; leave the cell empty if nothing is known";
        }
    } else if (operand.empty()) {
        cell.message = "a number or the name of a column must follow the sign";
    } else {
        cell.message = explain_number(operand);
        cell.is_number_like = !cell.message.empty();
        if (cell.message.empty()) cell.bounds.push_back({is_upper, 0.0, operand});
    }
}

/** Read one inequality or interval. False if the text is neither. */
bool read_condition(std::string_view text, CellContent &cell) {
    text = trim(text);
    if (take(text, "<=") || take(text, "≤") || take(text, "<")) {
        read_inequality(true, text, cell);
    } else if (take(text, ">=") || take(text, "≥") || take(text, ">")) {
        read_inequality(false, text, cell);
    } else if ((text.starts_with('[') && text.ends_with(']')) || (text.starts_with('(') && text.ends_with(')'))) {
        text = text.substr(1, text.size() - 2);
        const std::size_t comma = text.find(',');
        if (comma == std::string_view::npos) return false;
        if (text.find(',', comma + 1) != std::string_view::npos) {
            cell.message = "more than one comma; write an interval as [2.5, 3.5], with decimal points";
        } else {
            read_interval(text.substr(0, comma), text.substr(comma + 1), cell);
        }
    } else {
        const std::size_t dots = text.find("..");
        if (dots == std::string_view::npos) return false;
        const std::string_view rest = text.substr(dots + 2);
        // Words with dots, such as "see below...", are words; an interval begins or ends with a digit somewhere.
        if (std::none_of(text.begin(), text.end(), is_digit)) return false;
        if (rest.find("..") != std::string_view::npos || rest.starts_with('.')) {
            cell.message = "more than two dots; write an interval as 2..3";
        } else {
            read_interval(text.substr(0, dots), rest, cell);
        }
    }
    return true;
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
        if (behind == 3) return "a comma within a number; write " + pointed + " or " + plain + ", whichever is meant";
        return "a decimal comma; write " + pointed;
    }
    return parse_number(plain) || points > 1
               ? "a thousands separator; write the digits without it, with a decimal point"
               : std::string();
}

CellContent parse_cell(std::string_view text) {
    CellContent cell;
    text = trim(text);
    bool is_condition = true;
    std::size_t conditions = 0;
    for (std::string_view rest = text; is_condition && cell.message.empty(); ++conditions) {
        const std::size_t end = rest.find(';');
        is_condition = read_condition(rest.substr(0, end), cell);
        if (end == std::string_view::npos) {
            ++conditions;
            break;
        }
        rest.remove_prefix(end + 1);
    }
    if (!is_condition) {
        cell.bounds.clear();
        // A condition in front of a ";" makes the rest a malformed one.
        cell.message = conditions > 1 ? "write several conditions as >1; <other" : explain_number(text);
        cell.is_number_like = conditions == 1 && !cell.message.empty();
    } else if (cell.message.empty()) {
        cell.kind = cell.bounds.empty() ? CellKind::missing : CellKind::bounds;
    }
    if (!cell.message.empty()) cell.kind = CellKind::malformed;
    return cell;
}

}  // namespace ullage::host
