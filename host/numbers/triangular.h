// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Triangular matrices: roots, quotients and squares, with every sum in one fixed order.

#ifndef ULLAGE_HOST_NUMBERS_TRIANGULAR_H
#define ULLAGE_HOST_NUMBERS_TRIANGULAR_H

#include <cstddef>
#include <span>

namespace ullage::host {

/*
 * All matrices are packed: the lower triangle of order n by rows, n (n + 1) / 2 elements. A library would cut these
 * sums by the size of a cache or the width of a register; here each element's updates come one after the other, and
 * only different elements side by side. So the bits are the same on every machine.
 */

/**
 * Replace a symmetric matrix by its lower triangular root L, where L L' is the matrix (Cholesky's, by columns).
 *
 * @return whether all pivots were above 0; if not, the matrix is spoilt
 */
[[nodiscard]] bool take_root(std::span<double> matrix, std::size_t n);

/** Replace a lower triangular matrix L by L B^-1, for B lower triangular with no 0 on its diagonal. */
void divide_from_right(std::span<double> lower, std::span<const double> divisor, std::size_t n);

/** The symmetric matrix L L' of a lower triangular L; square is another place than lower. */
void square_of_root(std::span<const double> lower, std::span<double> square, std::size_t n);

}  // namespace ullage::host

#endif
