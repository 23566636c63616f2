// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Regressions of completed tables, pooled.

#ifndef ULLAGE_HOST_ANSWER_POOL_REGRESSION_H
#define ULLAGE_HOST_ANSWER_POOL_REGRESSION_H

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "ullage/host/answer/formula.h"
#include "ullage/host/answer/pooled_row.h"
#include "ullage/host/run/completed_tables.h"

namespace ullage::host {

/** A test of some coefficients together. */
struct CoefficientTest {
    std::vector<std::string> names;
    WaldTest wald;
};

/** A regression of one level, pooled. */
struct PooledRegression {
    std::string level;
    std::size_t rows;
    double residual_df;
    std::vector<PooledRow> coefficients;
    std::vector<CoefficientTest> tests;  ///< of the coefficients asked for; without any of all but the intercept
};

/**
 * Fit a regression to each completed table by least squares and pool it, level by level.
 *
 * @param tested  names of coefficients for the Wald test; empty for all but the intercept
 * @throws Error  usage if there are fewer than 2 imputations, the formula names a column that is not there or holds
 *                words, or tested no coefficient; data if a value cannot be used (a missing cell outside the model,
 *                the logarithm of 0) with row and imputation, or the coefficients are not determined or beyond the
 *                range of double precision
 */
[[nodiscard]] std::vector<PooledRegression> pool_regression(const CompletedTables &tables, const Formula &formula,
                                                            std::span<const std::string> tested = {},
                                                            double confidence = kConfidence);

}  // namespace ullage::host

#endif
