// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// What a run leaves besides completed tables: the draws of the parameters, and the record that makes it repeatable.

#ifndef ULLAGE_HOST_RUN_RUN_RECORD_H
#define ULLAGE_HOST_RUN_RUN_RECORD_H

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ullage/host/base/output_file.h"
#include "ullage/host/draw/impute.h"
#include "ullage/host/model/model_table.h"
#include "ullage/host/run/write_table.h"

namespace ullage::host {

/** Version of the library, as "1.2.3". */
[[nodiscard]] std::string_view library_version();

/** The SHA-256 checksum of bytes, in hexadecimal digits. */
[[nodiscard]] std::string sha256(std::string_view bytes);

/**
 * Write the draws that count as CSV: .chain and .iteration (from 1, burn-in not counted), .level if there is a "by"
 * column, then one column per parameter_names().
 */
void write_parameters(OutputFile &file, const ModelTable &model, const Imputations &result);

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

}  // namespace ullage::host

#endif
