// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Iteratively reweighted least squares, and sandwich covariances.

#include "ullage/host/numbers/generalised_linear.h"

#include <fmt/format.h>

#include <Eigen/Core>
#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <span>
#include <utility>

#include "ullage/host/base/error.h"
#include "ullage/host/base/words.h"
#include "ullage/host/numbers/moments.h"

namespace ullage::host {
namespace {

constexpr double kSmallStep = 1e-10;  // squared standard errors; one more step, and what is left is its square
constexpr int kMostPasses = 200;
// A step that matters so little to the likelihood, in squared standard errors, ...
constexpr double kFlatStep = 1e-3;
// ... moves no linear predictor by so much unless this has no end.
constexpr double kEndlessMove = 0.5;

/** One case, as the family sees it at a linear predictor. */
struct CaseState {
    double residual;  // y - mu
    double weight;    // the variance of y
    double deviance;
};

CaseState state_of(Family family, double y, double eta) {
    switch (family) {
        case Family::normal:
            return {y - eta, 1.0, (y - eta) * (y - eta)};
        case Family::poisson: {
            const double mean = std::exp(eta);
            const double part = y > 0.0 ? y * (std::log(y) - eta) : 0.0;
            return {y - mean, mean, 2.0 * (part - (y - mean))};
        }
        case Family::binomial:
            break;
    }
    // Far out, 1 - mu has no digits: each tail is taken on its own side.
    const double small = std::exp(-std::fabs(eta));
    const double tail = small / (1.0 + small);
    const double upper = eta > 0.0 ? tail : 1.0 / (1.0 + small);  // 1 - mu
    const double lower = eta > 0.0 ? 1.0 / (1.0 + small) : tail;  // mu
    const double against = y > 0.5 ? -eta : eta;
    return {y > 0.5 ? upper : -lower, tail / (1.0 + small), 2.0 * (std::max(against, 0.0) + std::log1p(small))};
}

/** A linear predictor near the response, to begin with. */
double first_guess(Family family, double y) {
    if (family == Family::binomial) return y > 0.5 ? std::log(3.0) : -std::log(3.0);
    return family == Family::poisson ? std::log(y + 0.1) : y;
}

double product(const double *row, const std::vector<double> &coefficients) {
    double sum = 0.0;
    for (std::size_t j = 0; j < coefficients.size(); ++j) sum += row[j] * coefficients[j];
    return sum;
}

/** What one pass over all cases finds. */
struct PassResult {
    double deviance = 0.0;
    double step = 0.0;                                       // the last step in squared standard errors
    double largest_move = 0.0;                               // of a linear predictor by the last step
    std::size_t moved = 0;                                   // cases moved by more than kEndlessMove
    std::vector<double> reach = {};                          // largest size of each column of the design
    double least = std::numeric_limits<double>::infinity();  // response
    double most = -std::numeric_limits<double>::infinity();
};

class GeneralisedFitter {
public:
    GeneralisedFitter(Family family, const std::vector<std::string> &names, const DesignPass &pass)
        : family_(family), names_(names), pass_(pass) {}

