// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Writing tables completed by an imputation.

#ifndef ULLAGE_HOST_RUN_WRITE_TABLE_H
#define ULLAGE_HOST_RUN_WRITE_TABLE_H

#include <span>
#include <string>
#include <string_view>

#include "ullage/host/base/output_file.h"
#include "ullage/host/table/table.h"

namespace ullage::host {

/** The header line of the output; in the long format ".imp" and ".id" are its last columns. */
void write_header(OutputFile &file, const Table &table, bool is_long);

/**
 * Write the rows of one imputation. Observed cells and columns carried along come byte for byte from the file.
 *
 * @param values      one per hidden cell, in the units of the file (restore); empty for the original table, whose
 *                    hidden cells are written as NA
 * @param imputation  for the column ".imp": 0 for the original table
 */
void write_rows(OutputFile &file, const Table &table, const HiddenCells &hidden, std::span<const double> values,
                int imputation, bool is_long);

}  // namespace ullage::host

#endif
