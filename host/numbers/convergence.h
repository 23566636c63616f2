// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Whether chains have met and how much they are worth: R-hat and effective sample sizes.

#ifndef ULLAGE_HOST_NUMBERS_CONVERGENCE_H
#define ULLAGE_HOST_NUMBERS_CONVERGENCE_H

#include <cstddef>
#include <string>
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

/** A parameter of one level, and what its chains say. */
struct ParameterConvergence {
    std::string level;  ///< "" if there is no "by" column
    std::string name;   ///< as in parameter_names
    Convergence convergence;
};

/** The worst of several, each number on its own: those that are not known are left out, and NaN if none is. */
[[nodiscard]] Convergence worst_of(const std::vector<ParameterConvergence> &parameters);

/** What chains that go on until they have converged are to reach, after Vehtari et al. (2021), section 4. */
struct ConvergenceTarget {
    double rhat_below = 1.01;
    double ess_above = 400.0;  ///< of bulk and tail

    [[nodiscard]] bool is_reached_by(const Convergence &convergence) const {
        return convergence.rhat < rhat_below && convergence.ess_bulk > ess_above && convergence.ess_tail > ess_above;
    }
};

/** Effective number of draws for the mean, of the draws themselves, each chain split in halves (Vehtari et al. 2021,
 * section 2.2): the Monte Carlo error of the mean is the standard deviation of the draws over its square root. NaN as
 * in Convergence. */
[[nodiscard]] double mean_effective_size(const Chains &chains);

/** Autocorrelation at a lag below the length of the chains, about the mean of all draws, so that chains which have not
 * met are correlated at every lag; NaN if nothing varies. */
[[nodiscard]] double autocorrelation(const Chains &chains, std::size_t lag);

/** From these on, chains are worth a warning: R-hat above the first, or a size below the second times the chains. */
inline constexpr double kWorstRhat = 1.05;
inline constexpr double kLeastEssPerChain = 25.0;

}  // namespace ullage::host

#endif
