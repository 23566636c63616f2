// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Moments, priors, and the posterior distribution of the parameters.

#include "ullage/host/model/posterior.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <vector>

#include "ullage/host/base/error.h"
#include "ullage/host/model/prior.h"
#include "ullage/host/numbers/moments.h"

using namespace ullage::host;

namespace {

// Rows of three related columns with large means, where a sum of squares without centring would lose its digits.
std::vector<double> rows(std::size_t count) {
    RandomStream random({5, StreamPurpose::cells, 1, 1, 0});
    std::vector<double> values;
    for (std::size_t i = 0; i < count; ++i) {
        const double x = random.normal();
        const double y = 0.5 * x + random.normal();
        values.insert(values.end(), {1e6 + x, y - 3.0, 0.1 * (x - y) + 0.2 * random.normal()});
    }
    return values;
}

TEST(Moments, OfPartsAreThoseOfTheWhole) {
    const std::vector<double> all = rows(1000);
    const Moments whole = moments_of_rows(all, 3);
    for (const std::size_t part_rows : {1, 7, 300, 999, 1000}) {
        std::vector<Moments> parts{moments_of_rows({}, 3)};
        for (std::size_t first = 0; first < 1000; first += part_rows) {
            const std::size_t length = std::min<std::size_t>(part_rows, 1000 - first);
            parts.push_back(moments_of_rows(std::span(all).subspan(first * 3, length * 3), 3));
        }
        const Moments combined = combine(parts);
        EXPECT_EQ(combined.count, 1000.0);
        for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(combined.mean[i], whole.mean[i], 1e-8) << part_rows;
        for (std::size_t i = 0; i < 6; ++i) EXPECT_NEAR(combined.scatter[i], whole.scatter[i], 1e-6) << part_rows;
    }
}

// Mean of the covariance and covariance of the mean over many draws, against their known expectations.
struct Expected {
    const char *name;
    Prior prior;
    double degrees;               // of the inverse Wishart posterior
    std::vector<double> scatter;  // of the same
    std::vector<double> mean;
    double mean_cases;
};

TEST(DrawParameters, HasThePosteriorMeans) {
    const Moments moments{30.0, {1.0, -1.0}, {30.0, 12.0, 60.0}};
    const Expected cases[] = {
        {"Jeffreys", {}, 29.0, {30.0, 12.0, 60.0}, {1.0, -1.0}, 30.0},
        {"ridge of 4 cases", {0.0, 4.0, {}, {4.0, 0.0, 8.0}}, 33.0, {34.0, 12.0, 68.0}, {1.0, -1.0}, 30.0},
        // Weight 10 * 30 / 40 = 7.5 on the squared difference of the means, (2, 0).
        {"normal / inverse Wishart",
         {10.0, 6.0, {3.0, -1.0}, {6.0, 0.0, 6.0}},
         36.0,
         {66.0, 12.0, 66.0},
         {1.5, -1.0},
         40.0},
    };
    for (const Expected &expected : cases) {
        SCOPED_TRACE(expected.name);
        constexpr int kDraws = 40000;
        RandomStream random({9, StreamPurpose::parameters, 1, 1, 0});
        std::vector<double> covariance(3, 0.0);
        std::vector<double> mean(2, 0.0);
        std::vector<double> spread(2, 0.0);
        for (int i = 0; i < kDraws; ++i) {
            const Parameters draw = draw_parameters(moments, expected.prior, random);
            for (std::size_t j = 0; j < 3; ++j) covariance[j] += draw.covariance[j] / kDraws;
            for (std::size_t j = 0; j < 2; ++j) {
                const double off = draw.mean[j] - expected.mean[j];
                mean[j] += off / kDraws;
                spread[j] += off * off / kDraws;
            }
        }
        for (std::size_t j = 0; j < 3; ++j) {
            const double known = expected.scatter[j] / (expected.degrees - 3.0);
            // The standard deviation of an element is below 0.6 here: five standard errors.
            EXPECT_NEAR(covariance[j], known, 5.0 * 0.6 / std::sqrt(kDraws));
        }
        for (std::size_t j = 0; j < 2; ++j) {
            const double variance =
                expected.scatter[packed_index(j, j)] / (expected.degrees - 3.0) / expected.mean_cases;
            EXPECT_NEAR(mean[j], 0.0, 5.0 * std::sqrt(variance / kDraws));
            EXPECT_NEAR(spread[j], variance, 5.0 * variance * std::sqrt(2.5 / kDraws));
        }
    }
}

TEST(DrawParameters, TellsWhatIsUnusable) {
    const double just_collinear = std::sqrt(1.0 - 1e-13);
    using Kind = UnusableMoments::Kind;
    const struct {
        const char *name;
        Moments moments;
        Kind kind;
        std::vector<std::size_t> columns;
    } cases[] = {
        {"as many rows as columns", {3.0, {0, 0, 0}, {1, 0, 1, 0, 0, 1}}, Kind::too_few, {0, 1, 2}},
        {"a constant column", {20.0, {0, 0, 0}, {20, 0, 0, 1, 0, 20}}, Kind::constant, {1}},
        {"two columns alike", {20.0, {0, 0, 0}, {20, 0, 20, 20 * just_collinear, 0, 20}}, Kind::collinear, {0, 2}},
        {"a sum, and one that has no part in it",
         {20.0, {0, 0, 0, 0}, {10, 0, 10, 1, 2, 10, 10, 10, 3, 20}},
         Kind::collinear,
         {0, 1, 3}},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.name);
        RandomStream random({1, StreamPurpose::parameters, 1, 1, 0});
        try {
            (void)draw_parameters(row.moments, {}, random);
            ADD_FAILURE() << "drawn";
        } catch (const UnusableMoments &why) {
            EXPECT_EQ(why.kind(), row.kind);
            EXPECT_EQ(why.columns(), row.columns);
        }
        // A ridge makes all of them usable.
        Prior ridge{0.0, 5.0, {}, std::vector<double>(row.moments.scatter.size(), 0.0)};
        for (std::size_t i = 0; i < row.moments.mean.size(); ++i) ridge.scatter[packed_index(i, i)] = 5.0;
        EXPECT_NO_THROW((void)draw_parameters(row.moments, ridge, random));
    }
}

