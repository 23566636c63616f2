// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Rounds of "ullage impute --until-converged".

#ifndef ULLAGE_CLI_ROUNDS_H
#define ULLAGE_CLI_ROUNDS_H

#include <optional>

#include "impute_run.h"
#include "options.h"
#include "ullage/host/draw/impute.h"
#include "ullage/host/run/run_record.h"

namespace ullage::cli {

/** Iterations of each chain that rounds may reach if the user does not say. */
inline constexpr int kMostIterations = 20000;

/** What the options say of rounds, for the record of a run; none if there is one round only.
 * @throws Error  usage if the first round is longer than the user allows */
[[nodiscard]] std::optional<host::UntilConverged> until_converged(const ImputeOptions &options,
                                                                  const host::ImputeSettings &settings);

/** Judges what the chains have drawn, and says so; empty if there is one round only.
 * @param run  must outlive the function */
[[nodiscard]] host::GoesOn make_rounds(const Options &options, const Run &run);

}  // namespace ullage::cli

#endif
