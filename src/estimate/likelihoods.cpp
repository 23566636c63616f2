// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// DS_GetLikelihoods: the density of every case.

#include <cmath>
#include <cstddef>

#include "data/case_record.h"
#include "frame/log.h"
#include "frame/session_state.h"
#include "matrix/packed.h"
#include "matrix/packed_inverse.h"
#include "matrix/packed_kernel.h"
#include "matrix/quadratic_form_kernel.h"

int32_t DS_GetLikelihoods(int32_t, const double *means, const double *covariance, double *likelihoods) {
    const Group *group = enter_group(1);
    if (group == nullptr || !is_loaded(*group)) return 1;
    if (means == nullptr || covariance == nullptr || likelihoods == nullptr) return 1;
    const std::int32_t nv = group->variable_count;

    pool_mark(state.WorkPool);
    const PoolMarkGuard release(state.WorkPool);
    auto *inverse = pool_array<double>(state.WorkPool, packed_size(nv));
    if (invert_packed_tolerant(nv, covariance, inverse) != 0) {
        log_printf(state.ErrorLog, u"Estimated covariance matrix is singular.\n");
    }
    const double scale = 1.0 / std::sqrt(packed_determinant());
    const auto variable_count = static_cast<std::size_t>(nv);
    auto *deviations = pool_array<double>(state.WorkPool, checked_product(variable_count, kFormsSideBySide));
    const auto case_count = static_cast<std::size_t>(group->case_count);
    std::size_t i = 0;
    for (; case_count - i >= kFormsSideBySide; i += kFormsSideBySide) {
        for (std::size_t c = 0; c < kFormsSideBySide; ++c) {
            const double *values = group->outlines[i + c].values;
            for (std::size_t j = 0; j < variable_count; ++j) {
                deviations[j * kFormsSideBySide + c] = values[j] - means[j];
            }
        }
        double forms[kFormsSideBySide];
        quadratic_forms_kernel(variable_count, inverse, deviations, forms);
        for (std::size_t c = 0; c < kFormsSideBySide; ++c) likelihoods[i + c] = std::exp(forms[c] * -0.5) * scale;
    }
    for (; i < case_count; ++i) {
        const double *values = group->outlines[i].values;
        for (std::size_t j = 0; j < variable_count; ++j) deviations[j] = values[j] - means[j];
        likelihoods[i] = std::exp(quadratic_form_packed(nv, inverse, deviations) * -0.5) * scale;
    }
    return 0;
}
