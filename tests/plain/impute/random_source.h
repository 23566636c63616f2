// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Numbers from the host's random source. A failure of the source leaves as RandomSourceError.

#ifndef ULLAGE_IMPUTE_RANDOM_SOURCE_H
#define ULLAGE_IMPUTE_RANDOM_SOURCE_H

#include <cstdint>

#include "frame/session_state.h"

void set_random_source(RandomSource *source);

[[nodiscard]] double next_uniform();

[[nodiscard]] double next_standard_normal();

// out: n doubles, not cleared before the call; root: packed.
void next_multivariate_normal(std::int32_t n, double *out, const double *mean, const double *root);

// Throw RandomSourceError with the status and, if the object has one for this interface, its error object.
[[noreturn]] void raise_source_failure(std::int32_t status, RandomSource *object, const DS_Guid &interface_id);

#endif
