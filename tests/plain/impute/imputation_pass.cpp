// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// One pass over a range of cases, in which every case builds its own conditional model.

#include "impute/imputation_pass.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "data/case_record.h"
#include "frame/log.h"
#include "impute/gibbs_chain.h"
#include "impute/random_source.h"
#include "matrix/packed.h"
#include "matrix/packed_kernel.h"
#include "matrix/sweep.h"

namespace {

enum class CaseMode { none, conventional, gibbs };

CaseMode choose_mode(const CaseRecord &record) {
    if (record.bounded_count > 0) return CaseMode::gibbs;
    if (record.missing_count == 0) return CaseMode::none;
    return state.force_level > 1 ? CaseMode::gibbs : CaseMode::conventional;
}

// The distribution of the unobserved cells of a case given its observed ones.
struct ConditionalModel {
    std::int32_t n;
    const std::int32_t *unobserved;  // n variable indices, ascending
    double *conditional_mean;        // n
    double *conditional_covariance;  // packed, order n
};

// One vector from the conditional distribution; nothing that the cells held before plays a part.
int draw_directly(const ConditionalModel &model, double *drawn) {
    if (cholesky_packed(model.conditional_covariance, model.n, kPivotTolerance) != 0) {
        log_printf(state.ErrorLog, u"Error: Couldn't find square root of matrix.");
        return 1;
    }
    if (state.random_source == nullptr) {
        log_printf(state.ErrorLog, u"No random source was given.\n");
        return 1;
    }
    next_multivariate_normal(model.n, drawn, model.conditional_mean, model.conditional_covariance);
    for (std::int32_t t = 0; t < model.n; ++t) state.current_values[model.unobserved[t]] = drawn[t];
    return 0;
}

int draw_by_chain(const Group &group, const ConditionalModel &model, double *coefficients, double *chain_sd) {
    const auto n = static_cast<std::size_t>(model.n);
    auto *start_sd = pool_array<double>(state.WorkPool, n);
    auto *inverse = pool_array<double>(state.WorkPool, packed_size(model.n));
    if (gibbs_prepare(model.n, model.conditional_covariance, inverse, coefficients, chain_sd) != 0) {
        log_printf(state.ErrorLog, u"Couldn't invert covariance matrix in gibbs_prepare().\n");
        return 1;
    }
    for (std::int32_t t = 0; t < model.n; ++t) {
        const double d = model.conditional_covariance[packed_diagonal(t)];
        if (d < 0.0) log_printf(state.TraceLog, u"less than zero\n");
        start_sd[t] = std::sqrt(d);
    }
    const ChainModel chain{model.n, model.unobserved, model.conditional_mean, coefficients, chain_sd, start_sd};
    return run_chain(group, chain, state.current_values, state.current_states,
                     pool_array<double>(state.WorkPool, checked_product(n, 2)));
}

int impute_case(const Group &group, const double *means, const double *covariance) {
    const auto nv = static_cast<std::size_t>(group.variable_count);
    const CaseRecord &record = *state.current_record;
    const CaseMode mode = choose_mode(record);
    if (mode == CaseMode::none) return 0;
    const auto n = static_cast<std::size_t>(record.missing_count + record.bounded_count);
    const std::size_t m = nv - n;

    RegionPool &pool = state.WorkPool;
    pool_mark(pool);
    const PoolMarkGuard release(pool);
    auto *order = pool_array<std::int32_t>(pool, nv);  // the observed variables, then the unobserved ones
    auto *deviation = pool_array<double>(pool, nv);
    std::int32_t *observed_end = order;
    std::int32_t *unobserved_end = order + m;
    for (std::int32_t i = 0; i < group.variable_count; ++i) {
        (state.current_states[i] == nullptr ? *observed_end++ : *unobserved_end++) = i;
    }
    const std::int32_t *unobserved = order + m;
    for (std::size_t k = 0; k < m; ++k) {
        const std::int32_t o = order[k];
        deviation[o] = state.current_values[o] - means[o];
    }

    auto *swept = pool_array<double>(pool, checked_product(nv, nv));
    std::copy_n(covariance, nv * nv, swept);
    (void)sweep_pivots(group.variable_count, swept, static_cast<std::int32_t>(m), order);
    for (std::size_t t = 0; t < n; ++t) {
        const auto u = static_cast<std::size_t>(unobserved[t]);
        double sum = 0.0;
        for (std::size_t k = 0; k < m; ++k)
            sum = sum + swept[u * nv + static_cast<std::size_t>(order[k])] * deviation[order[k]];
        deviation[u] = sum;
    }

    auto *coefficients = pool_array<double>(pool, checked_product(n, n));
    auto *chain_sd = pool_array<double>(pool, n);
    const ConditionalModel model{static_cast<std::int32_t>(n), unobserved, pool_array<double>(pool, n),
                                 pool_array<double>(pool, packed_size(static_cast<std::int32_t>(n)))};
    double *element = model.conditional_covariance;
    for (std::size_t t = 0; t < n; ++t) {
        const auto u = static_cast<std::size_t>(unobserved[t]);
        for (std::size_t s = 0; s <= t; ++s) *element++ = swept[u * nv + static_cast<std::size_t>(unobserved[s])];
        model.conditional_mean[t] = means[u] + deviation[u];
    }
    if (mode == CaseMode::conventional) return draw_directly(model, pool_array<double>(pool, n));
    return draw_by_chain(group, model, coefficients, chain_sd);
}

}  // namespace

int impute_group(const Group &group, std::int32_t group_number, const double *means, const double *covariance,
                 std::int32_t first, std::int32_t last) {
    state.current_record = nullptr;
    for (std::int32_t i = first - 1; i < last; ++i) {
        state.current_record = group.case_index[static_cast<std::size_t>(i)];
        if (!is_selected(*state.current_record, group_number)) continue;
        state.current_values = state.current_record->values;
        state.current_states = state.current_record->states;
        if (impute_case(group, means, covariance) != 0) return 1;
    }
    return 0;
}
