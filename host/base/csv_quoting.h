// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// A text as a cell of a CSV file.

#ifndef ULLAGE_HOST_BASE_CSV_QUOTING_H
#define ULLAGE_HOST_BASE_CSV_QUOTING_H

#include <string>
#include <string_view>

namespace ullage::host {

/** A text as a cell: between quotes where it needs them.
 * @param separators  each of the bytes that may stand between cells */
[[nodiscard]] std::string quote_cell(std::string_view text, std::string_view separators);
/** The same with a single separator. */
[[nodiscard]] inline std::string quote_cell(std::string_view text, char separator) {
    return quote_cell(text, std::string_view(&separator, 1));
}

}  // namespace ullage::host

#endif
