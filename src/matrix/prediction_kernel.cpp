// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Several sums of products over the same factors, side by side.

#include "matrix/prediction_kernel.h"

#include "matrix/vector_kernel.h"

namespace {

ULLAGE_KERNEL_BODY void prediction_body(std::size_t m, std::size_t n, const double *coefficients, const double *factors,
                                        double *sums) {
    for (std::size_t t = 0; t < n; t += kVectorLength) {
        Vector4 sum = {0.0, 0.0, 0.0, 0.0};
        for (std::size_t k = 0; k < m; ++k) {
            sum = sum + load_vector<Vector4>(coefficients) * factors[k];
            coefficients += kVectorLength;
        }
        store_vector(sums + t, sum);
    }
}

ULLAGE_AVX2 void prediction_avx2(std::size_t m, std::size_t n, const double *coefficients, const double *factors,
                                 double *sums) {
    prediction_body(m, n, coefficients, factors, sums);
}

}  // namespace

void prediction_kernel(std::size_t m, std::size_t n, const double *coefficients, const double *factors, double *sums) {
    body_for_level(prediction_body, prediction_avx2, prediction_avx2)(m, n, coefficients, factors, sums);
}
