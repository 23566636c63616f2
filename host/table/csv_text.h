// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// From the bytes of a CSV file to the places of its cells.

#ifndef ULLAGE_HOST_TABLE_CSV_TEXT_H
#define ULLAGE_HOST_TABLE_CSV_TEXT_H

#include <string>

#include "ullage/host/table/table.h"

namespace ullage::host {

/** The text of a table, as a file holds it or as it is made of one. */
struct InputText {
    std::string source;     ///< name of the file, for messages
    std::string bytes;      ///< CSV
    char separator = 0;     ///< between cells; one byte, or 0 to find it in the header
    bool has_lines = true;  ///< the lines are those of a file that the user can look at, so messages name them
};

/**
 * Find the header and the cells of a table: the separator, if it is not given, is whichever of comma, semicolon, TAB
 * and bar is most frequent in the header.
 *
 * @throws DataError  if the bytes are no UTF-8 text, quotes do not match, a row has too few or too many cells, a name
 *                    stands twice in the header, or there is no header or no row
 */
[[nodiscard]] FileText find_cells(InputText input);

}  // namespace ullage::host

#endif
