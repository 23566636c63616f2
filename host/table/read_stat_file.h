// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Files of statistics packages as text.

#ifndef ULLAGE_HOST_TABLE_READ_STAT_FILE_H
#define ULLAGE_HOST_TABLE_READ_STAT_FILE_H

#include <string>

#include "ullage/host/table/csv_text.h"

namespace ullage::host {

/**
 * Read an input file as the text of a table.
 *
 * A path that ends in .sav, .zsav, .dta, .xpt or .sas7bdat is a file of a statistics package: its names become the
 * header, its numbers have the fewest digits that read back as the same number, and missing values, those that the user
 * of the package declared among them, are empty cells. The text has no lines that a user could look up. Any other path
 * is a CSV file, and "-" is standard input.
 *
 * @throws Error  no_input if there is no such file or it cannot be read, data if it is broken or of another kind
 */
[[nodiscard]] InputText read_input(const std::string &path);

}  // namespace ullage::host

#endif
