// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// What is noticed about the columns of a table.

#ifndef ULLAGE_HOST_TABLE_COLUMN_NOTICES_H
#define ULLAGE_HOST_TABLE_COLUMN_NOTICES_H

#include <string>
#include <vector>

#include "ullage/host/base/notice.h"
#include "ullage/host/table/read_options.h"
#include "ullage/host/table/table.h"

namespace ullage::host {

/** Say what became of columns and what in them may be otherwise than it looks. */
void tell_about_columns(const Table &table, const ReadOptions &options, Notices &notices);

/** What is to be said of one column of the output. */
struct ColumnLine {
    std::string name;
    std::string kind;  ///< "number", "binary", ..., "carried"
    std::string why;   ///< "two words: no, yes", "numbers, modelled as log(lead)", "--id"
};

/** What became of every column of the output, in their order. Words and names are as in the file. */
[[nodiscard]] std::vector<ColumnLine> describe_columns(const Table &table);

}  // namespace ullage::host

#endif
