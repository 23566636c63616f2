// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Fitting a regression to each completed table, and pooling the fits.

#include "ullage/host/answer/pool_regression.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <map>
#include <span>
#include <utility>

#include "ullage/host/answer/design.h"
#include "ullage/host/answer/table_values.h"
#include "ullage/host/base/error.h"
#include "ullage/host/base/interrupt.h"
#include "ullage/host/base/words.h"
#include "ullage/host/numbers/moments.h"

namespace ullage::host {
namespace {

/** Do something for one imputation (from 0) of a level; errors of the data say which. */
template <typename Work>
auto for_imputation(const CompletedTables &tables, std::size_t level, std::size_t imputation, Work work) {
    try {
        return work();
    } catch (const Error &error) {
        if (error.fault() != Fault::data) throw;
        throw Error(Fault::data, fmt::format("{}{}, imputation {}: {}", tables.source, in_level(tables.levels[level]),
                                             imputation + 1, error.what()));
    }
}

/** The regression of one level. */
class LevelRegression {
public:
    LevelRegression(const CompletedTables &tables, const Regression &regression, std::size_t level)
        : tables_(tables), regression_(regression), level_(level), rows_(find_rows()), design_(make_design()) {
        if (!regression.cluster.empty()) find_clusters();
    }

    PooledRegression pool() {
        const std::vector<std::size_t> asked = tested_places();
        for (std::size_t k = 0; k < tables_.imputations; ++k) {
            fits_.push_back(for_imputation(tables_, level_, k, [&] { return fit(k); }));
        }
        PooledRegression pooled{tables_.levels[level_], rows_[0].size(), rows_[0].size(), fits_[0].residual_df, {}, {}};
        for (std::size_t k = 0; k < fits_.size(); ++k) {
            pooled.rows = std::min(pooled.rows, rows_[k].size());
            pooled.most_rows = std::max(pooled.most_rows, rows_[k].size());
            pooled.residual_df = std::min(pooled.residual_df, fits_[k].residual_df);
        }
        const std::vector<std::string> &names = design_.names();
        for (std::size_t i = 0; i < names.size(); ++i) {
            Pieces pieces;
            for (const LinearFit &fit : fits_) {
                pieces.estimates.push_back(fit.coefficients[i]);
                pieces.variances.push_back(fit.covariance[packed_index(i, i)]);
            }
            pooled.coefficients.push_back(
                pool_pieces(pooled.level, names[i], pieces, pooled.residual_df, regression_.confidence));
        }
        add_tests(pooled, asked);
        return pooled;
    }

private:
    [[nodiscard]] std::vector<std::vector<std::int32_t>> find_rows() const {
        std::vector<std::vector<std::int32_t>> rows(tables_.imputations, tables_.rows_of_level(level_));
        if (!regression_.where) return rows;
        for (std::size_t k = 0; k < rows.size(); ++k) {
            rows[k] =
                for_imputation(tables_, level_, k, [&] { return rows_where(tables_, *regression_.where, k, rows[k]); });
        }
        return rows;
    }

    [[nodiscard]] Design make_design() const {
        try {
            return {tables_, regression_.formula, regression_.family, rows_};
        } catch (const Error &error) {
            if (tables_.levels[level_].empty() && error.fault() != Fault::data) throw;
            throw Error(error.fault(),
                        fmt::format("{}{}: {}", tables_.source, in_level(tables_.levels[level_]), error.what()));
        }
    }

    /** Number the clusters: different values of the column, in their order. */
    void find_clusters() {
        Expression column;
        column.kind = Expression::Kind::column;
        column.name = regression_.cluster;
        column.place = "--cluster";
        const CompletedColumn &clusters = tables_.column(regression_.cluster);
        if (!clusters.hidden.empty()) {
            throw Error(Fault::usage, fmt::format("column {} was imputed in {}, and a cluster must be known; leave "
                                                  "these rows out before the run",
                                                  quote(clusters.name), count_of(clusters.hidden.size(), "row")));
        }
        cluster_of_row_.resize(tables_.rows);
        std::map<double, std::size_t> numbers;
        for (std::size_t k = 0; k < rows_.size(); ++k) {
            const RowValues values =
                for_imputation(tables_, level_, k, [&] { return values_of(tables_, column, k, rows_[k]); });
            for (std::size_t i = 0; i < rows_[k].size(); ++i) {
                const auto number = numbers.try_emplace(values.values[i], numbers.size()).first->second;
                cluster_of_row_[static_cast<std::size_t>(rows_[k][i])] = number;
            }
        }
    }

