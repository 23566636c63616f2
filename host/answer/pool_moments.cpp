// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Pooling what a table says of its columns and pairs of columns.

#include "ullage/host/answer/pool_moments.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <span>
#include <string>
#include <utility>

#include "ullage/host/base/error.h"
#include "ullage/host/base/interrupt.h"
#include "ullage/host/base/words.h"
#include "ullage/host/model/scale.h"
#include "ullage/host/numbers/moments.h"
#include "ullage/host/numbers/quantile.h"
#include "ullage/host/table/transformations.h"

namespace ullage::host {
namespace {

/** The quantities of one level. */
class LevelPooler {
public:
    LevelPooler(const CompletedTables &tables, const std::vector<Transformation> &scale, std::size_t level,
                double confidence)
        : tables_(tables),
          scale_(scale),
          level_(tables.levels[level]),
          rows_(tables.rows_of_level(level)),
          count_(static_cast<double>(rows_.size())),
          confidence_(confidence) {
        if (rows_.size() < 2) {
            throw Error(Fault::data, fmt::format("{}{}: at least 2 are needed for a variance",
                                                 count_of(rows_.size(), "row"), in_level(level_)));
        }
        for (std::size_t k = 0; k < tables.imputations; ++k) moments_.push_back(moments_of_imputation(k));
        check_spread();
    }

    void means(std::vector<PooledRow> &out) const {
        for (std::size_t j = 0; j < tables_.model.size(); ++j) {
            if (holds_words(j)) {
                shares(j, out);
                continue;
            }
            out.push_back(pool("mean(" + name(j) + ")", [&](const Moments &moments) {
                return std::pair(moments.mean[j], covariance(moments, j, j) / count_);
            }));
        }
    }
    void variances(std::vector<PooledRow> &out) const {
        for (std::size_t j = 0; j < tables_.model.size(); ++j) {
            if (holds_words(j)) continue;
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
                const double r = covariance(moments, i, j) / std::sqrt(covariance(moments, i, i)) /
                                 std::sqrt(covariance(moments, j, j));
                if (!(std::fabs(r) < 1.0)) {
                    throw Error(Fault::data,
                                fmt::format("{} and {}{} have no correlation that can be pooled: one of them is "
                                            "constant, or they are tied exactly; leave out --correlations",
                                            quote(name(i)), quote(name(j)), in_level(level_)));
                }
                pieces.estimates.push_back(std::atanh(r));
                pieces.variances.push_back(1.0 / (count_ - 3.0));
            }
            out.push_back(
                pool_pieces(level_, fmt::format("cor({},{})", name(i), name(j)), pieces, kInfiniteDf, confidence_));
            take_back(out.back().pooled);
        });
    }
    void quantiles(const std::vector<double> &probabilities, std::vector<PooledRow> &out) const {
        std::vector<std::vector<double>> weights;
        for (const double probability : probabilities) {
            check_rows_for(probability);
            weights.push_back(quantile_weights(rows_.size(), probability));
        }
        std::vector<double> values(rows_.size());
        for (std::size_t j = 0; j < tables_.model.size(); ++j) {
            if (holds_words(j)) continue;
            std::vector<Pieces> pieces(probabilities.size());
            for (std::size_t k = 0; k < tables_.imputations; ++k) {
                check_interrupt();
                copy_rows(j, k, rows_, values.data(), 1);
                std::sort(values.begin(), values.end());
                for (std::size_t q = 0; q < probabilities.size(); ++q) {
                    pieces[q].estimates.push_back(quantile_of(values, probabilities[q]));
                    pieces[q].variances.push_back(quantile_variance(values, weights[q]));
                }
            }
            for (std::size_t q = 0; q < probabilities.size(); ++q) {
                out.push_back(pool_pieces(level_, fmt::format("q{:g}({})", 100.0 * probabilities[q], name(j)),
                                          pieces[q], count_ - 1.0, confidence_));
            }
        }
    }

private:
    /** The share of each word of a column: the mean of what is 1 where the word stands and 0 elsewhere. */
    void shares(std::size_t j, std::vector<PooledRow> &out) const {
        const CompletedColumn &column = tables_.columns[tables_.model[j]];
        std::vector<Pieces> pieces(column.words.size());
        std::vector<double> places(rows_.size());
        for (std::size_t k = 0; k < tables_.imputations; ++k) {
            check_interrupt();
            column.copy_rows(k, rows_, places.data());
            std::vector<double> counts(column.words.size(), 0.0);
            for (const double place : places) ++counts[static_cast<std::size_t>(place)];
            for (std::size_t word = 0; word < counts.size(); ++word) {
                const double share = counts[word] / count_;
                pieces[word].estimates.push_back(share);
                pieces[word].variances.push_back(share * (1.0 - share) / (count_ - 1.0));
            }
        }
        for (std::size_t word = 0; word < pieces.size(); ++word) {
            out.push_back(pool_pieces(level_,
                                      fmt::format("share({}={})", name(j), unambiguous_name(column.words[word])),
                                      pieces[word], count_ - 1.0, confidence_));
        }
    }
    /** Put the values of a column in some rows into out[0], out[step], ... */
    void copy_rows(std::size_t j, std::size_t imputation, std::span<const std::int32_t> rows, double *out,
                   std::size_t step) const {
        tables_.columns[tables_.model[j]].copy_rows(imputation, rows, out, step);
        const Transformation own = transformation(j);
        if (own == Transformation::none) return;
        for (std::size_t i = 0; i < rows.size(); ++i) out[i * step] = to_model({own, 0.0, 1.0}, out[i * step]);
    }
    [[nodiscard]] Transformation transformation(std::size_t j) const {
        return j < scale_.size() ? scale_[j] : Transformation::none;
    }
    [[nodiscard]] bool holds_words(std::size_t j) const { return tables_.columns[tables_.model[j]].holds_words(); }
    /** Moments of the level's rows, with the scatter divided to covariances; in blocks, for the memory's sake. */
    [[nodiscard]] Moments moments_of_imputation(std::size_t imputation) const {
        constexpr std::size_t kBlock = 4096;
        const std::size_t n = tables_.model.size();
        std::vector<double> values;
        Moments moments;
        for (std::size_t first = 0; first < rows_.size(); first += kBlock) {
            check_interrupt();
            const auto block = std::span(rows_).subspan(first, std::min(kBlock, rows_.size() - first));
            values.resize(block.size() * n);
            for (std::size_t j = 0; j < n; ++j) {
                copy_rows(j, imputation, block, values.data() + j, n);
            }
            moments = combine({std::move(moments), moments_of_rows(values, n)});
        }
        for (double &element : moments.scatter) element /= count_ - 1.0;
        return moments;
    }
    /** A column whose squares vanish would have no standard error though it varies. */
    void check_spread() const {
        std::vector<double> values(rows_.size());
        for (std::size_t j = 0; j < tables_.model.size(); ++j) {
            if (holds_words(j) || covariance(moments_[0], j, j) != 0.0) continue;
            tables_.columns[tables_.model[j]].copy_rows(0, rows_, values.data());
            if (std::all_of(values.begin(), values.end(), [&](double value) { return value == values[0]; })) continue;
            throw Error(Fault::data, fmt::format("column {}{}: its variance is beyond the range of double precision; "
                                                 "give it in other units",
                                                 quote(tables_.columns[tables_.model[j]].name), in_level(level_)));
        }
    }
    /** A quantile that lies beyond the first or last row but one has no error that the rows could tell. */
    void check_rows_for(double probability) const {
        if ((count_ + 1.0) * std::min(probability, 1.0 - probability) >= 1.0) return;
        throw Error(Fault::data, fmt::format("{}{} are too few for the quantile at {}, which needs at least {:.0f}",
                                             count_of(rows_.size(), "row"), in_level(level_), probability,
                                             std::ceil(1.0 / std::min(probability, 1.0 - probability) - 1.0)));
    }
    /** A correlation and its interval from those of Fisher's z. */
    static void take_back(Pooled &pooled) {
        pooled.estimate = std::tanh(pooled.estimate);
        pooled.standard_error *= 1.0 - pooled.estimate * pooled.estimate;
        pooled.lower = std::tanh(pooled.lower);
        pooled.upper = std::tanh(pooled.upper);
    }
    [[nodiscard]] std::string name(std::size_t j) const {
        return transformed_name(transformation(j), tables_.columns[tables_.model[j]].name);
    }
    static double covariance(const Moments &moments, std::size_t i, std::size_t j) {
        return moments.scatter[packed_index(std::max(i, j), std::min(i, j))];
    }
    void for_pairs(const std::function<void(std::size_t, std::size_t)> &act) const {
        for (std::size_t j = 1; j < tables_.model.size(); ++j) {
            for (std::size_t i = 0; i < j; ++i) {
                if (!holds_words(i) && !holds_words(j)) act(i, j);
            }
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
        return pool_pieces(level_, std::move(row_name), pieces, count_ - 1.0, confidence_);
    }

    const CompletedTables &tables_;
    const std::vector<Transformation> &scale_;
    std::string level_;
    std::vector<std::int32_t> rows_;
    double count_;
    double confidence_;
    std::vector<Moments> moments_;  // per imputation; the scatter is divided to covariances
};

}  // namespace

