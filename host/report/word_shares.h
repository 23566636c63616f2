// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The words of a column: their shares among observed and among imputed cells.

#ifndef ULLAGE_HOST_REPORT_WORD_SHARES_H
#define ULLAGE_HOST_REPORT_WORD_SHARES_H

#include <string>
#include <vector>

#include "ullage/host/report/column_values.h"
#include "ullage/host/report/page_pieces.h"

namespace ullage::host {

/** A bar for each word and each kind of cells: the percentage of the cells of the kind that have the word. */
[[nodiscard]] std::string word_figure(const ColumnValues &values);

/** One row for each word: cells and percentages of each kind, as the head of word_share_table() names them. */
void add_word_shares(const ColumnValues &values, std::vector<std::vector<Cell>> &rows);

/** The table of the rows of all columns. */
[[nodiscard]] std::string word_share_table(const std::vector<std::vector<Cell>> &rows);

}  // namespace ullage::host

#endif
