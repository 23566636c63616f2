// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Whether chains have met and how much they are worth: R-hat and effective sample sizes.

#ifndef ULLAGE_HOST_CONVERGENCE_H
#define ULLAGE_HOST_CONVERGENCE_H

#include <span>
#include <vector>

namespace ullage::host {

/** One quantity's draws: one sequence per chain, all of one length. */
using Chains = std::vector<std::vector<double>>;

/** What the draws of one quantity say about its chains; NaN where they cannot say. */
struct Convergence {
    double rhat;      ///< rank-normalised split R-hat, the larger of the bulk and the folded one
    double ess_bulk;  ///< effective number of draws for the centre of the distribution
    double ess_tail;  ///< the smaller of those for its 5% and its 95% quantile
};

/**
 * Judge one quantity after Vehtari, Gelman, Simpson, Carpenter, Buerkner (2021), Rank-normalization, folding, and
 * localization, Bayesian Analysis 16(2). Each chain is split in halves (an odd one drops its middle draw).
 *
 * @param chains  at least one chain; fewer than 4 draws per chain, a draw that is not finite, or draws that are all the
 *                same give NaN throughout; fewer than 12 give no sizes
 */
[[nodiscard]] Convergence judge_convergence(const Chains &chains);

/** From these on, chains are worth a warning: R-hat above the first, or a size below the second times the chains. */
inline constexpr double kWorstRhat = 1.05;
inline constexpr double kLeastEssPerChain = 100.0;

}  // namespace ullage::host

#endif
