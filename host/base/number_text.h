// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Numbers as text, the same in every locale.

#ifndef ULLAGE_HOST_BASE_NUMBER_TEXT_H
#define ULLAGE_HOST_BASE_NUMBER_TEXT_H

#include <optional>
#include <string>
#include <string_view>

namespace ullage::host {

/** The whole text as a finite number with a decimal point, blanks around it allowed; otherwise nothing. */
[[nodiscard]] std::optional<double> parse_number(std::string_view text);

/** The whole text as an infinity (inf, infinity or the sign, with + or -, in any case); otherwise nothing. */
[[nodiscard]] std::optional<double> parse_infinity(std::string_view text);

/** What is wrong with a text that was meant to be a number, such as "0,5" or "1 234"; empty if it was not. */
[[nodiscard]] std::string explain_number(std::string_view text);

/** A number in the fewest decimal digits that read back as the same double. */
[[nodiscard]] std::string format_number(double value);

}  // namespace ullage::host

#endif
