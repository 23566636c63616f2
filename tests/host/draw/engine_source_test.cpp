// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// A random stream as the engine sees it.

#include "ullage/host/draw/engine_source.h"

#include <gtest/gtest.h>

namespace {

using ullage::host::EngineSource;
using ullage::host::RandomStream;
using ullage::host::StreamPurpose;

TEST(EngineSource, GivesTheNumbersOfItsStreamAndUsesTheRootByRows) {
    RandomStream stream({7, StreamPurpose::cells, 1, 2, 3});
    RandomStream plain({7, StreamPurpose::cells, 1, 2, 3});
    EngineSource source(stream);
    double uniform = -1.0;
    double normal = -1.0;
    ASSERT_EQ(source.NextUniform(&uniform), 0);
    ASSERT_EQ(source.NextStandardNormal(&normal), 0);
    EXPECT_EQ(uniform, plain.uniform());
    EXPECT_EQ(normal, plain.normal());
    const double mean[] = {1.0, -2.0, 10.0};
    const double root[] = {2.0, -1.0, 0.5, 3.0, 0.25, 0.125};
    double out[3];
    ASSERT_EQ(source.NextMultivariateNormal(3, out, mean, root), 0);
    const double z[] = {plain.normal(), plain.normal(), plain.normal()};
    EXPECT_DOUBLE_EQ(out[0], 1.0 + 2.0 * z[0]);
    EXPECT_DOUBLE_EQ(out[1], -2.0 - z[0] + 0.5 * z[1]);
    EXPECT_DOUBLE_EQ(out[2], 10.0 + 3.0 * z[0] + 0.25 * z[1] + 0.125 * z[2]);
}

}  // namespace
