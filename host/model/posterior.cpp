// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The normal / inverse Wishart posterior.

#include "ullage/host/model/posterior.h"

#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

#include "ullage/host/numbers/moments.h"
#include "ullage/host/numbers/triangular.h"

namespace ullage::host {
namespace {

// What the posterior is made of: degrees of freedom, the weight of its mean, and its scatter with a unit diagonal.
struct Posterior {
    double degrees;
    double mean_cases;
    std::vector<double> mean;
    std::vector<double> width;          // square roots of the scatter's diagonal
    std::vector<double> root;           // packed root of the scatter divided by the widths
    std::vector<double> extra_degrees;  // of each variable, by what is known of utilities
};

// The scatter of a block's variables given those before it is the square of its part of the root.
void add_utilities(const UtilityBlock &block, Posterior &posterior) {
    std::vector<double> own(packed_size(block.count));
    for (std::size_t i = 0; i < block.count; ++i) {
        for (std::size_t j = 0; j <= i; ++j) {
            own[packed_index(i, j)] = posterior.root[packed_index(block.first + i, block.first + j)];
        }
    }
    std::vector<double> scatter(own.size());
    square_of_root(own, scatter, block.count);
    for (std::size_t i = 0; i < block.count; ++i) {
        for (std::size_t j = 0; j <= i; ++j) {
            const double width = posterior.width[block.first + i] * posterior.width[block.first + j];
            scatter[packed_index(i, j)] += block.cases * (i == j ? 1.0 : 0.5) / width;
        }
    }
    (void)take_root(scatter, block.count);  // the sum of two positive definite matrices
    for (std::size_t i = 0; i < block.count; ++i) {
        for (std::size_t j = 0; j <= i; ++j) {
            posterior.root[packed_index(block.first + i, block.first + j)] = scatter[packed_index(i, j)];
        }
        posterior.extra_degrees[block.first + i] = block.cases;
    }
}

// The columns with a large part in the direction of least variance of a correlation matrix.
std::vector<std::size_t> collinear_columns(std::span<const double> correlation, std::size_t n) {
    const auto size = static_cast<Eigen::Index>(n);
    Eigen::MatrixXd lower = Eigen::MatrixXd::Zero(size, size);
    for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t j = 0; j <= i; ++j) lower(i, j) = correlation[packed_index(i, j)];
    }
    const Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> solver(lower);  // reads the lower triangle
    const Eigen::VectorXd direction = solver.eigenvectors().col(0).cwiseAbs();
    std::vector<std::size_t> columns;
    for (std::size_t i = 0; i < n; ++i) {
        if (direction[i] > 1e-3 * direction.maxCoeff()) columns.push_back(i);
    }
    return columns;
}

/** Of the covariance; a flat prior mean costs one. */
double degrees_of_freedom(double count, const Prior &prior) {
    return prior.covariance_cases + count - (prior.mean_cases > 0.0 ? 0.0 : 1.0);
}

Posterior make_posterior(const Moments &moments, const Prior &prior) {
    const std::size_t n = moments.mean.size();
    Posterior posterior;
    posterior.mean_cases = prior.mean_cases + moments.count;
    posterior.degrees = degrees_of_freedom(moments.count, prior);
    if (!has_enough_rows(moments.count, n, prior)) {
        std::vector<std::size_t> all(n);
        std::iota(all.begin(), all.end(), std::size_t{0});
        throw UnusableMoments(UnusableMoments::Kind::too_few, std::move(all));
    }
    posterior.mean = moments.mean;
    std::vector<double> scatter = moments.scatter;
    if (!prior.scatter.empty()) {
        std::ranges::transform(scatter, prior.scatter, scatter.begin(), std::plus<>());
    }
    if (prior.mean_cases > 0.0) {
        std::vector<double> difference(n);
        std::ranges::transform(prior.mean, moments.mean, difference.begin(), std::minus<>());
        const double weight = prior.mean_cases * moments.count / posterior.mean_cases;
        const double share = prior.mean_cases / posterior.mean_cases;
        for (std::size_t i = 0; i < n; ++i) {
            posterior.mean[i] += share * difference[i];
            for (std::size_t j = 0; j <= i; ++j) {
                scatter[packed_index(i, j)] += weight * difference[i] * difference[j];
            }
        }
    }
    std::vector<std::size_t> constant;
    for (std::size_t i = 0; i < n; ++i) {
        const double square = scatter[packed_index(i, i)];
        // The model's units make an ordinary variance about 1.
        if (!(square > 1e-18 * posterior.mean_cases)) constant.push_back(i);
        posterior.width.push_back(std::sqrt(square));
    }
    if (!constant.empty()) throw UnusableMoments(UnusableMoments::Kind::constant, std::move(constant));
    for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t j = 0; j <= i; ++j) {
            scatter[packed_index(i, j)] /= posterior.width[i] * posterior.width[j];
        }
    }
    posterior.root = scatter;
    bool is_regular = take_root(posterior.root, n);
    for (std::size_t i = 0; i < n && is_regular; ++i) {
        is_regular = posterior.root[packed_index(i, i)] > std::sqrt(kLeastUnexplained);
    }
    if (!is_regular) throw UnusableMoments(UnusableMoments::Kind::collinear, collinear_columns(scatter, n));
    posterior.extra_degrees.assign(n, 0.0);
    for (const UtilityBlock &block : prior.utilities) add_utilities(block, posterior);
    return posterior;
}

}  // namespace

bool has_enough_rows(double count, std::size_t n, const Prior &prior) {
    return degrees_of_freedom(count, prior) > static_cast<double>(n) - 1.0 && (count > 0.0 || prior.mean_cases > 0.0);
}

void check_moments(const Moments &moments, const Prior &prior) {
    (void)make_posterior(moments, prior);
}

Parameters draw_parameters(const Moments &moments, const Prior &prior, RandomStream &random) {
    Posterior posterior = make_posterior(moments, prior);
    const std::size_t n = moments.mean.size();
    // With B'B ~ Wishart(degrees, identity), B lower triangular, and L the root of the scatter, L B^-1 is the root of
    // an inverse Wishart matrix. This B is Bartlett's with the order of the columns turned round.
    std::vector<double> bartlett;
    bartlett.reserve(packed_size(n));
    for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t j = 0; j < i; ++j) bartlett.push_back(random.normal());
        bartlett.push_back(std::sqrt(
            random.chi_squared(posterior.degrees + posterior.extra_degrees[i] - static_cast<double>(n - 1 - i))));
    }
    std::vector<double> &root = posterior.root;
    divide_from_right(root, bartlett, n);
    for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t j = 0; j <= i; ++j) root[packed_index(i, j)] *= posterior.width[i];
    }
    Parameters parameters{std::move(posterior.mean), std::vector<double>(root.size())};
    square_of_root(root, parameters.covariance, n);
    std::vector<double> normals(n);
    for (double &normal : normals) normal = random.normal() / std::sqrt(posterior.mean_cases);
    for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t j = 0; j <= i; ++j) parameters.mean[i] += root[packed_index(i, j)] * normals[j];
    }
    return parameters;
}

}  // namespace ullage::host
