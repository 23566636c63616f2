// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Rules that hold for every row: the posterior distribution of a normal one that is cut to them, and what it imputes.

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "rank_counts.h"
#include "table_of.h"
#include "ullage/host/base/error.h"
#include "ullage/host/draw/impute.h"
#include "ullage/host/model/marginal.h"
#include "ullage/host/numbers/triangular.h"

using namespace ullage::host;

namespace {

using Row = std::vector<double>;

RandomStream stream(std::uint64_t number) {
    return RandomStream({number, StreamPurpose::cells, 1, 1, 0});
}

// Rows of a normal distribution that obey.
std::vector<Row> rows_of(const Parameters &truth, std::size_t count, const std::function<bool(const Row &)> &obeys,
                         RandomStream &random) {
    const std::size_t n = truth.mean.size();
    std::vector<double> root = truth.covariance;
    EXPECT_TRUE(take_root(root, n));
    std::vector<Row> rows;
    while (rows.size() < count) {
        Row normals(n);
        for (double &normal : normals) normal = random.normal();
        Row row = truth.mean;
        for (std::size_t i = 0; i < n; ++i) {
            for (std::size_t j = 0; j <= i; ++j) row[i] += root[packed_index(i, j)] * normals[j];
        }
        if (obeys(row)) rows.push_back(row);
    }
    return rows;
}

std::string csv_of(std::string names, const std::vector<Row> &rows,
                   const std::function<std::string(std::size_t, std::size_t, double)> &cell) {
    for (std::size_t i = 0; i < rows.size(); ++i) {
        for (std::size_t j = 0; j < rows[i].size(); ++j) names += (j == 0 ? '\n' : ',') + cell(i, j, rows[i][j]);
    }
    return names + '\n';
}

// Simulation-based calibration (Talts and others 2018): parameters from the prior, rows that obey from the parameters,
// and the rank of the truth among posterior draws, under a<b and c>0, with d free.
class Calibration {
public:
    static constexpr std::size_t kDraws = 15;
    static constexpr std::size_t kColumns = 4;
    static constexpr std::size_t kQuantities = kColumns + packed_size(kColumns);

    void run(std::uint64_t repetition) {
        RandomStream random = stream(repetition + 1);
        const Moments none{0.0, Row(kColumns, 0.0), Row(packed_size(kColumns), 0.0)};
        const Parameters truth = draw_parameters(none, prior_, random);
        const auto rows = rows_of(
            truth, 50, [](const Row &row) { return row[0] < row[1] && row[2] > 0.0; }, random);
        const std::string csv = csv_of("a,b,c,d", rows, [&](std::size_t i, std::size_t, double value) {
            const double chance = random.uniform();
            if (i > 5 && chance < 0.2) return std::string();
            // A bound at a place that does not depend on the value.
            if (i > 5 && chance < 0.4) return std::string(value < 0.6 ? "<0.6" : ">0.6");
            return std::to_string(value);
        });
        const auto ready = table_of(csv, "jeffreys", {}, {.lower = {{"c", 0.0}}, .order = {"a<b"}});
        put_prior_into(ready->model);
        Chain chain(ready->model, 9, repetition + 1);
        const Row expected = quantities(truth);
        std::array<std::size_t, kQuantities> rank{};
        for (int i = 1; i <= 100 + static_cast<int>(kDraws) * 12; ++i) {
            chain.iterate();
            if (i <= 100 || i % 12 != 4) continue;
            const Row drawn = quantities(in_file_units(ready->model, chain.parameters()[0]));
            for (std::size_t q = 0; q < kQuantities; ++q) rank[q] += drawn[q] < expected[q] ? 1 : 0;
        }
        ranks_.add(rank);
    }

    [[nodiscard]] double p_value(std::size_t quantity) const { return ranks_.p_value(quantity); }

private:
    void put_prior_into(ModelTable &model) const {
        Prior prior = prior_;
        for (std::size_t i = 0; i < kColumns; ++i) {
            const Scale &own = model.variables.scales[i];
            prior.mean[i] = (prior.mean[i] - own.centre) / own.scale;
            for (std::size_t j = 0; j <= i; ++j) {
                prior.scatter[packed_index(i, j)] /= own.scale * model.variables.scales[j].scale;
            }
        }
        model.levels[0].prior = prior;
        model.levels[0].ruled_prior = marginal_of(prior, model.region.variables, kColumns);
    }

    static Parameters in_file_units(const ModelTable &model, Parameters own) {
        for (std::size_t i = 0; i < kColumns; ++i) {
            const Scale &scale = model.variables.scales[i];
            own.mean[i] = scale.centre + scale.scale * own.mean[i];
            for (std::size_t j = 0; j <= i; ++j) {
                own.covariance[packed_index(i, j)] *= scale.scale * model.variables.scales[j].scale;
            }
        }
        return own;
    }

