// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Under which prior do pooled intervals of small tables cover?
//
//     prior_coverage [TABLES]
//
// Tables of 4 normal columns, all correlations 0.5, with 9 missing cells at random in each of the first three. The
// first column is regressed on the others, in 20 imputations of one chain, and the 95% interval of the second column's
// slope counts. One line per number of rows and prior: the share of intervals that cover, its standard error, their
// mean width, and the share of tables that were refused or stopped; these count neither way.

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/draw/table_of.h"
#include "ullage/host/base/error.h"
#include "ullage/host/base/number_text.h"
#include "ullage/host/numbers/least_squares.h"
#include "ullage/host/numbers/rubin.h"

namespace {

using namespace ullage::host;

constexpr std::size_t kColumns = 4;
constexpr std::size_t kMissing = 9;
constexpr double kSlope = 0.25;  // of each of the others, where all correlations are 0.5

std::string simulate(std::size_t rows, std::uint64_t number) {
    RandomStream random({number, StreamPurpose::cells, rows, 1, 0});
    std::vector<std::vector<std::string>> cells(kColumns);
    for (std::size_t row = 0; row < rows; ++row) {
        const double shared = random.normal();
        for (auto &column : cells) column.push_back(format_number(std::sqrt(0.5) * (shared + random.normal())));
    }
    for (std::size_t column = 0; column + 1 < kColumns; ++column) {
        for (std::size_t left = kMissing; left > 0;) {
            std::string &cell = cells[column][static_cast<std::size_t>(random.uniform() * static_cast<double>(rows))];
            if (cell.empty()) continue;
            cell.clear();
            --left;
        }
    }
    std::string csv = "a,b,c,d\n";
    for (std::size_t row = 0; row < rows; ++row) {
        for (std::size_t column = 0; column < kColumns; ++column) {
            csv += cells[column][row] + (column + 1 < kColumns ? ',' : '\n');
        }
    }
    return csv;
}

Pooled pool_slope(const ReadyTable &ready, Chain &chain) {
    constexpr int burn_in = 100;
    constexpr int thin = 20;
    std::vector<double> hidden(ready.hidden.cells.size());
    std::vector<double> slopes;
    std::vector<double> variances;
    const std::size_t rows = ready.table.row_count();
    for (int iteration = 1; iteration <= burn_in + 20 * thin; ++iteration) {
        chain.iterate();
        if (iteration <= burn_in || iteration % thin != 0) continue;
        chain.copy_hidden(hidden);
        restore(ready.table, ready.hidden, ready.model.scales, hidden);
        std::vector<double> response = ready.table.columns[0].values;
        std::vector<double> design;
        for (std::size_t row = 0; row < rows; ++row) {
            design.push_back(1.0);
            for (std::size_t j = 1; j < kColumns; ++j) design.push_back(ready.table.columns[j].values[row]);
        }
        for (std::size_t i = 0; i < hidden.size(); ++i) {
            const auto row = static_cast<std::size_t>(ready.hidden.cells[i].row);
            const auto column = static_cast<std::size_t>(ready.hidden.cells[i].column);
            (column == 0 ? response[row] : design[row * kColumns + column]) = hidden[i];
        }
        LeastSquares regression({"1", "b", "c", "d"});
        regression.add(design, response);
        const LinearFit fit = regression.fit();
        slopes.push_back(fit.coefficients[1]);
        variances.push_back(fit.covariance[packed_index(1, 1)]);
    }
    return pool_scalar(slopes, variances, static_cast<double>(rows - kColumns));
}

void compare(std::size_t rows, const char *name, const std::function<Prior(const Level &)> &prior, int tables) {
    int covered = 0;
    int stopped = 0;
    double width = 0.0;
    for (int table = 1; table <= tables; ++table) {
        try {
            // A ridge gets the table past the checks for a flat prior.
            const auto ready = table_of(simulate(rows, static_cast<std::uint64_t>(table)), "ridge=1");
            ready->model.levels[0].prior = prior(ready->model.levels[0]);
            Chain chain(ready->model, static_cast<std::uint64_t>(table), 1);
            const Pooled pooled = pool_slope(*ready, chain);
            covered += pooled.lower < kSlope && kSlope < pooled.upper ? 1 : 0;
            width += pooled.upper - pooled.lower;
        } catch (const Error &) {
            ++stopped;
        }
    }
    const double count = tables - stopped;
    const double share = covered / count;
    std::printf("%4zu  %-14s  %5.1f  %4.1f  %7.2g  %5.1f\n", rows, name, 100.0 * share,
                100.0 * std::sqrt(share * (1.0 - share) / count), width / count, 100.0 * stopped / tables);
    std::fflush(stdout);
}

// Some cases of uncorrelated columns with the observed variances, and degrees of freedom besides.
Prior ridge(const Level &level, double cases, double degrees) {
    Prior prior{0.0, degrees, {}, std::vector<double>(packed_size(kColumns), 0.0)};
    for (std::size_t j = 0; j < kColumns; ++j) prior.scatter[packed_index(j, j)] = cases * level.variance[j];
    return prior;
}

}  // namespace

int main(int count, char **words) {
    const int tables = count > 1 ? std::atoi(words[1]) : 400;
    constexpr double n = kColumns;
    std::printf("rows  prior           cover    se    width  stops\n");
    for (const std::size_t rows : {15, 20, 25, 35, 50, 100, 200}) {
        compare(
            rows, "|S|^-(n+1)/2", [](const Level &) { return Prior{}; }, tables);
        // |S|^-1 leaves n - 1 degrees of freedom fewer than Jeffreys' prior.
        compare(
            rows, "|S|^-1",
            [](const Level &) {
                return Prior{0.0, 1.0 - n, {}, {}};
            },
            tables);
        compare(
            rows, "ridge=0.1", [](const Level &level) { return ridge(level, 0.1, 0.1); }, tables);
        compare(
            rows, "ridge=0.25", [](const Level &level) { return ridge(level, 0.25, 0.25); }, tables);
        compare(
            rows, "ridge=0.5", [](const Level &level) { return ridge(level, 0.5, 0.5); }, tables);
        compare(
            rows, "ridge=1", [](const Level &level) { return ridge(level, 1.0, 1.0); }, tables);
        compare(
            rows, "|S|^-1, 0.1", [](const Level &level) { return ridge(level, 0.1, 1.0 - n); }, tables);
    }
    return 0;
}
