// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The distribution of the unobserved cells given the observed ones, for one pattern of unobserved cells.
//
// All of it but the conditional means depends on the covariance and the pattern alone, so it is built once for all
// cases of a pattern. What cannot be built is noted here and reported when a case needs it.

#ifndef ULLAGE_IMPUTE_CONDITIONAL_MODEL_H
#define ULLAGE_IMPUTE_CONDITIONAL_MODEL_H

#include <cstddef>
#include <cstdint>

#include "impute/gibbs_chain.h"

// A pattern of the group, and for which ways of drawing its model is needed.
struct PatternNeeds {
    std::int32_t pattern;
    std::int32_t unobserved_count;
    bool root;   // direct draw
    bool chain;  // Gibbs chain
};

struct ConditionalModel {
    std::int32_t observed_count;    // m
    std::int32_t unobserved_count;  // n
    const std::int32_t *order;      // the m observed variables, then the n unobserved ones, each in ascending order
    const double *regression;       // of the unobserved on the observed, as prediction_kernel takes it
    const double *root;             // packed, order n: lower triangular root of the conditional covariance; null if it
                                    // has none
    const double *coefficients;     // n by n, as ChainModel has them; null if the conditional covariance has no inverse
    const double *chain_sd;         // n
    const double *start_sd;         // n
    std::int32_t negative_variances;  // on the diagonal of the conditional covariance
};

// Doubles that the arrays of a model take, all but its order.
[[nodiscard]] std::size_t conditional_model_size(std::int32_t variable_count, const PatternNeeds &needs);

// The most that conditional_model_size gives for that many variables.
[[nodiscard]] std::size_t largest_model_size(std::int32_t variable_count);

// Build a model from a covariance swept on the observed variables, of which only the unobserved rows are read: rows of
// stride doubles. order and storage (conditional_model_size doubles) must outlive the model; scratch has room for 2
// packed matrices of order n.
[[nodiscard]] ConditionalModel build_conditional_model(std::int32_t variable_count, const PatternNeeds &needs,
                                                       const std::int32_t *order, const double *swept,
                                                       std::size_t stride, double *storage, double *scratch);

#endif