    [[nodiscard]] LinearFit fit(std::size_t imputation) const {
        constexpr std::size_t kBlock = 4096;
        const std::span<const std::int32_t> rows = rows_[imputation];
        const DesignPass pass = [&](const std::function<void(const DesignBlock &)> &take) {
            for (std::size_t first = 0; first < rows.size(); first += kBlock) {
                check_interrupt();
                const auto some = rows.subspan(first, std::min(kBlock, rows.size() - first));
                DesignBlock block = design_.block(imputation, some);
                for (const std::int32_t row : some) {
                    if (!cluster_of_row_.empty()) {
                        block.clusters.push_back(cluster_of_row_[static_cast<std::size_t>(row)]);
                    }
                }
                take(block);
            }
        };
        LinearFit fit = fit_generalised(regression_.family, design_.names(), pass);
        if (regression_.robust) make_robust(fit, regression_.family, design_.names(), pass);
        if (!regression_.cluster.empty()) make_cluster_robust(fit, regression_.family, design_.names(), pass);
        return fit;
    }

    void add_tests(PooledRegression &pooled, const std::vector<std::size_t> &asked) const {
        if (!asked.empty()) {
            add_test(pooled, asked, "");
            return;
        }
        std::vector<std::size_t> all;
        for (const DesignTerm &term : design_.terms()) all.insert(all.end(), term.places.begin(), term.places.end());
        if (!all.empty()) add_test(pooled, all, design_.terms().size() == 1 ? design_.terms()[0].name : "");
        for (const DesignTerm &term : design_.terms()) {
            if (term.places.size() > 1 && term.places.size() < all.size()) add_test(pooled, term.places, term.name);
        }
    }

    void add_test(PooledRegression &pooled, const std::vector<std::size_t> &places, std::string term) const {
        const bool is_singular = !cluster_of_row_.empty() && static_cast<double>(places.size()) > pooled.residual_df;
        if (is_singular && regression_.tested.empty()) return;
        pooled.tests.push_back({{}, wald_test(fits_, places, pooled.residual_df), std::move(term)});
        for (const std::size_t place : places) pooled.tests.back().names.push_back(design_.names()[place]);
    }

    [[nodiscard]] std::vector<std::size_t> tested_places() const {
        std::vector<std::size_t> places;
        const std::vector<std::string> &names = design_.names();
        for (const std::string &name : regression_.tested) {
            std::vector<std::size_t> own;
            for (std::size_t i = 0; i < names.size() && own.empty(); ++i) {
                if (names[i] == name) own.push_back(i);
            }
            for (const DesignTerm &term : design_.terms()) {
                if (own.empty() && term.name == name) own = term.places;
            }
            if (own.empty()) {
                throw Error(Fault::usage,
                            fmt::format("the regression has no term or coefficient {}; its coefficients are {}",
                                        quote(name), fmt::join(names, ", ")));
            }
            for (const std::size_t place : own) {
                if (std::find(places.begin(), places.end(), place) != places.end()) {
                    throw Error(Fault::usage, fmt::format("coefficient {} is to be tested twice", quote(names[place])));
                }
                places.push_back(place);
            }
        }
        return places;
    }

    const CompletedTables &tables_;
    const Regression &regression_;
    std::size_t level_;
    std::vector<std::vector<std::int32_t>> rows_;  // of each imputation
    Design design_;
    std::vector<std::size_t> cluster_of_row_;  // empty without clusters
    std::vector<LinearFit> fits_;
};

}  // namespace

std::vector<PooledRegression> pool_regression(const CompletedTables &tables, const Regression &regression) {
    check_imputations(tables.imputations);
    check_confidence(regression.confidence);
    if (regression.robust && !regression.cluster.empty()) {
        throw Error(Fault::usage, "robust errors are either HC3 or of clusters; ask for one of them");
    }
    std::vector<PooledRegression> pooled;
    for (std::size_t level = 0; level < tables.levels.size(); ++level) {
        pooled.push_back(LevelRegression(tables, regression, level).pool());
    }
    return pooled;
}

}  // namespace ullage::host
