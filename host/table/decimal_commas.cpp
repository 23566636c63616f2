// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Which commas of a cell are decimal ones.

#include "ullage/host/table/decimal_commas.h"

#include <cstddef>
#include <string_view>

namespace ullage::host {
namespace {

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

/** The place behind the digits that begin at one. */
std::size_t behind_digits(std::string_view text, std::size_t place) {
    while (place < text.size() && is_digit(text[place])) ++place;
    return place;
}

/** Whether no part of a number or word stands before a place. A sign of several bytes ends above ASCII. */
bool begins_there(std::string_view text, std::size_t place) {
    if (place == 0) return true;
    const char before = text[place - 1];
    if (before == '.') return place >= 2 && text[place - 2] == '.';
    if (before == '+' || before == '-') return begins_there(text, place - 1);
    return std::string_view(" \t\"<>=([;").find(before) != std::string_view::npos || (before & 0x80) != 0;
}

bool ends_there(std::string_view text, std::size_t place) {
    if (place == text.size()) return true;
    if (text[place] == '.') return text.substr(place).starts_with("..");
    return std::string_view(" \t\")];").find(text[place]) != std::string_view::npos;
}

/** The place behind an exponent, or the same place if there is none. */
std::size_t behind_exponent(std::string_view text, std::size_t place) {
    if (place == text.size() || (text[place] != 'e' && text[place] != 'E')) return place;
    std::size_t digits = place + 1;
    if (digits < text.size() && (text[digits] == '+' || text[digits] == '-')) ++digits;
    const std::size_t end = behind_digits(text, digits);
    return end > digits ? end : place;
}

/** Act on the places of a mark that stands in a number, between two digits. */
template <typename Act>
void for_each_decimal(std::string_view text, char mark, const Act &act) {
    for (std::size_t place = text.find(mark); place != std::string_view::npos; place = text.find(mark, place + 1)) {
        std::size_t begin = place;
        while (begin > 0 && is_digit(text[begin - 1])) --begin;
        const std::size_t end = behind_digits(text, place + 1);
        if (begin == place || end == place + 1 || !begins_there(text, begin)) continue;
        if (ends_there(text, behind_exponent(text, end))) act(place);
    }
}

}  // namespace

void point_decimals(std::span<char> cell) {
    for_each_decimal({cell.data(), cell.size()}, ',', [&](std::size_t place) { cell[place] = '.'; });
}

bool has_decimal_point(std::string_view cell) {
    bool found = false;
    for_each_decimal(cell, '.', [&](std::size_t) { found = true; });
    return found;
}

}  // namespace ullage::host
