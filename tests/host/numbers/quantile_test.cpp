// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Quantiles and their variances, whose weights are known fractions.

#include "ullage/host/numbers/quantile.h"

#include <gtest/gtest.h>

#include <vector>

#include "host/expect_close.h"

namespace ullage::host {
namespace {

TEST(Quantile, InterpolatesBetweenOrderStatistics) {
    const std::vector<double> sorted = {1.0, 2.0, 4.0, 8.0};
    const struct {
        double probability;
        double quantile;
    } rows[] = {{0.0, 1.0}, {0.5, 3.0}, {0.25, 1.75}, {0.9, 6.8}, {1.0, 8.0}};
    for (const auto &row : rows) expect_close(quantile_of(sorted, row.probability), row.quantile, "quantile");
    const std::vector<double> far = {-1.7e308, 1.7e308};
    EXPECT_EQ(quantile_of(far, 0.5), 0.0) << "the distance of the two is no double";
}

TEST(Quantile, VarianceHasTheWeightsOfABetaDistribution) {
    // With n = 3 the distribution functions are polynomials: beta(2, 2) is 3 x^2 - 2 x^3, beta(1, 3) is 1 - (1 - x)^3.
    const std::vector<double> sorted = {0.0, 1.0, 10.0};
    const struct {
        double probability;
        double weights[3];
    } rows[] = {{0.5, {7.0 / 27.0, 13.0 / 27.0, 7.0 / 27.0}}, {0.25, {19.0 / 27.0, 7.0 / 27.0, 1.0 / 27.0}}};
    for (const auto &row : rows) {
        double first = 0.0;
        double second = 0.0;
        for (int i = 0; i < 3; ++i) {
            first += row.weights[i] * sorted[i];
            second += row.weights[i] * sorted[i] * sorted[i];
        }
        expect_close(quantile_variance(sorted, quantile_weights(3, row.probability)), second - first * first,
                     "variance", 1e-12);
    }
}

}  // namespace
}  // namespace ullage::host
