// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Equality but for rounding.

#ifndef ULLAGE_TESTS_HOST_EXPECT_CLOSE_H
#define ULLAGE_TESTS_HOST_EXPECT_CLOSE_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace ullage::host {

// A few units in the last place of a double, for sums and quotients of a handful of terms.
inline constexpr double kRounding = 1e-13;

inline void expect_close(double got, double expected, const char *what, double relative = kRounding) {
    EXPECT_NEAR(got, expected, relative * std::max(1.0, std::fabs(expected))) << what;
}

}  // namespace ullage::host

#endif
