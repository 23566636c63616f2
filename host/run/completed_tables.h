// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Reading the completed tables of a run.

#ifndef ULLAGE_HOST_RUN_COMPLETED_TABLES_H
#define ULLAGE_HOST_RUN_COMPLETED_TABLES_H

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ullage/host/draw/drawn_cells.h"
#include "ullage/host/run/run_record.h"

namespace ullage::host {

/** The most words that a column outside the model may have to be read as one of words. */
inline constexpr std::size_t kMostCarriedWords = 1000;

/** The values of the hidden cells of a column: held in memory, or left in a file without a name. */
class ImputedCells {
public:
    ImputedCells() = default;
    /** Held in memory. */
    ImputedCells(std::initializer_list<std::vector<double>> held) : held_(held) {}
    /** Those of a column in a file. */
    ImputedCells(DrawnCells drawn, std::size_t column) : drawn_(std::move(drawn)), column_(column) {}

    [[nodiscard]] std::size_t size() const { return drawn_.size() + held_.size(); }
    /** The values of one imputation, in the order of CompletedColumn::hidden; they last until the next call.
     * @throws Error  as DrawnCells::of_column */
    [[nodiscard]] std::span<const double> operator[](std::size_t imputation) const;
    /** All of them, from now on held in memory, to be changed.
     * @throws Error  as DrawnCells::of_column */
    [[nodiscard]] std::vector<std::vector<double>> &held();

private:
    std::vector<std::vector<double>> held_;
    DrawnCells drawn_;
    std::size_t column_ = 0;
    mutable std::vector<double> read_;  // of the imputation that was asked for last
    mutable std::optional<std::size_t> last_;
};

/**
 * A column of the completed tables: of numbers, or of words, whose places, from 0, stand for them. The words of the
 * model are in the order that the record gives them, those of other columns in the order of their bytes.
 */
struct CompletedColumn {
    std::string name;
    std::vector<double> original;         ///< one per row; NaN where the cell was imputed, or is missing in all tables
    std::vector<std::int32_t> hidden;     ///< the rows whose cells were imputed, ascending; empty outside the model
    ImputedCells imputed;                 ///< [imputation][place in hidden]
    std::vector<std::string> words = {};  ///< empty if it holds numbers

    [[nodiscard]] bool holds_words() const { return !words.empty(); }
    /** Put the cells of some rows, ascending, of one imputation (from 0) into out[0], out[step], ... */
    void copy_rows(std::size_t imputation, std::span<const std::int32_t> rows, double *out, std::size_t step = 1) const;
};

/** What files hold of completed tables, without derived columns: imputations.csv, the files imputation_1.csv, ..., or
 * original.csv with cells.csv */
struct CompletedTables {
    std::string source;  ///< for messages
    std::size_t rows = 0;
    std::size_t imputations = 0;
    std::vector<CompletedColumn> columns;    ///< in the order of the file
    std::vector<std::string> other_columns;  ///< names of those outside the model without a word or number, or with
                                             ///< more than kMostCarriedWords words
    std::vector<std::string> levels;         ///< as RunRecord::levels
    std::vector<std::int32_t> level_of_row;  ///< an index into levels
    std::size_t rows_before = 0;             ///< of the table that these are a part of; for messages
    std::size_t imputations_before = 0;      ///< as well
    std::vector<std::size_t> model;          ///< places in columns of the columns of the model, in their order

    /** The column of that name, of numbers or of words.
     * @throws Error  usage if there is none, or it is among other_columns; the message lists the names */
    [[nodiscard]] const CompletedColumn &column(std::string_view name) const;
    /** The same of numbers.
     * @throws Error  usage also if it holds words */
    [[nodiscard]] const CompletedColumn &column_of_numbers(std::string_view name) const;
    /** The number of a row in the whole table, from 1. */
    [[nodiscard]] std::size_t row_number(std::int32_t row) const {
        return rows_before + static_cast<std::size_t>(row) + 1;
    }
    /** The rows of a level, ascending. */
    [[nodiscard]] std::vector<std::int32_t> rows_of_level(std::size_t level) const;
};

/**
 * Read those of the files that the record lists: imputations.csv, or original.csv and cells.csv, or imputation_1.csv,
 * ... . From separate files, a cell counts as imputed if it is not the same in all of them. The values of the hidden
 * cells lie in the directory of temporary files, so that memory does not grow with the imputations.
 *
 * @throws Error  cannot_create if they cannot be kept there, no_input if there is no such file, data if it is broken or
 * not of the run that the record describes: columns, rows or imputations are missing, an imputed cell is no number
 */
[[nodiscard]] CompletedTables read_completed_tables(const std::string &directory, const RunRecord &record);

}  // namespace ullage::host

#endif
