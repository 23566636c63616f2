// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Formulas as they are written, and least squares on hard designs.

#include "ullage/host/answer/regression.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "ullage/host/base/error.h"

namespace ullage::host {
namespace {

TEST(Formula, SaysWhatItMeans) {
    const Formula formula = parse_formula(" log10(`y 1`)~x1+ log(x.3) +x1:sqrt(x2)\t");
    EXPECT_EQ(formula.response.column, "y 1");
    EXPECT_EQ(formula.response.function, TermFunction::log10);
    EXPECT_TRUE(formula.intercept);
    std::vector<std::string> names;
    for (const Term &term : formula.terms) names.push_back(term.name);
    EXPECT_EQ(names, (std::vector<std::string>{"x1", "log(x.3)", "x1:sqrt(x2)"}));
    EXPECT_EQ(formula.terms[2].factors.at(1).column, "x2");
    EXPECT_FALSE(parse_formula("y ~ x - 1").intercept);
    EXPECT_FALSE(parse_formula("y ~ 0 + x").intercept);
    EXPECT_TRUE(parse_formula("y ~ 1").terms.empty());
    EXPECT_EQ(parse_formula("y ~ 10x + 1").terms.at(0).name, "10x") << "a name may begin with a digit";
    EXPECT_EQ(parse_formula("y ~ log").terms.at(0).factors.at(0).column, "log") << "a column may be called log";
    EXPECT_EQ(parse_formula("höhe ~ größe").terms.at(0).name, "größe");
}

TEST(Formula, ErrorsSayWhere) {
    const struct {
        const char *text;
        const char *expected;
    } wrong[] = {{"", "at its end"},
                 {"y", "a ~ is expected"},
                 {"y ~", "the name of a column"},
                 {"y ~ x +", "the name of a column"},
                 {"y ~ x z", "at \"z\""},
                 {"y ~ x * z", "at \"* z\""},
                 {"y ~ sin(x)", "\"sin\" is no function"},
                 {"y ~ log(x", "a ) is expected"},
                 {"y ~ log()", "the name of a column"},
                 {"y ~ `x", "not closed"},
                 {"y ~ x - z", "only 1"},
                 {"y ~ x + x", "twice"},
                 {"y ~ 0", "nothing on the right"},
                 {"y ~ x:", "the name of a column"}};
    for (const auto &row : wrong) {
        try {
            (void)parse_formula(row.text);
            ADD_FAILURE() << row.text << " was accepted";
        } catch (const Error &error) {
            EXPECT_EQ(error.fault(), Fault::usage);
            EXPECT_NE(std::string(error.what()).find(row.expected), std::string::npos) << error.what();
        }
    }
}

TEST(LeastSquares, ExactFitsWhateverTheUnits) {
    // y = 2 - 3e9 u + v with u of size 1e-6 and v of size 1e7: the residuals are those of (1, -1, -1, 1) / 2.
    const std::vector<double> u = {1e-6, 2e-6, 3e-6, 4e-6};
    const std::vector<double> noise = {0.5, -0.5, -0.5, 0.5};
    std::vector<double> design;
    std::vector<double> response;
    for (std::size_t i = 0; i < 4; ++i) {
        design.insert(design.end(), {1.0, u[i]});
        response.push_back(2.0 - 3e9 * u[i] + noise[i]);
    }
    const std::vector<std::string> names = {"(Intercept)", "u"};
    const LinearFit fit = fit_least_squares(design, response, names);
    // Rounding of y, some 1e4, over the spread of u, some 1e-6, leaves ten digits of the coefficients.
    EXPECT_NEAR(fit.coefficients[0], 2.0, 1e-10);
    EXPECT_NEAR(fit.coefficients[1], -3e9, 3e9 * 1e-13);
    EXPECT_EQ(fit.residual_df, 2.0);
    EXPECT_NEAR(fit.residual_variance, 0.5, 1e-11);
    // (X'X)^-1 of 1..4: (1.5, -0.5; -0.5, 0.2), in the units of u.
    EXPECT_NEAR(fit.covariance[0], 0.75, 1e-11);
    EXPECT_NEAR(fit.covariance[1] * 1e-6, -0.25, 1e-11);
    EXPECT_NEAR(fit.covariance[2] * 1e-12, 0.1, 1e-11);
}

TEST(LeastSquares, RefusesWhatIsNotDetermined) {
    const std::vector<double> response = {1, 2, 3, 4};
    const std::vector<std::string> names = {"a", "b", "c"};
    const struct {
        std::vector<double> design;
        const char *expected;
    } wrong[] = {{{1, 1, 2, 1, 2, 3, 1, 3, 4, 1, 4, 5}, "is not determined"},
                 {{1, 1e-300, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0}, "\"c\" is 0"}};
    for (const auto &row : wrong) {
        try {
            (void)fit_least_squares(row.design, response, names);
            ADD_FAILURE() << row.expected;
        } catch (const Error &error) {
            EXPECT_NE(std::string(error.what()).find(row.expected), std::string::npos) << error.what();
        }
    }
    EXPECT_THROW((void)fit_least_squares(std::vector<double>(9, 1.0), std::vector<double>(3, 1.0), names), Error);
}

}  // namespace
}  // namespace ullage::host
