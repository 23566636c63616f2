// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The record of a run that makes it repeatable, run.json: writing and reading.

#ifndef ULLAGE_HOST_RUN_RUN_RECORD_H
#define ULLAGE_HOST_RUN_RUN_RECORD_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ullage/host/draw/impute.h"
#include "ullage/host/model/model_table.h"
#include "ullage/host/numbers/convergence.h"
#include "ullage/host/table/table.h"

namespace ullage::host {

/** Version of the library, as "1.2.3". */
[[nodiscard]] std::string_view library_version();

/** The SHA-256 checksum of bytes, in hexadecimal digits. */
[[nodiscard]] std::string sha256(std::string_view bytes);

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

/** What a run was asked for and how long it took. */
struct RunFacts {
    std::vector<std::string> command;  ///< the words of the command line; may be empty
    ImputeSettings settings;
    std::string prior;              ///< as the user wrote it
    std::optional<std::string> by;  ///< the column of the levels
    double seconds = 0.0;
    std::vector<std::string> input_warnings = {};  ///< what was noticed when the table was read
};

/** The record of a run as JSON text. Every member but "timings" and "command" follows from input, settings and seed. */
[[nodiscard]] std::string run_record(const ModelTable &model, const RunFacts &facts,
                                     std::span<const ParameterConvergence> convergence,
                                     std::span<const std::string> warnings);

/**
 * Read DIR/run.json.
 *
 * @throws Error  no_input if there is no such file, data if it is not the record of a run; the message names the member
 */
[[nodiscard]] RunRecord read_run_record(const std::string &directory);

}  // namespace ullage::host

#endif
