// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Rules for columns and rows.

#ifndef ULLAGE_HOST_TABLE_RULES_H
#define ULLAGE_HOST_TABLE_RULES_H

#include <string>
#include <utility>
#include <vector>

#include "ullage/host/base/notice.h"
#include "ullage/host/table/table.h"

namespace ullage::host {

/** Rules as the user gives them; columns are given by name. */
struct Rules {
    std::vector<std::pair<std::string, double>> lower = {};  ///< every cell of the column lies above the number
    std::vector<std::pair<std::string, double>> upper = {};  ///< every cell of the column lies below the number
    std::vector<std::string> order = {};                     ///< "a<b<c", "a<=b", for the cells of every row
    std::vector<std::string> log = {};                       ///< columns whose logarithm is modelled
    std::vector<std::string> sqrt = {};                      ///< columns whose square root is modelled
    std::vector<std::string> logit = {};                     ///< columns whose logit is modelled
};

/**
 * Put rules into a table.
 *
 * Columns that an order rule or a reference of a cell ties together share one transformation: the one that is given to
 * any of them, and a notice tells so.
 *
 * @throws Error      usage if a rule names no column of the model, two rules contradict each other, or two tied columns
 *                    are given different transformations
 * @throws DataError  if an observed value is outside its column's limits or the range of its transformation
 */
void apply_rules(Table &table, const Rules &rules, Notices &notices);

/**
 * Find the columns that order rules or references of cells tie together, directly or through others.
 *
 * @return for each column the first column that it is tied to, itself included
 */
[[nodiscard]] std::vector<std::size_t> tied_columns(const Table &table);

}  // namespace ullage::host

#endif
