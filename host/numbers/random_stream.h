// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Random numbers named by what they are for: one stream per seed, purpose, chain, iteration and block.

#ifndef ULLAGE_HOST_NUMBERS_RANDOM_STREAM_H
#define ULLAGE_HOST_NUMBERS_RANDOM_STREAM_H

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace ullage::host {

/** Goes up whenever the same seed would give other results; recorded with every run. */
inline constexpr std::uint32_t kStreamVersion = 5;
/** Part of every key; goes up with kStreamVersion where all numbers are to change. */
inline constexpr std::uint32_t kKeyVersion = 2;

/** What the numbers of a stream decide. The values are part of the stream: never changed, never used again. */
enum class StreamPurpose : std::uint32_t {
    start = 1,       ///< the parameters that a chain starts from
    cells = 2,       ///< the hidden cells of a block of rows
    parameters = 3,  ///< the parameters of a level
    overimpute = 4,  ///< the observed cells of a column that are hidden
    refused = 5,     ///< rows that break the rules, for a block of rows and a sweep
    ruled = 6,       ///< the parameters of the variables with rules, for a level and a sweep
    components = 8,  ///< the components of a block of rows
    apply = 9,       ///< the hidden cells of a block of new rows, for an imputation (as chain) and a part of the file
};

/** The name of a stream. Streams of different names are independent. */
struct StreamKey {
    std::uint64_t seed;
    StreamPurpose purpose;
    std::uint64_t chain;      ///< from 1
    std::uint64_t iteration;  ///< from 1; 0 before the first
    std::uint64_t block;      ///< a block of rows, or a level, from 0
};

/** The right edges of the normal density's layers of equal area, from the lowest, which counts the tail, to 0. */
using LayerEdges = std::array<double, 257>;
extern const LayerEdges kLayerEdges;

/**
 * A counter-based stream (Philox4x64-10; Salmon, Moraes, Dror, Shaw 2011) as a standard generator of 64 random bits.
 *
 * Its numbers depend on its key alone and have the same bits on every platform: they are made by +, -, *, / and square
 * roots, with no function of a library. No operation fails.
 */
class RandomStream {
public:
    explicit RandomStream(const StreamKey &key) { restart(key); }

    /** Go to the beginning of another stream. */
    void restart(const StreamKey &key);

    using result_type = std::uint64_t;
    static constexpr result_type min() { return 0; }
    static constexpr result_type max() { return std::numeric_limits<result_type>::max(); }
    result_type operator()() {
        if (next_ == words_.size()) refill();
        return words_[next_++];
    }

    /** Uniform on the open unit interval: the middles of 2^52 equal parts. */
    double uniform() { return (static_cast<double>((*this)() >> 12) + 0.5) * 0x1p-52; }
    /**
     * Standard normal, by the ziggurat of 256 layers (Marsaglia and Tsang 2000, Journal of Statistical Software 5(8));
     * layer and place come from different bits of a word (Doornik 2005, "An improved ziggurat method").
     */
    double normal() {
        const std::uint64_t word = (*this)();
        const std::size_t layer = word & 255;
        const double place = (static_cast<double>(static_cast<std::int64_t>(word) >> 11) + 0.5) * 0x1p-52;
        const double x = place * kLayerEdges[layer];
        return std::fabs(x) < kLayerEdges[layer + 1] ? x : normal_outside(layer, x);
    }
    /** Chi-squared with degrees above 0 (Marsaglia and Tsang 2000, ACM Transactions on Mathematical Software 26(3)). It
     * can be 0 where the degrees are below 0.1. */
    double chi_squared(double degrees);

private:
    void refill();
    double normal_outside(std::size_t layer, double x);

    std::array<std::uint64_t, 2> key_{};
    std::array<std::uint64_t, 4> counter_{};
    std::array<std::uint64_t, 64> words_{};
    std::size_t next_ = 0;
};

}  // namespace ullage::host

#endif
