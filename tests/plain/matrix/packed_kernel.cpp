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

}  // namespace

std::int32_t cholesky_packed(double *a, std::int32_t order, double tolerance) {
    if (order < 1) return 0;
    const auto n = static_cast<std::size_t>(order);
    // Right-looking; a reduced diagonal element is judged before its root, and a NaN passes.
    for (std::size_t k = 0; k + 1 < n; ++k) {
        double &diagonal = a[row_start(k) + k];
        if (tolerance > diagonal) return static_cast<std::int32_t>(k) + 1;
        const double s = std::sqrt(diagonal);
        diagonal = s;
        const double v = 1.0 / s;
        for (std::size_t i = k + 1; i < n; ++i) {
            double *row = a + row_start(i);
            row[k] = row[k] * v;
            const double scaled = row[k];
            for (std::size_t j = k + 1; j <= i; ++j) row[j] = row[j] - a[row_start(j) + k] * scaled;
        }
    }
    double &last = a[row_start(n) - 1];
    if (tolerance > last) return order;
    last = std::sqrt(last);
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
