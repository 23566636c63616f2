// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Random sources of tests: one that delivers a script and records who asked, and one that draws from a seed.

#ifndef ULLAGE_TESTS_SUPPORT_RANDOM_SOURCES_H
#define ULLAGE_TESTS_SUPPORT_RANDOM_SOURCES_H

#include <ullage/random_source.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <utility>
#include <vector>

inline constexpr std::int32_t kNoInterface = INT32_MIN + 0x4002;
inline constexpr std::int32_t kOutOfNumbers = -77;

// The parts that every source of a test shares. It has no error object, and the engine must not count references.
struct TestSource : RandomSource {
    std::string calls;  // U uniform, N standard normal, M multivariate normal
    int references = 0;
    int interfaces_asked = 0;

    std::int32_t QueryInterface(const DS_Guid *, void **) override {
        ++interfaces_asked;
        return kNoInterface;
    }
    std::uint32_t AddRef() override { return static_cast<std::uint32_t>(++references); }
    std::uint32_t Release() override { return static_cast<std::uint32_t>(--references); }

protected:
    ~TestSource() = default;
};

// Delivers given numbers, whoever asks, and fails when they are used up. A vector is mean + root z, summed from the
// left, with z from the script.
struct ScriptedSource final : TestSource {
    explicit ScriptedSource(std::vector<double> script) : numbers(std::move(script)) {}

    std::vector<double> numbers;
    std::size_t used = 0;

    std::int32_t next(double *out) {
        if (used == numbers.size()) return kOutOfNumbers;
        *out = numbers[used++];
        return 0;
    }
    std::int32_t NextUniform(double *out) override {
        calls += 'U';
        return next(out);
    }
    std::int32_t NextStandardNormal(double *out) override {
        calls += 'N';
        return next(out);
    }
    std::int32_t NextMultivariateNormal(std::int32_t n, double *out, const double *mean, const double *root) override {
        calls += 'M';
        std::vector<double> z(static_cast<std::size_t>(n));
        for (double &number : z) {
            if (const std::int32_t status = next(&number); status < 0) return status;
        }
        for (std::int32_t i = 0; i < n; ++i) {
            out[i] = mean[i];
            for (std::int32_t j = 0; j <= i; ++j) out[i] += *root++ * z[static_cast<std::size_t>(j)];
        }
        return 0;
    }
};

// Draws from a seed, and fails at its fail_at-th call, counted from 1. Normal numbers come from the polar method.
struct SeededSource final : TestSource {
    explicit SeededSource(std::uint64_t seed, int failing_call = 0, std::int32_t status = kOutOfNumbers)
        : engine(seed), fail_at(failing_call), failure(status) {}

    std::mt19937_64 engine;
    int fail_at;
    std::int32_t failure;
    int call_count = 0;

    double uniform() { return static_cast<double>(engine() >> 11) * 0x1p-53; }
    double normal() {
        for (;;) {
            const double x = 2.0 * uniform() - 1.0;
            const double y = 2.0 * uniform() - 1.0;
            const double s = x * x + y * y;
            if (s > 0.0 && s < 1.0) return x * std::sqrt(-2.0 * std::log(s) / s);
        }
    }
    std::int32_t NextUniform(double *out) override {
        if (++call_count == fail_at) return failure;
        *out = uniform();
        return 0;
    }
    std::int32_t NextStandardNormal(double *out) override {
        if (++call_count == fail_at) return failure;
        *out = normal();
        return 0;
    }
    std::int32_t NextMultivariateNormal(std::int32_t n, double *out, const double *mean, const double *root) override {
        if (++call_count == fail_at) return failure;
        vector.clear();
        for (std::int32_t i = 0; i < n; ++i) {
            vector.push_back(normal());
            out[i] = mean[i];
            for (double z : vector) out[i] += *root++ * z;
        }
        return 0;
    }

    std::vector<double> vector;
};

#endif
