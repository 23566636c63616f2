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

// Four results side by side, at any address of a double. Without wide registers the compiler splits it.
using Vector4 = double __attribute__((vector_size(32), aligned(8), may_alias));

inline constexpr std::size_t kVectorLength = 4;

// Numbers in a row of n, filled up to whole vectors.
[[nodiscard]] constexpr std::size_t padded_length(std::size_t n) {
    return (n + kVectorLength - 1) / kVectorLength * kVectorLength;
}

[[nodiscard]] inline const Vector4 &vector_at(const double *p) {
    return *reinterpret_cast<const Vector4 *>(p);
}
[[nodiscard]] inline Vector4 &vector_at(double *p) {
    return *reinterpret_cast<Vector4 *>(p);
}

#define ULLAGE_KERNEL_BODY static inline __attribute__((always_inline))

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
