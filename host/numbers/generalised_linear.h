// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Generalised linear models with their natural links, and standard errors that don't trust the model.

#ifndef ULLAGE_HOST_NUMBERS_GENERALISED_LINEAR_H
#define ULLAGE_HOST_NUMBERS_GENERALISED_LINEAR_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "ullage/host/numbers/least_squares.h"

namespace ullage::host {

/** The name of the constant term. */
inline constexpr std::string_view kIntercept = "(Intercept)";

/** normal: identity link; binomial: logit link, responses 0 and 1; poisson: log link, responses from 0 on. */
enum class Family { normal, binomial, poisson };

/** Some cases of a regression. */
struct DesignBlock {
    std::vector<double> design;         ///< one row of as many numbers as there are coefficients per case, row by row
    std::vector<double> response;       ///< one number per case
    std::vector<double> offset;         ///< one number per case
    std::vector<std::size_t> clusters;  ///< of cluster-robust errors: the number of each case's cluster, from 0
    std::vector<std::int32_t> rows;     ///< the row of each case, from 0, for messages
};

/** Calls its argument with all cases of a regression, block by block; each time with the same ones. */
using DesignPass = std::function<void(const std::function<void(const DesignBlock &)> &take)>;

/**
 * Fit a generalised linear model by iteratively reweighted least squares (McCullagh and Nelder 1989, section 2.5), with
 * half a step where the deviance would rise. The dispersion of the normal family is estimated, that of the others 1.
 * It goes on until a step is below 1e-5 standard errors.
 *
 * @param names  of the coefficients, at least one
 * @throws Error  data as LeastSquares; if the likelihood has no maximum, as some cases are told apart without doubt
 *                (separation: Albert and Anderson 1984, Biometrika 71), with a coefficient that grows without end; or
 *                if there is no convergence
 */
[[nodiscard]] LinearFit fit_generalised(Family family, const std::vector<std::string> &names, const DesignPass &pass);

/**
 * Give a fit the covariance HC3 (Long and Ervin 2000, The American Statistician 54):
 *
 *     A (sum of x x' e^2 / (1 - h)^2) A,      A = (X'WX)^-1,  e = y - mu,  h = w x'Ax
 *
 * @throws Error  data with the row of a case that alone determines a coefficient (h = 1)
 */
void make_robust(LinearFit &fit, Family family, const std::vector<std::string> &names, const DesignPass &pass);

/**
 * Give a fit the cluster-robust covariance A (sum over G clusters of s s') A times G / (G - 1), where s is the sum of
 * x e in the cluster (Liang and Zeger 1986, Biometrika 73), and of the normal family also times (n - 1) / (n - k); and
 * G - 1 degrees of freedom.
 *
 * @throws Error  data if there are fewer than 2 clusters
 */
void make_cluster_robust(LinearFit &fit, Family family, const std::vector<std::string> &names, const DesignPass &pass);

}  // namespace ullage::host

#endif
