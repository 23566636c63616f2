// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The multivariate normal model of one level: the prior, and draws of the parameters.

#ifndef ULLAGE_HOST_MODEL_POSTERIOR_H
#define ULLAGE_HOST_MODEL_POSTERIOR_H

#include <cstddef>
#include <span>
#include <stdexcept>
#include <utility>
#include <vector>

#include "ullage/host/numbers/moments.h"
#include "ullage/host/numbers/random_stream.h"

namespace ullage::host {

/** Means and packed covariance. */
struct Parameters {
    std::vector<double> mean;
    std::vector<double> covariance;
};

/**
 * The variables of a nominal column. Their covariance given all variables before them is known to be (I + J) / 2, that
 * of differences of independent utilities, as well as some cases tell it: the prior density gains the factor
 * |R|^(-cases / 2) exp(-cases tr((I + J) / 2 R^-1) / 2) in that covariance R. The data tell hardly anything of it
 * (McCulloch and Rossi 1994), and a chain that leaves it free does not mix; what the utilities have to do with the
 * other variables stays free.
 */
struct UtilityBlock {
    std::size_t first;
    std::size_t count;
    double cases;
};

/**
 * What is known of the parameters before the data: the normal / inverse Wishart family,
 *
 *     covariance ~ inverse Wishart(covariance_cases, scatter),  mean | covariance ~ normal(mean,
 * covariance/mean_cases).
 *
 * All zero is Jeffreys' prior, with density |covariance|^(-(n + 1) / 2).
 */
struct Prior {
    double mean_cases = 0.0;                   ///< how many cases the prior mean is worth; 0 for a flat one
    double covariance_cases = 0.0;             ///< degrees of freedom of the covariance
    std::vector<double> mean;                  ///< n; not read if mean_cases is 0
    std::vector<double> scatter;               ///< packed; covariance_cases times the prior guess; empty for 0
    std::vector<UtilityBlock> utilities = {};  ///< of nominal columns; they are the last variables
};

/** Why no parameters can be drawn. */
class UnusableMoments : public std::runtime_error {
public:
    enum class Kind { too_few, constant, collinear };
    UnusableMoments(Kind kind, std::vector<std::size_t> columns)
        : std::runtime_error("unusable moments"), kind_(kind), columns_(std::move(columns)) {}
    [[nodiscard]] Kind kind() const { return kind_; }
    /** The columns involved, ascending; all for too_few. */
    [[nodiscard]] const std::vector<std::size_t> &columns() const { return columns_; }

private:
    Kind kind_;
    std::vector<std::size_t> columns_;
};

/** A column whose variance given the others is below this part of its own counts as a combination of them. */
inline constexpr double kLeastUnexplained = 1e-11;

/**
 * Draw means and covariance from their posterior distribution given complete data (Schafer 1997, section 5.2; the
 * covariance by Bartlett's decomposition).
 *
 * @param moments  of at least one case, or of none under a prior with mean_cases and covariance_cases
 * @param random  its next numbers decide
 * @throws UnusableMoments  if the posterior is improper or, within rounding, singular
 */
[[nodiscard]] Parameters draw_parameters(const Moments &moments, const Prior &prior, RandomStream &random);

/** Whether so many rows and the prior determine the parameters of n columns, if the columns vary and do not follow from
 * each other. */
[[nodiscard]] bool has_enough_rows(double count, std::size_t n, const Prior &prior);

/**
 * Look whether moments allow a draw of parameters, without drawing.
 *
 * @throws UnusableMoments  as draw_parameters
 */
void check_moments(const Moments &moments, const Prior &prior);

}  // namespace ullage::host

#endif
