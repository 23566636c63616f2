// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Root, quadratic form and unpacking of a packed symmetric matrix.

#include "matrix/packed_kernel.h"

#include <cmath>
#include <cstddef>

namespace {

std::size_t row_start(std::size_t i) {
    return i * (i + 1) / 2;
}

// An element less the products of what stands before it in its row and in the row of its column.
double reduced(double element, std::size_t count, const double *row, const double *column_row) {
    for (std::size_t p = 0; p < count; ++p) element = element - column_row[p] * row[p];
    return element;
}

}  // namespace

std::int32_t cholesky_packed(double *a, std::int32_t order, double tolerance) {
    if (order < 1) return 0;
    const auto n = static_cast<std::size_t>(order);
    // Column by column; a reduced diagonal element is judged before its root, and a NaN passes.
    for (std::size_t k = 0; k < n; ++k) {
        double *column_row = a + row_start(k);
        const double pivot = reduced(column_row[k], k, column_row, column_row);
        if (tolerance > pivot) {
            // What is left is left reduced.
            for (std::size_t i = k; i < n; ++i) {
                double *row = a + row_start(i);
                for (std::size_t j = k; j <= i; ++j) row[j] = reduced(row[j], k, row, a + row_start(j));
            }
            return static_cast<std::int32_t>(k) + 1;
        }
        const double s = std::sqrt(pivot);
        column_row[k] = s;
        const double v = 1.0 / s;
        double *row = column_row + k + 1;
        for (std::size_t i = k + 1; i < n; ++i) {
            row[k] = reduced(row[k], k, row, column_row) * v;
            row += i + 1;
        }
    }
    return 0;
}

double quadratic_form_packed(std::int32_t order, const double *a, const double *x) {
    double sum = 0.0;
    for (std::int32_t i = 0; i < order; ++i) {
        for (std::int32_t j = 0; j < i; ++j) sum = sum + ((*a++ * x[i]) * x[j]) * 2.0;
        sum = sum + (*a++ * x[i]) * x[i];
    }
    return sum;
}

void unpack_symmetric(std::int32_t order, const double *packed, double *full) {
    if (order < 1) return;
    const auto n = static_cast<std::size_t>(order);
    for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t j = 0; j <= i; ++j) {
            full[i * n + j] = *packed;
            full[j * n + i] = *packed++;
        }
    }
}
