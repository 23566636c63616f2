// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Files of statistics packages: SPSS, Stata and SAS files read as tables, completed tables written for SPSS and Stata.

#ifndef ULLAGE_HOST_STAT_FILE_H
#define ULLAGE_HOST_STAT_FILE_H

#include <span>
#include <string>
#include <vector>

#include "ullage/host/table.h"
#include "ullage/host/write_table.h"

namespace ullage::host {

/**
 * Read an input file as the text of a CSV table.
 *
 * A path that ends in .sav, .zsav, .dta, .xpt or .sas7bdat is a file of a statistics package: its names become the
 * header, its numbers have the fewest digits that read back as the same number, and missing values, those that the user
 * of the package declared among them, are empty cells. Cells are separated by commas. Any other path is read_file().
 *
 * @throws Error  no_input if there is no such file or it cannot be opened, data if it is broken or of another kind
 */
[[nodiscard]] std::string read_input(const std::string &path);

enum class StatFormat { dta, sav };

/**
 * Write the original table and all completed ones, one below the other, as a file of Stata (dta) or SPSS (sav).
 *
 * Columns of numbers, also those carried along, are doubles with system-missing values; all others are texts. The last
 * two columns are the number of the imputation, 0 for the original, and the row's id: imp_ and id_ for Stata,
 * Imputation_ and id_ for SPSS, which pools split files by that name. A name that the package does not allow is
 * changed, and the original is the variable's label. The same tables give the same bytes.
 *
 * @param values  one vector per imputation, of the hidden cells in the units of the file
 * @throws Error  as OutputFile::write; data if the package cannot hold the table, such as a text that is too long
 */
void write_stat_file(OutputFile &file, StatFormat format, const Table &table, const HiddenCells &hidden,
                     std::span<const std::vector<double>> values);

}  // namespace ullage::host

#endif
