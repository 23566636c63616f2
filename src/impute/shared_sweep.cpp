// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The conditional models of many patterns at once.
//
// The covariance is swept on the observed variables of a pattern in ascending order. Sorted patterns are a tree: those
// that agree on the first variables share the sweep on them. The tree is walked depth first. Where patterns part, those
// in which the variable is observed go on with a swept copy, and those in which it is not with the matrix as it is. A
// pattern that is left alone finishes its sweep several rows at a time. Every element gets the same updates in the
// same order as in a sweep of its pattern alone, as far as it is ever read.

#include "impute/shared_sweep.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "data/pattern_table.h"
#include "frame/session_state.h"
#include "matrix/packed.h"
#include "matrix/row_sweep_kernel.h"
#include "matrix/vector_kernel.h"

namespace {

// What the copies of the matrix may take in all. Two are always made; more save work where patterns part.
constexpr std::size_t kCopiesBytes = std::size_t{16} << 20;

// Rows that are swept together by all pivots before them.
constexpr std::int32_t kRowsAtATime = 4;

// Numbers in a cache line.
constexpr std::size_t kLine = 64 / sizeof(double);

// The first beginning of a cache line from place on, less than kLine numbers away.
double *at_cache_line(double *place) {
    const auto address = reinterpret_cast<std::uintptr_t>(place);
    return place + padded_length(address / sizeof(double), kLine) - address / sizeof(double);
}

struct SharedSweep {
    const Group *group;
    std::int32_t variable_count;
    std::size_t stride;  // of a row of a matrix
    const PatternNeeds *patterns;
    ConditionalModel *models;
    ModelRoom room;
    double *next_storage;  // for the next model
};

double *matrix_of_level(const SharedSweep &sweep, std::size_t level) {
    return sweep.room.matrices + level * static_cast<std::size_t>(sweep.variable_count) * sweep.stride;
}

// Whether a variable can be swept on; if so, gives the pivot.
bool take_pivot(const SharedSweep &sweep, const double *matrix, std::int32_t variable, SweepPivot &pivot) {
    const auto k = static_cast<std::size_t>(variable);
    const double *row = matrix + k * sweep.stride;
    if (std::fabs(row[k]) < kPivotTolerance) return false;  // a NaN is swept
    pivot = {row, k, 1.0 / row[k]};
    return true;
}

// Sweep the first observed_count variables of order, from the position done on, one pattern alone. Only rows behind the
// present position of order are read again.
void finish_sweep(const SharedSweep &sweep, double *matrix, const std::int32_t *order, std::int32_t observed_count,
                  std::int32_t done) {
    const auto nv = static_cast<std::size_t>(sweep.variable_count);
    SweepPivot *pivots = sweep.room.pivots;
    std::size_t taken = 0;
    while (done < observed_count) {
        // Rows wait until their turn comes, some at a time.
        const std::int32_t end = std::min(done + kRowsAtATime, observed_count);
        sweep_rows_kernel(nv, matrix, matrix, static_cast<std::size_t>(end - done), order + done, taken, pivots);
        while (done < end) {
            if (!take_pivot(sweep, matrix, order[done++], pivots[taken])) continue;
            sweep_rows_kernel(nv, matrix, matrix, static_cast<std::size_t>(end - done), order + done, 1,
                              pivots + taken++);
        }
    }
    sweep_rows_kernel(nv, matrix, matrix, static_cast<std::size_t>(sweep.variable_count - done), order + done, taken,
                      pivots);
}

// The model of one pattern, from a matrix that is swept on its observed variables below depth.
void finish_pattern(SharedSweep &sweep, std::size_t position, std::int32_t depth, std::size_t missing_count,
                    double *matrix) {
    const PatternNeeds &needs = sweep.patterns[position];
    const std::uint64_t *pattern = pattern_words(*sweep.group, needs.pattern);
    std::int32_t *order = sweep.room.orders + position * static_cast<std::size_t>(sweep.variable_count);
    const std::int32_t observed_count = list_variables(pattern, sweep.variable_count, false, order);
    (void)list_variables(pattern, sweep.variable_count, true, order + observed_count);
    finish_sweep(sweep, matrix, order, observed_count, depth - static_cast<std::int32_t>(missing_count));
    sweep.models[position] = build_conditional_model(sweep.variable_count, needs, order, matrix, sweep.stride,
                                                     sweep.next_storage, sweep.room.scratch);
    sweep.next_storage += conditional_model_size(sweep.variable_count, needs);
}

// Sweep the matrix of a level on a variable, into the same matrix or that of another level, on all rows that any
// pattern can still read: the unobserved variables on the way here and all later ones.
void sweep_shared_rows(const SharedSweep &sweep, const double *from, double *to, std::int32_t variable,
                       std::size_t missing_count) {
    const std::int32_t *later = sweep.room.all_variables + variable + 1;
    const auto later_count = static_cast<std::size_t>(sweep.variable_count - variable - 1);
    SweepPivot pivot;
    if (take_pivot(sweep, from, variable, pivot)) {
        const auto nv = static_cast<std::size_t>(sweep.variable_count);
        sweep_rows_kernel(nv, from, to, missing_count, sweep.room.missing, 1, &pivot);
        sweep_rows_kernel(nv, from, to, later_count, later, 1, &pivot);
    } else if (from != to) {
        std::copy_n(from, static_cast<std::size_t>(sweep.variable_count) * sweep.stride, to);
    }
}

// Build the models of the patterns first to last - 1, which agree below depth, from the matrix of a level.
void descend(SharedSweep &sweep, std::size_t first, std::size_t last, std::int32_t depth, std::size_t missing_count,
             std::size_t level) {
    double *matrix = matrix_of_level(sweep, level);
    for (; last - first > 1; ++depth) {
        double *copy = matrix_of_level(sweep, level + 1);
        if (level + 2 == sweep.room.level_count) {
            // No room to part any further: each pattern for itself.
            for (; last - first > 1; ++first) {
                std::copy_n(matrix, static_cast<std::size_t>(sweep.variable_count) * sweep.stride, copy);
                finish_pattern(sweep, first, depth, missing_count, copy);
            }
            break;
        }
        const PatternNeeds *parting =
            std::partition_point(sweep.patterns + first, sweep.patterns + last, [&](const PatternNeeds &needs) {
                return !is_unobserved(pattern_words(*sweep.group, needs.pattern), depth);
            });
        const auto middle = static_cast<std::size_t>(parting - sweep.patterns);
        if (middle == last) {
            sweep_shared_rows(sweep, matrix, matrix, depth, missing_count);
            continue;
        }
        if (middle > first) {
            sweep_shared_rows(sweep, matrix, copy, depth, missing_count);
            descend(sweep, first, middle, depth + 1, missing_count, level + 1);
            first = middle;
        }
        sweep.room.missing[missing_count++] = depth;
    }
    finish_pattern(sweep, first, depth, missing_count, matrix);
}

}  // namespace

