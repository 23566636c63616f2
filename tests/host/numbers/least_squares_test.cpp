// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Least squares on hard designs, and in parts.

#include "ullage/host/numbers/least_squares.h"

#include <gtest/gtest.h>

#include <span>
#include <string>
#include <vector>

#include "ullage/host/base/error.h"

namespace ullage::host {
namespace {

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
    LeastSquares regression({"(Intercept)", "u"});
    // In parts, the first of a single row.
    regression.add(std::span(design).first(2), std::span(response).first(1));
    regression.add(std::span(design).subspan(2), std::span(response).subspan(1));
    const LinearFit fit = regression.fit();
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
                 {{1, 1e-300, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0}, "\"c\" is 0"},
                 {{1, 1e200, 0, 1, 0, 1, 1, 0, 1, 1, 0, 0}, "too large or too small"},
                 {{1, 1e-200, 0, 1, 0, 1, 1, 1e-200, 1, 1, 0, 0}, "too large or too small"}};
    for (const auto &row : wrong) {
        try {
            LeastSquares regression(names);
            regression.add(row.design, response);
            (void)regression.fit();
            ADD_FAILURE() << row.expected;
        } catch (const Error &error) {
            EXPECT_NE(std::string(error.what()).find(row.expected), std::string::npos) << error.what();
        }
    }
    LeastSquares few(names);
    few.add(std::vector<double>(9, 1.0), std::vector<double>(3, 1.0));
    EXPECT_THROW((void)few.fit(), Error);
}

}  // namespace
}  // namespace ullage::host
