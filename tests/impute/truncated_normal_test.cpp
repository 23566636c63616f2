// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// One truncated draw: every path by the calls it makes and the bits it gives, and the law of the draws in each region.

#include "impute/truncated_normal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "frame/session_state.h"
#include "support/bits.h"
#include "support/random_sources.h"

namespace {

constexpr double kLow = kOpenLow;
constexpr double kHigh = kOpenHigh;
constexpr double kInfinity = std::numeric_limits<double>::infinity();
const double kNaN = std::nan("");

DrawOutcome draw(RandomSource *source, double lower, double upper, double mean, double sd, double &x) {
    state.random_source = source;
    const DrawOutcome outcome = draw_truncated_normal(lower, upper, mean, sd, x);
    state.random_source = nullptr;
    return outcome;
}

// Neighbours of the values at which the selector changes its way. (0 - b * b) * -0.5 is ln 2.18, the double, exactly at
// kSwitch0, and (1 - b * b) * -0.5 is at kSwitch1.
constexpr double kSwitch0 = 0x1.3f9b017f20c20p+0;
constexpr double kBelowSwitch0 = 0x1.3f9b017f20c1fp+0;
constexpr double kSwitch1 = 0x1.997df17c8881bp+0;
constexpr double kBelowSwitch1 = 0x1.997df17c8881ap+0;

double below(double x) {
    return std::nextafter(x, -kInfinity);
}
double above(double x) {
    return std::nextafter(x, kInfinity);
}

TEST(TruncatedNormal, EveryPathAsksForItsNumbersInItsOrder) {
    enum Kind { exact, libm };  // libm: exp or log are part of the value
    struct Row {
        const char *what;
        double lower;
        double upper;
        double mean;
        double sd;
        std::vector<double> numbers;
        const char *calls;
        double expected;
        Kind kind = exact;
    };
    // In standard units a and b stand for the ends; t = -1/a ln u on the tail, and -1/a ln(1 - u m) below a bound.
    const Row rows[] = {
        {"open: one number as it is", kLow, kHigh, 5, 2, {0.3}, "N", 0x1.6666666666666p+2},
        {"open: neither mean nor sd is tested", kLow, kHigh, 5, -2, {0.3}, "N", 0x1.199999999999ap+2},

        {"above 0: normal rejection, a tie rejects", 0, kHigh, 0, 1, {-0.2, 0.0, 0.4}, "NNN", 0.4},
        {"above -1: normal rejection", -1, kHigh, 0, 1, {-1.0, -3, -0.5}, "NNN", -0.5},
        {"above the smallest: half-normal", 5e-324, kHigh, 0, 1, {0.0, 5e-324, -0.25}, "NNN", 0.25},
        {"above 0.75: half-normal, a tie rejects", 0.75, kHigh, 0, 1, {0.5, -0.75, -2}, "NNN", 2},
        {"just above 0.75: tail", above(0.75), kHigh, 0, 1, {0.5, 0.65}, "UU", 0x1.ac981ff517bf4p+0, libm},
        {"tail, one rejection", 2, kHigh, 0, 1, {0.25, 0.79, 0.75, 0.98}, "UUUU", 0x1.1269621134db9p+1, libm},
        {"tail, an infinite proposal", 2, kHigh, 0, 1, {0.0, 0.5, 0.75, 0.5}, "UUUU", 0x1.1269621134db9p+1, libm},
        {"tail, proposal at the end, a tie rejects", 2, kHigh, 0, 1, {1, 1, 1, 0.99}, "UUUU", 2},
        {"tail, threshold 0 accepts", 40, kHigh, 0, 1, {0.5, 0}, "UU", 0x1.40237d37fe5d3p+5, libm},

        {"below the mean: normal rejection of the mirror image", kLow, 0, 0, 1, {-0.0, -1, 0.5}, "NNN", -0.5},
        {"below mean + 1", kLow, 4, 3, 1, {-1, -0.75}, "NN", 3.75},
        {"below -0.75", kLow, -0.75, 0, 1, {0.75, -0.8125}, "NN", -0.8125},
        {"below -4 sd", kLow, -1, 1, 0.5, {0.75, 0.25}, "UU", -0x1.0934b1089a6dcp+0, libm},

        {"from below -1.4: normal, ties reject", below(-1.4), 1, 0, 1, {-1.5, 1, above(1), 0.5}, "NNNN", 0.5},
        {"from below -1.4: the end itself", below(-1.4), 1, 0, 1, {below(-1.4), -1.4}, "NN", -1.4},
        {"-1.4 to above 1.4: normal", -1.4, above(1.4), 0, 1, {-1.4, above(1.4), 1.4}, "NNN", 1.4},
        {"-1.4 to 1.4: uniform", -1.4, 1.4, 0, 1, {0.25, 0.78}, "UU", -0x1.6666666666666p-1},
        {"-1.4 to 1.4: one rejection", -1.4, 1.4, 0, 1, {0.25, 0.783, 0.5, 0.9999}, "UUUU", 0},
        {"-1.4 to 1.4: u of 1 is the end", -1.4, 1.4, 0, 1, {1, 0.375}, "UU", 1.4},
        {"-1.4 to 1.4: a tie rejects", -1.4, 1.4, 0, 1, {0.5, 1, 0.5, 0}, "UUUU", 0},
        {"-1 to 0: nearest point is b", -1, 0, 0, 1, {0.5, 0.88}, "UU", -0.5},
        {"-1 to 0: its threshold", -1, 0, 0, 1, {0.5, 0.883, 0.75, 0.96}, "UUUU", -0.25},
        {"from the smallest negative: uniform", -5e-324, 1.4, 0, 1, {0.5, 0.5}, "UU", 0.7},
        {"from the smallest negative, wide: normal", -5e-324, 1.5, 0, 1, {-5e-324, -0.5, 0.5}, "NNN", 0.5},

        {"0 to below the switch: uniform", 0, kBelowSwitch0, 0, 1, {0.5, 0.82}, "UU", 0x1.3f9b017f20c1fp-1},
        {"0 to the switch: half-normal", 0, kSwitch0, 0, 1, {0.0, -kSwitch0, -0.5}, "NNN", 0.5},
        {"-0 is 0", -0.0, kSwitch0, 0, 1, {-0.5}, "N", 0.5},
        {"1 to below the switch: uniform", 1, kBelowSwitch1, 0, 1, {0.5, 0.5}, "UU", 0x1.4cbef8be4440dp+0},
        {"1 to the switch: exponential", 1, kSwitch1, 0, 1, {0.5, 0.5}, "UU", 0x1.416914fd6dfbep+0, libm},
        {"far out and narrow: uniform", 2, 2.1, 0, 1, {0.3, 0.94}, "UU", 0x1.03d70a3d70a3ep+1},
        {"far out and narrow: its threshold", 2, 2.1, 0, 1, {0.3, 0.942, 0.3, 0.94}, "UUUU", 0x1.03d70a3d70a3ep+1},
        {"scaled", 3, 7, 3, 4, {0.3, 0.955}, "UU", 0x1.0cccccccccccdp+2},
        {"below 0.725, wide: half-normal", below(0.725), 3, 0, 1, {0.5, -3, 3.5, -1}, "NNNN", 1},
        {"0.725, wide: exponential", 0.725, 3, 0, 1, {0.5, 0.775}, "UU", 0x1.70492d2d3fae1p+0, libm},
        {"0.725, wide: one rejection", 0.725, 3, 0, 1, {0.5, 0.776, 0.5, 0.775}, "UUUU", 0x1.70492d2d3fae1p+0, libm},
        {"2 to 3", 2, 3, 0, 1, {0.75, 0.873, 0.25, 0.9}, "UUUU", 0x1.0f9675518aa35p+1, libm},
        {"2 to 3, u of 0 and of 1", 2, 3, 0, 1, {0, 1, 1, 0.6}, "UUUU", 3, libm},

        {"-3 to -2 is 2 to 3 mirrored", -3, -2, 0, 1, {0.25, 0.9}, "UU", -0x1.0f9675518aa35p+1, libm},
        {"mirrored and scaled", 4, 6, 10, 2, {0.25, 0.9}, "UU", 0x1.70698aae755cbp+2, libm},
        {"mirrored, narrow", -2.1, -2, 0, 1, {0.3, 0.94}, "UU", -0x1.03d70a3d70a3ep+1},
        {"mirrored at -5e-324", -2, -5e-324, 0, 1, {-1}, "N", -1},

        {"a point above the mean", 3, 3, 1, 4, {}, "", 3},
        {"a point below the mean", -5, -5, 1, 4, {}, "", -5},
        {"a point at the mean", 1, 1, 1, 4, {}, "", 1},
        {"a point far out", 1e308, 1e308, 0, 1, {}, "", 1e308},

        {"a finite end that is nearly open", above(kLow), 0, 0, 1, {0, -0.5}, "NN", -0.5},
        {"an end that overflows in standard units", -1e308, 1e308, 0, 0.25, {3}, "N", 0.75},
        {"a large mean with open ends", kLow, kHigh, 1e300, 1, {1}, "N", 1e300},
        {"NaN with open ends is drawn", kLow, kHigh, kNaN, kNaN, {1}, "N", kNaN},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.what);
        ScriptedSource source(row.numbers);
        double x = 77;
        EXPECT_EQ(draw(&source, row.lower, row.upper, row.mean, row.sd, x), DrawOutcome::drawn);
        EXPECT_EQ(source.calls, row.calls);
        EXPECT_EQ(source.used, row.numbers.size());
        if (row.kind == exact) {
            CHECK_BITS(x, row.expected);
        } else {
            CHECK_LIBM_BITS(x, row.expected);
        }
    }
}

