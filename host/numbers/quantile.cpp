// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Quantiles of a sample, and how well it knows them.

#include "ullage/host/numbers/quantile.h"

#include <boost/math/distributions/beta.hpp>

#include "ullage/host/base/interrupt.h"

namespace ullage::host {

double quantile_of(std::span<const double> sorted, double probability) {
    const double place = probability * (static_cast<double>(sorted.size()) - 1.0);
    const auto below = static_cast<std::size_t>(place);
    const double fraction = place - static_cast<double>(below);
    if (below + 1 >= sorted.size() || sorted[below + 1] == sorted[below]) return sorted[below];
    return (1.0 - fraction) * sorted[below] + fraction * sorted[below + 1];
}

std::vector<double> quantile_weights(std::size_t n, double probability) {
    const auto count = static_cast<double>(n);
    const boost::math::beta_distribution<> places((count + 1.0) * probability, (count + 1.0) * (1.0 - probability));
    std::vector<double> weights(n);
    double before = 0.0;
    for (std::size_t i = 0; i < n; ++i) {
        if (i % 4096 == 0) check_interrupt();
        const double until = i + 1 < n ? boost::math::cdf(places, static_cast<double>(i + 1) / count) : 1.0;
        weights[i] = until - before;
        before = until;
    }
    return weights;
}

double quantile_variance(std::span<const double> sorted, std::span<const double> weights) {
    double mean = 0.0;
    for (std::size_t i = 0; i < sorted.size(); ++i) mean += weights[i] * sorted[i];
    double variance = 0.0;
    for (std::size_t i = 0; i < sorted.size(); ++i) {
        variance += weights[i] * (sorted[i] - mean) * (sorted[i] - mean);
    }
    return variance;
}

}  // namespace ullage::host
