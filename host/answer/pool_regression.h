// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Regressions of completed tables, pooled.

#ifndef ULLAGE_HOST_ANSWER_POOL_REGRESSION_H
#define ULLAGE_HOST_ANSWER_POOL_REGRESSION_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "ullage/host/answer/formula.h"
#include "ullage/host/answer/pooled_row.h"
#include "ullage/host/numbers/generalised_linear.h"
#include "ullage/host/run/completed_tables.h"

namespace ullage::host {

/** A regression that is asked for. */
struct Regression {
    Formula formula;
    Family family = Family::normal;
    std::optional<Expression> where = {};  ///< the rows for which it is true; all of them without it
    bool robust = false;                   ///< standard errors HC3
    std::string cluster = {};              ///< a column: cluster-robust standard errors; empty without
    std::vector<std::string> tested = {};  ///< terms and coefficients to be tested together
    double confidence = kConfidence;
};

/** A test of some coefficients together. */
struct CoefficientTest {
    std::vector<std::string> names;
    WaldTest wald;
    std::string term = {};  ///< whose coefficients they are, all of them; empty if they are of several
};

/** A regression of one level, pooled. */
struct PooledRegression {
    std::string level;
    std::size_t rows;       ///< in the imputation with the fewest; all have as many without Regression::where
    std::size_t most_rows;  ///< in that with the most
    double residual_df;     ///< of the fit to the fewest rows, or clusters - 1
    std::vector<PooledRow> coefficients;
    std::vector<CoefficientTest> tests;  ///< of what was asked for; otherwise of all but the intercept, and then of
                                         ///< each term with several coefficients
};

/**
 * Fit a regression to each completed table and pool it, level by level. With Regression::where each imputation has its
 * own rows, those for which it is true there; the complete-data degrees of freedom are then those of the fewest rows.
 * Where there are fewer clusters than coefficients to test, a test that was not asked for is left out.
 *
 * @throws Error  usage if there are fewer than 2 imputations, the formula names a column that is not there or holds
 *                words where numbers are needed, tested names neither term nor coefficient, or both kinds of robust
 *                errors are asked for; data with level and imputation if a value cannot be used (a missing cell outside
 *                the model, the logarithm of 0), with its row, or the coefficients are not determined, have no finite
 *                estimate, or are beyond the range of double precision
 */
[[nodiscard]] std::vector<PooledRegression> pool_regression(const CompletedTables &tables,
                                                            const Regression &regression);

}  // namespace ullage::host

#endif
