// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The imputation of one case: its conditional model, and the way in which it is drawn.

#ifndef ULLAGE_IMPUTE_IMPUTE_CASE_H
#define ULLAGE_IMPUTE_IMPUTE_CASE_H

#include "frame/group.h"

// Draw the unobserved cells of the current case. means: one double per variable; covariance: full, by rows. On 1, after
// a message to the error log, the cells hold what they held before.
[[nodiscard]] int impute_case(const Group &group, const double *means, const double *covariance);

#endif
