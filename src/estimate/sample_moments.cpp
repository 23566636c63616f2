// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// DS_SampleMoments: means and covariance of what the cases hold.

#include <algorithm>
#include <cstddef>

#include "data/case_record.h"
#include "frame/session_state.h"
#include "matrix/cross_product_kernel.h"
#include "matrix/packed.h"
#include "matrix/vector_kernel.h"

namespace {

// The selected cases of a group, some at a time, as rows that are filled up with zeros to whole vectors.
struct CaseBlocks {
    static constexpr std::size_t kRows = 64;  // few enough to stay in the processor's nearest cache

    const Group &group;
    std::int32_t group_number;
    std::size_t next;  // position of the next case
    std::size_t variable_count;
    std::size_t stride;
    double *rows;  // kRows rows of stride doubles
};

// Copy the next cases, less what is to be subtracted from each variable if there is anything; gives their number.
std::size_t next_block(CaseBlocks &blocks, const double *subtrahend) {
    const auto case_count = static_cast<std::size_t>(blocks.group.case_count);
    std::size_t count = 0;
    for (; blocks.next < case_count && count < CaseBlocks::kRows; ++blocks.next) {
        if (!is_selected(blocks.group, blocks.next, blocks.group_number)) continue;
        const double *values = blocks.group.outlines[blocks.next].values;
        double *row = blocks.rows + count++ * blocks.stride;
        if (subtrahend == nullptr) {
            std::copy_n(values, blocks.variable_count, row);
        } else {
            for (std::size_t i = 0; i < blocks.variable_count; ++i) row[i] = values[i] - subtrahend[i];
        }
    }
    return count;
}

}  // namespace

int32_t DS_SampleMoments(int32_t group_number, double *means, double *covariance, int32_t divisor_flag) {
    const Group *group = enter_group(group_number);
    if (group == nullptr || !is_loaded(*group) || means == nullptr || covariance == nullptr) return 1;
    const auto nv = static_cast<std::size_t>(group->variable_count);
    const std::size_t stride = padded_length(nv);
    RegionPool &pool = state.WorkPool;
    pool_mark(pool);
    const PoolMarkGuard release(pool);
    auto *sums = pool_array<double>(pool, stride);
    auto *products = pool_array<double>(pool, checked_product(stride, stride));
    auto *rows = pool_array<double>(pool, checked_product(CaseBlocks::kRows, stride));
    std::fill_n(sums, stride, 0.0);
    std::fill_n(products, stride * stride, 0.0);
    std::fill_n(rows, CaseBlocks::kRows * stride, 0.0);

    double n = 0.0;
    CaseBlocks blocks{*group, group_number, 0, nv, stride, rows};
    while (const std::size_t count = next_block(blocks, nullptr)) {
        add_rows_kernel(count, stride, rows, sums);
        n = n + static_cast<double>(count);
    }
    const double mean_factor = 1.0 / n;
    for (std::size_t i = 0; i < nv; ++i) means[i] = sums[i] * mean_factor;

    blocks.next = 0;
    while (const std::size_t count = next_block(blocks, means)) {
        add_cross_products_kernel(count, stride, rows, products);
    }
    const double covariance_factor = divisor_flag == 0 ? 1.0 / n : 1.0 / (n - 1.0);
    for (std::size_t i = 0; i < nv; ++i) {
        for (std::size_t j = 0; j <= i; ++j) *covariance++ = products[i * stride + j] * covariance_factor;
    }
    return 0;
}
