// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Expressions of the columns of completed tables.

#ifndef ULLAGE_HOST_ANSWER_TABLE_VALUES_H
#define ULLAGE_HOST_ANSWER_TABLE_VALUES_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "ullage/host/run/completed_tables.h"
#include "ullage/host/table/expression.h"

namespace ullage::host {

/** What is to be done where a cell outside the model is missing, so that an expression has no value. */
enum class MissingCells { are_errors, stay };

/**
 * An expression in some rows, ascending, of one imputation (from 0).
 *
 * @param missing  stay: a value that is made of a missing cell is NaN
 * @return finite numbers, or places of words if the expression is a column of words alone
 * @throws Error  usage if there is no such column or words stand where numbers are needed; data with column, value and
 *                row if a cell outside the model is missing, or the expression is not defined
 */
[[nodiscard]] RowValues values_of(const CompletedTables &tables, const Expression &expression, std::size_t imputation,
                                  std::span<const std::int32_t> rows, MissingCells missing = MissingCells::are_errors);

/** The rows, of those given, in which the expression is true in one imputation.
 * @throws Error  as values_of; usage also if the expression is of words */
[[nodiscard]] std::vector<std::int32_t> rows_where(const CompletedTables &tables, const Expression &expression,
                                                   std::size_t imputation, std::span<const std::int32_t> rows);

}  // namespace ullage::host

#endif
