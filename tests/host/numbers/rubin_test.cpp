// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Rubin's rules against worked examples, and their limits.

#include "ullage/host/numbers/rubin.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "host/expect_close.h"
#include "ullage/host/base/error.h"

namespace ullage::host {
namespace {

TEST(PoolScalar, WorkedExample) {
    const std::vector<double> estimates = {10, 11, 9, 10.5, 9.5};
    const std::vector<double> variances(5, 1.0);
    const Pooled pooled = pool_scalar(estimates, variances, 30.0);
    EXPECT_EQ(pooled.estimate, 10.0);
    EXPECT_EQ(pooled.within, 1.0);
    EXPECT_EQ(pooled.between, 0.625);
    EXPECT_EQ(pooled.total, 1.75);
    EXPECT_EQ(pooled.riv, 0.75);
    // lambda = 3/7, v_m = 4 (7/3)^2 = 196/9, v_obs = 31/33 * 30 * 4/7 = 1240/77.
    expect_close(pooled.lambda, 3.0 / 7.0, "lambda");
    const double df = (196.0 / 9.0) * (1240.0 / 77.0) / (196.0 / 9.0 + 1240.0 / 77.0);
    expect_close(pooled.df, df, "df");
    expect_close(pooled.fmi, (0.75 + 2.0 / (df + 3.0)) / 1.75, "fmi");
    expect_close(pooled.relative_efficiency, 1.0 / (1.0 + pooled.fmi / 5.0), "efficiency");
    expect_close(pooled.statistic, 10.0 / std::sqrt(1.75), "statistic");
    EXPECT_EQ(pool_scalar(estimates, variances).df, 4.0 / (pooled.lambda * pooled.lambda)) << "infinite complete df";
}

TEST(PoolScalar, IntervalIsOfStudentsT) {
    // df = 1 where m = 2 and all of the variance is between: t has the closed form of the Cauchy distribution.
    const Pooled pooled = pool_scalar(std::vector<double>{-1.0, 3.0}, std::vector<double>{0.0, 0.0}, kInfiniteDf, 0.9);
    EXPECT_EQ(pooled.df, 1.0);
    EXPECT_EQ(pooled.fmi, 1.0);
    const double reach = std::tan(0.45 * M_PI) * std::sqrt(12.0);
    expect_close(pooled.upper, 1.0 + reach, "upper", 1e-11);
    expect_close(pooled.lower, 1.0 - reach, "lower", 1e-11);
    expect_close(pooled.p, 1.0 - 2.0 / M_PI * std::atan(1.0 / std::sqrt(12.0)), "p", 1e-11);
}

TEST(PoolScalar, EqualEstimatesLeaveTheCompleteData) {
    const std::vector<double> estimates(3, 0.1);
    const std::vector<double> variances(3, 4.0);
    const Pooled finite = pool_scalar(estimates, variances, 30.0);
    EXPECT_EQ(finite.between, 0.0);
    EXPECT_EQ(finite.fmi, 0.0);
    EXPECT_EQ(finite.relative_efficiency, 1.0);
    expect_close(finite.df, 31.0 / 33.0 * 30.0, "df");
    const Pooled infinite = pool_scalar(estimates, variances);
    EXPECT_TRUE(std::isinf(infinite.df));
    expect_close(infinite.upper, 0.1 + 2.0 * 1.959963984540054, "normal quantile");
    // Without any variance the quantity is what it is.
    const Pooled certain = pool_scalar(estimates, std::vector<double>(3, 0.0));
    EXPECT_EQ(certain.lower, certain.upper);
    EXPECT_TRUE(std::isnan(certain.p));
}

TEST(PoolScalar, RefusesWhatCannotBePooled) {
    const std::vector<double> two = {1.0, 2.0};
    const std::vector<double> one = {1.0};
    const double nan = std::nan("");
    EXPECT_THROW((void)pool_scalar(one, one), Error);
    EXPECT_THROW((void)pool_scalar(two, one), Error);
    EXPECT_THROW((void)pool_scalar(two, std::vector<double>{1.0, -1.0}), Error);
    EXPECT_THROW((void)pool_scalar(std::vector<double>{1.0, nan}, two), Error);
    for (const double df : {0.0, 1e-320, -1.0, nan}) EXPECT_THROW((void)pool_scalar(two, two, df), Error) << df;
    for (const double level : {0.0, 1.0, nan}) EXPECT_THROW((void)pool_scalar(two, two, 9.0, level), Error) << level;
}

TEST(PoolScalar, RefusesWhatDoublesCannotHold) {
    const std::vector<double> ones = {1.0, 1.0};
    const std::vector<double> far_apart = {1e200, -1e200};
    const std::vector<double> too_close = {1e-200, 2e-200};
    EXPECT_THROW((void)pool_scalar(far_apart, ones), Error);
    EXPECT_THROW((void)pool_scalar(too_close, ones), Error);
    EXPECT_THROW((void)pool_scalar(ones, std::vector<double>{1.7e308, 1.7e308}), Error);
    // Next to no degrees of freedom, v_obs = 1/2 * 1 * 2e-7 / (3 + 2e-7): the quantile of t is beyond all doubles.
    const Pooled open = pool_scalar(std::vector<double>{0.0, 2.0}, std::vector<double>{2e-7, 2e-7}, 1.0);
    EXPECT_EQ(open.upper, INFINITY);
    EXPECT_EQ(open.lower, -INFINITY);
}

TEST(WaldTest, DegreesOfFreedomOfReiter) {
    // Reiter's sum over one denominator, with a = r t / (t - 2), b = 1 + a, c = v - 2 b and d = v - 4 b:
    // a^2 (c^2 v^2 + 4 b d (c d + 2 b c + b d)) / (b^2 c d^3).
    const auto fit = [](double a, double b) { return LinearFit{{a, b}, {1.0, 0.5, 2.0}, 1.0, 50.0}; };
    const std::vector<LinearFit> fits = {fit(1, 2), fit(2, 1), fit(0, 3), fit(1.5, 1.5), fit(0.5, 2)};
    const std::vector<std::size_t> both = {0, 1};
    for (const double complete : {20.0, 50.0, 1000.0}) {
        const WaldTest test = wald_test(fits, both, complete);
        const double t = 2.0 * 4.0;
        const double a = test.riv * t / (t - 2.0);
        const double b = 1.0 + a;
        const double v = complete * (complete + 1.0) / (complete + 3.0);
        const double c = v - 2.0 * b;
        const double d = v - 4.0 * b;
        const double sum =
            a * a * (c * c * v * v + 4.0 * b * d * (c * d + 2.0 * b * c + b * d)) / (b * b * c * d * d * d);
        expect_close(test.df2, 4.0 + 1.0 / (1.0 / d + sum / (t - 4.0)), "df2", 1e-12);
    }
}

TEST(WaldTest, LimitsOfItsDegreesOfFreedom) {
    const auto fit = [](double a, double b) { return LinearFit{{a, b}, {1.0, 0.5, 2.0}, 1.0, 50.0}; };
    const std::vector<std::size_t> both = {0, 1};
    // Equal fits: r = 0, F = q' U^-1 q / 2 with U^-1 = ((2, -0.5), (-0.5, 1)) / 1.75, and the complete data's df.
    const std::vector<LinearFit> equal(3, fit(1.0, 2.0));
    const WaldTest certain = wald_test(equal, both, 50.0);
    EXPECT_EQ(certain.riv, 0.0);
    EXPECT_EQ(certain.df2, 50.0);
    expect_close(certain.statistic, (2.0 - 2.0 + 4.0) / 1.75 / 2.0, "F");
    // k (m - 1) = 4 takes the other formula of Li, Raghunathan and Rubin; just above it takes theirs or Reiter's.
    const std::vector<LinearFit> few = {fit(1, 2), fit(2, 1), fit(0, 3)};
    const WaldTest small = wald_test(few, both, kInfiniteDf);
    const double r = small.riv;
    expect_close(r, 4.0 / 3.0 * (2.0 + 0.5 + 0.5 + 1.0) / 1.75 / 2.0, "r");
    expect_close(small.df2, 4.0 * 1.5 * (1.0 + 1.0 / r) * (1.0 + 1.0 / r) / 2.0, "df2 at k (m - 1) = 4");
    std::vector<LinearFit> more = few;
    more.push_back(fit(1.5, 1.5));
    const WaldTest large = wald_test(more, both, kInfiniteDf);
    const double step = 1.0 + (1.0 - 2.0 / 6.0) / large.riv;
    expect_close(large.df2, 4.0 + 2.0 * step * step, "df2 at k (m - 1) = 6");
    EXPECT_LT(wald_test(more, both, 500.0).df2, large.df2);
    expect_close(wald_test(more, both, 1e9).df2, large.df2, "Reiter's df for very many rows", 1e-6);
    const std::vector<LinearFit> singular(2, LinearFit{{1.0, 1.0}, {1.0, 1.0, 1.0}, 1.0, 50.0});
    EXPECT_THROW((void)wald_test(singular, both, 50.0), Error);
}

}  // namespace
}  // namespace ullage::host
