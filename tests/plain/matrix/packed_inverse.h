// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Inversion of a covariance in packed form, with scratch from WorkPool.

#ifndef ULLAGE_MATRIX_PACKED_INVERSE_H
#define ULLAGE_MATRIX_PACKED_INVERSE_H

#include <cstdint>

// Invert what can be inverted; returns the number of failed pivots. source, target: packed, order n, different arrays.
std::int32_t invert_packed_tolerant(std::int32_t n, const double *source, double *target);

// The product of the accepted pivots of the last invert_packed_tolerant.
[[nodiscard]] double packed_determinant();

// Invert or give 1 at the first pivot below the tolerance. source, target: packed, order n, different arrays.
[[nodiscard]] std::int32_t invert_packed_strict(std::int32_t n, const double *source, double *target);

#endif
