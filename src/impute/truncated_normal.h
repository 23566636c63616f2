// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// One draw from a normal distribution cut to an interval.

#ifndef ULLAGE_IMPUTE_TRUNCATED_NORMAL_H
#define ULLAGE_IMPUTE_TRUNCATED_NORMAL_H

enum class DrawOutcome {
    drawn,
    no_interval,  // in standard units the lower end is not at or below the upper one, because of a NaN
    no_source,    // the draw needs a number, and the host gave no source
};

// Draw into x from the normal distribution with this mean and standard deviation, cut to the interval from lower to
// upper, either of which can be open (kOpenLow, kOpenHigh). The draw is exact, and the order of the numbers that it
// takes from the source is part of the result. x is untouched unless drawn.
[[nodiscard]] DrawOutcome draw_truncated_normal(double lower, double upper, double mean, double sd, double &x);

#endif
