// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// How often the truth took each rank among posterior draws, over the repetitions of a calibration.

#ifndef ULLAGE_TESTS_HOST_DRAW_RANK_COUNTS_H
#define ULLAGE_TESTS_HOST_DRAW_RANK_COUNTS_H

#include <array>
#include <boost/math/distributions/chi_squared.hpp>
#include <cstddef>

/** Ranks from 0 to a number of draws, of some quantities. */
template <std::size_t kQuantities, std::size_t kDraws>
class RankCounts {
public:
    /** Count the ranks of one repetition. */
    void add(const std::array<std::size_t, kQuantities> &rank) {
        for (std::size_t q = 0; q < kQuantities; ++q) ++counts_[q][rank[q]];
        ++repetitions_;
    }
    /** The p-value of uniform ranks (chi-squared). */
    [[nodiscard]] double p_value(std::size_t quantity) const {
        const double expected = repetitions_ / (kDraws + 1);
        double statistic = 0.0;
        for (const double count : counts_[quantity]) statistic += (count - expected) * (count - expected) / expected;
        return boost::math::cdf(complement(boost::math::chi_squared(kDraws), statistic));
    }

private:
    std::array<std::array<double, kDraws + 1>, kQuantities> counts_{};
    double repetitions_ = 0.0;
};

#endif
