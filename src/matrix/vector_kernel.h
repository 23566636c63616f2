// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Vectors of independent results for the kernels, and the choice between instruction sets.
//
// A kernel is one body, compiled for the baseline, with the attribute ULLAGE_AVX2 and, where that gains enough, with
// ULLAGE_AVX512. All do the same operations in the same order on every element, so they give the same bits.

#ifndef ULLAGE_MATRIX_VECTOR_KERNEL_H
#define ULLAGE_MATRIX_VECTOR_KERNEL_H

#include <cstddef>
#include <cstdint>
#include <cstring>

// Two, four or eight results side by side. Without registers of that width the compiler splits them.
using Vector2 = double __attribute__((vector_size(16)));
using Vector4 = double __attribute__((vector_size(32)));
using Vector8 = double __attribute__((vector_size(64)));

inline constexpr std::size_t kVectorLength = 4;

template <typename Vector>
inline constexpr std::size_t kLengthOf = sizeof(Vector) / sizeof(double);

// Numbers in a row of n, filled up to whole vectors of some length.
[[nodiscard]] constexpr std::size_t padded_length(std::size_t n, std::size_t length = kVectorLength) {
    return (n + length - 1) / length * length;
}

#define ULLAGE_KERNEL_BODY static inline __attribute__((always_inline))

// Vectors may begin at any double.
template <typename Vector>
[[nodiscard]] ULLAGE_KERNEL_BODY Vector load_vector(const double *from) {
    Vector vector;
    std::memcpy(&vector, from, sizeof vector);
    return vector;
}

template <typename Vector>
ULLAGE_KERNEL_BODY void store_vector(double *to, Vector vector) {
    std::memcpy(to, &vector, sizeof vector);
}

// 0, 1, 2, ... as whole numbers of the same width.
template <typename Vector>
[[nodiscard]] ULLAGE_KERNEL_BODY auto lane_numbers() {
    decltype(Vector{} == Vector{}) lanes;
    for (std::size_t i = 0; i < kLengthOf<Vector>; ++i) lanes[i] = static_cast<std::int64_t>(i);
    return lanes;
}

#if defined(__x86_64__)
#define ULLAGE_AVX2 __attribute__((target("avx2")))
#define ULLAGE_AVX512 __attribute__((target("avx512f")))
#else
#define ULLAGE_AVX2
#define ULLAGE_AVX512
#endif

enum class KernelLevel { baseline, avx2, avx512 };

// The widest that the processor has. Tests that compare the instruction sets lower it.
extern KernelLevel kernel_level;

// The body to be run of those that a kernel has.
template <typename Kernel>
[[nodiscard]] inline Kernel *body_for_level(Kernel *baseline, Kernel *avx2, Kernel *avx512) {
    return kernel_level == KernelLevel::avx512 ? avx512 : kernel_level == KernelLevel::avx2 ? avx2 : baseline;
}

#endif
