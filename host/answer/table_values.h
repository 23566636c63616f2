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

/**
 * An expression in some rows, ascending, of one imputation (from 0).
 *
 * @return finite numbers, or places of words if the expression is a column of words alone
 * @throws Error  usage if there is no such column or words stand where numbers are needed; data with column, value and
 *                row if a cell outside the model is missing, or the expression is not defined
 */
[[nodiscard]] RowValues values_of(const CompletedTables &tables, const Expression &expression, std::size_t imputation,
                                  std::span<const std::int32_t> rows);

/** The rows, of those given, in which the expression is true in one imputation.
 * @throws Error  as values_of; usage also if the expression is of words */
[[nodiscard]] std::vector<std::int32_t> rows_where(const CompletedTables &tables, const Expression &expression,
                                                   std::size_t imputation, std::span<const std::int32_t> rows);

}  // namespace ullage::host

#endif
