// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// A random stream as the engine's random source.

#ifndef ULLAGE_HOST_DRAW_ENGINE_SOURCE_H
#define ULLAGE_HOST_DRAW_ENGINE_SOURCE_H

#include <ullage/random_source.h>

#include <cstdint>
#include <vector>

#include "ullage/host/numbers/random_stream.h"

namespace ullage::host {

/** Gives the engine the next numbers of a stream, which must outlive it. No operation fails. */
class EngineSource final : public ::RandomSource {
public:
    explicit EngineSource(RandomStream &stream) : stream_(stream) {}

    std::int32_t QueryInterface(const DS_Guid *iid, void **out) override;
    std::uint32_t AddRef() override { return 1; }
    std::uint32_t Release() override { return 1; }
    std::int32_t NextUniform(double *out) override;
    std::int32_t NextStandardNormal(double *out) override;
    std::int32_t NextMultivariateNormal(std::int32_t n, double *out, const double *mean, const double *root) override;

private:
    RandomStream &stream_;
    std::vector<double> normals_;  // scratch of NextMultivariateNormal
};

}  // namespace ullage::host

#endif
