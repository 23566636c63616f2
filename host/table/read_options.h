// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// How a file is to be read.

#ifndef ULLAGE_HOST_TABLE_READ_OPTIONS_H
#define ULLAGE_HOST_TABLE_READ_OPTIONS_H

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ullage/host/table/table.h"

namespace ullage::host {

/** The kind that the user gives a column. */
struct KindOption {
    std::string column;
    ColumnKind kind;
    double step = 0.0;                    ///< stepped: above 0
    std::vector<std::string> words = {};  ///< ordered: the words in their order
};

/** The option that gives a kind. */
[[nodiscard]] inline std::string option_of(ColumnKind kind) {
    return kind == ColumnKind::stepped ? "--step"
                                       : std::string("--") + kColumnKindNames[static_cast<std::size_t>(kind)];
}

/** How the cells of a file are to be understood. Columns are given by name. */
struct ReadOptions {
    char separator = 0;                                   ///< between cells; 0 finds it in the header
    bool decimal_comma = false;                           ///< numbers are written 0,5
    std::vector<std::string> missing = {"NA", ".", "*"};  ///< words for a missing cell; an empty cell always is one
    std::optional<std::vector<std::string>> columns;  ///< the columns of the model; all that hold numbers if not given
    std::vector<std::string> carry;                   ///< columns to be carried along, whatever they hold
    bool keep_blank = false;        ///< columns asked for by name are numbers also where no cell holds one
    bool find_kinds = false;        ///< look for words, flags and names of rows; without it, columns are of numbers
    std::vector<KindOption> kinds;  ///< what the values of a column are, whatever is found
    std::optional<std::string> id;  ///< names the rows; carried along
    std::optional<std::string> by;  ///< one set of parameters per level; carried along
    std::optional<std::string> by_blank;  ///< the level of rows whose cell of that column is missing
    bool pairs = true;                    ///< read columns x_lo and x_hi as the limits of x
    std::string lower_suffix = "_lo";
    std::string upper_suffix = "_hi";
    std::vector<std::pair<std::string, std::string>> remarks;  ///< a column and the column that remarks on it
    std::vector<std::string> remark_below = {"<", "<=", "≤"};  ///< the remarks that make the value an upper bound
    std::vector<std::string> remark_above = {">", ">=", "≥"};  ///< those that make it a lower bound
    std::vector<std::string> remark_observed;                  ///< those of an observed value
    bool remarks_in_cells = false;   ///< a remark may also stand behind the number in its cell, as in "0.5 U"
    std::vector<std::string> units;  ///< words behind a number that say nothing of it, as in "0.5 mg/L"
    /** The words for "below the limit of the column", unless a column has the name that follows a <. */
    std::vector<std::string> nondetect = {"ND", "N.D.", "BDL", "BLQ", "<LOD", "<LOQ", "<DL", "<MDL"};
    std::vector<std::pair<std::string, double>> limits;  ///< a column and the limit behind that word
};

}  // namespace ullage::host

#endif
