// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The conditional means of the unobserved cells of a case, four sums side by side.

#include "matrix/prediction_kernel.h"

#include "matrix/vector_kernel.h"

namespace {

ULLAGE_KERNEL_BODY void prediction_body(std::size_t m, std::size_t n, const std::int32_t *order,
                                        const double *coefficients, const double *values, const double *means,
                                        double *deviations, double *predictions) {
    std::size_t i = 0;
    for (; i + kVectorLength <= m + n; i += kVectorLength) {
        store_vector(deviations + i, load_vector<Vector4>(values + i) - load_vector<Vector4>(means + i));
    }
    for (; i < m + n; ++i) deviations[i] = values[i] - means[i];
    const std::int32_t *unobserved = order + m;
    for (std::size_t t = 0; t < n; t += kVectorLength) {
        Vector4 sum = {0.0, 0.0, 0.0, 0.0};
        for (std::size_t k = 0; k < m; ++k) {
            sum = sum + load_vector<Vector4>(coefficients) * deviations[order[k]];
            coefficients += kVectorLength;
        }
        store_vector(predictions + t, sum);
    }
    for (std::size_t t = 0; t < n; ++t) predictions[t] = means[unobserved[t]] + predictions[t];
}

ULLAGE_AVX2 void prediction_avx2(std::size_t m, std::size_t n, const std::int32_t *order, const double *coefficients,
                                 const double *values, const double *means, double *deviations, double *predictions) {
    prediction_body(m, n, order, coefficients, values, means, deviations, predictions);
}

}  // namespace

void prediction_kernel(std::size_t m, std::size_t n, const std::int32_t *order, const double *coefficients,
                       const double *values, const double *means, double *deviations, double *predictions) {
    body_for_level(prediction_body, prediction_avx2, prediction_avx2)(m, n, order, coefficients, values, means,
                                                                      deviations, predictions);
}
