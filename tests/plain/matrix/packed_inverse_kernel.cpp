// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Inversion of a packed symmetric matrix by cyclic elimination.
//
// A stage removes the first row and column, moves the rest one place up and to the left, and writes the eliminated
// index back as the new last row. At the start of stage k position i holds index (k + i) mod n; after n stages every
// index is back in its place, and the triangle holds the negated inverse.

#include "matrix/packed_inverse_kernel.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace {

std::size_t row_start(std::size_t i) {
    return i * (i + 1) / 2;
}

void copy_first_column(std::size_t n, const double *triangle, double *column) {
    for (std::size_t i = 0; i < n; ++i) column[i] = triangle[row_start(i)];
}

// One row of a reduction. The row that is written ends before the row that is read begins.
void reduce_row(std::size_t length, const double *__restrict from, double *__restrict to,
                const double *__restrict column, double factor) {
    for (std::size_t j = 0; j < length; ++j) to[j] = from[j] - factor * column[j];
}

void reduce_and_shift(std::size_t n, double *triangle, const double *column, double r) {
    for (std::size_t i = 1; i < n; ++i) {
        reduce_row(i, triangle + row_start(i) + 1, triangle + row_start(i - 1), column + 1, column[i] * r);
    }
}

void write_last_row(std::size_t n, double *triangle, const double *column, double r) {
    double *last_row = triangle + row_start(n - 1);
    for (std::size_t j = 1; j < n; ++j) last_row[j - 1] = -(column[j] * r);
    last_row[n - 1] = -r;
}

// Remove index k, whose pivot failed, and every processed index that it depends on.
void blank_and_shift(std::size_t n, std::size_t k, double *triangle, double *column, double tolerance,
                     const double *scale) {
    std::fill_n(column, n - k, 0.0);
    for (std::size_t i = n - k; i < n; ++i) {
        const std::size_t l = i - (n - k);
        column[i] = std::sqrt(scale[k] / scale[l]) * std::fabs(column[i]);
    }
    for (std::size_t i = 1; i < n; ++i) {
        const double *from = triangle + row_start(i);
        double *to = triangle + row_start(i - 1);
        for (std::size_t j = 1; j <= i; ++j) {
            // A NaN fails both tests and so blanks the element.
            to[j - 1] = column[i] < tolerance && column[j] < tolerance ? from[j] : 0.0;
        }
    }
}

void negate(std::size_t count, double *elements) {
    for (std::size_t i = 0; i < count; ++i) elements[i] = -elements[i];
}

}  // namespace

std::int32_t tolerant_inverse_kernel(std::int32_t order, const double *source, double *target, double *column,
                                     double &determinant, double tolerance, std::int32_t &count, double *scale) {
    const auto n = static_cast<std::size_t>(order);
    count = 0;
    std::copy_n(source, row_start(n), target);
    for (std::size_t i = 0; i < n; ++i) {
        const double d = target[row_start(i) + i];
        scale[i] = d <= 0.0 ? 1.0 : d;
    }
    determinant = 1.0;
    for (std::size_t k = 0; k < n; ++k) {
        const double p = target[0];
        const double q = p / scale[k];
        double r = 0.0;
        if (q < tolerance) {
            ++count;
        } else {  // also for a NaN, which must show up in the result
            determinant = determinant * p;
            r = 1.0 / p;
        }
        copy_first_column(n, target, column);
        // By the multiplier, not by the test: an infinite pivot is accepted and blanks all the same.
        if (r == 0.0) {
            blank_and_shift(n, k, target, column, tolerance, scale);
        } else {
            reduce_and_shift(n, target, column, r);
        }
        write_last_row(n, target, column, r);
    }
    negate(row_start(n), target);
    return count;
}

std::int32_t strict_inverse_kernel(std::int32_t order, const double *source, double *target, double *column,
                                   double tolerance) {
    const auto n = static_cast<std::size_t>(order);
    std::copy_n(source, row_start(n), target);
    for (std::size_t k = 0; k < n; ++k) {
        const double p = target[0];
        if (p < tolerance) return 1;
        const double r = 1.0 / p;
        copy_first_column(n, target, column);
        reduce_and_shift(n, target, column, r);
        write_last_row(n, target, column, r);
    }
    negate(row_start(n), target);
    return 0;
}
