// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Parts of parameters, moments and priors, and parameters put together of parts.

#include "ullage/host/model/marginal.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "ullage/host/numbers/triangular.h"

namespace ullage::host {
namespace {

// The elements of some variables in the order given, packed.
std::vector<double> part_of(std::span<const double> packed, std::span<const std::size_t> variables) {
    std::vector<double> part;
    part.reserve(packed_size(variables.size()));
    for (std::size_t i = 0; i < variables.size(); ++i) {
        for (std::size_t j = 0; j <= i; ++j) {
            const auto [low, high] = std::minmax(variables[i], variables[j]);
            part.push_back(packed[packed_index(high, low)]);
        }
    }
    return part;
}

std::vector<double> elements_of(std::span<const double> vector, std::span<const std::size_t> variables) {
    std::vector<double> elements;
    for (const std::size_t variable : variables) elements.push_back(vector[variable]);
    return elements;
}

std::vector<double> root_of(std::vector<double> covariance, std::span<const std::size_t> variables) {
    if (take_root(covariance, variables.size())) return covariance;
    throw UnusableMoments(UnusableMoments::Kind::collinear, {variables.begin(), variables.end()});
}

}  // namespace

Parameters marginal_of(const Parameters &parameters, std::span<const std::size_t> variables) {
    return {elements_of(parameters.mean, variables), part_of(parameters.covariance, variables)};
}

Moments marginal_of(const Moments &moments, std::span<const std::size_t> variables) {
    return {moments.count, elements_of(moments.mean, variables), part_of(moments.scatter, variables)};
}

Prior marginal_of(const Prior &prior, std::span<const std::size_t> variables, std::size_t n) {
    Prior marginal{prior.mean_cases, prior.covariance_cases - static_cast<double>(n - variables.size()), {}, {}};
    if (prior.mean_cases > 0.0) marginal.mean = elements_of(prior.mean, variables);
    if (prior.covariance_cases > 0.0) marginal.scatter = part_of(prior.scatter, variables);
    return marginal;
}

Parameters with_marginal(const Parameters &parameters, std::span<const std::size_t> variables,
                         const Parameters &marginal) {
    const std::size_t n = parameters.mean.size();
    const std::size_t count = variables.size();
    std::vector<std::size_t> order(variables.begin(), variables.end());
    for (std::size_t j = 0; j < n; ++j) {
        if (!std::ranges::binary_search(variables, j)) order.push_back(j);
    }
    // With the variables first, the root is (L 0; C M), and C L^-1 the coefficients of the others' regression on them.
    std::vector<double> root = root_of(part_of(parameters.covariance, order), order);
    const std::vector<double> own_root = root_of(marginal.covariance, variables);
    Parameters result{elements_of(parameters.mean, order), std::vector<double>(root.size())};
    std::vector<double> coefficients(count);
    for (std::size_t i = count; i < n; ++i) {
        double *row = root.data() + packed_index(i, 0);
        for (std::size_t j = count; j-- > 0;) {
            coefficients[j] = row[j];
            for (std::size_t k = j + 1; k < count; ++k) coefficients[j] -= coefficients[k] * root[packed_index(k, j)];
            coefficients[j] /= root[packed_index(j, j)];
        }
        for (std::size_t j = 0; j < count; ++j) {
            row[j] = 0.0;
            for (std::size_t k = j; k < count; ++k) row[j] += coefficients[k] * own_root[packed_index(k, j)];
            result.mean[i] += coefficients[j] * (marginal.mean[j] - result.mean[j]);
        }
    }
    std::ranges::copy(own_root, root.begin());
    std::ranges::copy(marginal.mean, result.mean.begin());
    square_of_root(root, result.covariance, n);
    std::vector<std::size_t> place(n);
    for (std::size_t i = 0; i < n; ++i) place[order[i]] = i;
    return marginal_of(result, place);
}

}  // namespace ullage::host
