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

#include "matrix/vector_kernel.h"

// A pivot of a sweep.
struct SweepPivot {
    const double *row;  // as it was when the turn of the pivot came
    std::size_t index;
    double reciprocal;  // 1 / the pivot element
};

// Numbers from the beginning of one row to that of the next. Rows that begin at cache lines are the fastest.
[[nodiscard]] constexpr std::size_t row_stride(std::size_t n) {
    return padded_length(n, kLengthOf<Vector8>);
}

// Sweep rows on pivots in ascending order of index, whose own rows must not be among them.
//
// from, to: matrices of order n with rows row_stride(n) apart, whose ends hold numbers of no meaning; the same, or
// different ones.
void sweep_rows_kernel(std::size_t n, const double *from, double *to, std::size_t row_count, const std::int32_t *rows,
                       std::size_t pivot_count, const SweepPivot *pivots);

#endif
