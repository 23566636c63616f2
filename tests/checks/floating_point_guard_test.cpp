// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// What the engine's arithmetic rests on, tried at run time with the library loaded.

#include <gtest/gtest.h>
#include <ullage/engine.h>

#include <cfenv>
#include <limits>

namespace {

bool processor_runs_this() {
#ifdef __AVX2__
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
#else
    return true;
#endif
}

class FloatingPointGuard : public testing::Test {
protected:
    void SetUp() override {
        if (!processor_runs_this()) GTEST_SKIP() << "this processor has no AVX2";
        // The library is loaded, so whatever it might switch on is on.
        ASSERT_EQ(DS_GetTest(), 0);
    }
};

TEST_F(FloatingPointGuard, ProductAndSumAreRoundedApart) {
    volatile double a = 1.0 + 0x1p-27, b = 1.0 - 0x1p-27, c = -1.0;
    EXPECT_EQ(a * b + c, 0.0);
}

TEST_F(FloatingPointGuard, DenormalsAreKept) {
    volatile double tiny = 0x1p-1060, smallest = std::numeric_limits<double>::denorm_min();
    EXPECT_NE(tiny * 0.5, 0.0);
    EXPECT_NE(smallest + smallest, 0.0);
}

TEST_F(FloatingPointGuard, InfinityAndNaNAreReal) {
    volatile double infinity = std::numeric_limits<double>::infinity(), zero = 0.0;
    const double nan = infinity * zero;
    EXPECT_TRUE(nan != nan);
    EXPECT_TRUE(1.0 / zero > 1e300);
    EXPECT_TRUE(1.0 / -zero < -1e300);
}

TEST_F(FloatingPointGuard, IntermediatesAreDoublesRoundedToNearest) {
    volatile double one = 1.0, half_step = 0x1p-53;
    EXPECT_EQ(std::fegetround(), FE_TONEAREST);
    // In a wider register the first sum would keep its half step, and the second would carry it over.
    EXPECT_EQ((one + half_step) + half_step, 1.0);
}

}  // namespace
