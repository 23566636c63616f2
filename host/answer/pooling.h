// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Pooling: one answer from the answers of m completed tables, by Rubin's rules.

#ifndef ULLAGE_HOST_ANSWER_POOLING_H
#define ULLAGE_HOST_ANSWER_POOLING_H

#include <limits>
#include <span>
#include <string>
#include <vector>

#include "ullage/host/answer/regression.h"
#include "ullage/host/run/completed_tables.h"

namespace ullage::host {

/**
 * One quantity, pooled. From m estimates Q_i with complete-data variances U_i (Rubin 1987, chapter 3):
 *
 *     estimate = mean of Q_i          within U = mean of U_i         between B = sum of (Q_i - estimate)^2 / (m - 1)
 *     total T = U + (1 + 1/m) B       riv r = (1 + 1/m) B / U        lambda = (1 + 1/m) B / T
 *
 * The degrees of freedom are those of Barnard and Rubin (1999, Biometrika 86), with v the ones of the complete data:
 *
 *     v_m = (m - 1) / lambda^2        v_obs = (v + 1) / (v + 3) * v * (1 - lambda)        df = v_m v_obs / (v_m +
 * v_obs)
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
 * @param complete_df  degrees of freedom that the complete data would have, above 0; may be infinite
 * @param confidence   of the interval, between 0 and 1
 * @throws Error  usage if any of this does not hold
 */
[[nodiscard]] Pooled pool_scalar(std::span<const double> estimates, std::span<const double> variances,
                                 double complete_df = kInfiniteDf, double confidence = kConfidence);

/** A pooled quantity with its name: "mean(lead)", "cor(lead,zinc)", or a coefficient of a regression. */
struct PooledRow {
    std::string level;  ///< of the "by" column, or empty
    std::string name;
    Pooled pooled;
};

/** The quantities that a table can be asked for; lists are of columns of the model. */
struct PoolRequest {
    bool means = false;
    bool variances = false;
    bool covariances = false;
    bool correlations = false;
    std::vector<double> quantiles;  ///< probabilities strictly between 0 and 1
};

/**
 * Pool what is asked for, for every column (or pair) of the model and every level, level by level. With n rows:
 *
 * | quantity | complete-data variance | complete-data df |
 * |---|---|---|
 * | mean | s^2 / n | n - 1 |
 * | variance s^2 | 2 s^4 / (n - 1), of normal data | n - 1 |
 * | covariance s_ij | (s_ii s_jj + s_ij^2) / (n - 1), of normal data | n - 1 |
 * | correlation, as Fisher's z | 1 / (n - 3) | infinite |
 * | quantile, interpolated between order statistics (type 7 of Hyndman, Fan 1996) | Maritz, Jarrett (1978) | n - 1 |
 *
 * A correlation is pooled as z; estimate and interval are taken back to r, and the standard error is (1 - r^2) times
 * that of z. Everything else of its row is of z.
 *
 * @throws Error  usage if there are fewer than 2 imputations, a probability is out of range, or pairs are asked for
 * where there is only one column; data if a level has too few rows (2; 4 for correlations) or a column does not vary
 * where it must
 */
[[nodiscard]] std::vector<PooledRow> pool_moments(const CompletedTables &tables, const PoolRequest &request,
                                                  double confidence = kConfidence);

/**
 * Wald test that k coefficients are all 0, D1 of Li, Raghunathan, Rubin (1991, JASA 86):
 *
 *     r = (1 + 1/m) tr(B U^-1) / k         F = q' U^-1 q / (k (1 + r))
 *
 * with q, U and B the pooled estimates, within and between covariance. The second degrees of freedom are those of
 * Reiter (2007, Biometrika 94) if the complete data's are finite and k (m - 1) > 4, else of Li, Raghunathan, Rubin.
 */
struct WaldTest {
    std::vector<std::string> names;  ///< of the coefficients
    double statistic;                ///< F
    double df1;                      ///< k
    double df2;                      ///< may be infinite
    double p;
    double riv;  ///< r
};

/** A regression of one level, pooled. */
struct PooledRegression {
    std::string level;
    std::size_t rows;
    double residual_df;
    std::vector<PooledRow> coefficients;
    std::vector<WaldTest> tests;  ///< of the coefficients asked for; without any of all but the intercept
};

/**
 * Fit a regression to each completed table by least squares and pool it, level by level.
 *
 * @param tested  names of coefficients for the Wald test; empty for all but the intercept
 * @throws Error  usage if there are fewer than 2 imputations, the formula names a column that is not there or holds
 *                words, or tested no coefficient; data if a value cannot be used (a missing cell outside the model,
 *                the logarithm of 0) with row and imputation, or the coefficients are not determined
 */
[[nodiscard]] std::vector<PooledRegression> pool_regression(const CompletedTables &tables, const Formula &formula,
                                                            std::span<const std::string> tested = {},
                                                            double confidence = kConfidence);

/** The Wald test by itself.
 * @param fits         m fits of one model
 * @param places       of the tested coefficients, at least one
 * @param complete_df  as pool_scalar
 * @throws Error  data if the within covariance of the coefficients is singular */
[[nodiscard]] WaldTest wald_test(std::span<const LinearFit> fits, std::span<const std::size_t> places,
                                 double complete_df);

/**
 * Pool a table of estimates made elsewhere: CSV with the columns estimate and std.error (or se), optionally term (or
 * name), which tells the quantities apart, and df, the complete-data degrees of freedom; one row per imputation and
 * term. Other columns are ignored.
 *
 * @param source       name of the file, for messages
 * @param complete_df  where there is no column df
 * @throws Error  data if a column or a number is missing, a standard error is negative, or a term stands only once or
 *                less often than another
 */
[[nodiscard]] std::vector<PooledRow> pool_estimates(const std::string &source, std::string bytes,
                                                    double complete_df = kInfiniteDf, double confidence = kConfidence);

}  // namespace ullage::host

#endif
