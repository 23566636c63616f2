// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Rubin's rules, and the quantities that they are applied to.

#include "ullage/host/answer/pooling.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <Eigen/Cholesky>
#include <algorithm>
#include <boost/math/distributions/beta.hpp>
#include <boost/math/distributions/fisher_f.hpp>
#include <boost/math/distributions/normal.hpp>
#include <boost/math/distributions/students_t.hpp>
#include <cmath>
#include <functional>
#include <map>
#include <optional>
#include <utility>

#include "ullage/host/base/error.h"
#include "ullage/host/base/number_text.h"
#include "ullage/host/base/words.h"
#include "ullage/host/model/model_table.h"
#include "ullage/host/model/posterior.h"
#include "ullage/host/numbers/moments.h"
#include "ullage/host/table/csv_text.h"
#include "ullage/host/table/read_cell.h"

namespace ullage::host {
namespace {

// Beyond these, the t and F distributions equal their limits within rounding.
constexpr double kManyDf = 1e10;

/** Upper tail probability of Student's t. */
double t_tail(double t, double df) {
    if (df > kManyDf) return boost::math::cdf(boost::math::complement(boost::math::normal(), t));
    return boost::math::cdf(boost::math::complement(boost::math::students_t(df), t));
}

/** The t that an upper tail probability belongs to. */
double t_quantile(double tail, double df) {
    if (df > kManyDf) return boost::math::quantile(boost::math::complement(boost::math::normal(), tail));
    return boost::math::quantile(boost::math::complement(boost::math::students_t(df), tail));
}

double mean_of(std::span<const double> numbers) {
    double sum = 0.0;
    for (const double number : numbers) sum += number;
    return sum / static_cast<double>(numbers.size());
}

std::string in_level(const std::string &level) {
    return level.empty() ? std::string() : fmt::format(" in level {}", quote(level));
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

/** Estimates and complete-data variances of one quantity, one per imputation. */
struct Pieces {
    std::vector<double> estimates;
    std::vector<double> variances;
};

/** The quantile, interpolated between order statistics (type 7), and its variance. */
std::pair<double, double> quantile_of(const std::vector<double> &sorted, double probability) {
    const auto n = static_cast<double>(sorted.size());
    const double place = probability * (n - 1.0);
    const auto below = static_cast<std::size_t>(place);
    double quantile = sorted[below];
    if (below + 1 < sorted.size())
        quantile += (place - static_cast<double>(below)) * (sorted[below + 1] - sorted[below]);
    // Maritz and Jarrett: order statistic i has the weight that a beta distribution gives to ((i - 1) / n, i / n).
    const boost::math::beta_distribution<> weights((n + 1.0) * probability, (n + 1.0) * (1.0 - probability));
    double first = 0.0;
    double second = 0.0;
    double before = 0.0;
    for (std::size_t i = 0; i < sorted.size(); ++i) {
        const double until = i + 1 < sorted.size() ? boost::math::cdf(weights, static_cast<double>(i + 1) / n) : 1.0;
        const double distance = sorted[i] - quantile;
        first += (until - before) * distance;
        second += (until - before) * distance * distance;
        before = until;
    }
    return {quantile, second - first * first};
}

/** Pool Fisher's z and take the estimate, its error and its interval back to the correlation. */
Pooled pool_correlation(const Pieces &pieces, double confidence) {
    Pooled pooled = pool_scalar(pieces.estimates, pieces.variances, kInfiniteDf, confidence);
    pooled.estimate = std::tanh(pooled.estimate);
    pooled.standard_error *= 1.0 - pooled.estimate * pooled.estimate;
    pooled.lower = std::tanh(pooled.lower);
    pooled.upper = std::tanh(pooled.upper);
    return pooled;
}

/** The quantities of one level. */
class LevelPooler {
public:
    LevelPooler(const CompletedTables &tables, std::size_t level, double confidence)
        : tables_(tables),
          level_(tables.levels[level]),
          rows_(tables.rows_of_level(level)),
          count_(static_cast<double>(rows_.size())),
          confidence_(confidence) {
        if (rows_.size() < 2) {
            throw Error(Fault::data, fmt::format("{}{}: at least 2 are needed for a variance",
                                                 count_of(rows_.size(), "row"), in_level(level_)));
        }
        const std::size_t n = tables.model.size();
        std::vector<std::vector<double>> columns(n);
        std::vector<double> rowwise(rows_.size() * n);
        for (std::size_t k = 0; k < tables.imputations; ++k) {
            for (std::size_t j = 0; j < n; ++j) {
                const std::vector<double> values = tables.columns[tables.model[j]].completed(k);
                for (std::size_t i = 0; i < rows_.size(); ++i) {
                    rowwise[i * n + j] = values[static_cast<std::size_t>(rows_[i])];
                }
            }
            moments_.push_back(moments_of_rows(rowwise, n));
            for (double &element : moments_.back().scatter) element /= count_ - 1.0;
        }
    }

    void means(std::vector<PooledRow> &out) const {
        for (std::size_t j = 0; j < tables_.model.size(); ++j) {
            out.push_back(pool("mean(" + name(j) + ")", [&](const Moments &moments) {
                return std::pair(moments.mean[j], covariance(moments, j, j) / count_);
            }));
        }
    }
    void variances(std::vector<PooledRow> &out) const {
        for (std::size_t j = 0; j < tables_.model.size(); ++j) {
            out.push_back(pool("var(" + name(j) + ")", [&](const Moments &moments) {
                const double variance = covariance(moments, j, j);
                return std::pair(variance, 2.0 * variance * variance / (count_ - 1.0));
            }));
        }
    }
    void covariances(std::vector<PooledRow> &out) const {
        for_pairs([&](std::size_t i, std::size_t j) {
            out.push_back(pool(fmt::format("cov({},{})", name(i), name(j)), [&](const Moments &moments) {
                const double both = covariance(moments, i, j);
                const double product = covariance(moments, i, i) * covariance(moments, j, j);
                return std::pair(both, (product + both * both) / (count_ - 1.0));
            }));
        });
    }
    void correlations(std::vector<PooledRow> &out) const {
        if (rows_.size() < 4) {
            throw Error(Fault::data, fmt::format("{}{}: at least 4 are needed for a correlation",
                                                 count_of(rows_.size(), "row"), in_level(level_)));
        }
        for_pairs([&](std::size_t i, std::size_t j) {
            Pieces pieces;
            for (const Moments &moments : moments_) {
                const double r =
                    covariance(moments, i, j) / std::sqrt(covariance(moments, i, i) * covariance(moments, j, j));
                if (!(std::fabs(r) < 1.0)) {
                    throw Error(Fault::data,
                                fmt::format("{} and {}{} have no correlation that can be pooled: one of them is "
                                            "constant, or they are tied exactly; leave out --correlations",
                                            quote(name(i)), quote(name(j)), in_level(level_)));
                }
                pieces.estimates.push_back(std::atanh(r));
                pieces.variances.push_back(1.0 / (count_ - 3.0));
            }
            out.push_back({level_, fmt::format("cor({},{})", name(i), name(j)), pool_correlation(pieces, confidence_)});
        });
    }
    void quantiles(const std::vector<double> &probabilities, std::vector<PooledRow> &out) const {
        for (std::size_t j = 0; j < tables_.model.size(); ++j) {
            std::vector<Pieces> pieces(probabilities.size());
            for (std::size_t k = 0; k < tables_.imputations; ++k) {
                const std::vector<double> values = tables_.columns[tables_.model[j]].completed(k);
                std::vector<double> sorted;
                for (const std::int32_t row : rows_) sorted.push_back(values[static_cast<std::size_t>(row)]);
                std::sort(sorted.begin(), sorted.end());
                for (std::size_t q = 0; q < probabilities.size(); ++q) {
                    const auto [quantile, variance] = quantile_of(sorted, probabilities[q]);
                    pieces[q].estimates.push_back(quantile);
                    pieces[q].variances.push_back(std::max(variance, 0.0));
                }
            }
            for (std::size_t q = 0; q < probabilities.size(); ++q) {
                out.push_back({level_, fmt::format("q{:g}({})", 100.0 * probabilities[q], name(j)),
                               pool_scalar(pieces[q].estimates, pieces[q].variances, count_ - 1.0, confidence_)});
            }
        }
    }

private:
    [[nodiscard]] const std::string &name(std::size_t j) const { return tables_.columns[tables_.model[j]].name; }
    static double covariance(const Moments &moments, std::size_t i, std::size_t j) {
        return moments.scatter[packed_index(std::max(i, j), std::min(i, j))];
    }
    void for_pairs(const std::function<void(std::size_t, std::size_t)> &act) const {
        for (std::size_t j = 1; j < tables_.model.size(); ++j) {
            for (std::size_t i = 0; i < j; ++i) act(i, j);
        }
    }
    PooledRow pool(std::string row_name,
                   const std::function<std::pair<double, double>(const Moments &)> &estimate) const {
        Pieces pieces;
        for (const Moments &moments : moments_) {
            const auto [value, variance] = estimate(moments);
            pieces.estimates.push_back(value);
            pieces.variances.push_back(variance);
        }
        return {level_, std::move(row_name),
                pool_scalar(pieces.estimates, pieces.variances, count_ - 1.0, confidence_)};
    }

    const CompletedTables &tables_;
    std::string level_;
    std::vector<std::int32_t> rows_;
    double count_;
    double confidence_;
    std::vector<Moments> moments_;  // per imputation; the scatter is divided to covariances
};

/** One factor of a formula in one imputation; its values are checked. */
std::vector<double> factor_values(const CompletedTables &tables, const Factor &factor, std::size_t imputation,
                                  const std::vector<std::int32_t> &rows) {
    const CompletedColumn &column = tables.column(factor.column);
    const std::vector<double> values = column.completed(imputation);
    std::vector<double> result;
    for (const std::int32_t row : rows) {
        const double value = values[static_cast<std::size_t>(row)];
        result.push_back(factor.value(value));
        if (std::isfinite(result.back())) continue;
        if (std::isnan(value)) {
            throw Error(Fault::data, fmt::format("{}: column {} is missing in row {}, as it was not imputed; impute it "
                                                 "too, or leave it out",
                                                 tables.source, quote(factor.column), row + 1));
        }
        throw Error(Fault::data, fmt::format("{}: the function of column {} is not defined at {} (row {}, imputation "
                                             "{}); if such values cannot be, impute with a transformation or a bound",
                                             tables.source, quote(factor.column), value, row + 1, imputation + 1));
    }
    return result;
}

LinearFit fit_imputation(const CompletedTables &tables, const Formula &formula, std::size_t imputation,
                         const std::vector<std::int32_t> &rows, std::span<const std::string> names) {
    const std::vector<double> response = factor_values(tables, formula.response, imputation, rows);
    const std::size_t width = names.size();
    std::vector<double> design(rows.size() * width, 1.0);
    std::size_t place = formula.intercept ? 1 : 0;
    for (const Term &term : formula.terms) {
        for (const Factor &factor : term.factors) {
            const std::vector<double> values = factor_values(tables, factor, imputation, rows);
            for (std::size_t i = 0; i < rows.size(); ++i) design[i * width + place] *= values[i];
        }
        ++place;
    }
    return fit_least_squares(design, response, names);
}

std::vector<std::size_t> tested_places(const Formula &formula, std::span<const std::string> names,
                                       std::span<const std::string> tested) {
    std::vector<std::size_t> places;
    if (tested.empty()) {
        for (std::size_t i = formula.intercept ? 1 : 0; i < names.size(); ++i) places.push_back(i);
        return places;
    }
    for (const std::string &name : tested) {
        const auto found = std::find(names.begin(), names.end(), name);
        const auto place = static_cast<std::size_t>(found - names.begin());
        if (found == names.end()) {
            throw Error(Fault::usage, fmt::format("the regression has no coefficient {}; its coefficients are {}",
                                                  quote(name), fmt::join(names, ", ")));
        }
        if (std::find(places.begin(), places.end(), place) != places.end()) {
            throw Error(Fault::usage, fmt::format("coefficient {} is to be tested twice", quote(name)));
        }
        places.push_back(place);
    }
    return places;
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

Pooled pool_scalar(std::span<const double> estimates, std::span<const double> variances, double complete_df,
                   double confidence) {
    check_confidence(confidence);
    check_imputations(estimates.size());
    if (estimates.size() != variances.size()) {
        throw Error(Fault::usage,
                    fmt::format("{} estimates and {} variances cannot be pooled", estimates.size(), variances.size()));
    }
    if (!(complete_df > 0.0)) {
        throw Error(Fault::usage,
                    fmt::format("complete-data degrees of freedom must be above 0, and are {}", complete_df));
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
    if (all_same) pooled.between = 0.0;  // where their mean is rounded
    const double added = (1.0 + 1.0 / m) * pooled.between;
    pooled.total = pooled.within + added;
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

std::vector<PooledRow> pool_moments(const CompletedTables &tables, const PoolRequest &request, double confidence) {
    check_imputations(tables.imputations);
    check_confidence(confidence);
    for (const double probability : request.quantiles) {
        if (probability > 0.0 && probability < 1.0) continue;
        throw Error(Fault::usage,
                    fmt::format("a quantile is given by a probability between 0 and 1, not by {}", probability));
    }
    if ((request.covariances || request.correlations) && tables.model.size() < 2) {
        throw Error(Fault::usage, "covariances and correlations are of two columns, and the model has only one");
    }
    std::vector<PooledRow> rows;
    for (std::size_t level = 0; level < tables.levels.size(); ++level) {
        const LevelPooler pooler(tables, level, confidence);
        if (request.means) pooler.means(rows);
        if (request.variances) pooler.variances(rows);
        if (request.covariances) pooler.covariances(rows);
        if (request.correlations) pooler.correlations(rows);
        if (!request.quantiles.empty()) pooler.quantiles(request.quantiles, rows);
    }
    return rows;
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

std::vector<PooledRegression> pool_regression(const CompletedTables &tables, const Formula &formula,
                                              std::span<const std::string> tested, double confidence) {
    check_imputations(tables.imputations);
    check_confidence(confidence);
    std::vector<std::string> names;
    if (formula.intercept) names.emplace_back(kIntercept);
    for (const Term &term : formula.terms) names.push_back(term.name);
    const std::vector<std::size_t> places = tested_places(formula, names, tested);

    std::vector<PooledRegression> regressions;
    for (std::size_t level = 0; level < tables.levels.size(); ++level) {
        const std::vector<std::int32_t> rows = tables.rows_of_level(level);
        std::vector<LinearFit> fits;
        for (std::size_t k = 0; k < tables.imputations; ++k) {
            try {
                fits.push_back(fit_imputation(tables, formula, k, rows, names));
            } catch (const Error &error) {
                if (tables.levels[level].empty()) throw;
                throw Error(error.fault(), fmt::format("level {}: {}", quote(tables.levels[level]), error.what()));
            }
        }
        PooledRegression regression{tables.levels[level], rows.size(), fits[0].residual_df, {}, {}};
        for (std::size_t i = 0; i < names.size(); ++i) {
            Pieces pieces;
            for (const LinearFit &fit : fits) {
                pieces.estimates.push_back(fit.coefficients[i]);
                pieces.variances.push_back(fit.covariance[packed_index(i, i)]);
            }
            regression.coefficients.push_back(
                {regression.level, names[i],
                 pool_scalar(pieces.estimates, pieces.variances, regression.residual_df, confidence)});
        }
        if (!places.empty()) {
            regression.tests.push_back(wald_test(fits, places, regression.residual_df));
            for (const std::size_t place : places) regression.tests.back().names.push_back(names[place]);
        }
        regressions.push_back(std::move(regression));
    }
    return regressions;
}

std::vector<PooledRow> pool_estimates(const std::string &source, std::string bytes, double complete_df,
                                      double confidence) {
    const FileText file = find_cells(source, std::move(bytes), 0);
    const auto place_of = [&](std::initializer_list<std::string_view> names) -> std::optional<std::size_t> {
        for (const std::string_view name : names) {
            const auto found = std::find(file.names.begin(), file.names.end(), name);
            if (found != file.names.end()) return static_cast<std::size_t>(found - file.names.begin());
        }
        return std::nullopt;
    };
    const auto term = place_of({"term", "name"});
    const auto estimate = place_of({"estimate"});
    const auto error = place_of({"std.error", "standard_error", "se"});
    const auto df = place_of({"df"});
    if (!estimate || !error) {
        throw Error(Fault::data,
                    fmt::format("{}: there is no column {}; needed are estimate and std.error (or se), and "
                                "useful term and df",
                                source, estimate ? "std.error" : "estimate"));
    }
    const auto number_at = [&](std::size_t row, std::size_t column, double least) {
        const std::string text = file.text(row, column);
        const auto number = parse_number(text);
        const bool open = least > 0.0 && parse_infinity(trim(text)) == kInfiniteDf;
        if (!open && (!number || *number < least)) {
            throw Error(Fault::data, fmt::format("{}: line {}: column {}: {} is no number{}", source, file.line[row],
                                                 quote(file.names[column]), quote(text),
                                                 least == -kOpen ? ""
                                                 : least > 0.0   ? " above 0"
                                                                 : " of 0 or above"));
        }
        return open ? kInfiniteDf : *number;
    };
    struct Quantity {
        Pieces pieces;
        double df;
    };
    std::vector<std::string> order;
    std::map<std::string, Quantity> quantities;
    for (std::size_t row = 0; row < file.row_count(); ++row) {
        const std::string name = term ? std::string(trim(file.text(row, *term))) : "estimate";
        const double row_df = df ? number_at(row, *df, std::numeric_limits<double>::min()) : complete_df;
        const auto [entry, is_new] = quantities.try_emplace(name, Quantity{{}, row_df});
        if (is_new) order.push_back(name);
        if (entry->second.df != row_df) {
            throw Error(Fault::data, fmt::format("{}: line {}: {} has other degrees of freedom before", source,
                                                 file.line[row], quote(name)));
        }
        const double standard_error = number_at(row, *error, 0.0);
        entry->second.pieces.estimates.push_back(number_at(row, *estimate, -kOpen));
        entry->second.pieces.variances.push_back(standard_error * standard_error);
    }
    const std::size_t imputations = quantities.at(order[0]).pieces.estimates.size();
    std::vector<PooledRow> rows;
    for (const std::string &name : order) {
        const Quantity &quantity = quantities.at(name);
        const std::size_t count = quantity.pieces.estimates.size();
        if (count != imputations || count < 2) {
            throw Error(Fault::data,
                        fmt::format("{}: {} for {}{}; every term needs one row per imputation, and at least 2", source,
                                    count_of(count, "row"), quote(name),
                                    count != imputations ? fmt::format(", and {} for {}", imputations, quote(order[0]))
                                                         : std::string()));
        }
        rows.push_back(
            {"", name, pool_scalar(quantity.pieces.estimates, quantity.pieces.variances, quantity.df, confidence)});
    }
    return rows;
}

}  // namespace ullage::host
