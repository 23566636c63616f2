// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Numbers from the host's random source. A failure of the source leaves as RandomSourceError.

#ifndef ULLAGE_IMPUTE_RANDOM_SOURCE_H
#define ULLAGE_IMPUTE_RANDOM_SOURCE_H

#include <cstdint>

#include "frame/session_state.h"
#include "ullage/random_source.h"

void set_random_source(RandomSource *source);

// Throw RandomSourceError with the status and, if the object has one for this interface, its error object.
[[noreturn]] void raise_source_failure(std::int32_t status, RandomSource *object, const DS_Guid &interface_id);

[[nodiscard]] inline double next_uniform() {
    double value = 0.0;
    RandomSource *source = state.random_source;
    const std::int32_t status = source->NextUniform(&value);
    if (status < 0) [[unlikely]]
        raise_source_failure(status, source, RandomSource::interface_id);
    return value;
}

[[nodiscard]] inline double next_standard_normal() {
    double value = 0.0;
    RandomSource *source = state.random_source;
    const std::int32_t status = source->NextStandardNormal(&value);
    if (status < 0) [[unlikely]]
        raise_source_failure(status, source, RandomSource::interface_id);
    return value;
}

// out: n doubles, not cleared before the call; root: packed.
inline void next_multivariate_normal(std::int32_t n, double *out, const double *mean, const double *root) {
    RandomSource *source = state.random_source;
    const std::int32_t status = source->NextMultivariateNormal(n, out, mean, root);
    if (status < 0) [[unlikely]]
        raise_source_failure(status, source, RandomSource::interface_id);
}

#endif
