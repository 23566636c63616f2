// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Formulas of regressions.

#ifndef ULLAGE_HOST_ANSWER_FORMULA_H
#define ULLAGE_HOST_ANSWER_FORMULA_H

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

}  // namespace ullage::host

#endif
