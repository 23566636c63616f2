// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The Gibbs chain over the unobserved cells of a case (Geweke 1991).
//
// The state of the chain is the case itself: what a call leaves in the cells is where the next call goes on.

#include "impute/gibbs_chain.h"

#include <cmath>
#include <cstddef>

#include "frame/log.h"
#include "impute/truncated_normal.h"
#include "matrix/packed.h"
#include "matrix/packed_inverse.h"
#include "matrix/packed_kernel.h"

namespace {

constexpr std::int32_t kNoCell = -1;

// Messages are rare, so they are kept out of the way of the draws.
[[gnu::noinline]] int report_no_value(const Group &group, std::int32_t variable) {
    log_printf(state.ErrorLog, u"The variable, %s, has no value between its bounds.\n",
               {group.variables[static_cast<std::size_t>(variable)].name});
    return 1;
}

[[gnu::noinline]] int report_no_source() {
    log_printf(state.ErrorLog, u"No random source was given.\n");
    return 1;
}

[[gnu::noinline]] void report_partly_undefined() {
    log_printf(state.ErrorLog, u"In the Gibbs sampler, some values are undefined, but not all.\n");
}

// A chain with the case that it runs over.
struct Chain {
    const Group &group;
    const ChainModel &model;
    std::int32_t n;           // model.n
    double *values;           // of the case
    const CellState *states;  // of the case
    double *cells;            // the values of the unobserved cells
    // The first cell of the last pass whose lower bound lay above its upper one, as a variable index.
    std::int32_t contradicted;
};

#define ULLAGE_CHAIN_STEP static inline __attribute__((always_inline))

// Draw cell t between its present bounds, or put it in the middle if they contradict each other.
ULLAGE_CHAIN_STEP int draw_cell(Chain &chain, std::int32_t t, double mean, double sd) {
    const std::int32_t variable = chain.model.unobserved[t];
    double lower;
    double upper;
    interval_between_bounds(chain.states[variable], lower, upper);
    double x;
    if (lower > upper) {
        if (chain.contradicted == kNoCell) chain.contradicted = variable;
        x = 0.5 * lower + 0.5 * upper;
    } else {
        const DrawOutcome outcome = draw_truncated_normal(lower, upper, mean, sd, x);
        if (outcome == DrawOutcome::no_interval) return report_no_value(chain.group, variable);
        if (outcome == DrawOutcome::no_source) return report_no_source();
    }
    chain.cells[t] = x;
    chain.values[variable] = x;
    return 0;
}

// Whether all cells hold numbers that a sweep can go on from.
ULLAGE_CHAIN_STEP bool are_defined(const Chain &chain) {
    std::int32_t undefined_count = 0;
    for (std::int32_t t = 0; t < chain.n; ++t) undefined_count += is_marker(chain.cells[t], kUndefined) ? 1 : 0;
    if (undefined_count == 0) return true;
    if (undefined_count != chain.n) report_partly_undefined();
    return false;
}

// Each cell from its distribution given the observed cells only. A bound by a cell that is not drawn yet does not
// count.
int start(Chain &chain) {
    chain.contradicted = kNoCell;
    for (std::int32_t t = 0; t < chain.n; ++t) {
        if (draw_cell(chain, t, chain.model.conditional_mean[t], chain.model.start_sd[t]) != 0) return 1;
    }
    return 0;
}

// Each cell from its distribution given all others, which have their newest values.
ULLAGE_CHAIN_STEP int sweep(Chain &chain) {
    const ChainModel &model = chain.model;
    const double *coefficients = model.coefficients;
    chain.contradicted = kNoCell;
    for (std::int32_t k = 0; k < chain.n; ++k) {
        double mean = model.conditional_mean[k];
        for (std::int32_t j = 0; j < chain.n; ++j) {
            mean = mean + (chain.cells[j] - model.conditional_mean[j]) * coefficients[j];
        }
        coefficients += chain.n;
        if (draw_cell(chain, k, mean, model.chain_sd[k]) != 0) return 1;
    }
    return 0;
}

// The start and the first sweeps. A sweep that finds no numbers is left out.
[[gnu::noinline]] int begin_chain(Chain chain, std::int32_t &contradicted) {
    int result = start(chain);
    for (std::int32_t i = 0; i <= state.gibbs_sweep_count && result == 0; ++i) {
        if (are_defined(chain)) result = sweep(chain);
    }
    contradicted = chain.contradicted;
    return result;
}

ULLAGE_CHAIN_STEP int move_chain(Chain chain, double *before) {
    const std::int32_t *unobserved = chain.model.unobserved;
    for (std::int32_t t = 0; t < chain.n; ++t) before[t] = chain.cells[t] = chain.values[unobserved[t]];
    int result = are_defined(chain) ? sweep(chain) : begin_chain(chain, chain.contradicted);
    // Only what the last pass met counts: in earlier ones cells can still be on their way to a consistent state.
    if (result == 0 && chain.contradicted != kNoCell) result = report_no_value(chain.group, chain.contradicted);
    if (result != 0) {
        for (std::int32_t t = 0; t < chain.n; ++t) chain.values[unobserved[t]] = before[t];
    }
    return result;
}

}  // namespace

int gibbs_prepare(std::int32_t n, const double *conditional_covariance, double *inverse, double *coefficients,
                  double *chain_sd) {
    if (invert_packed_strict(n, conditional_covariance, inverse) != 0) return 1;
    unpack_symmetric(n, inverse, coefficients);
    for (std::int32_t i = 0; i < n; ++i) {
        double *row = coefficients + static_cast<std::size_t>(i) * static_cast<std::size_t>(n);
        chain_sd[i] = std::sqrt(1.0 / row[i]);
        const double s = -1.0 / row[i];
        for (std::int32_t j = 0; j < n; ++j) row[j] = row[j] * s;
        row[i] = 0.0;
    }
    return 0;
}

int run_chain(const Group &group, const ChainModel &model, double *values, const CellState *states, double *scratch) {
    double *cells = scratch + model.n;
    // Many chains are of one cell. Compiled for that number they have no loops.
    if (model.n == 1) return move_chain({group, model, 1, values, states, cells, kNoCell}, scratch);
    return move_chain({group, model, model.n, values, states, cells, kNoCell}, scratch);
}
