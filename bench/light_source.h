// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// A random source that costs little, so that benchmarks measure the engine.

#ifndef ULLAGE_BENCH_LIGHT_SOURCE_H
#define ULLAGE_BENCH_LIGHT_SOURCE_H

#include <ullage/random_source.h>

#include <bit>
#include <boost/random/normal_distribution.hpp>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

// xoshiro256++ (Blackman and Vigna 2018), its state filled by splitmix64 as its authors advise.
class Xoshiro {
public:
    using result_type = std::uint64_t;

    explicit Xoshiro(std::uint64_t seed) {
        for (std::uint64_t &word : state_) {
            std::uint64_t z = seed += 0x9E3779B97F4A7C15;
            z = (z ^ z >> 30) * 0xBF58476D1CE4E5B9;
            z = (z ^ z >> 27) * 0x94D049BB133111EB;
            word = z ^ z >> 31;
        }
    }

    static constexpr result_type min() { return 0; }
    static constexpr result_type max() { return std::numeric_limits<result_type>::max(); }

    result_type operator()() {
        const std::uint64_t result = std::rotl(state_[0] + state_[3], 23) + state_[0];
        const std::uint64_t t = state_[1] << 17;
        state_[2] ^= state_[0];
        state_[3] ^= state_[1];
        state_[1] ^= state_[2];
        state_[0] ^= state_[3];
        state_[2] ^= t;
        state_[3] = std::rotl(state_[3], 45);
        return result;
    }

    double uniform() { return static_cast<double>((*this)() >> 11) * 0x1p-53; }

private:
    std::uint64_t state_[4];
};

// Uniform numbers from the generator, normal ones by Boost's ziggurat.
struct LightSource final : RandomSource {
    explicit LightSource(std::uint64_t seed) : generator(seed) {}

    std::int32_t QueryInterface(const DS_Guid *, void **) override { return -1; }
    std::uint32_t AddRef() override { return 1; }
    std::uint32_t Release() override { return 1; }
    std::int32_t NextUniform(double *out) override {
        *out = generator.uniform();
        return 0;
    }
    std::int32_t NextStandardNormal(double *out) override {
        *out = normal(generator);
        return 0;
    }
    std::int32_t NextMultivariateNormal(std::int32_t n, double *out, const double *mean, const double *root) override {
        const auto size = static_cast<std::size_t>(n);
        if (z.size() < size) z.resize(size);
        for (std::size_t i = 0; i < size; ++i) z[i] = normal(generator);
        for (std::size_t i = 0; i < size; ++i) {
            double sum = mean[i];
            const double *numbers = z.data();
#pragma omp simd reduction(+ : sum)
            for (std::size_t j = 0; j <= i; ++j) sum += root[j] * numbers[j];
            out[i] = sum;
            root += i + 1;
        }
        return 0;
    }

    Xoshiro generator;
    boost::random::normal_distribution<double> normal;
    std::vector<double> z;
};

#endif
