// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Reading the results of a run back: its record, the draws of its parameters, and its completed tables.

#ifndef ULLAGE_HOST_RUN_RUN_DIRECTORY_H
#define ULLAGE_HOST_RUN_RUN_DIRECTORY_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ullage/host/model/parameter_names.h"
#include "ullage/host/numbers/convergence.h"
#include "ullage/host/table/table.h"

namespace ullage::host {

/** A column of the model as run.json describes it. */
struct RunColumn {
    std::string name;
    std::int64_t observed = 0;  ///< cells
    std::int64_t missing = 0;
    std::int64_t bounded = 0;
    double lower = -kOpen;  ///< bound of every hidden cell
    double upper = kOpen;
    Transformation transformation = Transformation::none;

    /** The name as parameters have it: "log(lead)". */
    [[nodiscard]] std::string transformed_name() const;
    /** A value of the column on the scale of the model, neither centred nor scaled. */
    [[nodiscard]] double transform(double value) const;
};

/** A level of the "by" column; a run without one has a single level whose name is empty. */
struct RunLevel {
    std::string name;
    std::int64_t rows = 0;
    std::int64_t complete_rows = 0;
};

/** run.json. */
struct RunRecord {
    std::string version;
    std::uint32_t stream_version = 0;
    std::vector<std::string> command;  ///< the words of the command line
    std::uint64_t seed = 0;
    std::string input_name;
    std::int64_t input_bytes = 0;
    std::vector<std::string> input_warnings;  ///< what was noticed when the table was read
    std::string input_sha256;
    char separator = 0;  ///< between cells of the input and of the completed tables
    std::int64_t rows = 0;
    int imputations = 0;
    int chains = 0;
    int burn_in = 0;
    int thin = 0;
    std::string prior;  ///< as the user wrote it
    std::optional<std::string> by;
    std::vector<RunColumn> columns;
    std::vector<std::string> order;  ///< rules for every row: "a<b"
    std::vector<RunLevel> levels;
    std::vector<std::string> warnings;  ///< about convergence, in words
    double seconds = 0.0;
};

/** parameters.csv. */
struct ParameterDraws {
    std::vector<std::string> names;          ///< mean(a), ..., var(a), cov(b,a), var(b), ...
    std::vector<std::vector<Chains>> draws;  ///< [level][parameter], levels in the order of RunRecord::levels
};

/** A column of the completed tables that holds numbers. */
struct CompletedColumn {
    std::string name;
    std::vector<double> original;      ///< one per row; NaN where the cell was imputed, or is missing in all tables
    std::vector<std::int32_t> hidden;  ///< the rows whose cells were imputed, ascending; empty outside the model
    std::vector<std::vector<double>> imputed;  ///< [imputation][place in hidden]

    /** All rows of the column in one imputation, counted from 0. */
    [[nodiscard]] std::vector<double> completed(std::size_t imputation) const;
};

/** imputations.csv, or the files imputation_1.csv, ... */
struct CompletedTables {
    std::string source;  ///< for messages
    std::size_t rows = 0;
    std::size_t imputations = 0;
    std::vector<CompletedColumn> columns;    ///< those that hold numbers only, in the order of the file
    std::vector<std::string> other_columns;  ///< names of the other ones
    std::vector<std::string> levels;         ///< as RunRecord::levels
    std::vector<std::int32_t> level_of_row;  ///< an index into levels
    std::vector<std::size_t> model;          ///< places in columns of the columns of the model, in their order

    /** The column of that name.
     * @throws Error  usage if there is none or it holds words; the message lists the names */
    [[nodiscard]] const CompletedColumn &column(std::string_view name) const;
    /** The rows of a level, ascending. */
    [[nodiscard]] std::vector<std::int32_t> rows_of_level(std::size_t level) const;
};

/**
 * Read DIR/run.json.
 *
 * @throws Error  no_input if there is no such file, data if it is not the record of a run; the message names the member
 */
[[nodiscard]] RunRecord read_run_record(const std::string &directory);

/**
 * Read DIR/parameters.csv.
 *
 * @throws Error  no_input if there is no such file, data if it is broken or not of the run that the record describes:
 *                other parameters, chains, levels, or fewer iterations
 */
[[nodiscard]] ParameterDraws read_parameters(const std::string &directory, const RunRecord &record);

/**
 * Read DIR/imputations.csv, or where there is none DIR/imputation_1.csv, ... . From separate files, a cell counts as
 * imputed if it is not the same in all of them.
 *
 * @throws Error  no_input if there is no such file, data if it is broken or not of the run that the record describes:
 *                columns, rows or imputations are missing, an imputed cell is no number
 */
[[nodiscard]] CompletedTables read_completed_tables(const std::string &directory, const RunRecord &record);

}  // namespace ullage::host

#endif
