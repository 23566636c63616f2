// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// exp and log by arithmetic alone, for numbers that no C library may decide a bit of.

#ifndef ULLAGE_HOST_NUMBERS_EXP_LOG_H
#define ULLAGE_HOST_NUMBERS_EXP_LOG_H

#include <bit>
#include <cstdint>

namespace ullage::host {

/** log 2 as a multiple of 2^-32, and what is left of it: products of the first with small whole numbers are exact. */
inline constexpr double kLog2High = 0x1.62e42feep-1;
inline constexpr double kLog2Low = 0x1.a39ef35793c76p-33;

/**
 * exp(x) to about two units of the last place, with the same bits everywhere: a power of two times a Taylor series of
 * the rest, which is at most half of log 2.
 *
 * @param x  at most 700; 0 is given below -700
 */
[[nodiscard]] constexpr double arithmetic_exp(double x) {
    if (x < -700.0) return 0.0;
    const auto power = static_cast<std::int64_t>(x * 0x1.71547652b82fep0 + (x < 0.0 ? -0.5 : 0.5));
    const double rest = (x - static_cast<double>(power) * kLog2High) - static_cast<double>(power) * kLog2Low;
    double sum = 1.0;
    for (int k = 14; k > 0; --k) sum = 1.0 + sum * rest / k;
    return sum * std::bit_cast<double>(static_cast<std::uint64_t>(power + 1023) << 52);
}

/**
 * log(x) to a few units of the last place, with the same bits everywhere: that of a power of two and, for the
 * factor between the roots of 1/2 and 2 that is left, the series of 2 artanh((factor - 1) / (factor + 1)).
 *
 * @param x  a normal number above 0
 */
[[nodiscard]] constexpr double arithmetic_log(double x) {
    const auto bits = std::bit_cast<std::uint64_t>(x);
    auto power = static_cast<std::int64_t>(bits >> 52) - 1023;
    auto factor = std::bit_cast<double>((bits & 0xfffffffffffffULL) | 0x3ff0000000000000ULL);
    if (factor > 0x1.6a09e667f3bcdp0) {
        factor *= 0.5;
        ++power;
    }
    const double ratio = (factor - 1.0) / (factor + 1.0);
    double sum = 0.0;
    for (int k = 23; k > 1; k -= 2) sum = (sum + 1.0 / k) * ratio * ratio;
    const auto whole = static_cast<double>(power);
    return whole * kLog2High + (2.0 * ratio * (1.0 + sum) + whole * kLog2Low);
}

}  // namespace ullage::host

#endif
