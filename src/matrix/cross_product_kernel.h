// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Sums and sums of products over cases, each sum in the order of the cases.

#ifndef ULLAGE_MATRIX_CROSS_PRODUCT_KERNEL_H
#define ULLAGE_MATRIX_CROSS_PRODUCT_KERNEL_H

#include <cstddef>

// Add the rows of a block to sums, row after row. rows: row_count rows of stride doubles; sums: stride doubles; stride
// a multiple of 4.
void add_rows_kernel(std::size_t row_count, std::size_t stride, const double *rows, double *sums);

// Add the products of the columns of a block to sums, row after row: element (i, j) with j <= i of the stride by stride
// matrix gets column i times column j. Elements above the diagonal come to hold nothing of use.
void add_cross_products_kernel(std::size_t row_count, std::size_t stride, const double *rows, double *sums);

#endif
