// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The sweep of a full matrix, with scratch from WorkPool.

#ifndef ULLAGE_MATRIX_SWEEP_H
#define ULLAGE_MATRIX_SWEEP_H

#include <cstdint>

// Sweep matrix (n by n, by rows) in place on count pivots in the order of the list; returns how many were too small.
std::int32_t sweep_pivots(std::int32_t n, double *matrix, std::int32_t count, const std::int32_t *pivots);

#endif
