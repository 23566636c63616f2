// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The sweep of chosen rows of a full matrix.

#include "matrix/row_sweep_kernel.h"

#include <cmath>

#include "matrix/vector_kernel.h"

namespace {

ULLAGE_KERNEL_BODY void sweep_rows_body(std::size_t stride, const double *from, double *to, std::size_t row_count,
                                        const std::int32_t *rows, SweepPivot pivot) {
    const std::size_t k = pivot.index;
    const double *pivot_row = from + k * stride;
    const double a = std::fabs(pivot.reciprocal);
    for (std::size_t r = 0; r < row_count; ++r) {
        const auto i = static_cast<std::size_t>(rows[r]);
        const double *source = from + i * stride;
        double *target = to + i * stride;
        const double f = pivot_row[i] * pivot.reciprocal;
        const double scaled = source[k] * a;
        for (std::size_t j = 0; j < stride; j += kVectorLength) {
            store_vector(target + j, load_vector(source + j) - load_vector(pivot_row + j) * f);
        }
        target[k] = scaled;
    }
}

// Four pivots at a time: each element is read and written once, and gets its updates in order in between.
ULLAGE_KERNEL_BODY void sweep_rows_by_block_body(std::size_t stride, double *matrix, std::size_t row_count,
                                                 const std::int32_t *rows, const SweepPivot *pivots) {
    const double *pivot_row[kPivotBlock];
    double a[kPivotBlock];
    double crossing[kPivotBlock][kPivotBlock];  // [p][q]: the row of pivot p in the column of pivot q
    for (std::size_t p = 0; p < kPivotBlock; ++p) {
        pivot_row[p] = matrix + pivots[p].index * stride;
        a[p] = std::fabs(pivots[p].reciprocal);
        for (std::size_t q = 0; q < kPivotBlock; ++q) crossing[p][q] = pivot_row[p][pivots[q].index];
    }
    for (std::size_t r = 0; r < row_count; ++r) {
        const auto i = static_cast<std::size_t>(rows[r]);
        double *row = matrix + i * stride;
        double f[kPivotBlock];
        for (std::size_t p = 0; p < kPivotBlock; ++p) f[p] = pivot_row[p][i] * pivots[p].reciprocal;
        // In the column of a pivot its own step multiplies instead, so these four elements are worked out apart.
        double in_pivot_column[kPivotBlock];
        for (std::size_t q = 0; q < kPivotBlock; ++q) {
            double element = row[pivots[q].index];
            for (std::size_t p = 0; p < q; ++p) element = element - crossing[p][q] * f[p];
            element = element * a[q];
            for (std::size_t p = q + 1; p < kPivotBlock; ++p) element = element - crossing[p][q] * f[p];
            in_pivot_column[q] = element;
        }
        for (std::size_t j = 0; j < stride; j += kVectorLength) {
            Vector4 element = load_vector(row + j);
            element = element - load_vector(pivot_row[0] + j) * f[0];
            element = element - load_vector(pivot_row[1] + j) * f[1];
            element = element - load_vector(pivot_row[2] + j) * f[2];
            element = element - load_vector(pivot_row[3] + j) * f[3];
            store_vector(row + j, element);
        }
        for (std::size_t q = 0; q < kPivotBlock; ++q) row[pivots[q].index] = in_pivot_column[q];
    }
}

ULLAGE_AVX2 void sweep_rows_avx2(std::size_t stride, const double *from, double *to, std::size_t row_count,
                                 const std::int32_t *rows, SweepPivot pivot) {
    sweep_rows_body(stride, from, to, row_count, rows, pivot);
}

ULLAGE_AVX2 void sweep_rows_by_block_avx2(std::size_t stride, double *matrix, std::size_t row_count,
                                          const std::int32_t *rows, const SweepPivot *pivots) {
    sweep_rows_by_block_body(stride, matrix, row_count, rows, pivots);
}

}  // namespace

void sweep_rows_kernel(std::size_t stride, const double *from, double *to, std::size_t row_count,
                       const std::int32_t *rows, SweepPivot pivot) {
    if (use_wide_kernels()) {
        sweep_rows_avx2(stride, from, to, row_count, rows, pivot);
    } else {
        sweep_rows_body(stride, from, to, row_count, rows, pivot);
    }
}

void sweep_rows_by_block_kernel(std::size_t stride, double *matrix, std::size_t row_count, const std::int32_t *rows,
                                const SweepPivot *pivots) {
    if (use_wide_kernels()) {
        sweep_rows_by_block_avx2(stride, matrix, row_count, rows, pivots);
    } else {
        sweep_rows_by_block_body(stride, matrix, row_count, rows, pivots);
    }
}
