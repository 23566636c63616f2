// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Tables from a few lines, and tables and errors as texts that a test can compare.

#ifndef ULLAGE_TESTS_HOST_TABLE_WORDS_H
#define ULLAGE_TESTS_HOST_TABLE_WORDS_H

#include <string>

#include "ullage/host/base/error.h"
#include "ullage/host/base/number_text.h"
#include "ullage/host/run/write_table.h"
#include "ullage/host/table/closure.h"
#include "ullage/host/table/read_table.h"
#include "ullage/host/table/rules.h"
#include "ullage/host/table/table.h"

inline ullage::host::Table table_of(const std::string &bytes, const ullage::host::ReadOptions &options = {}) {
    ullage::host::Notices notices;
    return ullage::host::read_table({"t.csv", bytes}, options, notices);
}

// What a cell says: "2", "missing", ">1 <y".
inline std::string cell_in_words(const ullage::host::Table &table, std::size_t row, std::size_t column) {
    using namespace ullage::host;
    const Column &c = table.columns[column];
    if (c.states[row] == CellState::observed) return format_number(c.values[row]);
    std::string words;
    for (std::size_t b = table.bound_begin[row]; b < table.bound_begin[row + 1]; ++b) {
        const Bound &bound = table.bounds[b];
        if (bound.column != static_cast<std::int32_t>(column)) continue;
        if (!words.empty()) words += ' ';
        words += bound.is_upper ? '<' : '>';
        words +=
            bound.other >= 0 ? table.columns[static_cast<std::size_t>(bound.other)].name : format_number(bound.limit);
    }
    const bool is_bounded = c.states[row] == CellState::bounded;
    if (is_bounded == words.empty()) return "state and bounds disagree";
    return is_bounded ? words : "missing";
}

// All rows: "x=2 y=missing; x=<1 y=3".
inline std::string table_in_words(const ullage::host::Table &table) {
    std::string words;
    for (std::size_t row = 0; row < table.row_count(); ++row) {
        if (row > 0) words += "; ";
        for (std::size_t c = 0; c < table.columns.size(); ++c) {
            words += (c > 0 ? " " : "") + table.columns[c].name + "=" + cell_in_words(table, row, c);
        }
    }
    return words;
}

// The hidden cells with their closed bounds: "x:(0,inf)<y y:(0,5)>x".
inline std::string hidden_in_words(const ullage::host::Table &table, const ullage::host::HiddenCells &hidden) {
    std::string words;
    for (const ullage::host::HiddenCell &cell : hidden.cells) {
        if (!words.empty()) words += ' ';
        words += table.columns[static_cast<std::size_t>(cell.column)].name + ":(" +
                 ullage::host::format_number(cell.lower) + "," + ullage::host::format_number(cell.upper) + ")";
        for (const ullage::host::Reference &reference : hidden.references_of(cell)) {
            words += (reference.is_upper ? "<" : ">") + table.columns[static_cast<std::size_t>(reference.column)].name;
        }
    }
    return words;
}

// The text of the error that a call throws, or "no error".
template <typename Call>
std::string error_of(const Call &call) {
    try {
        call();
    } catch (const ullage::host::Error &error) {
        return error.what();
    }
    return "no error";
}

#endif
