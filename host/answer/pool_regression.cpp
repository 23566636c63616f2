// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Fitting a regression to each completed table, and pooling the fits.

#include "ullage/host/answer/pool_regression.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "ullage/host/base/error.h"
#include "ullage/host/base/interrupt.h"
#include "ullage/host/base/words.h"
#include "ullage/host/numbers/least_squares.h"
#include "ullage/host/numbers/moments.h"

namespace ullage::host {
namespace {

/** One factor of a formula in some rows of one imputation; its values are checked. */
std::vector<double> factor_values(const CompletedTables &tables, const Factor &factor, std::size_t imputation,
                                  std::span<const std::int32_t> rows) {
    std::vector<double> values(rows.size());
    tables.column_of_numbers(factor.column).copy_rows(imputation, rows, values.data());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const double value = values[i];
        values[i] = factor.value(value);
        if (std::isfinite(values[i])) continue;
        if (std::isnan(value)) {
            throw Error(Fault::data, fmt::format("{}: column {} is missing in row {}, as it was not imputed; impute it "
                                                 "too, or leave it out",
                                                 tables.source, quote(factor.column), rows[i] + 1));
        }
        throw Error(Fault::data, fmt::format("{}: the function of column {} is not defined at {} (row {}, imputation "
                                             "{}); if such values cannot be, impute with a transformation or a bound",
                                             tables.source, quote(factor.column), value, rows[i] + 1, imputation + 1));
    }
    return values;
}

LinearFit fit_imputation(const CompletedTables &tables, const Formula &formula, std::size_t imputation,
                         std::span<const std::int32_t> rows, const std::vector<std::string> &names) {
    constexpr std::size_t kBlock = 4096;
    const std::size_t width = names.size();
    LeastSquares regression(names);
    for (std::size_t first = 0; first < rows.size(); first += kBlock) {
        check_interrupt();
        const auto block = rows.subspan(first, std::min(kBlock, rows.size() - first));
        std::vector<double> design(block.size() * width, 1.0);
        std::size_t place = formula.intercept ? 1 : 0;
        for (const Term &term : formula.terms) {
            for (const Factor &factor : term.factors) {
                const std::vector<double> values = factor_values(tables, factor, imputation, block);
                for (std::size_t i = 0; i < block.size(); ++i) design[i * width + place] *= values[i];
            }
            ++place;
        }
        regression.add(design, factor_values(tables, formula.response, imputation, block));
    }
    return regression.fit();
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

}  // namespace

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
                pool_pieces(regression.level, names[i], pieces, regression.residual_df, confidence));
        }
        if (!places.empty()) {
            regression.tests.push_back({{}, wald_test(fits, places, regression.residual_df)});
            for (const std::size_t place : places) regression.tests.back().names.push_back(names[place]);
        }
        regressions.push_back(std::move(regression));
    }
    return regressions;
}

}  // namespace ullage::host
