// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// DS_Impute: one pass over a range of cases.

#include <algorithm>
#include <cstddef>
#include <numeric>

#include "frame/log.h"
#include "frame/session_state.h"
#include "impute/imputation_pass.h"
#include "impute/random_source.h"
#include "matrix/packed.h"
#include "matrix/packed_inverse.h"
#include "matrix/packed_kernel.h"
#include "matrix/sweep.h"

namespace {

void warn_if_singular(std::int32_t nv, const double *covariance) {
    pool_mark(state.WorkPool);
    const PoolMarkGuard release(state.WorkPool);
    auto *inverse = pool_array<double>(state.WorkPool, packed_size(nv));
    if (invert_packed_tolerant(nv, covariance, inverse) != 0) {
        log_printf(state.ErrorLog, u"Estimated covariance matrix is singular.\n");
    }
}

// Lay out the full covariance for all cases of this pass, and of later ones that begin behind the first case.
void conventional_prepare(std::int32_t nv, const double *covariance) {
    pool_mark(state.WorkPool);
    const PoolMarkGuard release(state.WorkPool);
    const auto order = static_cast<std::size_t>(nv);
    auto *all_variables = pool_array<std::int32_t>(state.WorkPool, order);
    state.prepared_order = -1;  // until all of it is there
    unpack_symmetric(nv, covariance, state.workspace_covariance);
    std::copy_n(state.workspace_covariance, order * order, state.workspace_swept);
    std::iota(all_variables, all_variables + order, 0);
    if (sweep_pivots(nv, state.workspace_swept, nv, all_variables) != 0) {
        log_printf(state.ErrorLog, u"Matrix is uninvertible in conventional_prepare()\n");
    }
    state.prepared_order = nv;
}

// Whether a range, with its zeros replaced, lies within the group. The first case is a good beginning of any group.
bool is_range_good(std::int32_t first, std::int32_t last, std::int32_t case_count) {
    return first >= 1 && (first == 1 || first <= case_count) && last >= 0 && last <= case_count;
}

}  // namespace

int32_t DS_Impute(int32_t group_number, const double *means, const double *covariance, int32_t range_first,
                  int32_t range_last, RandomSource *source) {
    const Group *group = enter_group(group_number);
    if (group == nullptr || !is_loaded(*group) || means == nullptr) return 1;
    const std::int32_t nv = group->variable_count;
    const std::int32_t first = range_first == 0 ? 1 : range_first;
    const std::int32_t last = range_last == 0 ? group->case_count : range_last;
    if (!is_range_good(first, last, group->case_count)) return 1;
    const bool begins_pass = first == 1;
    if (begins_pass ? covariance == nullptr : state.prepared_order != nv) return 1;

    set_random_source(source);
    if (begins_pass) {
        warn_if_singular(nv, covariance);
        conventional_prepare(nv, covariance);
    }
    return impute_group(*group, group_number, means, state.workspace_covariance, first, last);
}
