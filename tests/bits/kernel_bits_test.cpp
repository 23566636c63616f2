// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The kernels for many results at once give the bits of the plain ones, with every instruction set.

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "matrix/cross_product_kernel.h"
#include "matrix/packed_kernel.h"
#include "matrix/prediction_kernel.h"
#include "matrix/quadratic_form_kernel.h"
#include "matrix/row_sweep_kernel.h"
#include "matrix/sweep_kernel.h"
#include "matrix/vector_kernel.h"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

// Numbers of one kind each: ordinary, spread over the whole range, small whole ones (which make singular matrices), and
// ordinary ones with some that are not finite.
enum class Kind { ordinary, spread, whole, not_finite };

std::vector<double> numbers(std::mt19937_64 &engine, Kind kind, std::size_t count) {
    std::vector<double> result(count);
    for (double &x : result) {
        const double u = static_cast<double>(engine() >> 11) * 0x1p-52 - 1.0;
        const auto choice = engine() % 16;
        switch (kind) {
            case Kind::ordinary:
                x = u;
                break;
            case Kind::spread:
                x = std::ldexp(u, static_cast<int>(engine() % 1200) - 600);
                break;
            case Kind::whole:
                x = std::round(3.0 * u);
                break;
            case Kind::not_finite:
                x = choice == 0 ? kNaN : choice == 1 ? kInfinity : choice == 2 ? -0.0 : u;
                break;
        }
    }
    return result;
}

bool same_bits(double left, double right) {
    return std::bit_cast<std::uint64_t>(left) == std::bit_cast<std::uint64_t>(right) ||
           (std::isnan(left) && std::isnan(right));
}

// Every kind of numbers in every size, with every instruction set that the processor has.
class KernelBits : public testing::TestWithParam<KernelLevel> {
protected:
    void SetUp() override {
        if (GetParam() > level_of_processor) GTEST_SKIP() << "the processor lacks these instructions";
        kernel_level = GetParam();
    }
    void TearDown() override { kernel_level = level_of_processor; }

    const KernelLevel level_of_processor = kernel_level;

    template <typename Check>
    static void for_each_input(Check check) {
        for (Kind kind : {Kind::ordinary, Kind::spread, Kind::whole, Kind::not_finite}) {
            for (std::size_t n : {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 20, 33, 90}) {
                SCOPED_TRACE(testing::Message() << "kind " << static_cast<int>(kind) << ", size " << n);
                std::mt19937_64 engine(n);
                check(engine, kind, n);
            }
        }
    }
};

// Rows of n numbers, filled up with zeros to whole vectors.
std::vector<double> padded(const std::vector<double> &rows, std::size_t n, std::size_t stride) {
    std::vector<double> result(rows.size() / n * stride, 0.0);
    for (std::size_t i = 0; i < rows.size(); ++i) result[i / n * stride + i % n] = rows[i];
    return result;
}

TEST_P(KernelBits, SweptRowsAreThoseOfTheFullSweep) {
    for_each_input([](std::mt19937_64 &engine, Kind kind, std::size_t n) {
        std::vector<double> full = numbers(engine, kind, n * n);
        const std::size_t stride = row_stride(n);
        const std::vector<double> from = padded(full, n, stride);
        std::vector<std::vector<double>> pivot_rows;
        std::vector<SweepPivot> pivots;
        std::vector<std::int32_t> rows;
        std::vector<double> row_copy(n);
        for (std::size_t k = 0; k < n; ++k) {
            const auto index = static_cast<std::int32_t>(k);
            const double pivot = full[k * n + k];
            if (engine() % 2 == 0 || std::fabs(pivot) < 1e-15) {
                if (engine() % 4 != 0) rows.push_back(index);
                continue;
            }
            const auto row = full.begin() + static_cast<std::ptrdiff_t>(k * n);
            pivot_rows.push_back(padded({row, row + static_cast<std::ptrdiff_t>(n)}, n, stride));
            pivots.push_back({pivot_rows.back().data(), k, 1.0 / pivot});
            sweep_kernel(static_cast<std::int32_t>(n), full.data(), 1, &index, row_copy.data(), 1e-15);
        }
        if (pivots.empty()) full = {};  // then nothing is written

        std::vector<double> elsewhere(from.size(), 7.0);
        std::vector<double> in_place = from;
        for (std::vector<double> *to : {&elsewhere, &in_place}) {
            const double *source = to == &in_place ? to->data() : from.data();
            const std::vector<double> before = *to;
            sweep_rows_kernel(n, source, to->data(), rows.size(), rows.data(), pivots.size(), pivots.data());
            for (std::size_t i = 0; i < n; ++i) {
                const bool is_swept = !full.empty() && std::find(rows.begin(), rows.end(), i) != rows.end();
                for (std::size_t j = 0; j < n; ++j) {
                    const std::size_t place = i * stride + j;
                    EXPECT_TRUE(same_bits((*to)[place], is_swept ? full[i * n + j] : before[place])) << i << ", " << j;
                }
            }
        }
    });
}