TEST(TruncatedNormal, NoIntervalAndNoSourceAreToldBeforeAnyNumber) {
    struct Row {
        double lower;
        double upper;
        double mean;
        double sd;
        DrawOutcome with_source;
        DrawOutcome without_source;
    };
    constexpr DrawOutcome none = DrawOutcome::no_interval;
    constexpr DrawOutcome needs = DrawOutcome::no_source;
    const Row rows[] = {
        {0, 1, kNaN, 1, none, none},
        {0, 1, 0, kNaN, none, none},
        {0, kHigh, kNaN, 1, none, none},
        {kLow, 0, 0, kNaN, none, none},
        {kNaN, 1, 0, 1, none, none},
        {0, kNaN, 0, 1, none, none},
        {2, 1, 0, 1, none, none},
        {0, 1, 0, 0, none, none},  // 0/0 at the lower end
        {0, 1, 0.5, 1, DrawOutcome::drawn, needs},
        {kLow, kHigh, 0, 1, DrawOutcome::drawn, needs},
        {1, 1, 0.5, 1, DrawOutcome::drawn, DrawOutcome::drawn},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(testing::Message() << row.lower << ' ' << row.upper << ' ' << row.mean << ' ' << row.sd);
        SeededSource source(1);
        double x = 77;
        EXPECT_EQ(draw(&source, row.lower, row.upper, row.mean, row.sd, x), row.with_source);
        if (row.with_source != DrawOutcome::drawn) {
            EXPECT_EQ(source.call_count, 0);
            EXPECT_EQ(x, 77);
        }
        x = 77;
        EXPECT_EQ(draw(nullptr, row.lower, row.upper, row.mean, row.sd, x), row.without_source);
        if (row.without_source != DrawOutcome::drawn) {
            EXPECT_EQ(x, 77);
        }
    }
}

