// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The choice between instruction sets.

#include "matrix/vector_kernel.h"

#include <algorithm>

// Tests build the engine as if every processor had less.
#ifndef ULLAGE_WIDEST_KERNELS
#define ULLAGE_WIDEST_KERNELS avx512
#endif

namespace {

KernelLevel level_of_processor() {
#if defined(__x86_64__)
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx512f")) return KernelLevel::avx512;
    if (__builtin_cpu_supports("avx2")) return KernelLevel::avx2;
#endif
    return KernelLevel::baseline;
}

}  // namespace

KernelLevel kernel_level = std::min(level_of_processor(), KernelLevel::ULLAGE_WIDEST_KERNELS);
