// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// R-hat and effective sizes against values of an independent implementation.

#include "ullage/host/numbers/convergence.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

using namespace ullage::host;

namespace {

// Four autocorrelated chains of 50 from a fixed rule that any language repeats.
Chains autocorrelated() {
    Chains chains(4);
    for (int c = 1; c <= 4; ++c) {
        double value = 0.3 * c;
        for (int i = 1; i <= 50; ++i) {
            const double noise = std::sin(12.9898 * i + 78.233 * c) * 43758.5453;
            value = 0.6 * value + (noise - std::floor(noise));
            chains[c - 1].push_back(value);
        }
    }
    return chains;
}

void for_each_draw(Chains &chains, const std::function<void(double &, std::size_t)> &change) {
    for (auto &chain : chains) {
        for (std::size_t i = 0; i < chain.size(); ++i) change(chain[i], i);
    }
}

TEST(Convergence, AgreesWithTheReference) {
    Chains plain = autocorrelated();
    Chains shifted = plain;
    for (double &value : shifted[1]) value += 1.0;
    Chains tied = plain;
    for_each_draw(tied, [](double &value, std::size_t) { value = std::nearbyint(value * 4.0) / 4.0; });
    Chains antithetic = plain;
    for_each_draw(antithetic, [](double &value, std::size_t i) { value = i % 2 == 0 ? -value : value; });
    Chains odd = plain;
    for (auto &chain : odd) chain.pop_back();

    // rhat(), ess_bulk() and ess_tail() of the R package posterior, version 1.4.0.
    const struct {
        const char *name;
        const Chains &chains;
        double rhat, ess_bulk, ess_tail;
    } rows[] = {
        {"autocorrelated", plain, 1.02925553850657, 60.9014910614206, 115.180435702296},
        {"one chain elsewhere", shifted, 1.54256445587406, 8.70584269163652, 43.5506596644038},
        {"ties", tied, 1.03189933309539, 63.8982875651843, 73.954120179631},
        {"antithetic, size at its bound", antithetic, 1.02888889525826, 460.205999132796, 215.23161026324},
        {"odd length", odd, 1.02488893360603, 61.9814065230857, 107.350587686813},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        const Convergence got = judge_convergence(row.chains);
        // The reference is printed to 15 digits, and its autocovariances come from a Fourier transform.
        EXPECT_NEAR(got.rhat, row.rhat, 1e-11);
        EXPECT_NEAR(got.ess_bulk, row.ess_bulk, 1e-9);
        EXPECT_NEAR(got.ess_tail, row.ess_tail, 1e-9);
    }
}

TEST(Convergence, SaysNothingWhereNothingCanBeSaid) {
    const double nan = std::nan("");
    EXPECT_TRUE(std::isnan(judge_convergence({{1.0, 2.0, 3.0}, {2.0, 1.0, 3.0}}).rhat));
    EXPECT_TRUE(std::isnan(judge_convergence({std::vector<double>(40, 2.5), std::vector<double>(40, 2.5)}).ess_bulk));
    Chains broken = autocorrelated();
    broken[2][7] = nan;
    EXPECT_TRUE(std::isnan(judge_convergence(broken).rhat));
    const Convergence brief = judge_convergence({{1.0, 4.0, 2.0, 3.0, 5.0}, {2.0, 1.0, 3.0, 5.0, 2.0}});
    EXPECT_TRUE(std::isfinite(brief.rhat));
    EXPECT_TRUE(std::isnan(brief.ess_bulk));
}

}  // namespace