ModelRoom take_model_room(std::int32_t variable_count, std::size_t model_size, std::size_t pattern_count) {
    RegionPool &pool = state.WorkPool;
    const auto nv = static_cast<std::size_t>(variable_count);
    const std::size_t matrix_size = checked_product(nv, row_stride(nv));
    ModelRoom room;
    // A level for each variable at which patterns can part, one for the beginning, and one for copies.
    room.level_count =
        std::clamp(kCopiesBytes / sizeof(double) / std::max(matrix_size, std::size_t{1}), std::size_t{2}, nv + 2);
    room.matrices = at_cache_line(pool_array<double>(pool, checked_product(room.level_count, matrix_size) + kLine));
    room.pivots = pool_array<SweepPivot>(pool, nv);
    room.all_variables = pool_array<std::int32_t>(pool, nv);
    std::iota(room.all_variables, room.all_variables + nv, 0);
    room.missing = pool_array<std::int32_t>(pool, nv);
    room.scratch = pool_array<double>(pool, 2 * packed_size(variable_count));
    room.storage = pool_array<double>(pool, model_size);
    room.orders = pool_array<std::int32_t>(pool, checked_product(pattern_count, nv));
    return room;
}

void build_models(const Group &group, const double *covariance, const ModelRoom &room, std::size_t pattern_count,
                  const PatternNeeds *patterns, ConditionalModel *models) {
    if (pattern_count == 0) return;
    const auto nv = static_cast<std::size_t>(group.variable_count);
    SharedSweep sweep{&group, group.variable_count, row_stride(nv), patterns, models, room, room.storage};
    for (std::size_t i = 0; i < nv; ++i) {
        double *row = room.matrices + i * sweep.stride;
        std::copy_n(covariance + i * nv, nv, row);
        std::fill(row + nv, row + sweep.stride, 0.0);
    }
    descend(sweep, 0, pattern_count, 0, 0, 0);
}
