// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Quantiles of a sample, and how well it knows them.

#include "ullage/host/numbers/quantile.h"

#include <algorithm>
#include <boost/math/distributions/beta.hpp>
#include <cstddef>

namespace ullage::host {

double quantile_of(std::span<const double> sorted, double probability) {
    const double place = probability * (static_cast<double>(sorted.size()) - 1.0);
    const auto below = static_cast<std::size_t>(place);
    const double fraction = place - static_cast<double>(below);
    if (below + 1 >= sorted.size() || sorted[below + 1] == sorted[below]) return sorted[below];
    return (1.0 - fraction) * sorted[below] + fraction * sorted[below + 1];
}

double quantile_variance(std::span<const double> sorted, double probability) {
    const auto n = static_cast<double>(sorted.size());
    const double centre = quantile_of(sorted, probability);
    const boost::math::beta_distribution<> weights((n + 1.0) * probability, (n + 1.0) * (1.0 - probability));
    double first = 0.0;
    double second = 0.0;
    double before = 0.0;
    for (std::size_t i = 0; i < sorted.size(); ++i) {
        const double until = i + 1 < sorted.size() ? boost::math::cdf(weights, static_cast<double>(i + 1) / n) : 1.0;
        const double distance = sorted[i] - centre;
        first += (until - before) * distance;
        second += (until - before) * distance * distance;
        before = until;
    }
    return std::max(second - first * first, 0.0);
}

}  // namespace ullage::host
