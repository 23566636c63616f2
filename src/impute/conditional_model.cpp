// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The distribution of the unobserved cells given the observed ones, for one pattern.

#include "impute/conditional_model.h"

#include <algorithm>
#include <cmath>

#include "frame/session_state.h"
#include "matrix/packed.h"
#include "matrix/packed_kernel.h"
#include "matrix/prediction_kernel.h"
#include "matrix/vector_kernel.h"

namespace {

std::size_t regression_size(std::int32_t observed_count, std::int32_t unobserved_count) {
    return static_cast<std::size_t>(observed_count) * padded_length(static_cast<std::size_t>(unobserved_count));
}

}  // namespace

std::size_t conditional_model_size(std::int32_t variable_count, const PatternNeeds &needs) {
    const auto n = static_cast<std::size_t>(needs.unobserved_count);
    std::size_t size = regression_size(variable_count - needs.unobserved_count, needs.unobserved_count);
    if (needs.root) size += packed_size(needs.unobserved_count);
    if (needs.chain) size += n * (n + 2);
    return size;
}

ConditionalModel build_conditional_model(std::int32_t variable_count, const PatternNeeds &needs,
                                         const std::int32_t *order, const double *swept, std::size_t stride,
                                         double *storage, double *scratch) {
    const std::int32_t unobserved_count = needs.unobserved_count;
    const std::int32_t observed_count = variable_count - unobserved_count;
    const auto m = static_cast<std::size_t>(observed_count);
    const auto n = static_cast<std::size_t>(unobserved_count);
    const std::int32_t *unobserved = order + m;
    ConditionalModel model{};
    model.observed_count = observed_count;
    model.unobserved_count = unobserved_count;
    model.order = order;

    model.regression = storage;
    for (std::size_t block = 0; block < n; block += kVectorLength) {
        const double *rows[kVectorLength];
        for (std::size_t lane = 0; lane < kVectorLength; ++lane) {
            const std::size_t t = std::min(block + lane, n - 1);  // the last block repeats its last cell
            rows[lane] = swept + static_cast<std::size_t>(unobserved[t]) * stride;
        }
        for (std::size_t k = 0; k < m; ++k) {
            for (std::size_t lane = 0; lane < kVectorLength; ++lane) *storage++ = rows[lane][order[k]];
        }
    }

    double *covariance = scratch;
    double *element = covariance;
    for (std::size_t t = 0; t < n; ++t) {
        const double *row = swept + static_cast<std::size_t>(unobserved[t]) * stride;
        for (std::size_t s = 0; s <= t; ++s) *element++ = row[unobserved[s]];
    }
    if (needs.chain) {
        double *coefficients = storage;
        double *chain_sd = coefficients + n * n;
        double *start_sd = chain_sd + n;
        storage = start_sd + n;
        double *inverse = scratch + packed_size(unobserved_count);
        if (gibbs_prepare(unobserved_count, covariance, inverse, coefficients, chain_sd) == 0) {
            model.coefficients = coefficients;
        }
        for (std::int32_t t = 0; t < unobserved_count; ++t) {
            const double variance = covariance[packed_diagonal(t)];
            if (variance < 0.0) ++model.negative_variances;
            start_sd[t] = std::sqrt(variance);
        }
        model.chain_sd = chain_sd;
        model.start_sd = start_sd;
    }
    if (needs.root) {
        std::copy_n(covariance, packed_size(unobserved_count), storage);
        if (cholesky_packed(storage, unobserved_count, kPivotTolerance) == 0) model.root = storage;
    }
    return model;
}

void predict_deviations(const ConditionalModel &model, const double *deviations, double *predicted) {
    prediction_kernel(static_cast<std::size_t>(model.observed_count), static_cast<std::size_t>(model.unobserved_count),
                      model.regression, deviations, predicted);
}
