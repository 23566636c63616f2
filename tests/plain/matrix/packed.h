// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Sizes and positions of the packed lower triangle of a symmetric matrix.

#ifndef ULLAGE_MATRIX_PACKED_H
#define ULLAGE_MATRIX_PACKED_H

#include <cstddef>
#include <cstdint>

// Elements of a packed triangle of order n; no overflow for any 32-bit n.
[[nodiscard]] constexpr std::size_t packed_size(std::int32_t n) {
    const auto order = static_cast<std::size_t>(n);
    return order * (order + 1) / 2;
}

// Position of element (i, i).
[[nodiscard]] constexpr std::size_t packed_diagonal(std::int32_t i) {
    return packed_size(i + 1) - 1;
}

#endif
