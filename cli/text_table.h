// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Tables of results as text and as CSV.

#ifndef ULLAGE_CLI_TEXT_TABLE_H
#define ULLAGE_CLI_TEXT_TABLE_H

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace ullage::cli {

/** Rows of cells, the first row being the header. */
using TextTable = std::vector<std::vector<std::string>>;

/** The table in columns, for a terminal: the first text_columns to the left, the others, numbers, to the right. */
[[nodiscard]] std::string in_columns(TextTable table, std::size_t text_columns);

/** The table as CSV with commas. */
[[nodiscard]] std::string as_csv(const TextTable &table);

/** A number in five significant digits, for reading; "-" if there is none. */
[[nodiscard]] std::string short_number(double number);

/** A number for JSON, which knows neither NaN nor infinities: these become null. */
[[nodiscard]] nlohmann::ordered_json number_or_null(double number);

}  // namespace ullage::cli

#endif
