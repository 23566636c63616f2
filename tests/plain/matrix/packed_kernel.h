// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Root, quadratic form and unpacking of a packed symmetric matrix.

#ifndef ULLAGE_MATRIX_PACKED_KERNEL_H
#define ULLAGE_MATRIX_PACKED_KERNEL_H

#include <cstdint>

// Replace a (packed, order n >= 1) by its lower triangular root. Gives 0, or the number, from 1, of the first diagonal
// element below the tolerance, and then a is partly reduced. For n < 1 it gives 0 and reads nothing.
[[nodiscard]] std::int32_t cholesky_packed(double *a, std::int32_t n, double tolerance);

// x'Ax for a packed a of order n and n doubles x.
[[nodiscard]] double quadratic_form_packed(std::int32_t n, const double *a, const double *x);

// Write a packed matrix of order n as n by n doubles by rows.
void unpack_symmetric(std::int32_t n, const double *packed, double *full);

#endif
