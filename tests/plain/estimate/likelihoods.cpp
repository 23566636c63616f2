// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// DS_GetLikelihoods, one case after the other.

#include <cmath>
#include <cstddef>

#include "data/case_record.h"
#include "frame/log.h"
#include "frame/session_state.h"
#include "matrix/packed.h"
#include "matrix/packed_inverse.h"
#include "matrix/packed_kernel.h"

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
    auto *deviation = pool_array<double>(state.WorkPool, static_cast<std::size_t>(nv));
    for (std::int32_t i = 0; i < group->case_count; ++i) {
        const double *values = group->case_index[static_cast<std::size_t>(i)]->values;
        for (std::int32_t j = 0; j < nv; ++j) deviation[j] = values[j] - means[j];
        likelihoods[i] = std::exp(quadratic_form_packed(nv, inverse, deviation) * -0.5) * scale;
    }
    return 0;
}
