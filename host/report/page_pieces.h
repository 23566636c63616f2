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

/** Degrees of freedom; above 10,000 how many they are makes no difference. */
[[nodiscard]] std::string degrees_of_freedom(double value);

/** "1st", "2nd", "3rd", "4th", "11th". */
[[nodiscard]] std::string ordinal(std::size_t number);

/** "1 row", "2 rows". */
[[nodiscard]] std::string count_words(std::int64_t count, std::string_view noun);

/** Names with commas between them; of very many the first, and how many more there are. */
[[nodiscard]] std::string join_names(const std::vector<std::string> &names);

/** A paragraph of text, which is escaped. */
[[nodiscard]] std::string paragraph(std::string_view text);

/** Paragraphs of less weight. */
[[nodiscard]] std::string soft_paragraph(std::string_view text);

/** A list of texts, which are escaped. */
[[nodiscard]] std::string list(const std::vector<std::string> &items);

/** A cell of a table; a bad one is marked. */
struct Cell {
    std::string text;
    bool is_bad = false;
    std::size_t rows = 1;  ///< that a header spans; the header of the following ones has 0
};

/**
 * A table. The first column is the header of its rows; long tables are folded, and very long ones cut, which they say.
 *
 * @param texts  how many columns, from the left, hold words
 */
[[nodiscard]] std::string make_table(const std::string &caption, const std::vector<std::string> &head,
                                     const std::vector<std::vector<Cell>> &rows, std::size_t texts = 1);

/** A table without the columns, behind the header, all of whose cells have this text. */
void drop_columns_of(std::string_view text, std::vector<std::string> &head, std::vector<std::vector<Cell>> &rows);

/** What unfolds when it is asked for: a summary, and HTML. */
[[nodiscard]] std::string folded(std::string_view summary, std::string_view html);

/** A heading within a section. */
[[nodiscard]] std::string heading(std::string_view text);

/** A plot with its caption, the title on a line of its own, and both may be empty; the reason where the plot cannot be
 * drawn. */
[[nodiscard]] std::string make_figure(const Plot &plot, std::string_view title, std::string_view words = {});

/** Figures side by side; empty if there are none. */
[[nodiscard]] std::string side_by_side(std::string_view figures);

/** The meaning of the looks of a figure: class of the style sheet ("line " or "dot " before it for what is no area),
 * and words. */
[[nodiscard]] std::string make_keys(const std::vector<std::pair<std::string, std::string>> &keys);

/** A paragraph that tells how something came out; marked if badly. */
[[nodiscard]] std::string verdict(bool is_bad, std::string_view text);

}  // namespace ullage::host

#endif
