// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Files whose numbers have a decimal comma.

#ifndef ULLAGE_HOST_TABLE_DECIMAL_COMMAS_H
#define ULLAGE_HOST_TABLE_DECIMAL_COMMAS_H

#include <span>
#include <string_view>

namespace ullage::host {

/**
 * Put points for the decimal commas of a cell: those between two digits, if nothing but a sign, a bracket, a blank, the
 * dots of an interval or the sign of a bound stands beside their number, and an exponent at most. Any other comma
 * stays, as that of a word (1,2-xylene) or of thousands (1,234,567).
 */
void point_decimals(std::span<char> cell);

/** Whether a point stands in a number of a cell as such a comma does: where commas are decimal, it may be meant to
 * separate thousands. */
[[nodiscard]] bool has_decimal_point(std::string_view cell);

}  // namespace ullage::host

#endif
