// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Linear regression: formulas, and least squares.

#ifndef ULLAGE_HOST_ANSWER_REGRESSION_H
#define ULLAGE_HOST_ANSWER_REGRESSION_H

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace ullage::host {

/** A function of a column that a formula may name. */
enum class TermFunction { identity, log, log10, log2, exp, sqrt };

/** A column or a function of it. */
struct Factor {
    std::string column;
    TermFunction function = TermFunction::identity;

    /** The value of the function; NaN or an infinity where it is not defined. */
    [[nodiscard]] double value(double x) const;
};

/** A product of factors: "x1", "log(x3)", "x1:x2". */
struct Term {
    std::string name;  ///< as it is written, without blanks and backquotes
    std::vector<Factor> factors;
};

/** "y ~ x1 + log(x3)". */
struct Formula {
    Factor response;
    bool intercept = true;
    std::vector<Term> terms;
};

/** The name of the constant term. */
inline constexpr std::string_view kIntercept = "(Intercept)";

/**
 * Read a formula: a response, a tilde, and terms with a + between them. A term is a column, a function (log, log10,
 * log2, exp, sqrt) of a column, or a product of these with a : between them. 1 is the constant, which is there unless
 * 0 or -1 takes it out. A name that is not made of letters, digits, points and underscores stands between backquotes.
 *
 * @throws Error  usage with the place and what is expected there
 */
[[nodiscard]] Formula parse_formula(std::string_view text);

/** Coefficients of a regression and their covariance. */
struct LinearFit {
    std::vector<double> coefficients;
    std::vector<double> covariance;  ///< packed; residual variance times the inverse of X'X
    double residual_variance;
    double residual_df;
};

/**
 * Fit by least squares, by a QR decomposition with column pivoting.
 *
 * @param design    one row of coefficients.size() numbers per case, row by row; not changed
 * @param response  one number per case
 * @throws Error  data if there are no more cases than coefficients, or the columns of the design are collinear; the
 *                message gives the names
 */
[[nodiscard]] LinearFit fit_least_squares(std::span<const double> design, std::span<const double> response,
                                          std::span<const std::string> names);

}  // namespace ullage::host

#endif