    LinearFit fit() {
        double deviance = std::numeric_limits<double>::infinity();
        bool was_small = false;
        for (int number = 0; number < kMostPasses; ++number) {
            LeastSquares regression(names_);
            const PassResult now = look(regression);
            const bool has_risen = !(now.deviance <= deviance + 1e-8 * (std::fabs(deviance) + 1.0));
            if (number > 0 && (has_risen || !std::isfinite(now.deviance))) {
                for (std::size_t j = 0; j < names_.size(); ++j) at_[j] = (at_[j] + before_[j]) / 2.0;
                continue;
            }
            if (number > 1 && now.step < kFlatStep && now.largest_move > kEndlessMove) throw separated(now);
            LinearFit fit = solve(regression, now, number);
            const bool is_small = number > 1 && now.step < kSmallStep;
            if (is_small && was_small) return fit;
            was_small = is_small;
            // The guess that it begins with is not of this model, and its deviance no measure.
            if (number > 0) deviance = now.deviance;
            before_ = number == 0 ? std::vector<double>(names_.size(), 0.0) : at_;
            at_ = fit.coefficients;
            has_coefficients_ = true;
        }
        throw Error(Fault::data, fmt::format("no convergence in {} iterations; give the columns in units in which they "
                                             "are neither very large nor far from 0, or leave terms out",
                                             kMostPasses));
    }

private:
    PassResult look(LeastSquares &regression) {
        PassResult result;
        result.reach.assign(names_.size(), 0.0);
        pass_([&](const DesignBlock &block) {
            std::vector<double> design = block.design;
            std::vector<double> response = block.response;
            for (std::size_t i = 0; i < response.size(); ++i) {
                double *row = design.data() + i * names_.size();
                result.least = std::fmin(result.least, response[i]);
                result.most = std::fmax(result.most, response[i]);
                const double linear = has_coefficients_ ? product(row, at_) : 0.0;
                const double eta = has_coefficients_ ? linear + block.offset[i] : first_guess(family_, response[i]);
                const CaseState state = state_of(family_, response[i], eta);
                const double move = has_coefficients_ ? linear - product(row, before_) : 0.0;
                result.deviance += state.deviance;
                result.step += state.weight * move * move;
                result.largest_move = std::fmax(result.largest_move, std::fabs(move));
                if (std::fabs(move) > kEndlessMove) ++result.moved;
                for (std::size_t j = 0; j < names_.size(); ++j) {
                    result.reach[j] = std::fmax(result.reach[j], std::fabs(row[j]));
                }
                // Below the smallest weight nothing is added to what the other cases say.
                const double root = std::sqrt(std::fmax(state.weight, 1e-200));
                response[i] = root * (eta - block.offset[i]) + state.residual / root;
                for (std::size_t j = 0; j < names_.size(); ++j) row[j] *= root;
            }
            const auto is_finite = [](double number) { return std::isfinite(number); };
            if (!std::all_of(response.begin(), response.end(), is_finite)) result.deviance = HUGE_VAL;
            if (std::isfinite(result.deviance)) regression.add(design, response);
        });
        return result;
    }

    LinearFit solve(const LeastSquares &regression, const PassResult &now, int number) const {
        try {
            return regression.fit(1.0);
        } catch (const Error &) {
            // With its first weights the design was fit; only weights that have vanished can change that.
            if (number > 1 && now.largest_move > kEndlessMove) throw separated(now);
            throw;
        }
    }

    [[nodiscard]] Error separated(const PassResult &now) const {
        if (now.least == now.most) {
            return {Fault::data, "separation: the response is the same in all rows, so that there is nothing to tell"};
        }
        std::size_t worst = 0;
        double largest = -1.0;
        for (std::size_t j = 0; j < names_.size(); ++j) {
            if (names_[j] == kIntercept) continue;  // it grows with another one, which says more
            const double move = std::fabs(at_[j] - before_[j]) * now.reach[j];
            if (move > largest) worst = j;
            largest = std::fmax(largest, move);
        }
        const char *what = family_ == Family::binomial ? "which of the two the response is" : "that the response is 0";
        return {Fault::data,
                fmt::format("separation: the terms tell without doubt {} in {}, so that the coefficient of {} grows "
                            "without end; leave the term out, or put rows together so that both kinds stand in each",
                            what, count_of(now.moved, "row"), quote(names_[worst]))};
    }

