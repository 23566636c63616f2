// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The kernels on small matrices whose answers can be found by hand: pivots at and beside the tolerance, dependent and
// constant variables, values that are not finite.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "matrix/packed_inverse_kernel.h"
#include "matrix/packed_kernel.h"
#include "matrix/sweep_kernel.h"
#include "support/bits.h"

namespace {

using Numbers = std::vector<double>;

constexpr double kTolerance = 1e-15;
constexpr double kInfinity = std::numeric_limits<double>::infinity();
const double kNaN = std::nan("");

// Where a zero comes from decides its sign, which no reader of an inverse looks at.
void expect_elements(const Numbers &got, const Numbers &expected) {
    ASSERT_EQ(got.size(), expected.size());
    for (std::size_t i = 0; i < got.size(); ++i) {
        SCOPED_TRACE(i);
        if (expected[i] == 0.0) {
            EXPECT_EQ(got[i], 0.0);
        } else {
            CHECK_BITS(got[i], expected[i]);
        }
    }
}

struct InverseRow {
    const char *what;
    std::int32_t n;
    Numbers source;
    Numbers target;
    double determinant;  // tolerant only
    std::int32_t result;
};

const Numbers kStaged{1, 1, 3, 1, 3, 7};
const Numbers kStagedInverse{1.5, -0.5, 0.75, 0, -0.25, 0.25};

TEST(TolerantInverse, LeavesOutWhatCannotBeInverted) {
    const InverseRow rows[] = {
        {"nothing", 0, {}, {}, 1, 0},
        {"one", 1, {2}, {0.5}, 2, 0},
        {"zero", 1, {0}, {0}, 1, 1},
        {"minus zero", 1, {-0.0}, {0}, 1, 1},
        {"negative", 1, {-3}, {0}, 1, 1},
        {"small against nothing but itself", 1, {1e-20}, {1 / 1e-20}, 1e-20, 0},
        {"a denormal", 1, {5e-324}, {kInfinity}, 5e-324, 0},
        {"two", 2, {4, 2, 3}, {0.375, -0.25, 0.5}, 8, 0},
        {"a small one of its own scale", 2, {1, 0, 9e-16}, {1, 0, 1 / 9e-16}, 9e-16, 0},
        {"twice the same", 2, {1, 1, 1}, {0, 0, 0}, 1, 1},
        {"a negative one first", 2, {-2, 1, 5}, {0, 0, 0.2}, 5, 1},
        {"links are measured on the scale", 2, {1e16, 1, 1e-16}, {1e-16, 0, 0}, 1e16, 1},
        {"and the other way round", 2, {1e-16, 1, 1e16}, {0, 0, 0}, 1e-16, 1},
        {"a constant in the middle", 3, {2, 0, 0, 1, 0, 3}, {0.6, 0, 0, -0.2, 0, 0.4}, 5, 1},
        {"the second repeats the first", 3, {2, 2, 2, 1, 1, 3}, {0, 0, 0, 0, 0, 0.4}, 5, 1},
        {"the third is a sum", 3, {1, 0, 1, 1, 1, 2}, {0, 0, 0, 0, 0, 0}, 1, 1},
        {"all zeros", 3, {0, 0, 0, 0, 0, 0}, {0, 0, 0, 0, 0, 0}, 1, 3},
        {"three stages", 3, kStaged, kStagedInverse, 8, 0},
        {"a remainder just above its share", 2, {1, 1, 1 + 0x1p-49}, {1 + 0x1p49, -0x1p49, 0x1p49}, 0x1p-49, 0},
        {"a remainder just below its share", 2, {1, 1, 1 + 0x1p-50}, {0, 0, 0}, 1, 1},
        {"NaN spreads", 2, {kNaN, 1, 2}, {kNaN, kNaN, kNaN}, kNaN, 0},
        {"infinity blanks and is not counted", 2, {kInfinity, 0, 2}, {0, 0, 0.5}, kInfinity, 0},
    };
    for (const InverseRow &row : rows) {
        SCOPED_TRACE(row.what);
        const auto n = static_cast<std::size_t>(row.n);
        const Numbers source = row.source;
        Numbers target(source.size(), 77);
        Numbers column(n);
        Numbers scale(n);
        double determinant = 77;
        std::int32_t count = 77;
        EXPECT_EQ(tolerant_inverse_kernel(row.n, source.data(), target.data(), column.data(), determinant, kTolerance,
                                          count, scale.data()),
                  row.result);
        EXPECT_EQ(count, row.result);
        CHECK_BITS(determinant, row.determinant);
        expect_elements(target, row.target);
        expect_elements(source, row.source);
    }
}

TEST(StrictInverse, StopsAtTheFirstSmallPivot) {
    const InverseRow rows[] = {
        {"nothing", 0, {}, {}, 0, 0},
        {"one", 1, {2}, {0.5}, 0, 0},
        {"at the tolerance", 1, {1e-15}, {1 / 1e-15}, 0, 0},
        {"below the tolerance", 1, {9e-16}, {9e-16}, 0, 1},
        {"small", 1, {1e-20}, {1e-20}, 0, 1},
        {"negative", 1, {-4}, {-4}, 0, 1},
        {"two", 2, {4, 2, 3}, {0.375, -0.25, 0.5}, 0, 0},
        {"stopped after one stage: turned, not negated", 2, {1, 0, 9e-16}, {9e-16, 0, -1}, 0, 1},
        {"three stages", 3, kStaged, kStagedInverse, 0, 0},
        {"NaN passes", 2, {kNaN, 1, 2}, {kNaN, kNaN, kNaN}, 0, 0},
        {"infinity runs an ordinary stage", 2, {kInfinity, 0, 2}, {0, 0, 0.5}, 0, 0},
    };
    for (const InverseRow &row : rows) {
        SCOPED_TRACE(row.what);
        const Numbers source = row.source;
        Numbers target(source.size(), 77);
        Numbers column(static_cast<std::size_t>(row.n));
        EXPECT_EQ(strict_inverse_kernel(row.n, source.data(), target.data(), column.data(), kTolerance), row.result);
        expect_elements(target, row.target);
        expect_elements(source, row.source);
    }
}

TEST(Sweep, OnListsOfPivots) {
    struct Row {
        const char *what;
        std::int32_t n;
        Numbers matrix;
        std::vector<std::int32_t> pivots;
        Numbers swept;
        std::int32_t skipped;
    };
    const Row rows[] = {
        {"none", 2, {4, 2, 2, 3}, {}, {4, 2, 2, 3}, 0},
        {"one", 2, {4, 2, 2, 3}, {0}, {-0.25, 0.5, 0.5, 2}, 0},
        {"both: the negative inverse", 2, {4, 2, 2, 3}, {0, 1}, {-0.375, 0.25, 0.25, -0.5}, 0},
        {"there and back", 2, {4, 2, 2, 3}, {0, 0}, {4, 2, 2, 3}, 0},
        {"a negative pivot scales by its size", 2, {-4, 2, 2, 3}, {0}, {0.25, 0.5, 0.5, 4}, 0},
        {"a zero pivot", 2, {0, 2, 2, 3}, {0}, {0, 2, 2, 3}, 1},
        {"below the tolerance", 2, {9e-16, 0, 0, 1}, {0}, {9e-16, 0, 0, 1}, 1},
        {"a negative one below it", 2, {-9e-16, 0, 0, 1}, {0}, {-9e-16, 0, 0, 1}, 1},
        {"at the tolerance", 2, {1e-15, 0, 0, 1}, {0}, {-1 / 1e-15, 0, 0, 1}, 0},
        {"one of two skipped", 3, {0, 0, 0, 0, 4, 2, 0, 2, 3}, {0, 1}, {0, 0, 0, 0, -0.25, 0.5, 0, 0.5, 2}, 1},
        {"the factor is the row's, not the column's", 2, {1, 2, 3, 4}, {0}, {-1, 2, 3, 0}, 0},
        {"NaN is swept", 2, {kNaN, 2, 2, 3}, {0}, {kNaN, kNaN, kNaN, kNaN}, 0},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.what);
        Numbers matrix = row.matrix;
        Numbers row_copy(static_cast<std::size_t>(row.n));
        EXPECT_EQ(sweep_kernel(row.n, matrix.data(), static_cast<std::int32_t>(row.pivots.size()), row.pivots.data(),
                               row_copy.data(), kTolerance),
                  row.skipped);
        expect_elements(matrix, row.swept);
    }
    // Fractions of 23: the order of the list changes no more than rounding.
    for (const std::vector<std::int32_t> &pivots : {std::vector<std::int32_t>{0, 2}, {2, 0}}) {
        Numbers matrix{4, 2, 1, 2, 5, 3, 1, 3, 6};
        Numbers row_copy(3);
        EXPECT_EQ(sweep_kernel(3, matrix.data(), 2, pivots.data(), row_copy.data(), kTolerance), 0);
        const double expected[] = {-6, 9, 1, 9, 67, 10, 1, 10, -4};
        for (std::size_t i = 0; i < 9; ++i) EXPECT_NEAR(matrix[i], expected[i] / 23, 4e-16) << i;
    }
}

