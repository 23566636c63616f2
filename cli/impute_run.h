// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// A run of "ullage impute", whose chains may have been drawn here or elsewhere.

#ifndef ULLAGE_CLI_IMPUTE_RUN_H
#define ULLAGE_CLI_IMPUTE_RUN_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "input.h"
#include "options.h"
#include "ullage/host/answer/derive.h"
#include "ullage/host/draw/impute.h"
#include "ullage/host/model/model_table.h"
#include "ullage/host/model/prior.h"
#include "ullage/host/run/result_directory.h"
#include "ullage/host/run/run_record.h"

namespace ullage::cli {

/** Iterations between two renewals of a run with checkpoints. */
inline constexpr int kRenewEvery = 500;

/** What is known of a run before it draws. */
struct Run {
    explicit Run(const Options &options);
    Run(const Run &) = delete;
    Run &operator=(const Run &) = delete;

    std::vector<host::Derivation> derivations;
    host::PriorChoice prior;
    Input input;
    host::Deriver deriver;   // of the input
    host::ModelTable model;  // of the input
    host::ImputeSettings settings;
    std::optional<host::UntilConverged> until;
};

struct Drawn {
    host::Imputations imputations;
    double seconds = 0.0;
};

/** The record of a run, before its convergence is judged.
 * @param thin  that which the run came to */
host::RunRecord describe(const Options &options, const Run &run, int thin, double seconds);

/**
 * Write all files of a run into the directory of the options.
 *
 * @param inputs  paths of files that must not be lost, besides the table and a prior file
 * @param draw    gives what the chains drew; called once the directory is known to take the results
 */
void impute_to_directory(const Options &options, std::vector<std::string> inputs,
                         const std::function<Drawn(const Run &run, host::ResultDirectory &directory)> &draw);

}  // namespace ullage::cli

#endif