// Upper tail of the standard normal distribution.
double tail(double x) {
    return 0.5 * std::erfc(x * 0x1.6a09e667f3bcdp-1);
}

// Distribution function of the draw in standard units, from the side on which no digits cancel.
double distribution(double x, double a, double b) {
    if (b <= 0.0) return 1.0 - distribution(-x, -b, -a);
    if (a >= 0.0) return (tail(a) - tail(x)) / (tail(a) - tail(b));
    return (tail(-x) - tail(-a)) / (1.0 - tail(b) - tail(-a));
}

// The largest distance between the distribution function and the draws' own, times the root of their number.
double kolmogorov_smirnov(std::vector<double> &draws, double a, double b) {
    std::sort(draws.begin(), draws.end());
    const auto n = static_cast<double>(draws.size());
    double distance = 0.0;
    for (std::size_t i = 0; i < draws.size(); ++i) {
        const double expected = distribution(draws[i], a, b);
        distance =
            std::max({distance, expected - static_cast<double>(i) / n, static_cast<double>(i + 1) / n - expected});
    }
    return distance * std::sqrt(n);
}

TEST(TruncatedNormal, DrawsFollowTheirDistributionAndKeepTheirBounds) {
#ifdef ULLAGE_TESTS_SANITIZED
    constexpr int kDraws = 20000;
#else
    constexpr int kDraws = 200000;
#endif
    // sqrt(-ln(p / 2) / 2) with p = 0.0001: one region in 10,000 exceeds it by chance, and the seeds are fixed.
    constexpr double kCritical = 2.2253;
    struct Region {
        double a;
        double b;
    };
    const Region regions[] = {
        {-kInfinity, kInfinity},
        {-2, kInfinity},
        {0, kInfinity},
        {0.3, kInfinity},
        {0.8, kInfinity},
        {4, kInfinity},
        {25, kInfinity},
        {-kInfinity, 1},
        {-kInfinity, -3},
        {-2, 0.5},
        {-1.2, 2},
        {-1.2, 0.8},
        {-1, 0},
        {0, 1},
        {0.2, 0.3},
        {2, 2.1},
        {0.1, 2.5},
        {0.7, 9},
        {1, 4},
        {6, 8},
        {-3, -2},
        {-2.5, -0.1},
        {-8.5, -8},
        {-0.01, 30},
    };
    std::uint64_t seed = 100;
    for (const Region &region : regions) {
        SCOPED_TRACE(testing::Message() << region.a << " to " << region.b << ", seed " << ++seed);
        SeededSource source(seed);
        constexpr double kMean = 3.0;  // so that standard units are not the units of the bounds
        constexpr double kSd = 0.25;
        const double lower = std::isinf(region.a) ? kLow : kMean + kSd * region.a;
        const double upper = std::isinf(region.b) ? kHigh : kMean + kSd * region.b;
        std::vector<double> draws;
        for (int i = 0; i < kDraws; ++i) {
            double x = 77;
            ASSERT_EQ(draw(&source, lower, upper, kMean, kSd, x), DrawOutcome::drawn);
            ASSERT_GE(x, lower);
            ASSERT_LE(x, upper);
            draws.push_back((x - kMean) / kSd);
        }
        EXPECT_LT(kolmogorov_smirnov(draws, region.a, region.b), kCritical);
    }
}

}  // namespace
