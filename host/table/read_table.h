// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Reading a table: from the bytes of a CSV file to columns of observed, missing and bounded cells.

#ifndef ULLAGE_HOST_TABLE_READ_TABLE_H
#define ULLAGE_HOST_TABLE_READ_TABLE_H

#include "ullage/host/base/notice.h"
#include "ullage/host/table/csv_text.h"
#include "ullage/host/table/read_options.h"
#include "ullage/host/table/table.h"

namespace ullage::host {

/**
 * Make a table of the bytes of a CSV file. docs/tables.md says what a file and a cell may say.
 *
 * No rule is applied yet: bounds of columns are open, there is no order and no transformation.
 *
 * @param input    the file; kept as the table's text. options.separator is for an input that has none of its own.
 * @param notices  gains what was noticed on the way
 * @throws DataError  with all that is wrong, when the text is no table or cells cannot be understood
 * @throws Error      usage if an option names a column that is not there
 */
[[nodiscard]] Table read_table(InputText input, const ReadOptions &options, Notices &notices);

}  // namespace ullage::host

#endif