TEST(Cholesky, StopsWhereTheRemainderIsSmall) {
    struct Row {
        Numbers a;
        Numbers root;
        std::int32_t n;
        std::int32_t result;
    };
    const Row rows[] = {
        {{4}, {2}, 1, 0},
        {{1e-15}, {std::sqrt(1e-15)}, 1, 0},
        {{9e-16}, {9e-16}, 1, 1},
        {{-1}, {-1}, 1, 1},
        {{4, 2, 3}, {2, 1, 0x1.6a09e667f3bcdp0}, 2, 0},
        {{1, 1, 1}, {1, 1, 0}, 2, 2},
        {{1, 2, 1}, {1, 2, -3}, 2, 2},
        {{0, 0, 5}, {0, 0, 5}, 2, 1},
        {{4, 2, 5, 2, 4, 12.25}, {2, 1, 2, 1, 1.5, 3}, 3, 0},
        {{kNaN, 1, 5}, {kNaN, kNaN, kNaN}, 2, 0},
        {{}, {}, 0, 0},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.a));
        Numbers a = row.a;
        EXPECT_EQ(cholesky_packed(a.data(), row.n, kTolerance), row.result);
        expect_elements(a, row.root);
    }
}

TEST(QuadraticForm, DoublesWhatStandsOnceInTheTriangle) {
    const double a2[] = {2, 1, 3};
    const double x2[] = {1, 2};
    CHECK_BITS(quadratic_form_packed(2, a2, x2), 18.0);
    const double a3[] = {4, 2, 5, 2, 4, 9};
    const double x3[] = {1, -1, 2};
    CHECK_BITS(quadratic_form_packed(3, a3, x3), 33.0);
    CHECK_BITS(quadratic_form_packed(0, nullptr, nullptr), 0.0);
    // The doubling is the last multiplication: before it the product is far below the smallest double.
    const double tiny[] = {0, 0x1p-1000, 0};
    const double x[] = {0x1p-74, 1};
    CHECK_BITS(quadratic_form_packed(2, tiny, x), 0x1p-1073);
    const double x_below[] = {0x1p-75, 1};
    CHECK_BITS(quadratic_form_packed(2, tiny, x_below), 0.0);
    // Large terms cancel in the order in which they stand.
    const double spread[] = {1, 0x1p52, -0x1p53};
    const double ones[] = {1, 1};
    CHECK_BITS(quadratic_form_packed(2, spread, ones), 0.0);
}

TEST(Unpack, WritesBothTriangles) {
    const double packed[] = {1, 2, 3, 4, 5, 6};
    Numbers full(10, 77);
    unpack_symmetric(3, packed, full.data());
    EXPECT_EQ(full, (Numbers{1, 2, 4, 2, 3, 5, 4, 5, 6, 77}));
    unpack_symmetric(0, nullptr, nullptr);
}

}  // namespace