    Family family_;
    const std::vector<std::string> &names_;
    const DesignPass &pass_;
    bool has_coefficients_ = false;
    std::vector<double> at_;
    std::vector<double> before_;
};

LinearFit fit_normal(const std::vector<std::string> &names, const DesignPass &pass) {
    LeastSquares regression(names);
    pass([&](const DesignBlock &block) {
        std::vector<double> response = block.response;
        for (std::size_t i = 0; i < response.size(); ++i) response[i] -= block.offset[i];
        regression.add(block.design, response);
    });
    return regression.fit();
}

/** (X'WX)^-1 at the coefficients of a fit. */
Eigen::MatrixXd bread_of(const LinearFit &fit, Family family, const std::vector<std::string> &names,
                         const DesignPass &pass) {
    LeastSquares regression(names);
    pass([&](const DesignBlock &block) {
        std::vector<double> design = block.design;
        for (std::size_t i = 0; i < block.response.size(); ++i) {
            double *row = design.data() + i * names.size();
            const double eta = product(row, fit.coefficients) + block.offset[i];
            const double root = std::sqrt(state_of(family, block.response[i], eta).weight);
            for (std::size_t j = 0; j < names.size(); ++j) row[j] *= root;
        }
        regression.add(design, block.response);
    });
    const std::vector<double> packed = regression.fit(1.0).covariance;
    const auto size = static_cast<Eigen::Index>(names.size());
    Eigen::MatrixXd bread(size, size);
    for (Eigen::Index i = 0; i < size; ++i) {
        for (Eigen::Index j = 0; j <= i; ++j) {
            bread(i, j) = packed[packed_index(static_cast<std::size_t>(i), static_cast<std::size_t>(j))];
            bread(j, i) = bread(i, j);
        }
    }
    return bread;
}

void take_sandwich(LinearFit &fit, const Eigen::MatrixXd &bread, const Eigen::MatrixXd &meat) {
    const Eigen::MatrixXd covariance = bread * meat * bread;
    if (!covariance.allFinite()) {
        throw Error(Fault::data,
                    "the robust covariance is beyond the range of double precision; give the columns in "
                    "other units");
    }
    fit.covariance.clear();
    for (Eigen::Index i = 0; i < covariance.rows(); ++i) {
        for (Eigen::Index j = 0; j <= i; ++j) fit.covariance.push_back(covariance(i, j));
    }
}

/** Visit all cases with their row of the design and their state under a fit. */
void visit_cases(const LinearFit &fit, Family family, const DesignPass &pass,
                 const std::function<void(const Eigen::VectorXd &row, const CaseState &state, const DesignBlock &block,
                                          std::size_t place)> &take) {
    const std::size_t width = fit.coefficients.size();
    pass([&](const DesignBlock &block) {
        for (std::size_t i = 0; i < block.response.size(); ++i) {
            const double *first = block.design.data() + i * width;
            const Eigen::VectorXd row = Eigen::Map<const Eigen::VectorXd>(first, static_cast<Eigen::Index>(width));
            const double eta = product(first, fit.coefficients) + block.offset[i];
            take(row, state_of(family, block.response[i], eta), block, i);
        }
    });
}

}  // namespace

LinearFit fit_generalised(Family family, const std::vector<std::string> &names, const DesignPass &pass) {
    return family == Family::normal ? fit_normal(names, pass) : GeneralisedFitter(family, names, pass).fit();
}

void make_robust(LinearFit &fit, Family family, const std::vector<std::string> &names, const DesignPass &pass) {
    const Eigen::MatrixXd bread = bread_of(fit, family, names, pass);
    Eigen::MatrixXd meat = Eigen::MatrixXd::Zero(bread.rows(), bread.cols());
    visit_cases(fit, family, pass,
                [&](const Eigen::VectorXd &row, const CaseState &state, const DesignBlock &block, std::size_t place) {
                    const double leverage = state.weight * row.dot(bread * row);
                    if (!(leverage < 1.0 - 1e-10)) {
                        throw Error(Fault::data, fmt::format("row {} alone determines a coefficient (its leverage is "
                                                             "1), and HC3 is not defined; leave the term out",
                                                             block.rows[place] + 1));
                    }
                    const double size = state.residual / (1.0 - leverage);
                    meat += row * (size * size) * row.transpose();
                });
    take_sandwich(fit, bread, meat);
}

void make_cluster_robust(LinearFit &fit, Family family, const std::vector<std::string> &names, const DesignPass &pass) {
    const Eigen::MatrixXd bread = bread_of(fit, family, names, pass);
    std::map<std::size_t, Eigen::VectorXd> scores;
    double cases = 0.0;
    visit_cases(fit, family, pass,
                [&](const Eigen::VectorXd &row, const CaseState &state, const DesignBlock &block, std::size_t place) {
                    const auto score = scores.try_emplace(block.clusters[place], Eigen::VectorXd::Zero(row.size()));
                    score.first->second += row * state.residual;
                    cases += 1.0;
                });
    const auto clusters = static_cast<double>(scores.size());
    if (scores.size() < 2) throw Error(Fault::data, "all rows are of one cluster; two are needed at least");
    Eigen::MatrixXd meat = Eigen::MatrixXd::Zero(bread.rows(), bread.cols());
    for (const auto &[cluster, score] : scores) meat += score * score.transpose();
    double factor = clusters / (clusters - 1.0);
    if (family == Family::normal) factor *= (cases - 1.0) / (cases - static_cast<double>(names.size()));
    take_sandwich(fit, bread, factor * meat);
    fit.residual_df = clusters - 1.0;
}

}  // namespace ullage::host
