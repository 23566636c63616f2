// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Completed tables whose pooled answers are known.

#ifndef ULLAGE_TESTS_HOST_ANSWER_SMALL_TABLES_H
#define ULLAGE_TESTS_HOST_ANSWER_SMALL_TABLES_H

#include <cmath>

#include "ullage/host/run/completed_tables.h"

namespace ullage::host {

/** Two levels of four rows, two columns; the last row's b is imputed. */
inline CompletedTables small_tables() {
    CompletedTables tables;
    tables.source = "small.csv";
    tables.rows = 8;
    tables.imputations = 2;
    tables.levels = {"low", "high"};
    tables.level_of_row = {0, 1, 0, 1, 0, 1, 0, 1};
    tables.columns.push_back({"a", {1, 10, 2, 20, 3, 30, 4, 40}, {}, {{}, {}}});
    tables.columns.push_back({"b", {1, 1, 3, 2, 2, 4, 4, NAN}, {7}, {{3}, {5}}});
    tables.columns.push_back({"weight", {0, 1, 2, NAN, 5, 5, 6, 7}, {}, {}});
    tables.other_columns = {"remark"};
    tables.model = {0, 1};
    return tables;
}

}  // namespace ullage::host

#endif
