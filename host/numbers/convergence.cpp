// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// R-hat and effective sample sizes by ranks.

#include "ullage/host/numbers/convergence.h"

#include <algorithm>
#include <boost/math/distributions/normal.hpp>
#include <cmath>
#include <cstddef>
#include <limits>
#include <span>

#include "ullage/host/numbers/moments.h"
#include "ullage/host/numbers/quantile.h"

namespace ullage::host {
namespace {

constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();

// Sum of squares about the mean over size - 1.
double variance_of(std::span<const double> x) {
    const double mean = mean_of(x);
    double sum = 0.0;
    for (const double value : x) sum += (value - mean) * (value - mean);
    return sum / (static_cast<double>(x.size()) - 1.0);
}

std::vector<double> pooled(const Chains &chains) {
    std::vector<double> all;
    for (const auto &chain : chains) all.insert(all.end(), chain.begin(), chain.end());
    return all;
}

std::vector<double> sorted(const Chains &chains) {
    std::vector<double> all = pooled(chains);
    std::sort(all.begin(), all.end());
    return all;
}

Chains split(const Chains &chains) {
    Chains halves;
    for (const auto &chain : chains) {
        const auto half = static_cast<std::ptrdiff_t>(chain.size() / 2);
        halves.emplace_back(chain.begin(), chain.begin() + half);
        halves.emplace_back(chain.end() - half, chain.end());
    }
    return halves;
}

// Replace each draw by the normal score of its rank among all; equal draws share their mean rank (equation 14).
Chains rank_normalised(Chains chains) {
    std::vector<double *> order;
    for (auto &chain : chains) {
        for (double &value : chain) order.push_back(&value);
    }
    std::sort(order.begin(), order.end(), [](const double *a, const double *b) { return *a < *b; });
    const boost::math::normal standard;
    const auto count = static_cast<double>(order.size());
    for (std::size_t first = 0; first < order.size();) {
        std::size_t end = first + 1;
        while (end < order.size() && *order[end] == *order[first]) ++end;
        const double rank = static_cast<double>(first + 1 + end) / 2.0;
        const double score = boost::math::quantile(standard, (rank - 0.375) / (count + 0.25));
        for (; first < end; ++first) *order[first] = score;
    }
    return chains;
}

// Each draw's distance from the median of all.
Chains folded(Chains chains) {
    const double median = quantile_of(sorted(chains), 0.5);
    for (auto &chain : chains) {
        for (double &value : chain) value = std::fabs(value - median);
    }
    return chains;
}

// Equations 1 to 4, of chains that are split already.
double rhat(const Chains &chains) {
    std::vector<double> means;
    std::vector<double> variances;
    for (const auto &chain : chains) {
        means.push_back(mean_of(chain));
        variances.push_back(variance_of(chain));
    }
    const auto length = static_cast<double>(chains[0].size());
    const double within = mean_of(variances);
    return std::sqrt(variance_of(means) / within + (length - 1.0) / length);
}

// The sample autocovariance at one lag, divided by the length.
double autocovariance(std::span<const double> chain, double mean, std::size_t lag) {
    double sum = 0.0;
    for (std::size_t i = lag; i < chain.size(); ++i) sum += (chain[i] - mean) * (chain[i - lag] - mean);
    return sum / static_cast<double>(chain.size());
}

// Equations 10 to 13, of chains that are split already, with Geyer's (1992) initial monotone positive sequence. NaN for
// chains that are too short or draws that are all the same.
double effective_size(const Chains &chains) {
    const std::size_t length = chains[0].size();
    if (length < 6) return kUnknown;
    std::vector<double> means;
    for (const auto &chain : chains) means.push_back(mean_of(chain));
    const auto mean_autocovariance = [&](std::size_t lag) {
        double sum = 0.0;
        for (std::size_t c = 0; c < chains.size(); ++c) sum += autocovariance(chains[c], means[c], lag);
        return sum / static_cast<double>(chains.size());
    };
    const auto n = static_cast<double>(length);
    const double within = mean_autocovariance(0) * n / (n - 1.0);
    const double total = within * (n - 1.0) / n + (chains.size() > 1 ? variance_of(means) : 0.0);
    if (!(total > 0.0)) return kUnknown;
    const auto correlation = [&](std::size_t lag) { return 1.0 - (within - mean_autocovariance(lag)) / total; };

    // Pairs of correlations at lags 2k and 2k + 1 as long as they stay positive, none above the one before it; of the
    // pair that ends the sum still the even lag.
    double even = 1.0;
    double odd = correlation(1);
    double sum = 0.0;
    double smallest = even + odd;
    for (std::size_t lag = 2; even + odd > 0.0 && lag + 4 <= length; lag += 2) {
        smallest = std::min(smallest, even + odd);
        sum += smallest;
        even = correlation(lag);
        odd = correlation(lag + 1);
    }
    // Antithetic chains can beat independent draws; the bound keeps an estimate of almost no variance in reason.
    const double draws = n * static_cast<double>(chains.size());
    const double tau = std::max(-1.0 + 2.0 * sum + std::max(even, 0.0), 1.0 / std::log10(draws));
    return draws / tau;
}

// The effective size for the indicator of being at most a limit, of chains that are split already.
double indicator_size(const Chains &halves, double limit) {
    Chains indicators = halves;
    for (auto &chain : indicators) {
        for (double &value : chain) value = value <= limit ? 1.0 : 0.0;
    }
    return effective_size(indicators);
}

bool can_be_judged(const Chains &chains) {
    const std::vector<double> all = pooled(chains);
    const bool finite = std::all_of(all.begin(), all.end(), [](double x) { return std::isfinite(x); });
    const bool varies = std::any_of(all.begin(), all.end(), [&](double x) { return x != all[0]; });
    return chains[0].size() >= 4 && finite && varies;
}

}  // namespace

Convergence judge_convergence(const Chains &chains) {
    if (!can_be_judged(chains)) return {kUnknown, kUnknown, kUnknown};
    const Chains halves = split(chains);
    const Chains scores = rank_normalised(halves);
    const std::vector<double> draws = sorted(chains);
    const double low = indicator_size(halves, quantile_of(draws, 0.05));
    const double high = indicator_size(halves, quantile_of(draws, 0.95));
    return {std::max(rhat(scores), rhat(rank_normalised(folded(halves)))), effective_size(scores),
            std::isnan(low) || low < high ? low : high};
}

Convergence worst_of(const std::vector<ParameterConvergence> &parameters) {
    Convergence worst{kUnknown, kUnknown, kUnknown};
    for (const auto &[level, name, convergence] : parameters) {
        worst.rhat = std::fmax(worst.rhat, convergence.rhat);
        worst.ess_bulk = std::fmin(worst.ess_bulk, convergence.ess_bulk);
        worst.ess_tail = std::fmin(worst.ess_tail, convergence.ess_tail);
    }
    return worst;
}

double mean_effective_size(const Chains &chains) {
    return can_be_judged(chains) ? effective_size(split(chains)) : kUnknown;
}

double autocorrelation(const Chains &chains, std::size_t lag) {
    const double mean = mean_of(pooled(chains));
    double covariance = 0.0;
    double variance = 0.0;
    for (const auto &chain : chains) {
        // Each a sum over the length of the chain; fewer products belong to a lag.
        const auto length = static_cast<double>(chain.size());
        covariance += autocovariance(chain, mean, lag) * length / (length - static_cast<double>(lag));
        variance += autocovariance(chain, mean, 0);
    }
    return variance > 0.0 ? covariance / variance : kUnknown;
}

}  // namespace ullage::host
