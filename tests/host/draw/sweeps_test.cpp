// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// How often cells that are drawn one at a time are drawn in an iteration: against known rates, and in the chains.

#include "ullage/host/draw/sweeps.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>
#include <random>

#include "host/draw/table_of.h"
#include "ullage/host/draw/impute.h"
#include "ullage/host/numbers/moments.h"

namespace ullage::host {
namespace {

TEST(Sweeps, KeepWhatTheirOperatorDoes) {
    const std::vector<double> pair = {2.0, -1.8, 2.0};  // of a correlation of 0.9
    EXPECT_NEAR(kept_by_sweep(pair, std::vector<std::size_t>{0, 1}, std::vector<double>{0.0, 0.0}), 0.81, 1e-12);
    EXPECT_NEAR(kept_by_sweep(pair, std::vector<std::size_t>{0, 1}, std::vector<double>{6.0, 0.0}), 3.24 / 16.0, 1e-12);
    EXPECT_NEAR(kept_by_sweep(pair, std::vector<std::size_t>{0, 1}, std::vector<double>{0.0, 6.0}), 3.24 / 16.0, 1e-12);
    // Of a chain 0 - 1 - 2 - 3 without variable 2 nothing of the one side depends on the other.
    const std::vector<double> chain = {1.0, -0.49, 1.0, 0.0, -0.49, 1.0, 0.0, 0.0, -0.49, 1.0};
    EXPECT_NEAR(kept_by_sweep(chain, std::vector<std::size_t>{0, 1, 3}, std::vector<double>(3, 0.0)), 0.49 * 0.49,
                1e-12);
    // A tridiagonal matrix: the square of the largest eigenvalue of Jacobi's sweep, 2 * 0.49 cos(pi / 5).
    EXPECT_NEAR(kept_by_sweep(chain, std::vector<std::size_t>{0, 1, 2, 3}, std::vector<double>(4, 0.0)),
                std::pow(0.98 * std::cos(std::acos(-1.0) / 5.0), 2.0), 1e-6);
    EXPECT_EQ(kept_by_sweep(std::vector<double>{1.0, 0.0, 1.0}, std::vector<std::size_t>{0, 1}, std::vector<double>(2)),
              0.0);
}

/** Two columns that nearly follow from each other. Both cells of every third row are hidden: that of x is as given. */
std::string table_with(const std::string &cell) {
    std::mt19937_64 random(5);
    std::normal_distribution<double> normal;
    std::string csv = "x,y\n";
    for (int row = 0; row < 300; ++row) {
        const double x = normal(random);
        const double y = x + 0.02 * normal(random);
        csv += row % 3 == 0 ? cell + ",\n" : fmt::format("{:.4f},{:.4f}\n", x, y);
    }
    return csv;
}

TEST(Sweeps, AreManyOnlyWhereCellsAreDrawnOneAtATimeAndHoldEachOther) {
    for (const auto &[cell, least, most] :
         {std::tuple("", 1, 1), {">0", 90, kMostSweeps}, {"-1..1", 20, 89}, {"0.49..0.51", 1, 1}}) {
        const auto ready = table_of(table_with(cell));
        const std::vector<Parameters> parameters = {{{0.0, 0.0}, {1.0, 1.0 - 4e-4 / 2.0, 1.0}}};
        const std::vector<int> sweeps = needed_sweeps(ready->model, parameters, 50);
        ASSERT_EQ(sweeps.size(), 1U);
        EXPECT_GE(sweeps[0], least) << cell;
        EXPECT_LE(sweeps[0], most) << cell;
        // The widest interval of rows alike counts.
        if (least > 1) {
            const auto mixed = table_of(table_with("0.49..0.51") + (*cell == '-' ? "-1..1,\n0.49..0.51,\n" : ">0,\n"));
            EXPECT_EQ(needed_sweeps(mixed->model, parameters, 50)[0], sweeps[0]) << cell;
        }
        // What is needed over twice the iterations is half as much.
        EXPECT_LE(needed_sweeps(ready->model, parameters, 100)[0], sweeps[0] == kMostSweeps ? most : sweeps[0] / 2 + 1);
    }
}

TEST(Sweeps, AreThoseOfTheParametersOfTheLevel) {
    std::string csv = "g,x,y\n";
    for (int i = 0; i < 40; ++i) csv += fmt::format("{},{},{}\n", i % 2 == 0 ? "a" : "b", i * 7 % 11, i * 5 % 13);
    ReadOptions options;
    options.by = "g";
    const auto ready = table_of(csv + "a,>0,\nb,>0,\n", "jeffreys", options);
    const std::vector<Parameters> parameters = {{{0.0, 0.0}, {1.0, 0.0, 1.0}}, {{0.0, 0.0}, {1.0, 0.9999, 1.0}}};
    const std::vector<int> sweeps = needed_sweeps(ready->model, parameters, 50);
    ASSERT_EQ(sweeps.size(), 2U);
    EXPECT_EQ(sweeps[0], 1);
    EXPECT_EQ(sweeps[1], kMostSweeps);
}

/** How much the hidden cells of y keep from one imputation of the only chain to the next. */
double kept_by_cells(const Imputations &result, const HiddenCells &hidden) {
    double products = 0.0;
    double squares = 0.0;
    for (std::size_t place = 0; place < hidden.cells.size(); ++place) {
        if (hidden.cells[place].column != 1) continue;
        std::vector<double> draws = result.values.of_cell(place);
        const double mean = std::accumulate(draws.begin(), draws.end(), 0.0) / static_cast<double>(draws.size());
        for (double &draw : draws) draw -= mean;
        for (std::size_t k = 1; k < draws.size(); ++k) products += draws[k] * draws[k - 1];
        for (std::size_t k = 1; k < draws.size(); ++k) squares += draws[k] * draws[k];
    }
    return products / squares;
}

TEST(Sweeps, MakeImputationsOfAChainIndependent) {
    const auto ready = table_of(table_with(">0"));
    ImputeSettings settings{.seed = 3, .imputations = 40, .chains = 1};
    const Imputations chosen = impute(ready->model, settings, {});
    EXPECT_GT(chosen.sweeps[0], 10);
    EXPECT_LT(kept_by_cells(chosen, ready->hidden), 0.1);
    settings.sweeps = 1;
    const Imputations slow = impute(ready->model, settings, {});
    EXPECT_EQ(slow.sweeps[0], 1);
    EXPECT_GT(kept_by_cells(slow, ready->hidden), 0.4);
    settings.sweeps = 0;
    EXPECT_THROW((void)impute(ready->model, settings, {}), Error);
}

}  // namespace
}  // namespace ullage::host
