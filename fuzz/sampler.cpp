// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Fuzzes the truncated draw: interval, mean, standard deviation and the first numbers of the source come from the
// bytes. Oracle: the outcome follows from the interval, the result lies in it, and the rejection loops end.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>

#include "frame/session_state.h"
#include "impute/random_source.h"
#include "impute/truncated_normal.h"
#include "support/byte_feed.h"
#include "support/failure.h"
#include "support/random_sources.h"

namespace {

// Every way of drawing accepts a trial with a chance above 0.3, so this many numbers are never needed.
constexpr std::size_t kMostNumbers = 1000;

// Numbers out of the fuzzer's bytes first, which steer the rejection loops, then numbers from a seed, which end them.
struct SteeredSource final : TestSource {
    SteeredSource(std::basic_string<std::uint8_t> steering, std::uint64_t seed)
        : steps(std::move(steering)), rest(seed) {}

    std::int32_t NextUniform(double *out) override {
        static constexpr double kEdges[] = {0.0, 1.0, 0x1p-53, 1.0 - 0x1p-53, 0x1p-1074};
        count('U');
        if (calls.size() > steps.size()) return rest.NextUniform(out);
        const std::uint8_t step = steps[calls.size() - 1];
        *out = step < std::size(kEdges) ? kEdges[step] : step / 256.0;
        return 0;
    }
    std::int32_t NextStandardNormal(double *out) override {
        count('N');
        if (calls.size() > steps.size()) return rest.NextStandardNormal(out);
        *out = (steps[calls.size() - 1] - 128) / 16.0;
        return 0;
    }
    std::int32_t NextMultivariateNormal(std::int32_t, double *, const double *, const double *) override {
        fail("a truncated draw asked for a vector");
    }

    void count(char kind) {
        calls += kind;
        if (calls.size() > steps.size() + kMostNumbers) fail("a rejection loop does not end");
    }

    std::basic_string<std::uint8_t> steps;
    SeededSource rest;
};

double number(ByteFeed &feed) {
    static constexpr double kSpecial[] = {0.0,
                                          -0.0,
                                          0.725,
                                          0.75,
                                          1.4,
                                          -1.4,
                                          0x1p-1074,
                                          1e300,
                                          -1e300,
                                          std::numeric_limits<double>::max(),
                                          std::numeric_limits<double>::infinity(),
                                          std::numeric_limits<double>::quiet_NaN()};
    switch (feed.byte() % 4) {
        case 0:
            return feed.raw_double();
        case 1:
            return feed.pick(kSpecial);
        default:
            return (feed.byte() - 128) / 16.0 + feed.byte() * 0x1p-40;
    }
}

bool is_end(double end, double open_end) {
    return end == open_end || std::isfinite(end);
}

// How far rounding can carry a tail draw past the far end, in standard units. The proposal takes the logarithm of
// 1 - u * m, and where the interval spans nearly the whole tail that difference has few digits left when u is near 1.
double tail_slack(double a, double b) {
    const double near = std::min(std::fabs(a), std::fabs(b));
    if (a < 0.0 && b > 0.0) return 0.0;
    const double lost = 0x1p-51 * std::exp(near * (b - a));
    return lost < 0.5 ? 2.0 * lost / near : 2.0 / near;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    ByteFeed feed(data, size);
    const std::uint8_t kinds = feed.byte();
    const double mean = (kinds & 1) != 0 ? 0.0 : number(feed);
    const double sd = (kinds & 2) != 0 ? 1.0 : std::fabs(number(feed));
    const double lower = (kinds & 4) != 0 ? kOpenLow : number(feed);
    double upper = (kinds & 8) != 0 ? kOpenHigh : number(feed);
    if ((kinds & 16) != 0) upper = lower + std::fabs(upper) * 0x1p-50;  // narrow, down to a point
    const bool has_source = (kinds & 0xE0) != 0xE0;
    const std::uint8_t seed = feed.byte();
    SteeredSource source(feed.take(32), seed);
    if (lower > upper) return 0;  // the callers see to this

    const double a = lower == kOpenLow ? lower : (lower - mean) / sd;
    const double b = upper == kOpenHigh ? upper : (upper - mean) / sd;
    const bool is_point = a == b && a != kOpenLow && b != kOpenHigh;
    constexpr double kUntouched = 0x1.23456789abcdep+100;
    double x = kUntouched;
    set_random_source(has_source ? &source : nullptr);
    const DrawOutcome outcome = draw_truncated_normal(lower, upper, mean, sd, x);

    if (!(a <= b)) {
        if (outcome != DrawOutcome::no_interval || x != kUntouched)
            fail("[%a, %a] is no interval, but was drawn from", a, b);
        return 0;
    }
    if (!has_source && !is_point) {
        if (outcome != DrawOutcome::no_source || x != kUntouched) fail("something was drawn without a source");
        return 0;
    }
    if (outcome != DrawOutcome::drawn) fail("nothing was drawn from [%a, %a]", a, b);
    if (is_point && !source.calls.empty()) fail("a point took %zu numbers", source.calls.size());
    const bool mixes = source.calls.find('U') != std::string::npos && source.calls.find('N') != std::string::npos;
    if (mixes || (source.calls.starts_with('U') && source.calls.size() % 2 != 0)) {
        fail("no way of drawing makes the calls %s", source.calls.c_str());
    }

    // Where standard units overflow there is nothing to compare with.
    const bool is_comparable = is_end(lower, kOpenLow) && is_end(upper, kOpenHigh) && std::isfinite(mean) && sd > 0.0 &&
                               std::isfinite(sd) && std::isfinite(a) && std::isfinite(b);
    if (!is_comparable) return 0;
    const double low = lower == kOpenLow ? 0.0 : lower;
    const double high = upper == kOpenHigh ? 0.0 : upper;
    // To standard units and back: a few roundings, each relative to the largest number in it.
    const double slack = sd * tail_slack(a, b) +
                         0x1p-50 * (std::fabs(mean) + std::fabs(low) + std::fabs(high) + std::fabs(x)) +
                         0x1p-1071 * (1.0 + sd);
    if (!(x >= lower - slack && x <= upper + slack))
        fail("%a drawn from [%a, %a], mean %a, sd %a", x, lower, upper, mean, sd);
    return 0;
}
