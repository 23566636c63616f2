// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The Gibbs chain over the unobserved cells of the current case (Geweke 1991).
//
// The state of the chain is the case itself: what a call leaves in the cells is where the next call goes on.

#include "impute/gibbs_chain.h"

#include <cmath>
#include <cstddef>

#include "data/case_record.h"
#include "frame/log.h"
#include "impute/truncated_normal.h"
#include "matrix/packed.h"
#include "matrix/packed_inverse.h"
#include "matrix/packed_kernel.h"

namespace {

constexpr std::int32_t kNoCell = -1;

enum class PassResult {
    made,
    not_made,  // some cells were undefined, and nothing was drawn
    failed,    // reported
};

// The first cell of a pass whose lower bound lay above its upper one, as a variable index; kNoCell if none did.
struct PassReport {
    std::int32_t contradicted = kNoCell;
};

const char16_t *variable_name(const Group &group, std::int32_t variable) {
    return group.variables[static_cast<std::size_t>(variable)].name;
}

int report_no_value(const Group &group, std::int32_t variable) {
    log_printf(state.ErrorLog, u"The variable, %s, has no value between its bounds.\n",
               {variable_name(group, variable)});
    return 1;
}

// Draw one cell of the current case between its present bounds, or put it in the middle if they contradict each other.
int draw_cell(const Group &group, std::int32_t variable, double mean, double sd, double &x, PassReport &report) {
    double lower;
    double upper;
    (void)cell_bounds(variable, lower, upper);
    if (lower > upper) {
        if (report.contradicted == kNoCell) report.contradicted = variable;
        x = 0.5 * lower + 0.5 * upper;
    } else {
        switch (draw_truncated_normal(lower, upper, mean, sd, x)) {
            case DrawOutcome::drawn:
                break;
            case DrawOutcome::no_interval:
                return report_no_value(group, variable);
            case DrawOutcome::no_source:
                log_printf(state.ErrorLog, u"No random source was given.\n");
                return 1;
        }
    }
    state.current_values[variable] = x;
    return 0;
}

// Each cell from its distribution given the observed cells only. A bound by a cell that is not drawn yet does not
// count.
PassResult gibbs_start(const Group &group, const ChainModel &model, double *chain_state, PassReport &report) {
    report = {};
    for (std::int32_t t = 0; t < model.n; ++t) {
        if (draw_cell(group, model.unobserved[t], model.conditional_mean[t], model.start_sd[t], chain_state[t],
                      report) != 0) {
            return PassResult::failed;
        }
    }
    return PassResult::made;
}

// Each cell from its distribution given all others, which have their newest values.
PassResult gibbs_sweep(const Group &group, const ChainModel &model, double *chain_state, PassReport &report) {
    const std::int32_t n = model.n;
    std::int32_t undefined_count = 0;
    for (std::int32_t t = 0; t < n; ++t) {
        chain_state[t] = state.current_values[model.unobserved[t]];
        if (chain_state[t] == kUndefined) ++undefined_count;
    }
    if (undefined_count > 0) {
        if (undefined_count != n) {
            log_printf(state.ErrorLog, u"In the Gibbs sampler, some values are undefined, but not all.\n");
        }
        return PassResult::not_made;
    }
    report = {};
    const double *coefficients = model.coefficients;
    for (std::int32_t k = 0; k < n; ++k) {
        double mean = model.conditional_mean[k];
        for (std::int32_t j = 0; j < n; ++j) {
            mean = mean + (chain_state[j] - model.conditional_mean[j]) * coefficients[j];
        }
        coefficients += n;
        if (draw_cell(group, model.unobserved[k], mean, model.chain_sd[k], chain_state[k], report) != 0) {
            return PassResult::failed;
        }
    }
    return PassResult::made;
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

int run_chain(const Group &group, const ChainModel &model, double *chain_state) {
    PassReport report;
    PassResult result = gibbs_sweep(group, model, chain_state, report);
    if (result == PassResult::not_made) {
        result = gibbs_start(group, model, chain_state, report);
        for (std::int32_t i = 0; i <= state.gibbs_sweep_count && result != PassResult::failed; ++i) {
            result = gibbs_sweep(group, model, chain_state, report);
        }
    }
    if (result == PassResult::failed) return 1;
    // Only what the last pass met counts: in earlier ones cells can still be on their way to a consistent state.
    return report.contradicted == kNoCell ? 0 : report_no_value(group, report.contradicted);
}
