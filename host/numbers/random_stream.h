// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Random numbers named by what they are for: one stream per seed, purpose, chain, iteration and block.

#ifndef ULLAGE_HOST_NUMBERS_RANDOM_STREAM_H
#define ULLAGE_HOST_NUMBERS_RANDOM_STREAM_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace ullage::host {

/** Goes up whenever the same key would give other numbers; recorded with every run. */
inline constexpr std::uint32_t kStreamVersion = 1;

/** What the numbers of a stream decide. The values are part of the stream: never changed, never used again. */
enum class StreamPurpose : std::uint32_t {
    start = 1,       ///< the parameters that a chain starts from
    cells = 2,       ///< the hidden cells of a block of rows
    parameters = 3,  ///< the parameters of a level
    overimpute = 4,  ///< the observed cells of a column that are hidden
};

/** The name of a stream. Streams of different names are independent. */
struct StreamKey {
    std::uint64_t seed;
    StreamPurpose purpose;
    std::uint64_t chain;      ///< from 1
    std::uint64_t iteration;  ///< from 1; 0 before the first
    std::uint64_t block;      ///< a block of rows, or a level, from 0
};

/**
 * A counter-based stream (Philox4x64-10; Salmon, Moraes, Dror, Shaw 2011) as a standard generator of 64 random bits.
 *
 * Its numbers depend on its key alone and are the same on every platform up to the last bit of exp and log, which the
 * wedge and tail of the normal sampler use. No operation fails.
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
    /** Standard normal. */
    double normal();
    /** Chi-squared with degrees above 0. */
    double chi_squared(double degrees);

private:
    void refill();

    std::array<std::uint64_t, 2> key_{};
    std::array<std::uint64_t, 4> counter_{};
    std::array<std::uint64_t, 64> words_{};
    std::size_t next_ = 0;
};

}  // namespace ullage::host

#endif