std::vector<PooledRow> pool_moments(const CompletedTables &tables, const PoolRequest &request, double confidence) {
    check_imputations(tables.imputations);
    check_confidence(confidence);
    for (const double probability : request.quantiles) {
        if (probability > 0.0 && probability < 1.0) continue;
        throw Error(Fault::usage,
                    fmt::format("a quantile is given by a probability between 0 and 1, not by {}", probability));
    }
    const auto numbers = std::count_if(tables.model.begin(), tables.model.end(),
                                       [&](std::size_t place) { return !tables.columns[place].holds_words(); });
    if ((request.covariances || request.correlations) && numbers < 2) {
        throw Error(Fault::usage,
                    fmt::format("covariances and correlations are of two columns{}, and the model has {}",
                                tables.model.size() < 2 ? "" : " of numbers", numbers == 1 ? "only one" : "none"));
    }
    if ((request.variances || !request.quantiles.empty()) && numbers == 0) {
        throw Error(Fault::usage, "variances and quantiles are of columns of numbers, and the model has none");
    }
    std::vector<PooledRow> rows;
    for (std::size_t level = 0; level < tables.levels.size(); ++level) {
        const LevelPooler pooler(tables, request.scale, level, confidence);
        if (request.means) pooler.means(rows);
        if (request.variances) pooler.variances(rows);
        if (request.covariances) pooler.covariances(rows);
        if (request.correlations) pooler.correlations(rows);
        if (!request.quantiles.empty()) pooler.quantiles(request.quantiles, rows);
    }
    return rows;
}

}  // namespace ullage::host
