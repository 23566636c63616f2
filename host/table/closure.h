// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The closure of all bounds of a row.

#ifndef ULLAGE_HOST_TABLE_CLOSURE_H
#define ULLAGE_HOST_TABLE_CLOSURE_H

#include "ullage/host/table/table.h"

namespace ullage::host {

/**
 * Close the bounds of every row: what follows from the data and the rules for each hidden cell, directly or through
 * other cells. HiddenCells says what holds for the result.
 *
 * @throws DataError  with every row (the first DataError::kMostProblems) whose data and rules contradict each other
 */
[[nodiscard]] HiddenCells close_bounds(const Table &table);

}  // namespace ullage::host

#endif
