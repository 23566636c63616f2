// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// DS_SampleMoments, one case after the other.

#include <algorithm>
#include <cstddef>

#include "data/case_record.h"
#include "frame/session_state.h"
#include "matrix/packed.h"

int32_t DS_SampleMoments(int32_t group_number, double *means, double *covariance, int32_t divisor_flag) {
    const Group *group = enter_group(group_number);
    if (group == nullptr || !is_loaded(*group) || means == nullptr || covariance == nullptr) return 1;
    const auto nv = static_cast<std::size_t>(group->variable_count);
    pool_mark(state.WorkPool);
    const PoolMarkGuard release(state.WorkPool);
    const std::size_t covariance_size = packed_size(group->variable_count);
    std::fill_n(means, nv, 0.0);
    std::fill_n(covariance, covariance_size, 0.0);

    double n = 0.0;
    for (const CaseRecord *record = group->first_case; record != nullptr; record = record->next) {
        if (!is_selected(*record, group_number)) continue;
        for (std::size_t i = 0; i < nv; ++i) means[i] = means[i] + record->values[i];
        n = n + 1.0;
    }
    const double mean_factor = 1.0 / n;
    for (std::size_t i = 0; i < nv; ++i) means[i] = means[i] * mean_factor;

    auto *deviation = pool_array<double>(state.WorkPool, nv);
    for (const CaseRecord *record = group->first_case; record != nullptr; record = record->next) {
        if (!is_selected(*record, group_number)) continue;
        for (std::size_t i = 0; i < nv; ++i) deviation[i] = record->values[i] - means[i];
        double *element = covariance;
        for (std::size_t i = 0; i < nv; ++i) {
            for (std::size_t j = 0; j <= i; ++j) element[j] = element[j] + deviation[j] * deviation[i];
            element += i + 1;
        }
    }
    const double covariance_factor = divisor_flag == 0 ? 1.0 / n : 1.0 / (n - 1.0);
    for (std::size_t i = 0; i < covariance_size; ++i) covariance[i] = covariance[i] * covariance_factor;
    return 0;
}
