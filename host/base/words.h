// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Pieces of the user's text, made fit for a message or a comparison.

#ifndef ULLAGE_HOST_BASE_WORDS_H
#define ULLAGE_HOST_BASE_WORDS_H

#include <string>
#include <string_view>
#include <vector>

namespace ullage::host {

/** The text without blanks, tabs and no-break spaces at its ends. */
[[nodiscard]] std::string_view trim(std::string_view text);

[[nodiscard]] constexpr bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

/** Take a prefix off, and tell whether it was there. */
[[nodiscard]] bool take(std::string_view &text, std::string_view prefix);

/**
 * A text that a terminal may show: line ends and tabs become blanks, other control characters and the marks that turn
 * the direction of the text become U+FFFD.
 *
 * @param keeps_lines  line feeds stay
 */
[[nodiscard]] std::string harmless(std::string_view text, bool keeps_lines = false);

/** The same, cut behind some 60 characters. */
[[nodiscard]] std::string brief(std::string_view text);

/** The same between double quotes. */
[[nodiscard]] std::string quote(std::string_view text);

/** The text between single quotes, so that a shell takes it for one word whatever stands in it. */
[[nodiscard]] std::string shell_word(std::string_view text);

/** A name as the options that take a list of names take it: between double quotes if a comma or a quote stands in it,
 * which is doubled. */
[[nodiscard]] std::string in_list(std::string_view name);

/** The names (the first 40) with commas between them and, if a comma stands in one, how a list takes that one. */
[[nodiscard]] std::string list_of(const std::vector<std::string> &names);

/** "1 row", "2 rows". */
[[nodiscard]] std::string count_of(std::size_t count, std::string_view noun);

}  // namespace ullage::host

#endif
