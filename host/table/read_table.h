// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Reading a table: from the bytes of a CSV file to columns of observed, missing and bounded cells.

#ifndef ULLAGE_HOST_TABLE_READ_TABLE_H
#define ULLAGE_HOST_TABLE_READ_TABLE_H

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ullage/host/base/notice.h"
#include "ullage/host/table/table.h"

namespace ullage::host {

/** How the cells of a file are to be understood. Columns are given by name. */
struct ReadOptions {
    char separator = 0;                                   ///< between cells; 0 finds it in the header
    std::vector<std::string> missing = {"NA", ".", "*"};  ///< words for a missing cell; an empty cell always is one
    std::optional<std::vector<std::string>> columns;  ///< the columns of the model; all that hold numbers if not given
    std::vector<std::string> carry;                   ///< columns to be carried along, whatever they hold
    std::optional<std::string> id;                    ///< names the rows; carried along
    std::optional<std::string> by;                    ///< one set of parameters per level; carried along
    bool pairs = true;                                ///< read columns x_lo and x_hi as the limits of x
    std::string lower_suffix = "_lo";
    std::string upper_suffix = "_hi";
    std::vector<std::pair<std::string, std::string>> remarks;  ///< a column and the column that remarks on it
    std::string remark_below = "<";                            ///< the remark that makes the value an upper bound
    std::string remark_above = ">";                            ///< the remark that makes it a lower bound
    std::string remark_observed;                               ///< the remark of an observed value
    std::string nondetect = "ND";                              ///< the word for "below the limit of the column"
    std::vector<std::pair<std::string, double>> limits;        ///< a column and the limit behind that word
};

/**
 * Make a table of the bytes of a CSV file. docs/tables.md says what a file and a cell may say.
 *
 * No rule is applied yet: bounds of columns are open, there is no order and no transformation.
 *
 * @param source   name of the file, for messages
 * @param bytes    the file; kept as the table's text
 * @param notices  gains what was noticed on the way
 * @throws DataError  with all that is wrong, when the text is no table or cells cannot be understood
 * @throws Error      usage if an option names a column that is not there
 */
[[nodiscard]] Table read_table(std::string source, std::string bytes, const ReadOptions &options, Notices &notices);

}  // namespace ullage::host

#endif
