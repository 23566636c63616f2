// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Triangular matrices by updates of whole rows.

#include "ullage/host/numbers/triangular.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "ullage/host/base/interrupt.h"

namespace ullage::host {

bool take_root(std::span<double> matrix, std::size_t n) {
    std::vector<double> column(n);
    double *pivot_row = matrix.data();
    for (std::size_t k = 0; k < n; pivot_row += ++k) {
        check_interrupt();
        if (!(pivot_row[k] > 0.0)) return false;
        const double pivot = std::sqrt(pivot_row[k]);
        pivot_row[k] = pivot;
        double *row = pivot_row + k + 1;
        for (std::size_t i = k + 1; i < n; row += ++i) {
            const double factor = row[k] / pivot;
            row[k] = column[i] = factor;
            for (std::size_t j = k + 1; j <= i; ++j) row[j] -= factor * column[j];
        }
    }
    return true;
}

void divide_from_right(std::span<double> lower, std::span<const double> divisor, std::size_t n) {
    double *row = lower.data();
    for (std::size_t i = 0; i < n; row += ++i) {
        check_interrupt();
        const double *divisor_row = divisor.data() + i * (i + 1) / 2;
        for (std::size_t j = i + 1; j-- > 0; divisor_row -= j) {
            const double factor = row[j] / divisor_row[j];
            row[j] = factor;
            for (std::size_t k = 0; k < j; ++k) row[k] -= factor * divisor_row[k];
        }
    }
}

void square_of_root(std::span<const double> lower, std::span<double> square, std::size_t n) {
    std::fill(square.begin(), square.end(), 0.0);
    std::vector<double> column(n);
    for (std::size_t k = 0; k < n; ++k) {
        check_interrupt();
        std::size_t row = k * (k + 1) / 2;
        for (std::size_t i = k; i < n; row += ++i) {
            const double factor = lower[row + k];
            column[i] = factor;
            for (std::size_t j = k; j <= i; ++j) square[row + j] += factor * column[j];
        }
    }
}

}  // namespace ullage::host
