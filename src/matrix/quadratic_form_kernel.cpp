// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The quadratic forms of several vectors on one packed symmetric matrix. Each form is one running sum; sixteen of them
// side by side hide the latency of its additions.

#include "matrix/quadratic_form_kernel.h"

#include "matrix/vector_kernel.h"

namespace {

constexpr std::size_t kVectors = kFormsSideBySide / kVectorLength;

ULLAGE_KERNEL_BODY void quadratic_forms_body(std::size_t n, const double *a, const double *x, double *forms) {
    Vector4 sum[kVectors] = {};
    for (std::size_t i = 0; i < n; ++i) {
        const double *x_i = x + i * kFormsSideBySide;
        for (std::size_t j = 0; j < i; ++j) {
            const double *x_j = x + j * kFormsSideBySide;
            for (std::size_t v = 0; v < kVectors; ++v) {
                const Vector4 scaled = load_vector<Vector4>(x_i + v * kVectorLength) * *a;
                sum[v] = sum[v] + (scaled * load_vector<Vector4>(x_j + v * kVectorLength)) * 2.0;
            }
            ++a;
        }
        for (std::size_t v = 0; v < kVectors; ++v) {
            const Vector4 scaled = load_vector<Vector4>(x_i + v * kVectorLength) * *a;
            sum[v] = sum[v] + scaled * load_vector<Vector4>(x_i + v * kVectorLength);
        }
        ++a;
    }
    for (std::size_t v = 0; v < kVectors; ++v) store_vector(forms + v * kVectorLength, sum[v]);
}

ULLAGE_AVX2 void quadratic_forms_avx2(std::size_t n, const double *a, const double *x, double *forms) {
    quadratic_forms_body(n, a, x, forms);
}

}  // namespace

void quadratic_forms_kernel(std::size_t n, const double *a, const double *x, double *forms) {
    body_for_level(quadratic_forms_body, quadratic_forms_avx2, quadratic_forms_avx2)(n, a, x, forms);
}
