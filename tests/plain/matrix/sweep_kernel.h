// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The sweep of a full matrix on a list of pivots.

#ifndef ULLAGE_MATRIX_SWEEP_KERNEL_H
#define ULLAGE_MATRIX_SWEEP_KERNEL_H

#include <cstdint>

// Sweep on one index after the other, in place; an index whose pivot is below tolerance in absolute value is skipped.
//
// matrix: n by n, by rows; pivots: count indices below n; row_copy: n doubles of scratch.
// Returns the number of skipped pivots.
std::int32_t sweep_kernel(std::int32_t n, double *matrix, std::int32_t count, const std::int32_t *pivots,
                          double *row_copy, double tolerance);

#endif
