// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The sweep of chosen rows of a full matrix. A tile of a few rows and columns stays in registers while the pivots pass
// by: its elements are read and written once, and the row of a pivot is read once for all rows of the tile.

#include "matrix/row_sweep_kernel.h"

#include <algorithm>
#include <cmath>

#include "matrix/vector_kernel.h"

namespace {

// A longer list is taken in parts, so that the rows that a tile reads stay in the processor's nearest cache.
constexpr std::size_t kMostPivots = 32;

// Some rows with what each of them loses of the pivots' rows.
template <std::size_t row_count>
struct RowGroup {
    const double *sources[row_count];
    double *targets[row_count];
    double factors[kMostPivots][row_count];
};

// Each element loses that of the pivot's row in its column times the factor of its row.
template <typename Vector, std::size_t row_count, std::size_t vector_count>
ULLAGE_KERNEL_BODY void subtract_row(Vector (&tile)[row_count][vector_count], const double *pivot_row,
                                     const double *factors) {
    for (std::size_t v = 0; v < vector_count; ++v) {
        const Vector pivot_vector = load_vector<Vector>(pivot_row + v * kLengthOf<Vector>);
        for (std::size_t r = 0; r < row_count; ++r) tile[r][v] = tile[r][v] - pivot_vector * factors[r];
    }
}

// Pass the pivots from p on that lie in vector v of the tile; gives the next one. In the column of a pivot its own step
// multiplies.
template <std::size_t v, typename Vector, std::size_t row_count, std::size_t vector_count>
ULLAGE_KERNEL_BODY std::size_t pass_own_pivots(Vector (&tile)[row_count][vector_count],
                                               const RowGroup<row_count> &group, std::size_t j, std::size_t p,
                                               std::size_t pivot_count, const SweepPivot *pivots) {
    const std::size_t begin = j + v * kLengthOf<Vector>;
    for (; p < pivot_count && pivots[p].index < begin + kLengthOf<Vector>; ++p) {
        const double a = std::fabs(pivots[p].reciprocal);
        const auto is_column = lane_numbers<Vector>() == static_cast<std::int64_t>(pivots[p].index - begin);
        Vector multiplied[row_count];
        for (std::size_t r = 0; r < row_count; ++r) multiplied[r] = tile[r][v] * a;
        subtract_row<Vector>(tile, pivots[p].row + j, group.factors[p]);
        for (std::size_t r = 0; r < row_count; ++r) tile[r][v] = is_column ? multiplied[r] : tile[r][v];
    }
    return p;
}

// The columns from j on, one or two vectors of them.
template <typename Vector, std::size_t row_count, std::size_t vector_count>
ULLAGE_KERNEL_BODY void sweep_tile(const RowGroup<row_count> &group, std::size_t j, std::size_t pivot_count,
                                   const SweepPivot *pivots) {
    constexpr std::size_t kLength = kLengthOf<Vector>;
    Vector tile[row_count][vector_count];
    for (std::size_t r = 0; r < row_count; ++r) {
        for (std::size_t v = 0; v < vector_count; ++v) {
            tile[r][v] = load_vector<Vector>(group.sources[r] + j + v * kLength);
        }
    }
    std::size_t p = 0;
    for (; p < pivot_count && pivots[p].index < j; ++p) subtract_row<Vector>(tile, pivots[p].row + j, group.factors[p]);
    p = pass_own_pivots<0>(tile, group, j, p, pivot_count, pivots);
    if constexpr (vector_count == 2) p = pass_own_pivots<1>(tile, group, j, p, pivot_count, pivots);
    for (; p < pivot_count; ++p) subtract_row<Vector>(tile, pivots[p].row + j, group.factors[p]);
    for (std::size_t r = 0; r < row_count; ++r) {
        for (std::size_t v = 0; v < vector_count; ++v) store_vector(group.targets[r] + j + v * kLength, tile[r][v]);
    }
}

template <typename Vector, std::size_t vector_count, std::size_t row_count>
ULLAGE_KERNEL_BODY void sweep_row_group(std::size_t n, const double *source, double *target, const std::int32_t *rows,
                                        std::size_t pivot_count, const SweepPivot *pivots) {
    constexpr std::size_t kLength = kLengthOf<Vector>;
    RowGroup<row_count> group;
    for (std::size_t r = 0; r < row_count; ++r) {
        const auto begin = static_cast<std::size_t>(rows[r]) * row_stride(n);
        group.sources[r] = source + begin;
        group.targets[r] = target + begin;
    }
    for (std::size_t p = 0; p < pivot_count; ++p) {
        for (std::size_t r = 0; r < row_count; ++r) {
            group.factors[p][r] = pivots[p].row[rows[r]] * pivots[p].reciprocal;
        }
    }
    std::size_t j = 0;
    for (; j + (vector_count - 1) * kLength < n; j += vector_count * kLength) {
        sweep_tile<Vector, row_count, vector_count>(group, j, pivot_count, pivots);
    }
    if (j < n) sweep_tile<Vector, row_count, 1>(group, j, pivot_count, pivots);
}

// Sweep on one pivot alone, row by row: a tile would cost more than it saves.
template <typename Vector>
ULLAGE_KERNEL_BODY void sweep_rows_on_one(std::size_t n, const double *from, double *to, std::size_t row_count,
                                          const std::int32_t *rows, const SweepPivot &pivot) {
    constexpr std::size_t kLength = kLengthOf<Vector>;
    const std::size_t own = pivot.index / kLength * kLength;  // the vector that the pivot's column lies in
    const auto is_column = lane_numbers<Vector>() == static_cast<std::int64_t>(pivot.index - own);
    const double a = std::fabs(pivot.reciprocal);
    for (std::size_t r = 0; r < row_count; ++r) {
        const auto begin = static_cast<std::size_t>(rows[r]) * row_stride(n);
        const double *source = from + begin;
        double *target = to + begin;
        const double factor = pivot.row[rows[r]] * pivot.reciprocal;
        const Vector before = load_vector<Vector>(source + own);
        for (std::size_t j = 0; j < n; j += kLength) {
            store_vector(target + j, load_vector<Vector>(source + j) - load_vector<Vector>(pivot.row + j) * factor);
        }
        const Vector after = before - load_vector<Vector>(pivot.row + own) * factor;
        const Vector multiplied = before * a;
        store_vector(target + own, is_column ? multiplied : after);
    }
}

template <typename Vector, std::size_t vector_count>
ULLAGE_KERNEL_BODY void sweep_rows_body(std::size_t n, const double *from, double *to, std::size_t row_count,
                                        const std::int32_t *rows, std::size_t pivot_count, const SweepPivot *pivots) {
    if (pivot_count == 1) return sweep_rows_on_one<Vector>(n, from, to, row_count, rows, *pivots);
    while (pivot_count > 0) {
        const std::size_t count = std::min(pivot_count, kMostPivots);
        std::size_t r = 0;
        for (; r + 4 <= row_count; r += 4) {
            sweep_row_group<Vector, vector_count, 4>(n, from, to, rows + r, count, pivots);
        }
        for (; r + 2 <= row_count; r += 2) {
            sweep_row_group<Vector, vector_count, 2>(n, from, to, rows + r, count, pivots);
        }
        if (r < row_count) sweep_row_group<Vector, vector_count, 1>(n, from, to, rows + r, count, pivots);
        from = to;
        pivots += count;
        pivot_count -= count;
    }
}

void sweep_rows_baseline(std::size_t n, const double *from, double *to, std::size_t row_count, const std::int32_t *rows,
                         std::size_t pivot_count, const SweepPivot *pivots) {
    sweep_rows_body<Vector2, 2>(n, from, to, row_count, rows, pivot_count, pivots);
}

ULLAGE_AVX2 void sweep_rows_avx2(std::size_t n, const double *from, double *to, std::size_t row_count,
                                 const std::int32_t *rows, std::size_t pivot_count, const SweepPivot *pivots) {
    sweep_rows_body<Vector4, 2>(n, from, to, row_count, rows, pivot_count, pivots);
}

ULLAGE_AVX512 void sweep_rows_avx512(std::size_t n, const double *from, double *to, std::size_t row_count,
                                     const std::int32_t *rows, std::size_t pivot_count, const SweepPivot *pivots) {
    sweep_rows_body<Vector8, 2>(n, from, to, row_count, rows, pivot_count, pivots);
}

}  // namespace

void sweep_rows_kernel(std::size_t n, const double *from, double *to, std::size_t row_count, const std::int32_t *rows,
                       std::size_t pivot_count, const SweepPivot *pivots) {
    body_for_level(sweep_rows_baseline, sweep_rows_avx2, sweep_rows_avx512)(n, from, to, row_count, rows, pivot_count,
                                                                            pivots);
}
