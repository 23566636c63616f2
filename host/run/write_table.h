// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Writing tables completed by an imputation.

#ifndef ULLAGE_HOST_RUN_WRITE_TABLE_H
#define ULLAGE_HOST_RUN_WRITE_TABLE_H

#include <span>
#include <string>
#include <string_view>

#include "ullage/host/base/output_file.h"
#include "ullage/host/run/completed_tables.h"
#include "ullage/host/table/table.h"

namespace ullage::host {

/** Columns that are computed of one imputation, with its values of their hidden cells alone. */
using DerivedColumns = std::span<const CompletedColumn>;

/** The header line of the output; in the long format ".imp" and ".id" are its last columns. */
void write_header(OutputFile &file, const Table &table, DerivedColumns derived, bool is_long);

/**
 * Write the rows of one imputation. Observed cells and columns carried along come byte for byte from the file. Derived
 * columns come behind them; what they do not have is written as NA.
 *
 * @param values      one per hidden cell, in the units of the file (restore); empty for the original table, whose
 *                    hidden cells are written as NA
 * @param imputation  for the column ".imp": 0 for the original table
 */
void write_rows(OutputFile &file, const Table &table, const HiddenCells &hidden, std::span<const double> values,
                DerivedColumns derived, int imputation, bool is_long);

/** The header line of a table of hidden cells: row, column, imputation, value. */
void write_cells_header(OutputFile &file, const Table &table);

/**
 * Write the hidden cells of one imputation, a line for each: the number of its row from 1, the name of its column, the
 * imputation and the value, a word as it stands in the table. Those of derived columns come behind all others.
 *
 * @param values      as of write_rows
 * @param imputation  from 1
 */
void write_cells(OutputFile &file, const Table &table, const HiddenCells &hidden, std::span<const double> values,
                 DerivedColumns derived, int imputation);

}  // namespace ullage::host

#endif
