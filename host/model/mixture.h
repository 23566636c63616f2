// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// A mixture of normal distributions: its prior, draws of its parameters, and the density of a row with hidden cells.

#ifndef ULLAGE_HOST_MODEL_MIXTURE_H
#define ULLAGE_HOST_MODEL_MIXTURE_H

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

#include "ullage/host/model/posterior.h"
#include "ullage/host/numbers/moments.h"
#include "ullage/host/numbers/random_stream.h"

namespace ullage::host {

/** The components of a mixture whose number the data shall decide: superfluous ones empty. */
inline constexpr std::size_t kAutomaticComponents = 10;
inline constexpr std::size_t kMostComponents = 100;

/** The parameters of a mixture. */
struct Mixture {
    std::vector<double> weights;  ///< one per component, with the sum 1
    std::vector<Parameters> components;
};

/** What is known of a mixture before the data: the components are exchangeable. */
struct MixturePrior {
    std::size_t components;
    double concentration;  ///< of the symmetric Dirichlet distribution of the weights
    Prior component;
};

/**
 * The prior of a mixture of normals in the model's units.
 *
 * Each component has the proper prior of Fraley and Raftery (2007, Journal of Classification 24, 155-181): n + 2 cases
 * of uncorrelated variables for the covariance, whose mean is the diagonal of the given variances divided by
 * components^(2 / n), the share of the data's volume that one of that many components takes; and a hundredth of a case
 * at the given means. The weights have the concentration 1 / components, which is below half the number of parameters
 * of a component, so that the weights of superfluous components go to 0 as rows are added (Rousseau and Mengersen 2011,
 * JRSS B 73, 689-710).
 *
 * @param means, variances  one per variable
 */
[[nodiscard]] MixturePrior make_mixture_prior(std::size_t components, std::span<const double> means,
                                              std::span<const double> variances);

/**
 * Draw weights and parameters given the rows of each component (Diebolt and Robert 1994, JRSS B 56, 363-375).
 *
 * @param rows    one per component; the mean and the scatter of an empty one are not read
 * @param random  its next numbers decide
 */
[[nodiscard]] Mixture draw_mixture(std::span<const Moments> rows, const MixturePrior &prior, RandomStream &random);

/** Mean and covariance of the mixture itself, which do not depend on how its components are numbered. */
[[nodiscard]] Parameters moments_of_mixture(const Mixture &mixture);

/** The distribution of some variables of a normal one, and of one more given them. */
class MarginalNormal {
public:
    /**
     * @param parameters  with a regular covariance
     * @param observed    variables, ascending; they may be none
     * @param next        one more variable
     * @throws UnusableMoments  collinear, if the covariance is singular within rounding
     */
    MarginalNormal(const Parameters &parameters, std::span<const std::size_t> observed,
                   std::optional<std::size_t> next);

    /** Log density of the observed variables without its factor (2 pi)^(-their number / 2).
     * @param row  a value for every variable of the normal distribution; only the observed ones are read */
    [[nodiscard]] double log_density(std::span<const double> row);

    /** Log probability that the next variable lies between two limits, given the row of the last log_density. */
    [[nodiscard]] double log_probability_of_next(double lower, double upper) const;

private:
    std::vector<std::size_t> variables_;  // the observed ones, then the next one
    std::size_t observed_count_;
    std::vector<double> mean_;
    std::vector<double> root_;  // packed, of the covariance of variables_
    double log_scale_ = 0.0;
    std::vector<double> solved_;
};

}  // namespace ullage::host

#endif
