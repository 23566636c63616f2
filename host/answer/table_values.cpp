// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Expressions of the columns of completed tables, checked.

#include "ullage/host/answer/table_values.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

#include "ullage/host/base/error.h"
#include "ullage/host/base/interrupt.h"
#include "ullage/host/base/words.h"

namespace ullage::host {
namespace {

/** What is wrong with an expression in a row. */
Error not_defined(const CompletedTables &tables, const Expression &expression, std::size_t imputation,
                  std::int32_t row) {
    std::vector<std::string> values;
    for (const std::string &name : columns_of(expression)) {
        const CompletedColumn &column = tables.column(name);
        double value = 0.0;
        column.copy_rows(imputation, {&row, 1}, &value);
        if (std::isnan(value)) {
            return {Fault::data, fmt::format("column {} is missing in row {}, as it was not imputed; impute it too, or "
                                             "leave it out",
                                             quote(name), tables.row_number(row))};
        }
        values.push_back(column.holds_words()
                             ? fmt::format("{} is {}", name, column.words[static_cast<std::size_t>(value)])
                             : fmt::format("{} is {}", name, value));
    }
    return {Fault::data, fmt::format("{}: not defined in row {}, where {}; if such values cannot be, impute with a "
                                     "transformation or a bound",
                                     expression.place, tables.row_number(row), fmt::join(values, " and "))};
}

/** Whether a column of the expression has no value in a row. */
bool has_missing(const CompletedTables &tables, const Expression &expression, std::size_t imputation,
                 std::int32_t row) {
    for (const std::string &name : columns_of(expression)) {
        double value = 0.0;
        tables.column(name).copy_rows(imputation, {&row, 1}, &value);
        if (std::isnan(value)) return true;
    }
    return false;
}

}  // namespace

RowValues values_of(const CompletedTables &tables, const Expression &expression, std::size_t imputation,
                    std::span<const std::int32_t> rows, MissingCells missing) {
    const ColumnSource source = [&](const std::string &name) {
        const CompletedColumn &column = tables.column(name);
        RowValues values{std::vector<double>(rows.size()), column.holds_words() ? &column.words : nullptr};
        column.copy_rows(imputation, rows, values.values.data());
        return values;
    };
    RowValues result = evaluate(expression, source, rows.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        if (std::isfinite(result.values[i])) continue;
        if (missing == MissingCells::stay && has_missing(tables, expression, imputation, rows[i])) {
            result.values[i] = std::numeric_limits<double>::quiet_NaN();
            continue;
        }
        throw not_defined(tables, expression, imputation, rows[i]);
    }
    return result;
}

std::vector<std::int32_t> rows_where(const CompletedTables &tables, const Expression &expression,
                                     std::size_t imputation, std::span<const std::int32_t> rows) {
    constexpr std::size_t kBlock = 4096;
    std::vector<std::int32_t> chosen;
    for (std::size_t first = 0; first < rows.size(); first += kBlock) {
        check_interrupt();
        const auto block = rows.subspan(first, std::min(kBlock, rows.size() - first));
        const RowValues values = values_of(tables, expression, imputation, block);
        if (values.words != nullptr) {
            throw Error(Fault::usage,
                        fmt::format("{}: a column of words is neither true nor false; compare it with one "
                                    "of its words ({}) in quotes",
                                    expression.place, fmt::join(*values.words, ", ")));
        }
        for (std::size_t i = 0; i < block.size(); ++i) {
            if (values.values[i] != 0.0) chosen.push_back(block[i]);
        }
    }
    return chosen;
}

}  // namespace ullage::host
