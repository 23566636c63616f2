// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The sweep of a full matrix on a list of pivots. The pivot's row and column are multiplied by |1 / pivot|, so that a
// second sweep on an index undoes the first.

#include "matrix/sweep_kernel.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace {

void sweep_row(std::size_t n, double *__restrict row, const double *__restrict pivot_row, double f) {
    for (std::size_t j = 0; j < n; ++j) row[j] = row[j] - pivot_row[j] * f;
}

}  // namespace

std::int32_t sweep_kernel(std::int32_t order, double *matrix, std::int32_t count, const std::int32_t *pivots,
                          double *row_copy, double tolerance) {
    const auto n = static_cast<std::size_t>(order);
    std::int32_t skipped = 0;
    for (std::int32_t t = 0; t < count; ++t) {
        const auto k = static_cast<std::size_t>(pivots[t]);
        const double p = matrix[k * n + k];
        if (std::fabs(p) < tolerance) {  // a NaN is swept
            ++skipped;
            continue;
        }
        const double d = 1.0 / p;
        const double a = std::fabs(d);
        std::copy_n(matrix + k * n, n, row_copy);
        for (std::size_t i = 0; i < n; ++i) {
            double *row = matrix + i * n;
            if (i == k) {
                for (std::size_t j = 0; j < n; ++j) row[j] = row[j] * a;
            } else {
                // The factor comes from the pivot's row, not from its column.
                const double scaled = row[k] * a;
                sweep_row(n, row, row_copy, row_copy[i] * d);
                row[k] = scaled;
            }
        }
        matrix[k * n + k] = -d;
    }
    return skipped;
}
