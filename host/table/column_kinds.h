// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// What the values of a column are, found from the file or told by an option.

#ifndef ULLAGE_HOST_TABLE_COLUMN_KINDS_H
#define ULLAGE_HOST_TABLE_COLUMN_KINDS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ullage/host/base/problems.h"
#include "ullage/host/table/column_choice.h"
#include "ullage/host/table/read_columns.h"
#include "ullage/host/table/read_options.h"
#include "ullage/host/table/table.h"

namespace ullage::host {

/** The most words that a column without an option may have to be nominal. */
inline constexpr std::size_t kMostWords = 20;

/** Why a column is carried along where kinds are not looked for. */
inline constexpr const char *kNoNumber = "there is no number in it";

/** What a column is taken for. */
struct KindChoice {
    std::optional<ColumnKind> kind;       ///< nothing: it is carried along
    double step = 0.0;                    ///< stepped
    std::vector<std::string> words = {};  ///< binary, ordered, nominal: in their order
    std::string reason;                   ///< for the user: "2 words", "--nominal", "the numbers name the rows"
    bool is_doubtful = false;             ///< carried along, although it may belong into the model
};

/**
 * Choose the kind of a column.
 *
 * An option decides. Without options.find_kinds, a column with a number is one of numbers, and any other is carried
 * along. Otherwise a column with numbers is one of numbers; but two different values, each of them there
 * more than once and no bound beside them, are binary, and whole numbers that count or name the rows, or write dates,
 * are carried along. A column without a number is binary with two words and nominal with up to kMostWords; with one
 * word, with more, with as many as cells, and with dates it is carried along.
 *
 * Words without an order of their own stand in the order of their bytes, and numbers by size.
 */
[[nodiscard]] KindChoice choose_kind(const FileText &file, const Candidate &candidate, const CandidateCells &cells,
                                     const ReadOptions &options);

/** Whether every cell of a column of the file is a sign of comparison such as < or missing, and not all are missing. */
[[nodiscard]] bool holds_remarks(const FileText &file, std::size_t file_column, const ReadOptions &options);

/** The cells of a column of words. */
struct WordCells {
    /** What a cell leaves possible: the places of words between two limits, which lie half-way between places. */
    struct Limits {
        std::int32_t row;
        double lower;
        double upper;
    };

    std::vector<double> values;  ///< places of words; NaN where the cell is hidden
    std::vector<CellState> states;
    std::vector<Limits> limits;  ///< of the bounded cells, by row
    Problems problems;
};

/**
 * Read the cells of a binary, ordered or nominal column: each is one of the words or missing. A cell of an ordered
 * column may also say <=WORD, <WORD, >=WORD, >WORD or WORD..WORD (both included).
 */
[[nodiscard]] WordCells read_words(const FileText &file, const Candidate &candidate, const KindChoice &choice,
                                   const ReadOptions &options);

}  // namespace ullage::host

#endif
