// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Texts made fit for HTML, whatever they hold.

#ifndef ULLAGE_HOST_REPORT_HTML_TEXT_H
#define ULLAGE_HOST_REPORT_HTML_TEXT_H

#include <cstddef>
#include <string>
#include <string_view>

namespace ullage::host {

/** The text, with U+FFFD for bytes that are no UTF-8. */
[[nodiscard]] std::string valid_utf8(std::string_view text);

/**
 * Text that stands for itself in HTML and SVG, as content and between the quotes of an attribute.
 *
 * Control characters become spaces, and bytes that are no UTF-8 become U+FFFD, so that any name of a file or a column
 * can be shown.
 */
[[nodiscard]] std::string html_escape(std::string_view text);

/** The text cut to a number of characters, an ellipsis being the last; not escaped. */
[[nodiscard]] std::string shorten(std::string_view text, std::size_t characters);

}  // namespace ullage::host

#endif
