// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// DS_GetLikelihoods and DS_ImputeGroupMembership: what mixture modelling needs of the cases.

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "data/case_record.h"
#include "frame/log.h"
#include "frame/session_state.h"
#include "matrix/packed.h"
#include "matrix/packed_inverse.h"
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
    const std::size_t deviation_count = array_bytes(variable_count, kFormsSideBySide);
    auto *deviations = pool_array<double>(state.WorkPool, deviation_count);
    std::fill_n(deviations, deviation_count, 0.0);
    const auto case_count = static_cast<std::size_t>(group->case_count);
    for (std::size_t begin = 0; begin < case_count; begin += kFormsSideBySide) {
        const std::size_t count = std::min(kFormsSideBySide, case_count - begin);
        for (std::size_t c = 0; c < count; ++c) {
            const double *values = group->case_index[begin + c]->values;
            for (std::size_t j = 0; j < variable_count; ++j) {
                deviations[j * kFormsSideBySide + c] = values[j] - means[j];
            }
        }
        double forms[kFormsSideBySide];
        quadratic_forms_kernel(variable_count, inverse, deviations, forms);
        for (std::size_t c = 0; c < count; ++c) likelihoods[begin + c] = std::exp(forms[c] * -0.5) * scale;
    }
    return 0;
}

int32_t DS_ImputeGroupMembership(const int32_t *ids) {
    const Group *group = state.group_current;
    if (group == nullptr || !is_loaded(*group) || ids == nullptr) return 1;
    for (std::int32_t i = 0; i < group->case_count; ++i) {
        CaseRecord &record = *group->case_index[static_cast<std::size_t>(i)];
        if (record.fixed_group_id == 0) record.current_group_id = ids[i];
    }
    return 0;
}
