// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// One pass over a range of cases under one mean vector and one covariance.

#ifndef ULLAGE_IMPUTE_IMPUTATION_PASS_H
#define ULLAGE_IMPUTE_IMPUTATION_PASS_H

#include <cstdint>

#include "frame/group.h"

// Draw the unobserved cells of the selected cases first to last, counted from 1, in load order. means: one double per
// variable; covariance: full, by rows. 1 at the first case that fails, after a message to the error log; that case then
// holds what it held before.
[[nodiscard]] int impute_group(const Group &group, std::int32_t group_number, const double *means,
                               const double *covariance, std::int32_t first, std::int32_t last);

#endif
