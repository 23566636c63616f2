// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Doubles compared by their bits, with the distance in units of the last place when they differ.

#ifndef ULLAGE_TESTS_SUPPORT_BITS_H
#define ULLAGE_TESTS_SUPPORT_BITS_H

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <ios>
#include <string>

// How far values may lie apart where exp or log took part: those belong to the platform's library. The golden values
// were made with the GNU C library 2.36.
#ifdef __GLIBC__
inline constexpr std::uint64_t kLibmUlps = 0;
#else
inline constexpr std::uint64_t kLibmUlps = 4;
#endif

// Position of a double in the order of all doubles.
inline std::int64_t rank_of(double value) {
    const auto bits = std::bit_cast<std::int64_t>(value);
    return bits < 0 ? INT64_MIN - bits : bits;
}

inline std::uint64_t ulps_between(double left, double right) {
    const std::int64_t a = rank_of(left);
    const std::int64_t b = rank_of(right);
    return a < b ? static_cast<std::uint64_t>(b) - static_cast<std::uint64_t>(a)
                 : static_cast<std::uint64_t>(a) - static_cast<std::uint64_t>(b);
}

// All NaNs are one value: their sign and payload depend on the processor.
inline testing::AssertionResult bits_within(const char *got_text, const char *, double got, double expected,
                                            std::uint64_t ulps) {
    if (std::isnan(got) && std::isnan(expected)) return testing::AssertionSuccess();
    const bool same = std::bit_cast<std::uint64_t>(got) == std::bit_cast<std::uint64_t>(expected);
    if (same || (ulps > 0 && ulps_between(got, expected) <= ulps)) return testing::AssertionSuccess();
    return testing::AssertionFailure() << got_text << " is " << std::hexfloat << got << " and should be " << expected
                                       << ", " << std::dec << ulps_between(got, expected) << " ulps away ("
                                       << std::defaultfloat << got << ", " << expected << ")";
}

inline testing::AssertionResult same_bits(const char *got_text, const char *expected_text, double got,
                                          double expected) {
    return bits_within(got_text, expected_text, got, expected, 0);
}

inline testing::AssertionResult same_libm_bits(const char *got_text, const char *expected_text, double got,
                                               double expected) {
    return bits_within(got_text, expected_text, got, expected, kLibmUlps);
}

#define CHECK_BITS(got, expected) EXPECT_PRED_FORMAT2(same_bits, got, expected)
#define CHECK_LIBM_BITS(got, expected) EXPECT_PRED_FORMAT2(same_libm_bits, got, expected)

#endif
