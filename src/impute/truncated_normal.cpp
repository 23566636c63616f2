// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// One draw from a normal distribution cut to an interval, by a selector over five ways of rejection sampling
// (the method of Geweke 1991 with the refinements of Robert 1995 for tails).

#include "impute/truncated_normal.h"

#include <cmath>

#include "frame/session_state.h"
#include "impute/random_source.h"

namespace {

// ln 2.18. Uniform rejection is taken while the density at a is below 2.18 times the density at b.
constexpr double kLogDensityRatio = 0.7793248768009977;

// Far more than the error of exp, of log and of the polynomials below, and far less than what a draw notices.
constexpr double kSqueezeMargin = 1e-9;

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

double draw_uniform_rejection(double a, double b) {
    if (a == b) return a;
    double c = 0.0;  // square of the point of the interval nearest to 0
    if (a >= 0.0) {
        c = a * a;
    } else if (b <= 0.0) {
        c = b * b;
    }
    const double w = b - a;
    for (;;) {
        const double u = next_uniform();
        const double x = w * u + a;
        const double v = next_uniform();
        if (exp_exceeds(-0.5 * (x * x - c), v)) return x;
    }
}

double draw_exponential_rejection(double a, double b) {
    if (a == b) return a;
    const double s = -1.0 / a;
    const double m = 1.0 - std::exp(-(a * (b - a)));
    for (;;) {
        const double u = next_uniform();
        const double t = s * std::log(1.0 - u * m);
        const double v = next_uniform();
        if (exceeds_log(-0.5 * t * t, v)) return t + a;
    }
}

double draw_exponential_tail(double a) {
    const double s = -1.0 / a;
    for (;;) {
        const double u = next_uniform();
        const double t = s * std::log(u);
        const double v = next_uniform();
        if (exceeds_log(-0.5 * t * t, v)) return t + a;
    }
}

double draw_normal_above(double a) {
    for (;;) {
        const double z = next_standard_normal();
        if (z > a) return z;
    }
}

double draw_normal_between(double a, double b) {
    for (;;) {
        const double z = next_standard_normal();
        if (z > a && z < b) return z;
    }
}

double draw_half_normal_above(double a) {
    for (;;) {
        const double z = std::fabs(next_standard_normal());
        if (z > a) return z;
    }
}

double draw_half_normal_between(double a, double b) {
    for (;;) {
        const double z = std::fabs(next_standard_normal());
        if (z > a && z < b) return z;
    }
}

}  // namespace

double draw_truncated_standard(double a, double b) {
    // The rows are tried from the top, and the sense of each comparison is part of the choice.
    if (b == kOpenHigh) {
        if (a == kOpenLow) return next_standard_normal();
        if (a > 0.75) return draw_exponential_tail(a);
        if (a > 0.0) return draw_half_normal_above(a);
        return draw_normal_above(a);
    }
    if (a < -1.4) return draw_normal_between(a, b);
    if (a < 0.0) return b > 1.4 ? draw_normal_between(a, b) : draw_uniform_rejection(a, b);
    if ((a * a - b * b) * -0.5 < kLogDensityRatio) return draw_uniform_rejection(a, b);
    if (a < 0.725) return draw_half_normal_between(a, b);
    return draw_exponential_rejection(a, b);
}

DrawOutcome draw_truncated_normal(double lower, double upper, double mean, double sd, double &x) {
    const double a = lower == kOpenLow ? lower : (lower - mean) / sd;
    const double b = upper == kOpenHigh ? upper : (upper - mean) / sd;
    if (!(a <= b)) return DrawOutcome::no_interval;
    const bool is_point = a == b && a != kOpenLow && b != kOpenHigh;
    if (state.random_source == nullptr && !is_point) return DrawOutcome::no_source;

    if (a == kOpenLow && b != kOpenHigh) {
        x = -draw_truncated_standard(-b, kOpenHigh) * sd + mean;
    } else if (b < 0.0) {
        x = -draw_truncated_standard(-b, -a) * sd + mean;
    } else {
        x = draw_truncated_standard(a, b) * sd + mean;
    }
    return DrawOutcome::drawn;
}
