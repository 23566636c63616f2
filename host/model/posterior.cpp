// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The normal / inverse Wishart posterior.

#include "ullage/host/model/posterior.h"

#include <Eigen/Dense>
#include <cmath>
#include <numeric>
#include <utility>

#include "ullage/host/numbers/moments.h"

namespace ullage::host {
namespace {

using Eigen::Index;
using Eigen::MatrixXd;
using Eigen::VectorXd;

// What the posterior is made of: degrees of freedom, the weight of its mean, and its scatter with a unit diagonal.
struct Posterior {
    double degrees;
    double mean_cases;
    VectorXd mean;
    VectorXd width;  // square roots of the scatter's diagonal
    MatrixXd root;   // lower triangular root of the scatter divided by the widths
};

// The columns with a large part in the direction of least variance of a correlation matrix.
std::vector<std::size_t> collinear_columns(const MatrixXd &correlation) {
    const Eigen::SelfAdjointEigenSolver<MatrixXd> solver(correlation);
    const VectorXd direction = solver.eigenvectors().col(0).cwiseAbs();
    std::vector<std::size_t> columns;
    for (Index i = 0; i < direction.size(); ++i) {
        if (direction[i] > 1e-3 * direction.maxCoeff()) columns.push_back(static_cast<std::size_t>(i));
    }
    return columns;
}

Posterior make_posterior(const Moments &moments, const Prior &prior) {
    const auto n = static_cast<Index>(moments.mean.size());
    Posterior posterior;
    posterior.mean_cases = prior.mean_cases + moments.count;
    // A flat prior mean costs one degree of freedom.
    posterior.degrees = prior.covariance_cases + moments.count - (prior.mean_cases > 0.0 ? 0.0 : 1.0);
    if (!(posterior.degrees > static_cast<double>(n - 1)) || !(moments.count > 0.0)) {
        std::vector<std::size_t> all(static_cast<std::size_t>(n));
        std::iota(all.begin(), all.end(), std::size_t{0});
        throw UnusableMoments(UnusableMoments::Kind::too_few, std::move(all));
    }
    posterior.mean = Eigen::Map<const VectorXd>(moments.mean.data(), n);
    VectorXd difference = VectorXd::Zero(n);
    double weight = 0.0;
    if (prior.mean_cases > 0.0) {
        difference = Eigen::Map<const VectorXd>(prior.mean.data(), n) - posterior.mean;
        weight = prior.mean_cases * moments.count / posterior.mean_cases;
        posterior.mean += prior.mean_cases / posterior.mean_cases * difference;
    }
    MatrixXd scatter(n, n);
    std::size_t place = 0;
    for (Index i = 0; i < n; ++i) {
        for (Index j = 0; j <= i; ++j, ++place) {
            double sum = moments.scatter[place] + weight * difference[i] * difference[j];
            if (prior.covariance_cases > 0.0) sum += prior.scatter[place];
            scatter(i, j) = scatter(j, i) = sum;
        }
    }
    std::vector<std::size_t> constant;
    for (Index i = 0; i < n; ++i) {
        // The model's units make an ordinary variance about 1.
        if (!(scatter(i, i) > 1e-18 * posterior.mean_cases)) constant.push_back(static_cast<std::size_t>(i));
    }
    if (!constant.empty()) throw UnusableMoments(UnusableMoments::Kind::constant, std::move(constant));
    posterior.width = scatter.diagonal().cwiseSqrt();
    const VectorXd inverse_width = posterior.width.cwiseInverse();
    const MatrixXd correlation = inverse_width.asDiagonal() * scatter * inverse_width.asDiagonal();
    const Eigen::LLT<MatrixXd> factor(correlation);
    posterior.root = factor.matrixL();
    if (factor.info() != Eigen::Success || !(posterior.root.diagonal().minCoeff() > std::sqrt(kLeastUnexplained))) {
        throw UnusableMoments(UnusableMoments::Kind::collinear, collinear_columns(correlation));
    }
    return posterior;
}

}  // namespace

void check_moments(const Moments &moments, const Prior &prior) {
    (void)make_posterior(moments, prior);
}

Parameters draw_parameters(const Moments &moments, const Prior &prior, RandomStream &random) {
    // Eigen cuts large products by the size of the caches; a fixed size keeps their sums alike on all machines.
    Eigen::setCpuCacheSizes(32 << 10, 512 << 10, 4 << 20);
    const Posterior posterior = make_posterior(moments, prior);
    const auto n = static_cast<Index>(moments.mean.size());
    // With A A' ~ Wishart(degrees, identity), A lower triangular, and L the root of the scatter: (L A'^-1)(L A'^-1)' is
    // inverse Wishart. Its transpose solves A X = L'.
    MatrixXd bartlett = MatrixXd::Zero(n, n);
    for (Index i = 0; i < n; ++i) {
        for (Index j = 0; j < i; ++j) bartlett(i, j) = random.normal();
        bartlett(i, i) = std::sqrt(random.chi_squared(posterior.degrees - static_cast<double>(i)));
    }
    MatrixXd half = posterior.root.transpose() * posterior.width.asDiagonal();
    bartlett.triangularView<Eigen::Lower>().solveInPlace(half);
    VectorXd normals(n);
    for (Index i = 0; i < n; ++i) normals[i] = random.normal();
    const VectorXd mean = posterior.mean + half.transpose() * normals / std::sqrt(posterior.mean_cases);
    const MatrixXd covariance = half.transpose() * half;
    Parameters parameters;
    parameters.mean.assign(mean.data(), mean.data() + n);
    parameters.covariance.reserve(packed_size(moments.mean.size()));
    for (Index i = 0; i < n; ++i) {
        for (Index j = 0; j <= i; ++j) parameters.covariance.push_back(covariance(i, j));
    }
    return parameters;
}

}  // namespace ullage::host
