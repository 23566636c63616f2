// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The multivariate normal model of one level: moments of complete data, the prior, and draws of the parameters.

#ifndef ULLAGE_HOST_MODEL_H
#define ULLAGE_HOST_MODEL_H

#include <cstddef>
#include <span>
#include <stdexcept>
#include <utility>
#include <vector>

#include "ullage/host/random_stream.h"

namespace ullage::host {

/** Elements of the lower triangle of a symmetric matrix of order n, by rows: the engine's packed form. */
[[nodiscard]] constexpr std::size_t packed_size(std::size_t n) {
    return n * (n + 1) / 2;
}
/** The place of element (i, j), j <= i. */
[[nodiscard]] constexpr std::size_t packed_index(std::size_t i, std::size_t j) {
    return i * (i + 1) / 2 + j;
}

/** Count, means, and packed sums of squares and products about the means, of some rows. */
struct Moments {
    double count = 0.0;
    std::vector<double> mean;
    std::vector<double> scatter;
};

/** Moments of rows, given one after the other with n values each. */
[[nodiscard]] Moments moments_of_rows(std::span<const double> values, std::size_t n);

/**
 * Put the moments of parts together, pairwise (Chan, Golub, LeVeque 1979), in a tree that depends on the number of
 * parts alone: the same parts in the same order give the same bits wherever each was computed.
 *
 * @param parts  at least one, all of one order; empty parts (count 0) are allowed
 */
[[nodiscard]] Moments combine(std::vector<Moments> parts);

/** Means and packed covariance. */
struct Parameters {
    std::vector<double> mean;
    std::vector<double> covariance;
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
    double mean_cases = 0.0;        ///< how many cases the prior mean is worth; 0 for a flat one
    double covariance_cases = 0.0;  ///< degrees of freedom of the covariance
    std::vector<double> mean;       ///< n; not read if mean_cases is 0
    std::vector<double> scatter;    ///< packed; covariance_cases times the prior guess; not read if that is 0
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
 * @param random  its next numbers decide
 * @throws UnusableMoments  if the posterior is improper or, within rounding, singular
 */
[[nodiscard]] Parameters draw_parameters(const Moments &moments, const Prior &prior, RandomStream &random);

/**
 * Look whether moments allow a draw of parameters, without drawing.
 *
 * @throws UnusableMoments  as draw_parameters
 */
void check_moments(const Moments &moments, const Prior &prior);

}  // namespace ullage::host

#endif
