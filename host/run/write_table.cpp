// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The rows of completed tables.

#include "ullage/host/run/write_table.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "ullage/host/base/csv_quoting.h"
#include "ullage/host/base/error.h"
#include "ullage/host/base/interrupt.h"
#include "ullage/host/base/output_file.h"
#include "ullage/host/table/csv_text.h"

namespace ullage::host {
namespace {

void append_number(std::string &line, auto number) {
    char digits[32];
    line.append(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
}

/** The value of a column: a number, or the word of that place. */
template <typename AnyColumn>
void append_value(std::string &line, const AnyColumn &column, double value, char separator) {
    if (std::isnan(value)) {
        line += "NA";
    } else if (column.holds_words()) {
        line += quote_cell(column.words[static_cast<std::size_t>(value)], separator);
    } else {
        append_number(line, value);
    }
}

}  // namespace

void write_header(OutputFile &file, const Table &table, DerivedColumns derived, bool is_long) {
    std::string line;
    for (const OutputColumn &column : table.output) {
        if (&column != table.output.data()) line += table.file.separator;
        if (column.file_column >= 0) {
            line += table.file.raw_names[static_cast<std::size_t>(column.file_column)];
            continue;
        }
        const Column &numbers = table.columns[static_cast<std::size_t>(column.column)];
        if (numbers.upper_file_column < 0) {
            line += table.file.raw_names[static_cast<std::size_t>(numbers.file_column)];
        } else {
            line += quote_cell(numbers.name, table.file.separator);
        }
    }
    for (const CompletedColumn &column : derived) {
        line += table.file.separator;
        line += quote_cell(column.name, table.file.separator);
    }
    if (is_long) line += fmt::format("{0}.imp{0}.id", table.file.separator);
    line += '\n';
    file.write(line);
}

void write_rows(OutputFile &file, const Table &table, const HiddenCells &hidden, std::span<const double> values,
                DerivedColumns derived, int imputation, bool is_long) {
    const FileText &text = table.file;
    std::string line;
    std::vector<std::size_t> next_derived(derived.size());
    for (std::size_t row = 0; row < table.row_count(); ++row) {
        line.clear();
        std::size_t next_hidden = hidden.row_begin[row];
        for (const OutputColumn &column : table.output) {
            if (&column != table.output.data()) line += text.separator;
            if (column.file_column >= 0) {
                line += text.raw(row, static_cast<std::size_t>(column.file_column));
                continue;
            }
            const auto c = static_cast<std::size_t>(column.column);
            if (!table.is_hidden(row, c)) {
                line += text.raw(row, static_cast<std::size_t>(table.columns[c].file_column));
            } else if (values.empty()) {
                line += "NA";
            } else {
                append_value(line, table.columns[c], values[next_hidden++], text.separator);
            }
        }
        for (std::size_t i = 0; i < derived.size(); ++i) {
            const CompletedColumn &column = derived[i];
            std::size_t &next = next_derived[i];
            const bool is_hidden = next < column.hidden.size() && column.hidden[next] == static_cast<std::int32_t>(row);
            line += text.separator;
            append_value(line, column, is_hidden ? column.imputed[0][next] : column.original[row], text.separator);
            if (is_hidden) ++next;
        }
        if (is_long) {
            line += text.separator;
            append_number(line, imputation);
            line += text.separator;
            if (table.id_file_column) {
                line += text.raw(row, *table.id_file_column);
            } else {
                append_number(line, row + 1);
            }
        }
        line += '\n';
        file.write(line);
    }
}

void write_cells_header(OutputFile &file, const Table &table) {
    file.write(fmt::format("row{0}column{0}imputation{0}value\n", table.file.separator));
}

void write_cells(OutputFile &file, const Table &table, const HiddenCells &hidden, std::span<const double> values,
                 DerivedColumns derived, int imputation) {
    const char separator = table.file.separator;
    const auto middle_of = [&](const std::string &name) {  // of a line: the column and the imputation
        return fmt::format("{0}{1}{0}{2}{0}", separator, quote_cell(name, separator), imputation);
    };
    std::vector<std::string> middle;
    for (const Column &column : table.columns) middle.push_back(middle_of(column.name));
    std::string line;
    for (std::size_t i = 0; i < values.size(); ++i) {
        const HiddenCell &cell = hidden.cells[i];
        const auto column = static_cast<std::size_t>(cell.column);
        line.clear();
        append_number(line, cell.row + 1);
        line += middle[column];
        append_value(line, table.columns[column], values[i], separator);
        line += '\n';
        file.write(line);
    }
    for (const CompletedColumn &column : derived) {
        const std::string own_middle = middle_of(column.name);
        for (std::size_t i = 0; i < column.hidden.size(); ++i) {
            line.clear();
            append_number(line, column.hidden[i] + 1);
            line += own_middle;
            append_value(line, column, column.imputed[0][i], separator);
            line += '\n';
            file.write(line);
        }
    }
}

}  // namespace ullage::host
