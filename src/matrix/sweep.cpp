// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The sweep of a full matrix. The scratch is room only: the kernel makes no further call on the pool.

#include "matrix/sweep.h"

#include <cstddef>

#include "frame/session_state.h"
#include "matrix/sweep_kernel.h"

std::int32_t sweep_pivots(std::int32_t n, double *matrix, std::int32_t count, const std::int32_t *pivots) {
    const std::size_t bytes = checked_product(static_cast<std::size_t>(n), sizeof(double));
    auto *row_copy = static_cast<double *>(pool_reserve(state.WorkPool, bytes));
    return sweep_kernel(n, matrix, count, pivots, row_copy, kPivotTolerance);
}
