// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The conjugate prior of a mixture, and marginal densities by forward substitution.

#include "ullage/host/model/mixture.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "ullage/host/numbers/triangular.h"

namespace ullage::host {
namespace {

constexpr double kMeanCases = 0.01;

// The log of the probability that a standard normal number lies above x.
double log_upper_tail(double x) {
    if (x > 37.0) {  // erfc comes near the end of its range; the next term of the series is below 3e-11
        const double r = 1.0 / (x * x);
        return -0.5 * x * x - std::log(x * std::sqrt(2.0 * std::numbers::pi)) +
               std::log1p(r * (-1.0 + r * (3.0 - 15.0 * r)));
    }
    return std::log(0.5 * std::erfc(x / std::numbers::sqrt2));
}

double log_interval(double lower, double upper) {
    const double width = upper - lower;
    if (width * std::max(1.0, std::fabs(lower)) < 1e-4) {  // where the difference of two tails would lose all digits
        const double middle = lower + 0.5 * width;
        return std::log(width / std::sqrt(2.0 * std::numbers::pi)) - 0.5 * middle * middle;
    }
    if (lower < 0.0 && upper > 0.0) {
        return std::log1p(-0.5 * (std::erfc(-lower / std::numbers::sqrt2) + std::erfc(upper / std::numbers::sqrt2)));
    }
    const double near = lower >= 0.0 ? lower : -upper;
    const double far = lower >= 0.0 ? upper : -lower;
    const double tail = log_upper_tail(near);
    return std::isinf(far) ? tail : tail + std::log1p(-std::exp(log_upper_tail(far) - tail));
}

}  // namespace

MixturePrior make_mixture_prior(std::size_t components, std::span<const double> means,
                                std::span<const double> variances) {
    const std::size_t n = means.size();
    const double share = std::pow(static_cast<double>(components), -2.0 / static_cast<double>(n));
    MixturePrior prior{components, 1.0 / static_cast<double>(components), {}};
    prior.component.mean_cases = kMeanCases;
    prior.component.covariance_cases = static_cast<double>(n) + 2.0;
    prior.component.mean.assign(means.begin(), means.end());
    prior.component.scatter.assign(packed_size(n), 0.0);
    // The mean of an inverse Wishart matrix of n + 2 cases is its scatter.
    for (std::size_t i = 0; i < n; ++i) prior.component.scatter[packed_index(i, i)] = variances[i] * share;
    return prior;
}

Mixture draw_mixture(std::span<const Moments> rows, const MixturePrior &prior, RandomStream &random) {
    Mixture mixture;
    double total = 0.0;
    for (const Moments &own : rows) {
        // A gamma number is half a chi-squared one of twice its shape.
        mixture.weights.push_back(random.chi_squared(2.0 * (prior.concentration + own.count)));
        total += mixture.weights.back();
    }
    for (double &weight : mixture.weights) weight /= total;
    const std::size_t n = prior.component.mean.size();
    const Moments empty{0.0, prior.component.mean, std::vector<double>(packed_size(n), 0.0)};
    for (const Moments &own : rows) {
        mixture.components.push_back(draw_parameters(own.count > 0.0 ? own : empty, prior.component, random));
    }
    return mixture;
}

Parameters moments_of_mixture(const Mixture &mixture) {
    const std::size_t n = mixture.components[0].mean.size();
    Parameters whole{std::vector<double>(n, 0.0), std::vector<double>(packed_size(n), 0.0)};
    for (std::size_t k = 0; k < mixture.weights.size(); ++k) {
        for (std::size_t i = 0; i < n; ++i) whole.mean[i] += mixture.weights[k] * mixture.components[k].mean[i];
    }
    for (std::size_t k = 0; k < mixture.weights.size(); ++k) {
        const Parameters &own = mixture.components[k];
        for (std::size_t i = 0; i < n; ++i) {
            for (std::size_t j = 0; j <= i; ++j) {
                const double between = (own.mean[i] - whole.mean[i]) * (own.mean[j] - whole.mean[j]);
                whole.covariance[packed_index(i, j)] +=
                    mixture.weights[k] * (own.covariance[packed_index(i, j)] + between);
            }
        }
    }
    return whole;
}

MarginalNormal::MarginalNormal(const Parameters &parameters, std::span<const std::size_t> observed,
                               std::optional<std::size_t> next)
    : variables_(observed.begin(), observed.end()), observed_count_(observed.size()) {
    if (next) variables_.push_back(*next);
    const std::size_t n = variables_.size();
    for (std::size_t i = 0; i < n; ++i) {
        mean_.push_back(parameters.mean[variables_[i]]);
        for (std::size_t j = 0; j <= i; ++j) {
            const std::size_t high = std::max(variables_[i], variables_[j]);
            root_.push_back(parameters.covariance[packed_index(high, std::min(variables_[i], variables_[j]))]);
        }
    }
    if (!take_root(root_, n)) throw UnusableMoments(UnusableMoments::Kind::collinear, variables_);
    for (std::size_t i = 0; i < observed_count_; ++i) log_scale_ -= std::log(root_[packed_index(i, i)]);
    solved_.resize(n);
}

double MarginalNormal::log_density(std::span<const double> row) {
    double square = 0.0;
    for (std::size_t i = 0; i < observed_count_; ++i) {
        double rest = row[variables_[i]] - mean_[i];
        for (std::size_t j = 0; j < i; ++j) rest -= root_[packed_index(i, j)] * solved_[j];
        solved_[i] = rest / root_[packed_index(i, i)];
        square += solved_[i] * solved_[i];
    }
    return log_scale_ - 0.5 * square;
}

double MarginalNormal::log_probability_of_next(double lower, double upper) const {
    const std::size_t next = observed_count_;
    double mean = mean_[next];
    for (std::size_t j = 0; j < next; ++j) mean += root_[packed_index(next, j)] * solved_[j];
    const double spread = root_[packed_index(next, next)];
    return log_interval((lower - mean) / spread, (upper - mean) / spread);
}

}  // namespace ullage::host
