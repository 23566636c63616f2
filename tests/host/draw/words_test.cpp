// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Chains over tables with words and steps: what they draw is what the words were made from.

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <ostream>
#include <string>
#include <vector>

#include "table_of.h"
#include "ullage/host/draw/chain.h"
#include "ullage/host/numbers/random_stream.h"

namespace {

using namespace ullage::host;

constexpr std::size_t kRows = 3000;
constexpr std::array<const char *, 4> kStages = {"I", "II", "III", "IV"};

// y = 2 + 0.7 u + noise decides nothing; the words follow y. A third of the words and of y are missing, y by stage.
struct Truth {
    std::string csv = "y,flag,stage,site,count\n";
    std::array<double, 4> mean_of_stage{};
    std::array<double, 3> share_of_site{};
    double share_of_flag = 0.0;
};

Truth make_truth(double stage_missing) {
    RandomStream random({5, StreamPurpose::overimpute, 9, 9, 9});
    Truth truth;
    std::array<double, 4> counts{};
    for (std::size_t row = 0; row < kRows; ++row) {
        const double y = random.normal();
        const bool flag = 0.8 * y + random.normal() > 0.4;
        const double latent = 1.2 * y + random.normal();
        const std::size_t stage = latent < -0.8 ? 0 : latent < 0.6 ? 1 : latent < 1.6 ? 2 : 3;
        const std::array<double, 3> utility = {random.normal(), 0.7 * y + random.normal(), -0.4 + random.normal()};
        std::size_t site = 0;
        for (std::size_t k = 1; k < 3; ++k) site = utility[k] > utility[site] ? k : site;
        const double count = std::round(10.0 + 2.0 * (0.6 * y + 0.8 * random.normal()));
        truth.mean_of_stage[stage] += y;
        ++counts[stage];
        truth.share_of_flag += flag ? 1.0 / kRows : 0.0;
        truth.share_of_site[site] += 1.0 / kRows;
        const auto cell = [&](double missing, const std::string &text) {
            return random.uniform() < missing ? std::string() : text;
        };
        truth.csv += cell(0.15 * static_cast<double>(stage), std::to_string(y)) + ',' + cell(0.3, flag ? "yes" : "no") +
                     ',' + cell(stage_missing, kStages[stage]) + ',' +
                     cell(0.3, std::string(1, static_cast<char>('a' + site))) + ',' +
                     cell(0.3, std::to_string(static_cast<int>(count))) + '\n';
    }
    for (std::size_t k = 0; k < 4; ++k) truth.mean_of_stage[k] /= counts[k];
    return truth;
}

/** How the stages are modelled, and the share of them that is missing. */
struct Stages {
    ColumnKind kind;
    double missing;
};

void PrintTo(const Stages &stages, std::ostream *out) {
    *out << name_of(stages.kind) << ", " << stages.missing << " missing";
}

class Words : public testing::TestWithParam<Stages> {};

TEST_P(Words, AreDrawnAsTheyWereMade) {
    const Truth truth = make_truth(GetParam().missing);
    KindOption stage{"stage", GetParam().kind, 0.0, {}};
    if (GetParam().kind == ColumnKind::ordered) stage.words.assign(kStages.begin(), kStages.end());
    ReadOptions options;
    options.find_kinds = true;
    options.kinds = {stage, {"count", ColumnKind::stepped, 1.0, {}}};
    const auto ready = table_of(truth.csv, "default", options);
    const Table &table = ready->table;
    Chain chain(ready->model, 1, 1);
    std::vector<double> values(ready->hidden.cells.size());
    std::array<double, 4> sum{};
    std::array<double, 4> count{};
    std::array<double, 3> sites{};
    double flags = 0.0;
    constexpr int burn_in = 400;
    constexpr int kept = 40;
    constexpr int thin = 10;
    for (int i = 0; i < burn_in + kept * thin; ++i) {
        chain.iterate();
        if (i < burn_in || i % thin != 0) continue;
        chain.copy_hidden(values);
        restore(table, ready->hidden, ready->model.scales, values);
        for (std::size_t row = 0; row < kRows; ++row) {
            std::vector<double> cells;
            const std::size_t begin = ready->hidden.row_begin[row];
            std::size_t next = begin;
            for (std::size_t c = 0; c < table.columns.size(); ++c) {
                cells.push_back(table.is_hidden(row, c) ? values[next++] : table.columns[c].values[row]);
            }
            sum[static_cast<std::size_t>(cells[2])] += cells[0];
            ++count[static_cast<std::size_t>(cells[2])];
            flags += cells[1] / (kRows * kept);
            sites[static_cast<std::size_t>(cells[3])] += 1.0 / (kRows * kept);
            ASSERT_EQ(cells[4], std::round(cells[4]));
        }
    }
    // Some three standard errors of the data that are missing.
    EXPECT_NEAR(flags, truth.share_of_flag, 0.025);
    for (std::size_t k = 0; k < 3; ++k) EXPECT_NEAR(sites[k], truth.share_of_site[k], 0.025) << k;
    for (std::size_t k = 0; k < 4; ++k) EXPECT_NEAR(sum[k] / count[k], truth.mean_of_stage[k], 0.08) << k;
    const std::vector<double> factors =
        identifying_factors(table, ready->model.variables, chain.parameters()[0].covariance);
    EXPECT_NEAR(factors[1] * factors[1] * chain.parameters()[0].covariance[packed_index(1, 1)], 1.0, 1e-12);
    for (const double factor : factors) {
        EXPECT_GT(factor, std::exp(-4.0));
        EXPECT_LT(factor, std::exp(4.0));
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, Words,
                         testing::Values(Stages{ColumnKind::nominal, 0.2}, Stages{ColumnKind::ordered, 0.2},
                                         Stages{ColumnKind::nominal, 0.0}, Stages{ColumnKind::ordered, 0.0}),
                         [](const testing::TestParamInfo<Stages> &stages) {
                             return std::string(name_of(stages.param.kind)) +
                                    (stages.param.missing > 0.0 ? "Hidden" : "Known");
                         });

}  // namespace
