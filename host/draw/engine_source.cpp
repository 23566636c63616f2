// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The operations that the engine calls.

#include "ullage/host/draw/engine_source.h"

#include <cstddef>

namespace ullage::host {

std::int32_t EngineSource::QueryInterface(const DS_Guid *, void **) {
    return -1;  // asked for error information only, and there never is any
}

std::int32_t EngineSource::NextUniform(double *out) {
    *out = stream_.uniform();
    return 0;
}

std::int32_t EngineSource::NextStandardNormal(double *out) {
    *out = stream_.normal();
    return 0;
}

std::int32_t EngineSource::NextMultivariateNormal(std::int32_t n, double *out, const double *mean, const double *root) {
    const auto count = static_cast<std::size_t>(n);
    if (normals_.size() < count) normals_.resize(count);
    for (std::size_t i = 0; i < count; ++i) {
        normals_[i] = stream_.normal();
        double value = mean[i];
        for (std::size_t j = 0; j <= i; ++j) value += root[j] * normals_[j];
        root += i + 1;
        out[i] = value;
    }
    return 0;
}

}  // namespace ullage::host
