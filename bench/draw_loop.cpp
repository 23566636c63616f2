// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// A loop over truncated draws, compiled against the headers of one road.

#include "draw_loop.h"

#include <cmath>

#include "frame/session_state.h"
#include "impute/random_source.h"
#include "impute/truncated_normal.h"

void ullage_draw_loop(const DrawTask *tasks, std::size_t count, double *out, RandomSource *source) {
    set_random_source(source);
    for (std::size_t i = 0; i < count; ++i) {
        const DrawTask &task = tasks[i];
        const double lower = std::isinf(task.lower) ? kOpenLow : task.lower;
        const double upper = std::isinf(task.upper) ? kOpenHigh : task.upper;
        (void)draw_truncated_normal(lower, upper, task.mean, task.sd, out[i]);
    }
}
