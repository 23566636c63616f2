// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Triangular matrices against their definitions.

#include "ullage/host/numbers/triangular.h"

#include <gtest/gtest.h>

#include <vector>

#include "ullage/host/numbers/moments.h"
#include "ullage/host/numbers/random_stream.h"

using namespace ullage::host;

namespace {

TEST(Triangular, RootSquareAndQuotientUndoEachOther) {
    RandomStream random({3, StreamPurpose::cells, 1, 1, 0});
    for (const std::size_t n : {1, 2, 3, 7, 20}) {
        const auto lower = [&] {
            std::vector<double> matrix(packed_size(n));
            for (double &element : matrix) element = random.normal();
            for (std::size_t i = 0; i < n; ++i) matrix[packed_index(i, i)] = 2.0 + random.uniform();
            return matrix;
        };
        const std::vector<double> a = lower();
        std::vector<double> root(a.size());
        square_of_root(a, root, n);
        for (std::size_t i = 0; i < n; ++i) {
            for (std::size_t j = 0; j <= i; ++j) {
                double sum = 0.0;
                for (std::size_t k = 0; k <= j; ++k) sum += a[packed_index(i, k)] * a[packed_index(j, k)];
                EXPECT_NEAR(root[packed_index(i, j)], sum, 1e-12);
            }
        }
        ASSERT_TRUE(take_root(root, n));
        for (std::size_t i = 0; i < a.size(); ++i) EXPECT_NEAR(root[i], a[i], 1e-9) << n;
        const std::vector<double> b = lower();
        std::vector<double> quotient = a;
        divide_from_right(quotient, b, n);
        for (std::size_t i = 0; i < n; ++i) {
            for (std::size_t j = 0; j <= i; ++j) {
                double sum = 0.0;
                for (std::size_t k = j; k <= i; ++k) sum += quotient[packed_index(i, k)] * b[packed_index(k, j)];
                EXPECT_NEAR(sum, a[packed_index(i, j)], 1e-6) << n;
            }
        }
    }
    std::vector<double> indefinite{1.0, 2.0, 3.0};
    EXPECT_FALSE(take_root(indefinite, 2));
}

}  // namespace
