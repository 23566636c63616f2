// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// From the bytes of a CSV file to the places of its cells.

#ifndef ULLAGE_HOST_TABLE_CSV_TEXT_H
#define ULLAGE_HOST_TABLE_CSV_TEXT_H

#include <string>

#include "ullage/host/table/table.h"

namespace ullage::host {

/**
 * Find the header and the cells of a CSV file.
 *
 * @param separator  one byte, or 0 to take the one of comma, semicolon, TAB and bar that is most frequent in the header
 * @throws DataError  if the bytes are no UTF-8 text, quotes do not match, a row has too few or too many cells, a name
 *                    stands twice in the header, or there is no header or no row
 */
[[nodiscard]] FileText find_cells(std::string source, std::string bytes, char separator);

}  // namespace ullage::host

#endif