TEST_P(KernelBits, SumsAndCrossProductsRunInTheOrderOfTheRows) {
    for_each_input([](std::mt19937_64 &engine, Kind kind, std::size_t n) {
        const std::size_t stride = padded_length(n);
        std::vector<double> sums(stride, 0.0), products(stride * stride, 0.0);
        std::vector<double> plain_sums(n, 0.0), plain_products(n * n, 0.0);
        for (std::size_t row_count : {64, 1, 13}) {
            const std::vector<double> rows = numbers(engine, kind, row_count * n);
            const std::vector<double> block = padded(rows, n, stride);
            add_rows_kernel(row_count, stride, block.data(), sums.data());
            add_cross_products_kernel(row_count, stride, block.data(), products.data());
            for (std::size_t c = 0; c < row_count; ++c) {
                for (std::size_t i = 0; i < n; ++i) {
                    plain_sums[i] = plain_sums[i] + rows[c * n + i];
                    for (std::size_t j = 0; j <= i; ++j) {
                        plain_products[i * n + j] = plain_products[i * n + j] + rows[c * n + j] * rows[c * n + i];
                    }
                }
            }
        }
        for (std::size_t i = 0; i < n; ++i) {
            EXPECT_TRUE(same_bits(sums[i], plain_sums[i]));
            for (std::size_t j = 0; j <= i; ++j) {
                EXPECT_TRUE(same_bits(products[i * stride + j], plain_products[i * n + j])) << i << ", " << j;
            }
        }
    });
}

TEST_P(KernelBits, FormsSideBySideAreFormsOneByOne) {
    for_each_input([](std::mt19937_64 &engine, Kind kind, std::size_t n) {
        const std::vector<double> a = numbers(engine, kind, n * (n + 1) / 2);
        const std::vector<double> x = numbers(engine, kind, n * kFormsSideBySide);
        double forms[kFormsSideBySide];
        quadratic_forms_kernel(n, a.data(), x.data(), forms);
        for (std::size_t c = 0; c < kFormsSideBySide; ++c) {
            std::vector<double> vector(n);
            for (std::size_t i = 0; i < n; ++i) vector[i] = x[i * kFormsSideBySide + c];
            EXPECT_TRUE(
                same_bits(forms[c], quadratic_form_packed(static_cast<std::int32_t>(n), a.data(), vector.data())));
        }
    });
}

TEST_P(KernelBits, PredictionsAreRunningSums) {
    for_each_input([](std::mt19937_64 &engine, Kind kind, std::size_t n) {
        for (std::size_t m : {0, 1, 7}) {
            const std::size_t stride = padded_length(n);
            const std::vector<double> coefficients = numbers(engine, kind, m * stride);
            const std::vector<double> values = numbers(engine, kind, m + n);
            const std::vector<double> means = numbers(engine, kind, m + n);
            std::vector<std::int32_t> order(m + n);
            std::iota(order.begin(), order.end(), 0);
            std::shuffle(order.begin(), order.end(), engine);
            std::vector<double> deviations(m + n), predictions(stride);
            prediction_kernel(m, n, order.data(), coefficients.data(), values.data(), means.data(), deviations.data(),
                              predictions.data());
            for (std::size_t t = 0; t < n; ++t) {
                double sum = 0.0;
                const std::size_t block = t / kVectorLength * kVectorLength * m;
                for (std::size_t k = 0; k < m; ++k) {
                    const auto o = static_cast<std::size_t>(order[k]);
                    sum = sum + coefficients[block + k * kVectorLength + t % kVectorLength] * (values[o] - means[o]);
                }
                EXPECT_TRUE(same_bits(predictions[t], means[static_cast<std::size_t>(order[m + t])] + sum));
            }
        }
    });
}

std::string level_name(const testing::TestParamInfo<KernelLevel> &parameter) {
    constexpr const char *kNames[] = {"baseline", "avx2", "avx512"};
    return kNames[static_cast<int>(parameter.param)];
}

INSTANTIATE_TEST_SUITE_P(InstructionSets, KernelBits,
                         testing::Values(KernelLevel::baseline, KernelLevel::avx2, KernelLevel::avx512), level_name);

}  // namespace
