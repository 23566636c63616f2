// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Vectors of independent results for the kernels, and the choice between instruction sets.
//
// A kernel is one body, compiled once for the baseline and once with the attribute ULLAGE_AVX2. Both do the same
// operations in the same order on every element, so they give the same bits.

#ifndef ULLAGE_MATRIX_VECTOR_KERNEL_H
#define ULLAGE_MATRIX_VECTOR_KERNEL_H

#include <cstddef>
#include <cstring>

// Four results side by side. Without wide registers the compiler splits it.
using Vector4 = double __attribute__((vector_size(32)));

inline constexpr std::size_t kVectorLength = 4;

// Numbers in a row of n, filled up to whole vectors.
[[nodiscard]] constexpr std::size_t padded_length(std::size_t n) {
    return (n + kVectorLength - 1) / kVectorLength * kVectorLength;
}

#define ULLAGE_KERNEL_BODY static inline __attribute__((always_inline))

// Vectors may begin at any double.
[[nodiscard]] ULLAGE_KERNEL_BODY Vector4 load_vector(const double *from) {
    Vector4 vector;
    std::memcpy(&vector, from, sizeof vector);
    return vector;
}

ULLAGE_KERNEL_BODY void store_vector(double *to, Vector4 vector) {
    std::memcpy(to, &vector, sizeof vector);
}

#if defined(__x86_64__)
#define ULLAGE_AVX2 __attribute__((target("avx2")))
#else
#define ULLAGE_AVX2
#endif

// Cleared by tests that compare the instruction sets.
extern bool wide_kernels_allowed;

[[nodiscard]] inline bool use_wide_kernels() {
#if defined(__x86_64__)
    return wide_kernels_allowed && __builtin_cpu_supports("avx2");
#else
    return false;
#endif
}

#endif
