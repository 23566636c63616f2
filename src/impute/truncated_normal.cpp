// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// One draw from a normal distribution cut to an interval, by a selector over five ways of rejection sampling
// (the method of Geweke 1991 with the refinements of Robert 1995 for tails).

#include "impute/truncated_normal.h"

#include <cmath>

#include "frame/session_state.h"
#include "impute/acceptance.h"
#include "impute/random_source.h"

namespace {

// ln 2.18. Uniform rejection is taken while the density at a is below 2.18 times the density at b.
constexpr double kLogDensityRatio = 0.7793248768009977;

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

// One draw from the standard normal distribution; b must not be negative.
double draw_truncated_standard(double a, double b) {
    // The rows are tried from the top, and the sense of each comparison is part of the choice.
    if (is_marker(b, kOpenHigh)) {
        if (is_marker(a, kOpenLow)) return next_standard_normal();
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

}  // namespace

DrawOutcome draw_truncated_normal(double lower, double upper, double mean, double sd, double &x) {
    const double a = is_marker(lower, kOpenLow) ? lower : (lower - mean) / sd;
    const double b = is_marker(upper, kOpenHigh) ? upper : (upper - mean) / sd;
    if (!(a <= b)) return DrawOutcome::no_interval;
    if (state.random_source == nullptr) {
        const bool is_point = a == b && !is_marker(a, kOpenLow) && !is_marker(b, kOpenHigh);
        if (!is_point) return DrawOutcome::no_source;
    }
    // An interval that is open below alone, or lies below zero, is drawn from its mirror image. The open ends are
    // mirror images of each other.
    const bool is_mirrored = is_marker(a, kOpenLow) ? !is_marker(b, kOpenHigh) : b < 0.0;
    const double z = draw_truncated_standard(is_mirrored ? -b : a, is_mirrored ? -a : b);
    x = (is_mirrored ? -z : z) * sd + mean;
    return DrawOutcome::drawn;
}
