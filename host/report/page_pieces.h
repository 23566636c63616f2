// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Numbers, paragraphs, tables, keys and figures as the page has them.

#ifndef ULLAGE_HOST_REPORT_PAGE_PIECES_H
#define ULLAGE_HOST_REPORT_PAGE_PIECES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ullage/host/report/svg_plot.h"

namespace ullage::host {

/** A number to four digits, whole from 1,000 to 10 million; a dash for NaN. */
[[nodiscard]] std::string number(double value);

/** A number with so many decimals. */
[[nodiscard]] std::string fixed(double value, int decimals);

/** A part of a whole as a percentage. */
[[nodiscard]] std::string percent(double part, double whole);

/** A fraction as a percentage. */
[[nodiscard]] std::string fraction(double value);

/** "1 row", "2 rows". */
[[nodiscard]] std::string count_words(std::int64_t count, std::string_view noun);

/** Names with commas between them. */
[[nodiscard]] std::string join_names(const std::vector<std::string> &names);

/** A paragraph of text, which is escaped. */
[[nodiscard]] std::string paragraph(std::string_view text);

/** A paragraph of less weight. */
[[nodiscard]] std::string soft_paragraph(std::string_view text);

/** A list of texts, which are escaped. */
[[nodiscard]] std::string list(const std::vector<std::string> &items);

/** A cell of a table; a bad one is marked. */
struct Cell {
    std::string text;
    bool is_bad = false;
};

/**
 * A table. The first columns of each row are its header; long tables are folded.
 *
 * @param texts  how many columns, from the left, hold words
 */
[[nodiscard]] std::string make_table(const std::string &caption, const std::vector<std::string> &head,
                                     const std::vector<std::vector<Cell>> &rows, std::size_t texts = 1);

/** A plot with its caption. */
[[nodiscard]] std::string make_figure(const Plot &plot, std::string_view caption);

/** The meaning of the looks of a figure: class of the style sheet ("line " before it for a line), and words. */
[[nodiscard]] std::string make_keys(const std::vector<std::pair<std::string, std::string>> &keys);

}  // namespace ullage::host

#endif
