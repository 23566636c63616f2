// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// What is noticed about the columns of a table.

#ifndef ULLAGE_HOST_TABLE_COLUMN_NOTICES_H
#define ULLAGE_HOST_TABLE_COLUMN_NOTICES_H

#include <vector>

#include "ullage/host/base/notice.h"
#include "ullage/host/table/column_choice.h"
#include "ullage/host/table/read_options.h"
#include "ullage/host/table/table.h"

namespace ullage::host {

/**
 * Say what became of columns and what in them may be otherwise than it looks.
 *
 * @param without_number  the candidates that are carried along because there is no number in them
 */
void tell_about_columns(const Table &table, const std::vector<Candidate> &without_number, const ReadOptions &options,
                        Notices &notices);

}  // namespace ullage::host

#endif
