// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The prior as the user chooses it, and what it is in the model's units.

#ifndef ULLAGE_HOST_MODEL_PRIOR_H
#define ULLAGE_HOST_MODEL_PRIOR_H

#include <span>
#include <string>
#include <vector>

#include "ullage/host/model/latent_columns.h"
#include "ullage/host/model/posterior.h"
#include "ullage/host/numbers/moments.h"

namespace ullage::host {

/**
 * Cases that the default prior is worth as soon as a column of words is in the model.
 *
 * The data tell no scale of a latent variable. Under a flat mean its posterior scale s has the density s^-CASES
 * exp(-k / s^2) in the end, which is proper for more than one case (McCulloch and Rossi 1994).
 */
inline constexpr double kLatentCases = 3.0;

/** Cases that the default prior is worth without a column of words: of the priors compared in docs/model.md that under
 * which intervals of small tables cover nearest to 95% and no chain stops. */
inline constexpr double kDefaultCases = 0.25;

/** How the user chose the prior. */
struct PriorChoice {
    enum class Kind {
        standard,  ///< kDefaultCases of uncorrelated columns; with a column of words kLatentCases
        jeffreys,
        ridge,
        file
    };
    Kind kind = Kind::standard;
    double ridge_cases = 0.0;                     ///< ridge: how many cases of uncorrelated columns are added
    std::vector<std::string> columns;             ///< file: the columns of what follows
    double mean_cases = 0.0;                      ///< file
    double covariance_cases = 0.0;                ///< file
    std::vector<double> mean;                     ///< file: in the units of the transformed columns
    std::vector<std::vector<double>> covariance;  ///< file: the prior guess, likewise
};

/**
 * Read a prior as it is written on the command line: "default", "jeffreys", "ridge=CASES", or the path of a JSON file
 * with the members columns, mean, mean_cases, covariance (rows of a full matrix) and covariance_cases.
 *
 * @throws Error  usage if the words or the file's content make no prior, no_input if the file cannot be read
 */
[[nodiscard]] PriorChoice parse_prior(const std::string &text);

/**
 * The chosen prior in the model's units.
 *
 * @param variances  of the variables in the model's units, by which the default for words and the ridge are shaped
 * @throws Error  usage if the prior is of other variables
 */
[[nodiscard]] Prior make_prior(const PriorChoice &choice, const Table &table, const Variables &variables,
                               std::span<const double> variances);

}  // namespace ullage::host

#endif
