// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The law of what the chain leaves in the cells, against moments known from theory and against simulation forward.

#include <cmath>
#include <functional>
#include <vector>

#include "support/engine_test.h"
#include "support/random_sources.h"

namespace {

#ifdef ULLAGE_TESTS_SANITIZED
constexpr int kCases = 500;
constexpr int kJointSteps = 20000;
#else
constexpr int kCases = 4000;
constexpr int kJointSteps = 200000;
#endif

// Mean and standard error of numbers that do not depend on each other.
struct Estimate {
    double mean;
    double error;
};

Estimate estimate(const std::vector<double> &sample) {
    const auto n = static_cast<double>(sample.size());
    double sum = 0.0;
    for (double x : sample) sum += x;
    double squares = 0.0;
    for (double x : sample) squares += (x - sum / n) * (x - sum / n);
    return {sum / n, std::sqrt(squares / (n - 1.0) / n)};
}

// A quantity of one case, and what it is on average.
struct Known {
    const char *what;
    std::function<double(const double *)> quantity;
    double expected;
};

// Many cases of one record, each a chain of its own: averages over passes are independent from case to case.
void expect_law(const std::u16string &record, std::int32_t nv, const std::vector<double> &means,
                const std::vector<double> &covariance, const std::vector<Known> &known, std::uint64_t seed) {
    constexpr int kPasses = 60;
    constexpr double kErrors = 4.5;  // one in 150,000 by chance
    LoadedEngine engine;
    DS_AllowRankOrder();
    std::u16string text = wide(std::to_string(kCases) + "\t" + std::to_string(nv) + "\n");
    text += nv == 3 ? u"x\ty\tz\n" : u"x\ty\n";
    ASSERT_EQ(create_and_load(text + repeated<std::u16string>(record + u"\n", kCases)), 0);
    SeededSource source(seed);
    const auto n = static_cast<std::size_t>(nv);
    std::vector<double> values(kCases * n);
    std::vector<std::vector<double>> averages(known.size(), std::vector<double>(kCases, 0.0));
    for (int pass = -20; pass < kPasses; ++pass) {
        ASSERT_EQ(DS_Impute(1, means.data(), covariance.data(), 0, 0, &source), 0);
        if (pass < 0) continue;
        ASSERT_EQ(DS_DataMatrix(1, values.data()), 0);
        for (std::size_t q = 0; q < known.size(); ++q) {
            for (std::size_t i = 0; i < kCases; ++i) averages[q][i] += known[q].quantity(&values[i * n]) / kPasses;
        }
    }
    for (std::size_t q = 0; q < known.size(); ++q) {
        const Estimate found = estimate(averages[q]);
        EXPECT_NEAR(found.mean, known[q].expected, kErrors * found.error) << known[q].what << ", seed " << seed;
        EXPECT_LT(found.error, 0.3 / std::sqrt(kCases)) << known[q].what << ": an estimate too loose to show a fault";
    }
}

// x < y < z, independent standard normals: the order statistics of three.
TEST(ChainLaw, ThreeNormalsInOrder) {
    const double m = 0.8462843753;
    expect_law(u"<y\tx<<z\ty<", 3, {0, 0, 0}, {1, 0, 1, 0, 0, 1},
               {{"mean of x", [](const double *v) { return v[0]; }, -m},
                {"mean of y", [](const double *v) { return v[1]; }, 0},
                {"mean of z", [](const double *v) { return v[2]; }, m},
                {"variance of x", [m](const double *v) { return (v[0] + m) * (v[0] + m); }, 0.5594672038},
                {"variance of y", [](const double *v) { return v[1] * v[1]; }, 0.4486711046},
                {"covariance of x and y", [m](const double *v) { return (v[0] + m) * v[1]; }, 0.2756644477},
                {"covariance of x and z", [m](const double *v) { return (v[0] + m) * (v[2] - m); }, 0.1648683485}},
               21);
}

// Both above 0 with correlation 0.5. The mean is the density at 0 times (1 + rho) / 2 over the probability, 1/3.
TEST(ChainLaw, PositiveQuadrant) {
    expect_law(u"0<\t0<", 2, {0, 0}, {1, 0.5, 1},
               {{"mean of x", [](const double *v) { return v[0]; }, 0.8976201},
                {"mean of y", [](const double *v) { return v[1]; }, 0.8976201}},
               22);
}

// An observed cell, a correlated missing one and a bounded one: x given y = 1, below 0. The regression has the slope
// 0.6, the residual variance 0.64; the mean of a normal (0.6, 0.8) below 0 is 0.6 - 0.8 r(-0.75), and z follows x.
TEST(ChainLaw, AMissingCellFollowsABoundedOne) {
    const double density = std::exp(-0.5 * 0.75 * 0.75) / std::sqrt(2.0 * M_PI);
    const double x = 0.6 - 0.8 * density / (0.5 * std::erfc(0.75 / std::sqrt(2.0)));
    // z given x and y: slopes 0.5 and 0 by the choice of its covariances, 0.5 and 0.3.
    expect_law(u"<0\t1\t*", 3, {0, 0, 0}, {1, 0.6, 1, 0.5, 0.3, 1},
               {{"mean of x", [](const double *v) { return v[0]; }, x},
                {"mean of z", [](const double *v) { return v[2]; }, 0.5 * x}},
               23);
}

// Parameter and cells forward, by rejection, against parameter and cells drawn in turn: a mean mu ~ N(0, 1) shared by
// two cells of correlation 0.5, with 0 < x and y < x.
TEST(ChainLaw, DrawingInTurnAgreesWithSimulationForward) {
    constexpr std::uint64_t kSeed = 24;
    constexpr std::size_t kQuantities = 5;
    constexpr int kBatch = 500;  // steps whose average counts as independent of the next one
    const auto quantities = [](double mu, double x, double y, double *q) {
        q[0] = mu;
        q[1] = x;
        q[2] = y;
        q[3] = mu * x;
        q[4] = x * y;
    };
    SeededSource source(kSeed);
    std::vector<std::vector<double>> forward(kQuantities);
    std::vector<std::vector<double>> in_turn(kQuantities);
    double q[kQuantities];
    while (forward[0].size() < kJointSteps) {
        const double mu = source.normal();
        const double e = source.normal();
        const double x = mu + e;
        const double y = mu + 0.5 * e + std::sqrt(0.75) * source.normal();
        if (!(x > 0.0 && y < x)) continue;
        quantities(mu, x, y, q);
        for (std::size_t i = 0; i < kQuantities; ++i) forward[i].push_back(q[i]);
    }
    LoadedEngine engine;
    DS_AllowRankOrder();
    ASSERT_EQ(create_and_load(u"1\t2\nx\ty\n0|y<\t<x\n"), 0);
    const double covariance[] = {1, 0.5, 1};
    double mu = 0.5;
    double sums[kQuantities] = {};
    for (int step = 1; step <= kJointSteps; ++step) {
        const double means[] = {mu, mu};
        ASSERT_EQ(DS_Impute(1, means, covariance, 0, 0, &source), 0);
        double cells[2];
        ASSERT_EQ(DS_DataVector(1, 1, cells), 0);
        quantities(mu, cells[0], cells[1], q);
        for (std::size_t i = 0; i < kQuantities; ++i) sums[i] += q[i] / kBatch;
        // Given the cells mu has the precision 1 + 4/3 and the mean 2/3 (x + y) over it.
        mu = (cells[0] + cells[1]) * (2.0 / 3.0) / (7.0 / 3.0) + source.normal() / std::sqrt(7.0 / 3.0);
        if (step % kBatch == 0) {
            for (std::size_t i = 0; i < kQuantities; ++i) {
                in_turn[i].push_back(sums[i]);
                sums[i] = 0.0;
            }
        }
    }
    for (std::size_t i = 0; i < kQuantities; ++i) {
        const Estimate a = estimate(forward[i]);
        const Estimate b = estimate(in_turn[i]);
        EXPECT_NEAR(a.mean, b.mean, 4.5 * std::hypot(a.error, b.error)) << "quantity " << i << ", seed " << kSeed;
        EXPECT_LT(std::hypot(a.error, b.error), 8.0 / std::sqrt(kJointSteps)) << "quantity " << i;
    }
}

}  // namespace
