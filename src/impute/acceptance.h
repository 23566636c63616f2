// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The acceptance tests of rejection sampling, mostly without a call of exp or log.

#ifndef ULLAGE_IMPUTE_ACCEPTANCE_H
#define ULLAGE_IMPUTE_ACCEPTANCE_H

#include <cmath>

// Far more than the error of exp, of log and of the polynomials below, and far less than what a draw notices.
inline constexpr double kSqueezeMargin = 1e-9;

enum class Squeeze { above, below, undecided };

// Where v stands against exp(y), as far as the Taylor polynomials of degree 3 and 4 can tell, which bound exp from both
// sides for y <= 0. They spare most calls of exp and log and never decide otherwise than the call would have.
inline Squeeze squeeze(double y, double v) {
    if (!(y >= -1.0 && y <= 0.0)) return Squeeze::undecided;
    const double y2 = y * y;
    const double low = (1.0 + y) + y2 * (0.5 + y * (1.0 / 6.0));
    if (v < low - kSqueezeMargin) return Squeeze::below;
    if (v > low + y2 * y2 * (1.0 / 24.0) + kSqueezeMargin) return Squeeze::above;
    return Squeeze::undecided;
}

// exp(y) > v
inline bool exp_exceeds(double y, double v) {
    const Squeeze position = squeeze(y, v);
    return position == Squeeze::undecided ? std::exp(y) > v : position == Squeeze::below;
}

// y > ln v, which is false for a negative v
inline bool exceeds_log(double y, double v) {
    const Squeeze position = v > 0.0 ? squeeze(y, v) : Squeeze::undecided;
    return position == Squeeze::undecided ? y > std::log(v) : position == Squeeze::below;
}

#endif
