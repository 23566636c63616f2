// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Inversion of a covariance in packed form. The scratch is room only: the kernels make no further call on the pool.

#include "matrix/packed_inverse.h"

#include <cstddef>

#include "frame/session_state.h"
#include "matrix/packed_inverse_kernel.h"

std::int32_t invert_packed_tolerant(std::int32_t n, const double *source, double *target) {
    const auto order = static_cast<std::size_t>(n);
    auto *column = static_cast<double *>(pool_reserve(state.WorkPool, checked_product(order, 2 * sizeof(double))));
    std::int32_t count;
    return tolerant_inverse_kernel(n, source, target, column, state.tolerant_determinant, kPivotTolerance, count,
                                   column + order);
}

double packed_determinant() {
    return state.tolerant_determinant;
}

std::int32_t invert_packed_strict(std::int32_t n, const double *source, double *target) {
    const auto order = static_cast<std::size_t>(n);
    auto *column = static_cast<double *>(pool_reserve(state.WorkPool, checked_product(order, sizeof(double))));
    return strict_inverse_kernel(n, source, target, column, kPivotTolerance);
}