class PriorFile : public testing::Test {
protected:
    std::string file(const std::string &text) {
        std::ofstream(path_) << text;
        return path_;
    }
    ~PriorFile() override { std::remove(path_.c_str()); }

private:
    std::string path_ = testing::TempDir() + "ullage_prior_test.json";
};

TEST_F(PriorFile, IsBroughtIntoTheUnitsOfTheModel) {
    // Columns in another order than the table's.
    const PriorChoice choice = parse_prior(file(R"({"columns": ["b", "a"], "mean": [5, 30], "mean_cases": 2,
        "covariance": [[4, 3], [3, 100]], "covariance_cases": 8})"));
    Table table;
    table.columns.resize(2);
    Variables variables{.list = {{"a", 0}, {"b", 1}},
                        .columns = {{.first = 0}, {.first = 1}},
                        .scales = {{Transformation::none, 10.0, 20.0}, {Transformation::none, 1.0, 2.0}}};
    const double variances[] = {1.0, 1.0};
    const Prior prior = make_prior(choice, table, variables, variances);
    EXPECT_EQ(prior.mean_cases, 2.0);
    EXPECT_EQ(prior.covariance_cases, 8.0);
    EXPECT_EQ(prior.mean, (std::vector<double>{1.0, 2.0}));
    EXPECT_EQ(prior.scatter, (std::vector<double>{8.0 * 100.0 / 400.0, 8.0 * 3.0 / 40.0, 8.0 * 4.0 / 4.0}));
    variables.list[1].name = "c";
    EXPECT_THROW((void)make_prior(choice, table, variables, variances), Error);
}

TEST_F(PriorFile, RefusesWhatIsNoPrior) {
    const char *const files[] = {
        "[",
        R"({"columns": ["a"], "mean": [1], "mean_cases": 1, "covariance": [[1]]})",
        R"({"columns": ["a"], "mean": ["x"], "mean_cases": 1, "covariance": [[1]], "covariance_cases": 3})",
        R"({"columns": ["a"], "mean": [1, 2], "mean_cases": 1, "covariance": [[1]], "covariance_cases": 3})",
        R"({"columns": ["a"], "mean": [1], "mean_cases": -1, "covariance": [[1]], "covariance_cases": 3})",
        R"({"columns": ["a"], "mean": [1], "mean_cases": 1, "covariance": [[1]], "covariance_cases": 0})",
        R"({"columns": ["a"], "mean": [1], "mean_cases": 1, "covariance": [[-1]], "covariance_cases": 3})",
        R"({"columns": ["a", "b"], "mean": [1, 1], "mean_cases": 1, "covariance": [[1, 0.5], [0.4, 1]], "covariance_cases": 3})",
    };
    for (const char *const text : files) EXPECT_THROW((void)parse_prior(file(text)), Error) << text;
    for (const char *const word :
         {"ridge", "ridge=", "ridge=0", "ridge=-1", "ridge=nan", "ridge=1x", "/nowhere/prior.json"}) {
        EXPECT_THROW((void)parse_prior(word), Error) << word;
    }
    EXPECT_EQ(parse_prior("ridge=0.5").ridge_cases, 0.5);
}

}  // namespace
