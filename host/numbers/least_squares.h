// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Least squares, of rows that come in parts.

#ifndef ULLAGE_HOST_NUMBERS_LEAST_SQUARES_H
#define ULLAGE_HOST_NUMBERS_LEAST_SQUARES_H

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace ullage::host {

/** Coefficients of a regression and their covariance. */
struct LinearFit {
    std::vector<double> coefficients;
    std::vector<double> covariance;  ///< packed; residual variance times the inverse of X'X, or a robust one
    double residual_variance;
    double residual_df;
};

/**
 * A linear regression that takes its rows in parts and holds no more than one square matrix of them: the triangle of
 * the QR decomposition (by Householder reflections) of the rows so far, which the next part is put under (Golub and
 * Van Loan, Matrix Computations, section 5.1 and 6.5).
 */
class LeastSquares {
public:
    /** @param names  of the coefficients, at least one; for messages */
    explicit LeastSquares(std::vector<std::string> names);

    /** Take some rows.
     * @param design    one row of as many numbers as there are coefficients per case, row by row; finite
     * @param response  one number per case; finite */
    void add(std::span<const double> design, std::span<const double> response);

    /**
     * The fit to all rows taken.
     *
     * @param variance  of the residuals, if it is known; otherwise it is estimated
     * @throws Error  data if there are no more cases than coefficients, the columns of the design are collinear (the
     *                message gives the name of one that follows from the others), or a result is beyond the range of
     *                double precision
     */
    [[nodiscard]] LinearFit fit(std::optional<double> variance = {}) const;

private:
    std::vector<std::string> names_;
    std::size_t cases_ = 0;
    std::vector<double> unit_;      // of each column and the response: a power of two near its first numbers; 0 before
    std::vector<double> triangle_;  // of the design beside the response, in units; order names + 1, by columns
};

}  // namespace ullage::host

#endif
