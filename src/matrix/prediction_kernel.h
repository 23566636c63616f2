// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Several sums of products over the same factors, side by side.

#ifndef ULLAGE_MATRIX_PREDICTION_KERNEL_H
#define ULLAGE_MATRIX_PREDICTION_KERNEL_H

#include <cstddef>

// For each t the sum over k = 0 .. m-1, in this order and from 0.0 on, of coefficient (t, k) times factor k.
//
// coefficients: for each four t after the other, all k, and for each k the four; factors: m; sums: n, filled up to
// whole vectors.
void prediction_kernel(std::size_t m, std::size_t n, const double *coefficients, const double *factors, double *sums);

#endif
