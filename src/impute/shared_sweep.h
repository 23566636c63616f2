// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The conditional models of many patterns at once.

#ifndef ULLAGE_IMPUTE_SHARED_SWEEP_H
#define ULLAGE_IMPUTE_SHARED_SWEEP_H

#include <cstddef>
#include <cstdint>

#include "impute/conditional_model.h"
#include "matrix/row_sweep_kernel.h"

// What the making of the models of a chunk works in, and where the models lie. It is taken once for a pass, in sizes
// that do not depend on the chunk, so that WorkPool does not grow from chunk to chunk.
struct ModelRoom {
    double *matrices;  // copies of the covariance, one for each level of the walk
    std::size_t level_count;
    std::int32_t *all_variables;  // 0, 1, 2, ...
    std::int32_t *missing;        // the unobserved variables on the way from the root of the tree
    SweepPivot *pivots;           // of the pattern at hand
    double *scratch;              // for build_conditional_model
    double *storage;              // of the models
    std::int32_t *orders;         // of the models, one after the other
};

// Take room in WorkPool for models of a group whose arrays take model_size doubles in all, and pattern_count at most.
[[nodiscard]] ModelRoom take_model_room(std::int32_t variable_count, std::size_t model_size, std::size_t pattern_count);

// Build models[i] for patterns[i], from the full covariance. The patterns are distinct, in ascending order, and none is
// without an unobserved cell. The models lie in the room until the next call.
void build_models(const Group &group, const double *covariance, const ModelRoom &room, std::size_t pattern_count,
                  const PatternNeeds *patterns, ConditionalModel *models);

#endif
