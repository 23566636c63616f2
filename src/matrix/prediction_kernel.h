// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The conditional means of the unobserved cells of a case.

#ifndef ULLAGE_MATRIX_PREDICTION_KERNEL_H
#define ULLAGE_MATRIX_PREDICTION_KERNEL_H

#include <cstddef>
#include <cstdint>

// For each t the mean of unobserved variable t, plus the sum over k = 0 .. m-1, in this order and from 0.0 on, of
// coefficient (t, k) times the deviation of observed variable k from its mean.
//
// order: the m observed variables, then the n unobserved ones; coefficients: for each four t after the other, all k,
// and for each k the four; values, means: m + n; deviations: m + n of scratch; predictions: n, filled up to whole
// vectors.
void prediction_kernel(std::size_t m, std::size_t n, const std::int32_t *order, const double *coefficients,
                       const double *values, const double *means, double *deviations, double *predictions);

#endif
