// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The Gibbs chain over the unobserved cells of a case.

#ifndef ULLAGE_IMPUTE_GIBBS_CHAIN_H
#define ULLAGE_IMPUTE_GIBBS_CHAIN_H

#include <cstdint>

#include "data/case_record.h"
#include "frame/group.h"

// What the chain of one case goes by. t, j and k count along its unobserved cells, in ascending order of variable.
struct ChainModel {
    std::int32_t n;                  // number of unobserved cells
    const std::int32_t *unobserved;  // n variable indices
    const double *conditional_mean;  // n: each cell given the observed cells only
    const double *coefficients;      // n by n: row k is the regression of cell k on the others, 0.0 at (k, k)
    const double *chain_sd;          // n: cell k given all other cells
    const double *start_sd;          // n: cell k given the observed cells only
};

// Turn a packed conditional covariance of order n into coefficients (n by n) and chain_sd (n), as ChainModel has them.
// inverse: a packed matrix of scratch. 1 if the covariance cannot be inverted.
[[nodiscard]] int gibbs_prepare(std::int32_t n, const double *conditional_covariance, double *inverse,
                                double *coefficients, double *chain_sd);

// Move the chain of a case: by one sweep if its unobserved cells hold numbers, by a start and the first sweeps
// otherwise. values, states: of the case; scratch: 2 n doubles. On 1, after a message to the error log, the cells hold
// what they held before.
[[nodiscard]] int run_chain(const Group &group, const ChainModel &model, double *values, const CellState *states,
                            double *scratch);

#endif
