// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Do 95% intervals of pooled means cover the truth when a quarter of the cells is censored and a tenth missing?

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>

#include "table_of.h"
#include "ullage/host/base/number_text.h"
#include "ullage/host/draw/impute.h"
#include "ullage/host/numbers/moments.h"
#include "ullage/host/numbers/rubin.h"
#include "ullage/host/run/write_table.h"

using namespace ullage::host;

namespace {

constexpr std::size_t kColumns = 3;
constexpr int kRows = 100;
constexpr int kTables = 400;

// Correlated normals with means 0, those below the lower quartile censored there, one in ten missing.
std::string simulate(std::uint64_t table) {
    RandomStream random({table, StreamPurpose::cells, 1, 1, 0});
    std::string csv = "a,b,c\n";
    for (int row = 0; row < kRows; ++row) {
        const double shared = random.normal();
        for (std::size_t j = 0; j < kColumns; ++j) {
            const double value = std::sqrt(0.5) * (shared + random.normal());
            constexpr double kQuartile = -0.6744897501960817;
            if (random.uniform() < 0.1) {
                csv += "NA";
            } else {
                if (value < kQuartile) csv += '<';
                csv += format_number(std::max(value, kQuartile));
            }
            csv += j + 1 < kColumns ? ',' : '\n';
        }
    }
    return csv;
}

// Whether the pooled interval of each mean covers 0.
std::array<bool, kColumns> covers(std::uint64_t table, std::size_t components) {
    const auto ready = table_of(simulate(table), components > 1 ? "default" : "jeffreys");
    if (components > 1) ready->model = prepare_model(ready->table, ready->hidden, {}, components);
    const ImputeSettings settings{.seed = table, .imputations = 20, .burn_in = 100, .thin = 50, .chains = 2, .jobs = 2};
    const Imputations result = impute(ready->model, settings, {});
    std::array<bool, kColumns> covered{};
    for (std::size_t j = 0; j < kColumns; ++j) {
        std::vector<double> means;
        std::vector<double> variances;
        for (const auto &values : result.values) {
            std::vector<double> column = ready->table.columns[j].values;
            for (std::size_t i = 0; i < values.size(); ++i) {
                const HiddenCell &cell = ready->hidden.cells[i];
                if (cell.column == static_cast<std::int32_t>(j)) column[static_cast<std::size_t>(cell.row)] = values[i];
            }
            const Moments moments = moments_of_rows(column, 1);
            means.push_back(moments.mean[0]);
            variances.push_back(moments.scatter[0] / (kRows - 1.0) / kRows);
        }
        const Pooled pooled = pool_scalar(means, variances, kRows - 1.0);
        covered[j] = pooled.lower < 0.0 && pooled.upper > 0.0;
    }
    return covered;
}

// The number of tables whose interval covers, of each column.
std::array<int, kColumns> count_covered(std::size_t components) {
    std::array<int, kColumns> count{};
    for (std::uint64_t table = 1; table <= kTables; ++table) {
        const auto covered = covers(table, components);
        for (std::size_t j = 0; j < kColumns; ++j) count[j] += covered[j] ? 1 : 0;
    }
    return count;
}

TEST(Coverage, IntervalsOfPooledMeans) {
    for (const int count : count_covered(1)) {
        // Two and a half standard errors of a proportion of 0.95 in 400 tables.
        EXPECT_GE(count, 0.92 * kTables);
        EXPECT_LE(count, 0.98 * kTables);
    }
}

TEST(Coverage, IntervalsOfPooledMeansUnderAMixtureThatIsNotNeeded) {
    for (const int count : count_covered(3)) {
        EXPECT_GE(count, 0.92 * kTables);
        EXPECT_LE(count, 0.98 * kTables);
    }
}

}  // namespace
