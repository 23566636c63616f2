// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Completed tables as a file of a statistics package.

#ifndef ULLAGE_HOST_RUN_WRITE_STAT_FILE_H
#define ULLAGE_HOST_RUN_WRITE_STAT_FILE_H

#include <cstddef>
#include <functional>
#include <span>
#include <vector>

#include "ullage/host/base/output_file.h"
#include "ullage/host/draw/drawn_cells.h"
#include "ullage/host/run/completed_tables.h"
#include "ullage/host/run/write_table.h"
#include "ullage/host/table/table.h"

namespace ullage::host {

enum class StatFormat { dta, sav };

/**
 * Look whether a file of a package can hold the original table and so many completed ones, before there are any.
 *
 * @throws Error  data with every text that is too long, or if there are too many columns or rows
 */
void check_stat_file(StatFormat format, const Table &table, DerivedColumns derived, std::size_t imputations);

/** Gives the derived columns of an imputation, from 1, and of the original table for 0, of the values of its hidden
 * cells. */
using Derive = std::function<std::vector<CompletedColumn>(std::size_t imputation, std::span<const double> values)>;

/**
 * Write the original table and all completed ones, one below the other, as a file of Stata (dta) or SPSS (sav).
 *
 * Columns of numbers, also those carried along, are doubles with system-missing values; all others are texts. The last
 * two columns are the number of the imputation, 0 for the original, and the row's id: imp_ and id_ for Stata,
 * Imputation_ and id_ for SPSS, which pools split files by that name. A name that the package does not allow is
 * changed, and the original is the variable's label, cut to the length of one. The same tables give the same bytes.
 *
 * @param values  of the hidden cells in the units of the file
 * @param derive  may throw what it likes
 * @throws Error  as OutputFile::write; data if the package cannot hold the table, which check_stat_file finds
 * beforehand
 */
void write_stat_file(OutputFile &file, StatFormat format, const Table &table, const HiddenCells &hidden,
                     const DrawnCells &values, const Derive &derive);

}  // namespace ullage::host

#endif
