// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The prior as the user chooses it, and what it is in the model's units.

#ifndef ULLAGE_HOST_MODEL_PRIOR_H
#define ULLAGE_HOST_MODEL_PRIOR_H

#include <span>
#include <string>
#include <vector>

#include "ullage/host/model/posterior.h"
#include "ullage/host/model/scale.h"
#include "ullage/host/numbers/moments.h"

namespace ullage::host {

/** How the user chose the prior. */
struct PriorChoice {
    enum class Kind { jeffreys, ridge, file };
    Kind kind = Kind::jeffreys;
    double ridge_cases = 0.0;                     ///< ridge: how many cases of uncorrelated columns are added
    std::vector<std::string> columns;             ///< file: the columns of what follows
    double mean_cases = 0.0;                      ///< file
    double covariance_cases = 0.0;                ///< file
    std::vector<double> mean;                     ///< file: in the units of the transformed columns
    std::vector<std::vector<double>> covariance;  ///< file: the prior guess, likewise
};

/**
 * Read a prior as it is written on the command line: "jeffreys", "ridge=CASES", or the path of a JSON file with the
 * members columns, mean, mean_cases, covariance (rows of a full matrix) and covariance_cases.
 *
 * @throws Error  usage if the words or the file's content make no prior, no_input if the file cannot be read
 */
[[nodiscard]] PriorChoice parse_prior(const std::string &text);

/**
 * The chosen prior in the model's units.
 *
 * @param names      of the columns
 * @param scales     of the columns
 * @param variances  of the columns in the model's units, by which the ridge is shaped
 * @throws Error  usage if the prior is of other columns
 */
[[nodiscard]] Prior make_prior(const PriorChoice &choice, std::span<const std::string> names,
                               std::span<const Scale> scales, std::span<const double> variances);

}  // namespace ullage::host

#endif
