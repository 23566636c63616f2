// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// A loop over truncated draws, exported by a library for each road.

#ifndef ULLAGE_BENCH_DRAW_LOOP_H
#define ULLAGE_BENCH_DRAW_LOOP_H

#include <ullage/engine.h>

#include <cstddef>

// An interval, open where the end is infinite, and the normal distribution that is cut to it.
struct DrawTask {
    double lower;
    double upper;
    double mean;
    double sd;
};

// Draw once for each task.
extern "C" DS_API void ullage_draw_loop(const DrawTask *tasks, std::size_t count, double *out, RandomSource *source);

#endif
