// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The language of a cell.

#include "ullage/host/table/read_cell.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include "ullage/host/base/number_text.h"
#include "ullage/host/base/words.h"
#include "ullage/host/table/table.h"

namespace ullage::host {
namespace {

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
void read_interval(std::string_view low_text, std::string_view high_text, bool or_equal, CellContent &cell) {
    double low = 0.0;
    double high = 0.0;
    if (!read_end(low_text, -kOpen, low, cell.message) || !read_end(high_text, kOpen, high, cell.message)) {
        return;
    }
    if (low > high) {
        cell.message = "the lower end is above the upper one; exchange them";
    } else if (low == high) {
        cell.message = "an interval without a width; write the number alone";
    } else {
        if (low > -kOpen) cell.bounds.push_back({false, low, {}, or_equal});
        if (high < kOpen) cell.bounds.push_back({true, high, {}, or_equal});
    }
}

/** Add the bound of an inequality, whose sign has been taken off. */
void read_inequality(bool is_upper, bool or_equal, std::string_view operand, CellContent &cell) {
    operand = trim(operand);
    if (const auto number = parse_number(operand)) {
        cell.bounds.push_back({is_upper, *number, {}, or_equal});
    } else if (parse_infinity(operand)) {
        if (parse_infinity(operand) != (is_upper ? kOpen : -kOpen)) {
            cell.message = "no number is beyond infinity; leave the cell empty if nothing is known";
        }
    } else if (operand.empty()) {
        cell.message = "a number or the name of a column must follow the sign";
    } else {
        cell.message = explain_number(operand);
        cell.is_number_like = !cell.message.empty();
        if (cell.message.empty()) cell.bounds.push_back({is_upper, 0.0, operand, or_equal});
    }
}

/** Read one inequality or interval. False if the text is neither. */
bool read_condition(std::string_view text, CellContent &cell) {
    text = trim(text);
    if (take(text, "<=") || take(text, "≤")) {
        read_inequality(true, true, text, cell);
    } else if (take(text, "<")) {
        read_inequality(true, false, text, cell);
    } else if (take(text, ">=") || take(text, "≥")) {
        read_inequality(false, true, text, cell);
    } else if (take(text, ">")) {
        read_inequality(false, false, text, cell);
    } else if ((text.starts_with('[') && text.ends_with(']')) || (text.starts_with('(') && text.ends_with(')'))) {
        const bool or_equal = text.starts_with('[');
        text = text.substr(1, text.size() - 2);
        const std::size_t comma = text.find(',');
        if (comma == std::string_view::npos) return false;
        if (text.find(',', comma + 1) != std::string_view::npos) {
            cell.message = "more than one comma; write an interval as [2.5, 3.5], with decimal points";
        } else {
            read_interval(text.substr(0, comma), text.substr(comma + 1), or_equal, cell);
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
            read_interval(text.substr(0, dots), rest, true, cell);
        }
    }
    return true;
}

}  // namespace

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
