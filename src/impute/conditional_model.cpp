// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The distribution of the unobserved cells given the observed ones, for one pattern.

#include "impute/conditional_model.h"

#include <algorithm>
#include <cassert>
#include <cmath>

#include "frame/session_state.h"
#include "matrix/packed.h"
#include "matrix/packed_kernel.h"
#include "matrix/vector_kernel.h"

namespace {

std::size_t regression_size(std::int32_t observed_count, std::int32_t unobserved_count) {
    return static_cast<std::size_t>(observed_count) * padded_length(static_cast<std::size_t>(unobserved_count));
}

// The regression of the unobserved rows on the observed variables, four rows side by side; gives the place behind it.
double *store_regression(const std::int32_t *order, std::size_t m, std::size_t n, const double *swept,
                         std::size_t stride, double *place) {
    const std::int32_t *unobserved = order + m;
    for (std::size_t block = 0; block < n; block += kVectorLength) {
        const double *rows[kVectorLength];
        for (std::size_t lane = 0; lane < kVectorLength; ++lane) {
            const std::size_t t = std::min(block + lane, n - 1);  // the last block repeats its last row
            rows[lane] = swept + static_cast<std::size_t>(unobserved[t]) * stride;
        }
        for (std::size_t k = 0; k < m; ++k) {
            for (std::size_t lane = 0; lane < kVectorLength; ++lane) *place++ = rows[lane][order[k]];
        }
    }
    return place;
}

// The packed conditional covariance of the unobserved rows.
void store_covariance(const std::int32_t *unobserved, std::size_t n, const double *swept, std::size_t stride,
                      double *covariance) {
    for (std::size_t t = 0; t < n; ++t) {
        const double *row = swept + static_cast<std::size_t>(unobserved[t]) * stride;
        for (std::size_t s = 0; s <= t; ++s) *covariance++ = row[unobserved[s]];
    }
}

// What the chain needs of the conditional covariance; gives the place behind it.
double *store_chain(ConditionalModel &model, const double *covariance, double *inverse, double *place) {
    const auto n = static_cast<std::size_t>(model.unobserved_count);
    double *coefficients = place;
    double *chain_sd = coefficients + n * n;
    double *start_sd = chain_sd + n;
    const bool is_invertible = gibbs_prepare(model.unobserved_count, covariance, inverse, coefficients, chain_sd) == 0;
    model.coefficients = is_invertible ? coefficients : nullptr;
    model.chain_sd = chain_sd;
    model.start_sd = start_sd;
    for (std::int32_t t = 0; t < model.unobserved_count; ++t) {
        const double variance = covariance[packed_diagonal(t)];
        if (variance < 0.0) ++model.negative_variances;
        start_sd[t] = std::sqrt(variance);
    }
    return start_sd + n;
}

// The root of the conditional covariance; gives the place behind it.
double *store_root(ConditionalModel &model, const double *covariance, double *place) {
    double *end = std::copy_n(covariance, packed_size(model.unobserved_count), place);
    const bool has_root = cholesky_packed(place, model.unobserved_count, kPivotTolerance) == 0;
    model.root = has_root ? place : nullptr;
    return end;
}

}  // namespace

std::size_t conditional_model_size(std::int32_t variable_count, const PatternNeeds &needs) {
    const auto n = static_cast<std::size_t>(needs.unobserved_count);
    std::size_t size = regression_size(variable_count - needs.unobserved_count, needs.unobserved_count);
    if (needs.root) size += packed_size(needs.unobserved_count);
    if (needs.chain) size += n * (n + 2);
    return size;
}

std::size_t largest_model_size(std::int32_t variable_count) {
    // A case without an observed cell, and what rounding up to whole vectors can add to any other.
    const PatternNeeds all{0, variable_count, true, true};
    return conditional_model_size(variable_count, all) + static_cast<std::size_t>(variable_count) * kVectorLength;
}

ConditionalModel build_conditional_model(std::int32_t variable_count, const PatternNeeds &needs,
                                         const std::int32_t *order, const double *swept, std::size_t stride,
                                         double *storage, double *scratch) {
    ConditionalModel model{};
    model.unobserved_count = needs.unobserved_count;
    model.observed_count = variable_count - needs.unobserved_count;
    model.order = order;
    model.regression = storage;
    const auto m = static_cast<std::size_t>(model.observed_count);
    const auto n = static_cast<std::size_t>(model.unobserved_count);
    double *covariance = scratch;
    double *inverse = scratch + packed_size(model.unobserved_count);
    double *place = store_regression(order, m, n, swept, stride, storage);
    store_covariance(order + m, n, swept, stride, covariance);
    if (needs.chain) place = store_chain(model, covariance, inverse, place);
    if (needs.root) place = store_root(model, covariance, place);
    assert(place == storage + conditional_model_size(variable_count, needs));
    return model;
}
