// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Rubin's rules for one quantity, and for coefficients together.

#include "ullage/host/numbers/rubin.h"

#include <fmt/format.h>

#include <Eigen/Cholesky>
#include <algorithm>
#include <boost/math/distributions/fisher_f.hpp>
#include <boost/math/distributions/normal.hpp>
#include <boost/math/distributions/students_t.hpp>
#include <cmath>
#include <utility>
#include <vector>

#include "ullage/host/base/error.h"
#include "ullage/host/numbers/moments.h"

namespace ullage::host {
namespace {

// Beyond these, the t and F distributions equal their limits within rounding.
constexpr double kManyDf = 1e10;

// With few degrees of freedom the quantiles of t pass the largest double; an interval is open there.
using StudentsT = boost::math::students_t_distribution<
    double, boost::math::policies::policy<boost::math::policies::overflow_error<boost::math::policies::ignore_error>>>;

/** Upper tail probability of Student's t. */
double t_tail(double t, double df) {
    if (df > kManyDf) return boost::math::cdf(boost::math::complement(boost::math::normal(), t));
    return boost::math::cdf(boost::math::complement(StudentsT(df), t));
}

/** The t that an upper tail probability belongs to. */
double t_quantile(double tail, double df) {
    if (df > kManyDf) return boost::math::quantile(boost::math::complement(boost::math::normal(), tail));
    return boost::math::quantile(boost::math::complement(StudentsT(df), tail));
}

Eigen::MatrixXd full_covariance(const LinearFit &fit, std::span<const std::size_t> places) {
    const auto k = static_cast<Eigen::Index>(places.size());
    Eigen::MatrixXd covariance(k, k);
    for (Eigen::Index i = 0; i < k; ++i) {
        for (Eigen::Index j = 0; j < k; ++j) {
            const std::size_t a = places[static_cast<std::size_t>(i)];
            const std::size_t b = places[static_cast<std::size_t>(j)];
            covariance(i, j) = fit.covariance[packed_index(std::max(a, b), std::min(a, b))];
        }
    }
    return covariance;
}

/** Second degrees of freedom of D1. */
double wald_df(double k, double m, double r, double complete_df) {
    const double t = k * (m - 1.0);
    if (!(r > 0.0)) return complete_df;
    if (!(t > 4.0)) return t * (1.0 + 1.0 / k) * (1.0 + 1.0 / r) * (1.0 + 1.0 / r) / 2.0;
    if (!std::isfinite(complete_df)) {
        const double step = 1.0 + (1.0 - 2.0 / t) / r;
        return 4.0 + (t - 4.0) * step * step;
    }
    // Reiter (2007), equations 1 and 2: the inverse of w is the sum of the complete data's part and the imputations'.
    const double v = complete_df * (complete_df + 1.0) / (complete_df + 3.0);
    const double a = r * t / (t - 2.0);
    const double b = 1.0 + a;
    const double c = v - 2.0 * b;
    const double d = v - 4.0 * b;
    const double sum = a * a * c / (b * b * d) + 8.0 * a * a * c / (b * d * d) + 4.0 * a * a / (b * d) +
                       4.0 * a * a / (d * c) + 16.0 * a * a * c / (d * d * d) + 8.0 * a * a / (d * d);
    return 4.0 + 1.0 / (1.0 / d + sum / (t - 4.0));
}

}  // namespace

Error out_of_range() {
    return {Fault::data,
            "its variance is beyond the range of double precision; give what it is made of in other units"};
}

void check_imputations(std::size_t count) {
    if (count < 2) {
        throw Error(Fault::usage,
                    "pooling needs at least 2 imputations, and there is 1: the spread between them tells "
                    "what is missing; run ullage impute with a larger -m");
    }
}

void check_confidence(double confidence) {
    if (!(confidence > 0.0 && confidence < 1.0)) {
        throw Error(Fault::usage, fmt::format("the confidence must lie between 0 and 1, and is {}", confidence));
    }
}

Pooled pool_scalar(std::span<const double> estimates, std::span<const double> variances, double complete_df,
                   double confidence) {
    check_confidence(confidence);
    check_imputations(estimates.size());
    if (estimates.size() != variances.size()) {
        throw Error(Fault::usage,
                    fmt::format("{} estimates and {} variances cannot be pooled", estimates.size(), variances.size()));
    }
    if (!(complete_df >= 1.0)) {
        throw Error(Fault::usage,
                    fmt::format("complete-data degrees of freedom must be at least 1, and are {}", complete_df));
    }
    for (std::size_t i = 0; i < estimates.size(); ++i) {
        if (std::isfinite(estimates[i]) && std::isfinite(variances[i]) && variances[i] >= 0.0) continue;
        throw Error(Fault::usage,
                    fmt::format("estimate {} with variance {} cannot be pooled", estimates[i], variances[i]));
    }
    const auto m = static_cast<double>(estimates.size());
    Pooled pooled{};
    pooled.estimate = mean_of(estimates);
    pooled.within = mean_of(variances);
    for (const double estimate : estimates) {
        pooled.between += (estimate - pooled.estimate) * (estimate - pooled.estimate);
    }
    pooled.between /= m - 1.0;
    const bool all_same =
        std::all_of(estimates.begin(), estimates.end(), [&](double estimate) { return estimate == estimates[0]; });
    if (all_same) {
        pooled.between = 0.0;  // where their mean is rounded
    } else if (pooled.between == 0.0) {
        throw out_of_range();
    }
    const double added = (1.0 + 1.0 / m) * pooled.between;
    pooled.total = pooled.within + added;
    if (!std::isfinite(pooled.estimate) || !std::isfinite(pooled.total)) throw out_of_range();
    pooled.standard_error = std::sqrt(pooled.total);
    pooled.riv = added > 0.0 ? added / pooled.within : 0.0;
    pooled.lambda = added > 0.0 ? added / pooled.total : 0.0;
    const double observed_df = std::isfinite(complete_df)
                                   ? (complete_df + 1.0) / (complete_df + 3.0) * complete_df * (1.0 - pooled.lambda)
                                   : kInfiniteDf;
    if (pooled.lambda > 0.0) {
        const double old_df = (m - 1.0) / (pooled.lambda * pooled.lambda);
        pooled.df = std::isfinite(observed_df) ? old_df * observed_df / (old_df + observed_df) : old_df;
        // Without within variance nothing is known but by the imputations.
        pooled.fmi = std::isfinite(pooled.riv) ? (pooled.riv + 2.0 / (pooled.df + 3.0)) / (1.0 + pooled.riv) : 1.0;
    } else {
        pooled.df = observed_df;
    }
    pooled.relative_efficiency = 1.0 / (1.0 + pooled.fmi / m);
    pooled.statistic = pooled.estimate / pooled.standard_error;
    if (pooled.standard_error > 0.0 && pooled.df > 0.0) {
        const double reach = t_quantile((1.0 - confidence) / 2.0, pooled.df) * pooled.standard_error;
        pooled.lower = pooled.estimate - reach;
        pooled.upper = pooled.estimate + reach;
        pooled.p = 2.0 * t_tail(std::fabs(pooled.statistic), pooled.df);
    } else {
        // A quantity without any variance is what it is; without degrees of freedom nothing is known of it.
        const double reach = pooled.standard_error > 0.0 ? std::numeric_limits<double>::infinity() : 0.0;
        pooled.lower = pooled.estimate - reach;
        pooled.upper = pooled.estimate + reach;
        pooled.p = std::numeric_limits<double>::quiet_NaN();
    }
    return pooled;
}

WaldTest wald_test(std::span<const LinearFit> fits, std::span<const std::size_t> places, double complete_df) {
    check_imputations(fits.size());
    const auto k = static_cast<Eigen::Index>(places.size());
    const auto m = static_cast<double>(fits.size());
    std::vector<Eigen::VectorXd> estimates;
    Eigen::VectorXd mean = Eigen::VectorXd::Zero(k);
    Eigen::MatrixXd within = Eigen::MatrixXd::Zero(k, k);
    for (const LinearFit &fit : fits) {
        Eigen::VectorXd estimate(k);
        for (Eigen::Index i = 0; i < k; ++i) estimate[i] = fit.coefficients[places[static_cast<std::size_t>(i)]];
        mean += estimate / m;
        within += full_covariance(fit, places) / m;
        estimates.push_back(std::move(estimate));
    }
    Eigen::MatrixXd between = Eigen::MatrixXd::Zero(k, k);
    for (const Eigen::VectorXd &estimate : estimates) {
        between += (estimate - mean) * (estimate - mean).transpose() / (m - 1.0);
    }
    const Eigen::LLT<Eigen::MatrixXd> root(within);
    if (root.info() != Eigen::Success) {
        throw Error(Fault::data, "the tested coefficients have a singular covariance; test fewer of them");
    }
    WaldTest test{};
    test.df1 = static_cast<double>(k);
    test.riv = (1.0 + 1.0 / m) * root.solve(between).trace() / test.df1;
    test.statistic = mean.dot(root.solve(mean)) / (test.df1 * (1.0 + test.riv));
    test.df2 = wald_df(test.df1, m, test.riv, complete_df);
    if (!(test.df2 > 0.0)) {
        test.p = std::numeric_limits<double>::quiet_NaN();
    } else {
        const boost::math::fisher_f distribution(test.df1, std::min(test.df2, kManyDf));
        test.p = boost::math::cdf(boost::math::complement(distribution, test.statistic));
    }
    return test;
}

}  // namespace ullage::host
