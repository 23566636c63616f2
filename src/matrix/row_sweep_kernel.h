// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The sweep of chosen rows of a full matrix: what sweep_kernel does, for those rows alone.
//
// A row changes only with the rows of the pivots at their turns, and the row of a pivot is read by none of the later
// ones. So rows that nobody asks for, those of pivots already swept above all, need no further update.

#ifndef ULLAGE_MATRIX_ROW_SWEEP_KERNEL_H
#define ULLAGE_MATRIX_ROW_SWEEP_KERNEL_H

#include <cstddef>
#include <cstdint>

// A pivot of a sweep.
struct SweepPivot {
    std::size_t index;
    double reciprocal;  // 1 / the pivot element
};

inline constexpr std::size_t kPivotBlock = 4;

// Sweep rows on one pivot, whose own row must not be among them.
//
// from, to: matrices with rows of stride doubles, stride a multiple of 4; the same, or different ones.
void sweep_rows_kernel(std::size_t stride, const double *from, double *to, std::size_t row_count,
                       const std::int32_t *rows, SweepPivot pivot);

// Sweep rows of one matrix on kPivotBlock pivots in their order, in one pass. The rows of the pivots must not be among
// them, and must stand as each was when its turn came.
void sweep_rows_by_block_kernel(std::size_t stride, double *matrix, std::size_t row_count, const std::int32_t *rows,
                                const SweepPivot *pivots);

#endif
