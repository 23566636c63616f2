// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Formulas of regressions.

#ifndef ULLAGE_HOST_ANSWER_FORMULA_H
#define ULLAGE_HOST_ANSWER_FORMULA_H

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ullage/host/table/expression.h"

namespace ullage::host {

/** A column or an expression of columns that stands in a term: "x1", "log(x3 + 1)", "C(site, ref = b)". */
struct FormulaVariable {
    std::string name;  ///< as it is written, without blanks and backquotes
    Expression expression;
    bool is_categorical = false;  ///< C(): its column holds words
    std::string reference = {};   ///< the word that the others are compared with; empty for the first
};

/** A product of variables: "x1", "x1:x2". */
struct Term {
    std::string name;
    std::vector<std::size_t> variables;  ///< places in Formula::variables, in the order of the text
};

/** "y ~ x1 + log(x3)". */
struct Formula {
    Expression response;
    bool intercept = true;
    std::vector<FormulaVariable> variables;
    std::vector<Term> terms;  ///< each once, those of fewer variables first
    std::vector<Expression> offsets;
};

/**
 * Read a formula: a response, a tilde, and terms with a + between them (Wilkinson and Rogers 1973, Applied Statistics
 * 22). A variable is a column, a function of an expression (log(x + 1); I(x^2) for other arithmetic), or C(column) or
 * C(column, ref = word). a:b is their product, a * b is a + b + a:b, (a + b)^2 the same to the second order, "- a"
 * takes a term out again, and "." is every column of dot that the response does not name. 1 is the constant, which is
 * there unless 0 or -1 takes it out; offset(expression) has the coefficient 1.
 *
 * @param dot  the columns that "." stands for
 * @throws Error  usage with the place and what is expected there
 */
[[nodiscard]] Formula parse_formula(std::string_view text, std::span<const std::string> dot = {});

}  // namespace ullage::host

#endif
