// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Texts made fit for HTML, whatever they hold.

#ifndef ULLAGE_HOST_REPORT_HTML_TEXT_H
#define ULLAGE_HOST_REPORT_HTML_TEXT_H

#include <cstddef>
#include <string>
#include <string_view>

namespace ullage::host {

/**
 * Text that can be shown: valid UTF-8 of one line that nothing in it rearranges.
 *
 * Bytes that are no UTF-8 become U+FFFD, control characters and line separators become spaces, and marks that change
 * the direction of what follows are written out, "[U+202E]".
 */
[[nodiscard]] std::string showable(std::string_view text);

/** Showable text that stands for itself in HTML and SVG, as content and between the quotes of an attribute. */
[[nodiscard]] std::string html_escape(std::string_view text);

/** As html_escape, content only: a line may also break within long names, behind their punctuation where there is
 * some. */
[[nodiscard]] std::string breakable(std::string_view text);

/** Showable text cut to a number of characters, an ellipsis being the last; not escaped. */
[[nodiscard]] std::string shorten(std::string_view text, std::size_t characters);

}  // namespace ullage::host

#endif
