// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The conditional models of many patterns at once.

#ifndef ULLAGE_IMPUTE_SHARED_SWEEP_H
#define ULLAGE_IMPUTE_SHARED_SWEEP_H

#include <cstddef>
#include <cstdint>

#include "impute/conditional_model.h"

// Build models[i] for patterns[i], from the full covariance. The patterns are distinct, in ascending order, and none is
// without an unobserved cell. The models lie in WorkPool, under the caller's mark.
void build_models(const Group &group, const double *covariance, std::size_t pattern_count, const PatternNeeds *patterns,
                  ConditionalModel *models);

#endif
