// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Sums and sums of products over cases. A tile of sums stays in registers while the cases of a block pass by; every sum
// is a running one over the cases in order, whatever the tile.

#include "matrix/cross_product_kernel.h"

#include "matrix/vector_kernel.h"

namespace {

ULLAGE_KERNEL_BODY void add_rows_body(std::size_t row_count, std::size_t stride, const double *rows, double *sums) {
    for (std::size_t j = 0; j < stride; j += kVectorLength) {
        Vector4 sum = load_vector<Vector4>(sums + j);
        for (std::size_t r = 0; r < row_count; ++r) sum = sum + load_vector<Vector4>(rows + r * stride + j);
        store_vector(sums + j, sum);
    }
}

// A tile of four rows i and column_vectors vectors of columns j.
template <std::size_t column_vectors>
ULLAGE_KERNEL_BODY void add_tile(std::size_t row_count, std::size_t stride, const double *rows, double *sums,
                                 std::size_t i, std::size_t j) {
    Vector4 tile[kVectorLength][column_vectors];
    for (std::size_t r = 0; r < kVectorLength; ++r) {
        for (std::size_t v = 0; v < column_vectors; ++v) {
            tile[r][v] = load_vector<Vector4>(sums + (i + r) * stride + j + v * kVectorLength);
        }
    }
    for (std::size_t c = 0; c < row_count; ++c) {
        const double *row = rows + c * stride;
        for (std::size_t r = 0; r < kVectorLength; ++r) {
            for (std::size_t v = 0; v < column_vectors; ++v) {
                tile[r][v] = tile[r][v] + load_vector<Vector4>(row + j + v * kVectorLength) * row[i + r];
            }
        }
    }
    for (std::size_t r = 0; r < kVectorLength; ++r) {
        for (std::size_t v = 0; v < column_vectors; ++v) {
            store_vector(sums + (i + r) * stride + j + v * kVectorLength, tile[r][v]);
        }
    }
}

ULLAGE_KERNEL_BODY void add_cross_products_body(std::size_t row_count, std::size_t stride, const double *rows,
                                                double *sums) {
    for (std::size_t i = 0; i < stride; i += kVectorLength) {
        std::size_t j = 0;
        for (; j + kVectorLength <= i; j += 2 * kVectorLength) add_tile<2>(row_count, stride, rows, sums, i, j);
        if (j == i) add_tile<1>(row_count, stride, rows, sums, i, j);
    }
}

ULLAGE_AVX2 void add_rows_avx2(std::size_t row_count, std::size_t stride, const double *rows, double *sums) {
    add_rows_body(row_count, stride, rows, sums);
}

ULLAGE_AVX2 void add_cross_products_avx2(std::size_t row_count, std::size_t stride, const double *rows, double *sums) {
    add_cross_products_body(row_count, stride, rows, sums);
}

}  // namespace

void add_rows_kernel(std::size_t row_count, std::size_t stride, const double *rows, double *sums) {
    body_for_level(add_rows_body, add_rows_avx2, add_rows_avx2)(row_count, stride, rows, sums);
}

void add_cross_products_kernel(std::size_t row_count, std::size_t stride, const double *rows, double *sums) {
    body_for_level(add_cross_products_body, add_cross_products_avx2, add_cross_products_avx2)(row_count, stride, rows,
                                                                                              sums);
}