    static Row quantities(const Parameters &parameters) {
        Row all = parameters.mean;
        all.insert(all.end(), parameters.covariance.begin(), parameters.covariance.end());
        return all;
    }

    Prior prior_{4.0, 10.0, {0.0, 1.0, 0.6, 0.0}, {10.0, 3.0, 10.0, 3.0, 0.0, 10.0, -3.0, 3.0, 5.0, 10.0}};
    RankCounts<kQuantities, kDraws> ranks_;
};

TEST(RuledRows, AreCalibrated) {
    const char *tables = std::getenv("ULLAGE_TEST_TABLES");
    Calibration calibration;
    for (int repetition = 0; repetition < (tables != nullptr ? std::atoi(tables) : 200); ++repetition) {
        calibration.run(static_cast<std::uint64_t>(repetition));
    }
    for (std::size_t q = 0; q < Calibration::kQuantities; ++q) EXPECT_GT(calibration.p_value(q), 1e-3) << q;
}

// The mean of a column over imputations less that of the whole sample, in standard deviations of the imputations.
double error_of(const ReadyTable &ready, const Imputations &result, const std::vector<Row> &rows, std::size_t column) {
    Row means;
    double truth = 0.0;
    for (const Row &row : rows) truth += row[column] / static_cast<double>(rows.size());
    for (const auto &values : result.values) {
        Row completed = ready.table.columns[column].values;
        for (std::size_t i = 0; i < values.size(); ++i) {
            const HiddenCell &cell = ready.hidden.cells[i];
            if (cell.column != static_cast<std::int32_t>(column)) continue;
            completed[static_cast<std::size_t>(cell.row)] = values[i];
        }
        means.push_back(mean_of(completed));
    }
    const Moments between = moments_of_rows(means, 1);
    return (between.mean[0] - truth) / std::sqrt(between.scatter[0] / (between.count - 1.0));
}

TEST(RuledRows, ImputeTheMeansOfLargeTables) {
    RandomStream random = stream(77);
    const ImputeSettings settings{.seed = 5, .imputations = 40, .burn_in = 300, .thin = 30, .chains = 2, .jobs = 2};
    const auto above = rows_of(
        {{0.5, 0.0}, {1.0, 0.6, 1.0}}, 8000, [](const Row &row) { return row[0] > 0.0; }, random);
    // Above all where y is large.
    auto ready = table_of(csv_of("x,y", above,
                                 [&](std::size_t i, std::size_t j, double value) {
                                     const double share = 0.8 / (1.0 + std::exp(0.3 - above[i][1]));
                                     return j == 0 && random.uniform() < share ? "" : std::to_string(value);
                                 }),
                          "default", {}, {.lower = {{"x", 0.0}}});
    EXPECT_LT(std::fabs(error_of(*ready, impute(ready->model, settings, {}), above, 0)), 3.0);

    const auto ordered = rows_of(
        {{0.0, 0.3, 0.6}, {1.0, 0.4, 1.0, 0.4, 0.4, 1.0}}, 5000,
        [](const Row &row) { return row[0] < row[1] && row[1] < row[2]; }, random);
    ready = table_of(csv_of("lo,mid,hi", ordered,
                            [&](std::size_t, std::size_t, double value) {
                                return random.uniform() < 0.3 ? "" : std::to_string(value);
                            }),
                     "default", {}, {.order = {"lo<mid<hi"}});
    const Imputations result = impute(ready->model, settings, {});
    for (std::size_t column = 0; column < 3; ++column) {
        EXPECT_LT(std::fabs(error_of(*ready, result, ordered, column)), 3.0) << column;
    }
}

TEST(RuledRows, OfNoNormalDistributionAreAnErrorThatNamesTheCure) {
    RandomStream random = stream(3);
    std::string csv = "x,y\n";
    for (int i = 0; i < 500; ++i) {
        const double x = std::exp(2.0 * random.normal());
        csv += (random.uniform() < 0.3 ? "" : std::to_string(x)) + ',' + std::to_string(random.normal()) + '\n';
    }
    const auto ready = table_of(csv, "default", {}, {.lower = {{"x", 0.0}}});
    try {
        (void)impute(ready->model, {.seed = 1, .imputations = 4, .burn_in = 2000, .thin = 1, .chains = 2}, {});
        FAIL() << "ran";
    } catch (const Error &error) {
        EXPECT_EQ(error.fault(), Fault::data);
        for (const char *words : {"more than 99% of the rows", "limits of \"x\"", "--log 'x'"}) {
            EXPECT_NE(std::string(error.what()).find(words), std::string::npos) << error.what();
        }
    }
}

}  // namespace
