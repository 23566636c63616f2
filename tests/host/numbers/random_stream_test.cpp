// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Streams: what a key fixes, and the law of the numbers.

#include "ullage/host/numbers/random_stream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <vector>

using namespace ullage::host;

namespace {

constexpr StreamKey kKey{42, StreamPurpose::cells, 3, 7, 11};

// A change here changes every result of every seed: it needs a new kStreamVersion.
TEST(RandomStream, KeepsItsNumbers) {
    ASSERT_EQ(kStreamVersion, 1u);
    RandomStream stream(kKey);
    const std::uint64_t words[] = {stream(), stream(), stream(), stream(), stream()};
    EXPECT_EQ(words[0], 0x5b70b92929556ddfULL);
    EXPECT_EQ(words[4], 0xdf92a65b62cb730cULL);
    RandomStream again(kKey);
    EXPECT_EQ(again.uniform(), (static_cast<double>(words[0] >> 12) + 0.5) * 0x1p-52);
    EXPECT_EQ(again.normal(), 0x1.2f2a361ca265fp-2);
    EXPECT_DOUBLE_EQ(again.chi_squared(5.0), 0x1.3eb974dad5ad6p+1);  // by the C library's log
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
template <typename Draw, typename Distribution>
double kolmogorov_smirnov(Draw draw, Distribution distribution) {
    constexpr int kDraws = 200000;
    std::vector<double> draws(kDraws);
    for (double &value : draws) value = draw();
    std::sort(draws.begin(), draws.end());
    double distance = 0.0;
    for (int i = 0; i < kDraws; ++i) {
        const double expected = distribution(draws[i]);
        distance = std::max({distance, expected - i / double{kDraws}, (i + 1) / double{kDraws} - expected});
    }
    return distance * std::sqrt(kDraws);
}

TEST(RandomStream, DrawsFromItsDistributions) {
    constexpr double kCritical = 1.95;  // exceeded once in a thousand seeds
    RandomStream stream(kKey);
    const auto uniform = [&] { return stream.uniform(); };
    const auto normal = [&] { return stream.normal(); };
    EXPECT_LT(kolmogorov_smirnov(uniform, [](double x) { return std::clamp(x, 0.0, 1.0); }), kCritical);
    EXPECT_LT(kolmogorov_smirnov(normal, [](double x) { return 0.5 * std::erfc(-x / std::sqrt(2.0)); }), kCritical);
    EXPECT_LT(
        kolmogorov_smirnov([&] { return stream.chi_squared(2.0); }, [](double x) { return 1.0 - std::exp(-x / 2.0); }),
        kCritical);
}

}  // namespace
