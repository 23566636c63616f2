// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Rubin's rules: one answer from the answers of m completed tables.

#ifndef ULLAGE_HOST_NUMBERS_RUBIN_H
#define ULLAGE_HOST_NUMBERS_RUBIN_H

#include <cstddef>
#include <limits>
#include <span>

#include "ullage/host/base/error.h"
#include "ullage/host/numbers/least_squares.h"

namespace ullage::host {

/**
 * One quantity, pooled. From m estimates Q_i with complete-data variances U_i (Rubin 1987, chapter 3):
 *
 *     estimate = mean of Q_i          within U = mean of U_i         between B = sum of (Q_i - estimate)^2 / (m - 1)
 *     total T = U + (1 + 1/m) B       riv r = (1 + 1/m) B / U        lambda = (1 + 1/m) B / T
 *
 * The degrees of freedom are those of Barnard and Rubin (1999, Biometrika 86), with v the ones of the complete data:
 *
 *     v_m = (m - 1) / lambda^2        v_obs = (v + 1) / (v + 3) * v * (1 - lambda)
 *     df = v_m v_obs / (v_m + v_obs)
 *
 * where 1 - lambda = U / (U + (1 + 1/m) B); an infinite v leaves df = v_m. Then
 *
 *     fmi = (r + 2 / (df + 3)) / (1 + r)            relative_efficiency = 1 / (1 + fmi / m)
 *
 * If the estimates are all the same, B and fmi are 0 and df is what is left: v_obs.
 */
struct Pooled {
    double estimate;
    double within;
    double between;
    double total;
    double standard_error;  ///< square root of total
    double df;              ///< may be infinite
    double lower;           ///< interval by t quantiles at the confidence asked for
    double upper;
    double statistic;  ///< estimate / standard_error
    double p;          ///< two-sided, of the hypothesis that the quantity is 0
    double riv;        ///< relative increase of variance
    double lambda;     ///< part of the variance that is due to the hidden cells
    double fmi;        ///< fraction of missing information
    double relative_efficiency;
};

inline constexpr double kConfidence = 0.95;
inline constexpr double kInfiniteDf = std::numeric_limits<double>::infinity();

/**
 * Pool one quantity.
 *
 * @param estimates    m of them, at least 2
 * @param variances    m squared standard errors, none below 0
 * @param complete_df  degrees of freedom that the complete data would have, at least 1; may be infinite
 * @param confidence   of the interval, between 0 and 1
 * @throws Error  usage if any of this does not hold; data if the result is beyond the range of double precision
 */
[[nodiscard]] Pooled pool_scalar(std::span<const double> estimates, std::span<const double> variances,
                                 double complete_df = kInfiniteDf, double confidence = kConfidence);

/** What is thrown where a result is beyond the range of double precision. */
[[nodiscard]] Error out_of_range();
/** @throws Error  usage if there are fewer than 2 imputations */
void check_imputations(std::size_t count);
/** @throws Error  usage if the confidence does not lie between 0 and 1 */
void check_confidence(double confidence);

/**
 * Wald test that k coefficients are all 0, D1 of Li, Raghunathan, Rubin (1991, JASA 86):
 *
 *     r = (1 + 1/m) tr(B U^-1) / k         F = q' U^-1 q / (k (1 + r))
 *
 * with q, U and B the pooled estimates, within and between covariance. The second degrees of freedom are those of
 * Reiter (2007, Biometrika 94) if the complete data's are finite and k (m - 1) > 4, else of Li, Raghunathan, Rubin.
 */
struct WaldTest {
    double statistic;  ///< F
    double df1;        ///< k
    double df2;        ///< may be infinite
    double p;
    double riv;  ///< r
};

/**
 * Test coefficients together.
 *
 * @param fits         m fits of one model
 * @param places       of the tested coefficients, at least one
 * @param complete_df  as pool_scalar
 * @throws Error  data if the within covariance of the coefficients is singular
 */
[[nodiscard]] WaldTest wald_test(std::span<const LinearFit> fits, std::span<const std::size_t> places,
                                 double complete_df);

}  // namespace ullage::host

#endif
