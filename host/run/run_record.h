// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The record of a run that makes it repeatable, run.json: writing and reading.

#ifndef ULLAGE_HOST_RUN_RUN_RECORD_H
#define ULLAGE_HOST_RUN_RUN_RECORD_H

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ullage/host/draw/impute.h"
#include "ullage/host/model/model_table.h"
#include "ullage/host/numbers/convergence.h"
#include "ullage/host/table/read_options.h"
#include "ullage/host/table/table.h"

namespace ullage::host {

/** Version of the library, as "1.2.3". */
[[nodiscard]] std::string_view library_version();

/** A column of the model as run.json describes it. */
struct RunColumn {
    std::string name;
    ColumnKind kind = ColumnKind::number;
    std::string kind_reason = {};         ///< why, for the user
    double step = 0.0;                    ///< of a stepped column
    std::vector<std::string> words = {};  ///< of a binary, ordered or nominal column, in their order; empty otherwise
    std::int64_t observed = 0;            ///< cells
    std::int64_t missing = 0;
    std::int64_t bounded = 0;
    double lower = -kOpen;  ///< bound of every hidden cell
    double upper = kOpen;
    Transformation transformation = Transformation::none;
    double centre = 0.0;  ///< the model's unit: (transformed value - centre) / scale
    double scale = 1.0;
    std::vector<double> cuts = {};  ///< of a latent ordered column: the points between its words

    [[nodiscard]] bool holds_words() const { return !words.empty(); }
    /** Whether its words or steps are intervals of variables that are not seen (ColumnVariables). */
    [[nodiscard]] bool is_latent() const { return kind != ColumnKind::number && missing + bounded > 0; }
    /** "log(lead)" */
    [[nodiscard]] std::string transformed_name() const;
    /** A value of the column on the scale of the model, neither centred nor scaled. */
    [[nodiscard]] double transform(double value) const;
};

/** A variable of the normal model, as parameters are named by it. A column of numbers is one itself. */
struct RunVariable {
    std::string name;                                ///< transformed: "log(lead)", "stage=II"
    std::string column;                              ///< the column that it belongs to
    std::optional<std::string> word = std::nullopt;  ///< the word that it speaks for; none of an ordered column
};

/** A column that the completed tables have besides those of the model. */
struct CarriedColumn {
    std::string name;
    std::int64_t blank = 0;  ///< cells that are missing
    std::string reason;      ///< why it is not in the model, for the user
};

/** A column that is computed in every completed table. */
struct RunDerived {
    std::string name;
    std::string derivation;  ///< as the user wrote it: "bmi = wgt / hgt^2"
};

/** A level of the "by" column; a run without one has a single level whose name is empty. */
struct RunLevel {
    std::string name;
    std::int64_t rows = 0;
    std::int64_t complete_rows = 0;
    /** Share of the rows of the fitted normal distribution that break the rules; NaN without rules. */
    double refused = std::numeric_limits<double>::quiet_NaN();
    /** Components of a mixture that hold rows, on average over the draws; NaN without a mixture. */
    double filled = std::numeric_limits<double>::quiet_NaN();
};

/** A file of a run besides run.json. */
struct FileFacts {
    std::string name;  ///< is_result_name()
    std::int64_t bytes = 0;
    std::string sha256;
    bool operator==(const FileFacts &) const = default;
};

/** That a run was to go on until its chains have converged. */
struct UntilConverged {
    ConvergenceTarget target = {};
    int max_iterations = 0;  ///< of each chain, at most
    bool converged = false;  ///< whether the target was reached
};

/** run.json. Every member but command, seconds and jobs follows from the input, the settings and the seed. */
struct RunRecord {
    std::string version;  ///< of the library
    std::uint32_t stream_version = 0;
    std::vector<std::string> command;  ///< the words of the command line
    std::uint64_t seed = 0;
    std::string input_name;
    std::int64_t input_bytes = 0;
    std::vector<std::string> input_warnings;  ///< what was noticed when the table was read
    std::string input_sha256;
    char separator = 0;  ///< between cells of the input and of the completed tables
    /** How the cells of the input were written; what follows from the columns is not repeated here. */
    ReadOptions reading = {};
    std::int64_t rows = 0;
    int imputations = 0;
    int chains = 0;
    int burn_in = 0;
    int thin = 0;
    int iterations = 0;  ///< of each chain, with those of the burn-in
    std::optional<UntilConverged> until_converged = {};
    std::optional<int> sweeps;            ///< of an iteration, if they were given
    int most_sweeps = 1;                  ///< of a chain, as it chose them
    std::optional<int> renew_every = {};  ///< iterations between renewals of the cells, if there were any
    std::int64_t block_rows = 0;
    std::string prior;           ///< as the user wrote it
    std::size_t components = 1;  ///< of a mixture; 1 is one normal distribution
    std::optional<std::string> by;
    std::vector<RunColumn> columns;
    std::vector<RunVariable> variables;  ///< of the model: those of nominal columns behind all others
    std::vector<CarriedColumn> carried;
    std::vector<RunDerived> derived = {};
    std::vector<std::string> order;  ///< rules for every row: "a<b"
    std::vector<RunLevel> levels;
    std::vector<ParameterConvergence> convergence;  ///< numbers that are not known are NaN
    std::vector<std::string> warnings;              ///< about convergence, in words
    std::vector<FileFacts> files;
    double seconds = 0.0;
    int jobs = 0;
    std::optional<int> chain;                 ///< the one of the chains, from 1, that this part of a run is; else none
    std::optional<std::string> prior_sha256;  ///< of the file with the prior, if it is one

    /** What is recorded of a file, or null. */
    [[nodiscard]] const FileFacts *file(std::string_view name) const;
    /** The column of that name. @pre there is one */
    [[nodiscard]] const RunColumn &column(std::string_view name) const;
    /** The first of the variables of a column. */
    [[nodiscard]] std::size_t variable_of(std::size_t column) const;
    /** Names of the variables. */
    [[nodiscard]] std::vector<std::string> variable_names() const;
    /** Iterations of each chain that count. */
    [[nodiscard]] std::size_t kept() const { return static_cast<std::size_t>(iterations - burn_in); }
};

/** What follows from the model and the settings; the rest is empty. */
[[nodiscard]] RunRecord describe_run(const ModelTable &model, const ImputeSettings &settings);

/**
 * What two runs differ in, of all that their draws follow from, as the subject of a sentence: "seeds"; nothing if they
 * are one run, or parts of it.
 */
[[nodiscard]] std::optional<std::string_view> difference(const RunRecord &one, const RunRecord &other);

/** The text of run.json. What is no valid UTF-8 has replacement characters. */
[[nodiscard]] std::string run_record_text(const RunRecord &record);

/** The record of a run at work, which lists no files, in such a text. Whether what it says fits together is not looked
 * at.
 * @param source  what messages call it
 * @throws Error  data if it is none; the message names the member */
[[nodiscard]] RunRecord run_record_of(const std::string &source, std::string_view text);

/**
 * Read DIR/run.json. A commit that was interrupted there is finished first. What the record says fits together: counts
 * of cells, rows and levels, names that are given once, iterations, and one file or one per imputation with the tables.
 *
 * @throws Error  no_input if there is no such file, data if it is not the record of a run; the message names the member
 */
[[nodiscard]] RunRecord read_run_record(const std::string &directory);

}  // namespace ullage::host

#endif
