// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Inversion of a packed symmetric matrix by cyclic elimination, in the array of the answer.

#ifndef ULLAGE_MATRIX_PACKED_INVERSE_KERNEL_H
#define ULLAGE_MATRIX_PACKED_INVERSE_KERNEL_H

#include <cstdint>

// Invert source into target, leaving out indices whose pivot is below tolerance as a share of their own diagonal
// element, and with them every index that they depend on: their rows and columns come out as zeros.
//
// source, target: packed, order n, different arrays; column, scale: n doubles of scratch.
// determinant: the product of the accepted pivots. Returns the number of failed pivots, which is also left in count.
std::int32_t tolerant_inverse_kernel(std::int32_t n, const double *source, double *target, double *column,
                                     double &determinant, double tolerance, std::int32_t &count, double *scale);

// Invert source into target; 1 at the first pivot below tolerance, and target then holds nothing of use.
//
// source, target: packed, order n, different arrays; column: n doubles of scratch.
[[nodiscard]] std::int32_t strict_inverse_kernel(std::int32_t n, const double *source, double *target, double *column,
                                                 double tolerance);

#endif
