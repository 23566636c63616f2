// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Streams: what a key fixes, and the law of the numbers.

#include "ullage/host/numbers/random_stream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <boost/math/distributions/chi_squared.hpp>
#include <cmath>
#include <set>
#include <vector>

#include "ullage/host/numbers/exp_log.h"

using namespace ullage::host;

namespace {

constexpr StreamKey kKey{42, StreamPurpose::cells, 3, 7, 11};

// A change here changes every result of every seed: it needs a new kKeyVersion and kStreamVersion.
TEST(RandomStream, KeepsItsNumbers) {
    ASSERT_EQ(kKeyVersion, 2u);
    RandomStream stream(kKey);
    const std::uint64_t words[] = {stream(), stream(), stream(), stream(), stream()};
    EXPECT_EQ(words[0], 0x99004c54b336d091ULL);
    EXPECT_EQ(words[4], 0xd8498434cc8d012bULL);
    RandomStream again(kKey);
    EXPECT_EQ(again.uniform(), (static_cast<double>(words[0] >> 12) + 0.5) * 0x1p-52);
    EXPECT_EQ(again.normal(), -0x1.fb7a3e53166a4p-1);
    EXPECT_EQ(again.chi_squared(5.0), 0x1.837660244d4cbp+3);
    // Wedges and the tail, which one number would hardly meet.
    double sum = 0.0;
    for (int i = 0; i < 100000; ++i) sum += again.normal() + again.chi_squared(1.0);
    EXPECT_EQ(sum, 0x1.8642b756737b2p+16);
}

TEST(RandomStream, EveryPartOfTheKeyCounts) {
    const StreamKey keys[] = {kKey,
                              {43, StreamPurpose::cells, 3, 7, 11},
                              {42, StreamPurpose::parameters, 3, 7, 11},
                              {42, StreamPurpose::cells, 4, 7, 11},
                              {42, StreamPurpose::cells, 3, 8, 11},
                              {42, StreamPurpose::cells, 3, 7, 12},
                              {42, StreamPurpose::cells, 7, 3, 11}};
    std::set<std::uint64_t> words;
    for (const StreamKey &key : keys) {
        RandomStream stream(key);
        for (int i = 0; i < 200; ++i) words.insert(stream());
    }
    EXPECT_EQ(words.size(), std::size(keys) * 200);
}

// Largest distance between the distribution of draws and a distribution function, times the root of their number.
template <typename Distribution>
double distance_from(std::vector<double> &draws, Distribution distribution) {
    std::sort(draws.begin(), draws.end());
    const auto count = static_cast<double>(draws.size());
    double distance = 0.0;
    for (std::size_t i = 0; i < draws.size(); ++i) {
        const double expected = distribution(draws[i]);
        const auto below = static_cast<double>(i);
        distance = std::max({distance, expected - below / count, (below + 1.0) / count - expected});
    }
    return distance * std::sqrt(count);
}

template <typename Draw, typename Distribution>
double kolmogorov_smirnov(Draw draw, Distribution distribution, std::size_t count = 200000) {
    std::vector<double> draws(count);
    for (double &value : draws) value = draw();
    return distance_from(draws, distribution);
}

constexpr double kCritical = 1.95;  // exceeded once in a thousand seeds

double normal_distribution(double x) {
    return 0.5 * std::erfc(-x / std::sqrt(2.0));
}

TEST(RandomStream, DrawsUniformAndNormalNumbers) {
    RandomStream stream(kKey);
    EXPECT_LT(kolmogorov_smirnov([&] { return stream.uniform(); }, [](double x) { return std::clamp(x, 0.0, 1.0); }),
              kCritical);
    EXPECT_LT(kolmogorov_smirnov([&] { return stream.normal(); }, normal_distribution), kCritical);
    // Neighbours, which come from neighbouring words.
    EXPECT_LT(
        kolmogorov_smirnov([&] { return (stream.normal() - stream.normal()) / std::sqrt(2.0); }, normal_distribution),
        kCritical);
}

TEST(RandomStream, TheTailIsTheNormalOnes) {
    RandomStream stream(kKey);
    constexpr double kFrom = 3.2;  // below the edge of the lowest layer, 3.65, where the tail has its own method
    const double beyond = normal_distribution(-kFrom);
    constexpr int kDraws = 20'000'000;
    std::vector<double> tail[2];
    for (int i = 0; i < kDraws; ++i) {
        const double x = stream.normal();
        if (std::fabs(x) > kFrom) tail[x > 0.0].push_back(std::fabs(x));
    }
    for (std::vector<double> &side : tail) {
        const double expected = kDraws * beyond;
        EXPECT_NEAR(static_cast<double>(side.size()), expected, 4.0 * std::sqrt(expected));
        EXPECT_LT(distance_from(side, [&](double x) { return 1.0 - normal_distribution(-x) / beyond; }), kCritical);
    }
}

TEST(RandomStream, DrawsChiSquaredNumbersOfAllDegrees) {
    RandomStream stream(kKey);
    for (const double degrees : {0.3, 1.0, 1.7, 2.0, 3.5, 40.0, 1e5}) {
        const boost::math::chi_squared known(degrees);
        EXPECT_LT(kolmogorov_smirnov([&] { return stream.chi_squared(degrees); },
                                     [&](double x) { return boost::math::cdf(known, x); }, 40000),
                  kCritical)
            << degrees;
    }
}

TEST(ExpLog, AreTheLibrarysToAFewUnits) {
    RandomStream stream(kKey);
    for (int i = 0; i < 100000; ++i) {
        const double x = 1400.0 * stream.uniform() - 700.0;
        EXPECT_NEAR(arithmetic_exp(x) / std::exp(x), 1.0, 0x1p-51) << x;
        const double small = x / 500.0;
        EXPECT_NEAR(arithmetic_exp(small) / std::exp(small), 1.0, 0x1p-51) << small;
        for (const double y : {std::exp(x), std::exp(small), stream.uniform(), 1.0 + 1e-6 * small}) {
            EXPECT_NEAR(arithmetic_log(y), std::log(y), 0x1p-50 * std::fabs(std::log(y))) << y;
        }
    }
    EXPECT_EQ(arithmetic_exp(0.0), 1.0);
    EXPECT_EQ(arithmetic_exp(-701.0), 0.0);
    EXPECT_EQ(arithmetic_log(1.0), 0.0);
}

}  // namespace
