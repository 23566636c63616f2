// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Regressions of tables whose answer is known.

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "host/answer/small_tables.h"
#include "host/expect_close.h"
#include "ullage/host/answer/derive.h"
#include "ullage/host/answer/pool_regression.h"
#include "ullage/host/base/error.h"

namespace ullage::host {
namespace {

Regression regression_of(const char *formula, Family family = Family::normal) {
    const std::vector<std::string> dot = {"a", "b"};
    Regression regression;
    regression.formula = parse_formula(formula, dot);
    regression.family = family;
    return regression;
}

const PooledRow &coefficient(const PooledRegression &regression, const std::string &name) {
    for (const PooledRow &row : regression.coefficients) {
        if (row.name == name) return row;
    }
    ADD_FAILURE() << "no " << name << " but " << regression.coefficients.back().name;
    return regression.coefficients.front();
}

std::string message_of(const CompletedTables &tables, const Regression &regression) {
    try {
        (void)pool_regression(tables, regression);
    } catch (const Error &error) {
        return error.what();
    }
    return "";
}

/**
 * 40 rows of counts: kind "yes" in 3 of 10 rows of site a, 6 of 10 of b, 8 of 20 of c. The kind of the first row of
 * site c is imputed, as "yes" and as "no". "count" is 1, 2, 3, 4, ... by turns; "house" names ten groups.
 */
CompletedTables site_tables() {
    CompletedTables tables;
    tables.source = "sites.csv";
    tables.rows = 40;
    tables.imputations = 2;
    tables.levels = {""};
    tables.level_of_row.assign(40, 0);
    CompletedColumn site{"site", {}, {}, {}, {"a", "b", "c", "unused"}};
    CompletedColumn kind{"kind", {}, {20}, {{1}, {0}}, {"no", "yes"}};
    CompletedColumn count{"count", {}, {}, {}};
    CompletedColumn house{"house", {}, {}, {}};
    CompletedColumn z{"z", {}, {}, {}};
    for (int i = 0; i < 40; ++i) {
        site.original.push_back(i < 10 ? 0 : i < 20 ? 1 : 2);
        kind.original.push_back(i < 3 || (i >= 10 && i < 16) || (i > 20 && i < 29) ? 1 : 0);
        count.original.push_back(i % 4 + 1);
        house.original.push_back(i / 4);
        z.original.push_back(i * 7 % 11);
    }
    kind.original[20] = NAN;
    tables.columns = {site, kind, count, house, z};
    return tables;
}

TEST(PoolRegression, FitsEachLevelAndNamesWhatIsWrong) {
    const CompletedTables tables = small_tables();
    const auto regressions = pool_regression(tables, regression_of("b ~ a"));
    ASSERT_EQ(regressions.size(), 2u);
    // In "high": slopes of (1, 2, 4, 3) and (1, 2, 4, 5) on (10, 20, 30, 40) are 0.08 and 0.14.
    const PooledRow &slope = regressions[1].coefficients[1];
    EXPECT_EQ(slope.name, "a");
    expect_close(slope.pooled.estimate, 0.11, "slope");
    expect_close(slope.pooled.between, 0.0018, "B of the slope");
    // One coefficient: F is the square of t but for the variance, where B counts by its mean ratio to U.
    const CoefficientTest &test = regressions[1].tests.at(0);
    expect_close(test.wald.statistic, slope.pooled.statistic * slope.pooled.statistic, "F", 1e-12);
    EXPECT_EQ(test.names, std::vector<std::string>{"a"});

    const struct {
        const char *formula;
        std::vector<std::string> tested;
        const char *expected;
    } wrong[] = {{"b ~ nowhere", {}, "no column \"nowhere\""},
                 {"b ~ remark", {}, "does not hold numbers"},
                 {"b ~ a + weight", {}, "in level \"high\", imputation 1: column \"weight\" is missing in row 4"},
                 {"log(weight) ~ a", {}, "not defined in row 1, where weight is 0"},
                 {"b ~ sqrt(a - 2)", {}, "in level \"low\", imputation 1"},
                 {"b ~ a", {"c"}, "no term or coefficient \"c\""},
                 {"b ~ a", {"a", "a"}, "twice"},
                 {"b ~ C(a)", {}, "column \"a\" holds numbers"},
                 {"b ~ a + log(a) + sqrt(a)", {}, "too few rows"}};
    for (const auto &row : wrong) {
        Regression regression = regression_of(row.formula);
        regression.tested = row.tested;
        EXPECT_NE(message_of(tables, regression).find(row.expected), std::string::npos)
            << row.formula << ": " << message_of(tables, regression);
    }
}

TEST(PoolRegression, LogOddsOfWords) {
    const CompletedTables tables = site_tables();
    const PooledRegression fit = pool_regression(tables, regression_of("kind ~ site", Family::binomial)).at(0);
    const auto odds = [](double yes, double no) { return std::log(yes / no); };
    ASSERT_EQ(fit.coefficients.size(), 3u) << "a word without rows has no coefficient";
    expect_close(fit.coefficients[0].pooled.estimate, odds(3, 7), "constant", 1e-11);
    expect_close(coefficient(fit, "siteb").pooled.estimate, odds(6, 4) - odds(3, 7), "siteb", 1e-11);
    expect_close(coefficient(fit, "siteb").pooled.within, 1.0 / 3 + 1.0 / 7 + 1.0 / 6 + 1.0 / 4, "its variance", 1e-11);
    const PooledRow &last = coefficient(fit, "sitec");
    expect_close(last.pooled.estimate, (odds(9, 11) + odds(8, 12)) / 2.0 - odds(3, 7), "sitec", 1e-11);
    expect_close(last.pooled.between, std::pow(odds(9, 11) - odds(8, 12), 2) / 2.0, "B of sitec", 1e-11);
    EXPECT_EQ(fit.residual_df, 37.0);
    ASSERT_EQ(fit.tests.size(), 1u);
    EXPECT_EQ(fit.tests[0].term, "site");

    // Another reference; the same as numbers; and without a constant, each word has its own.
    const PooledRegression other =
        pool_regression(tables, regression_of("I(kind == 'yes') ~ C(site, ref = b)", Family::binomial)).at(0);
    expect_close(coefficient(other, "sitea").pooled.estimate, odds(3, 7) - odds(6, 4), "sitea", 1e-11);
    const PooledRegression full = pool_regression(tables, regression_of("kind ~ 0 + site", Family::binomial)).at(0);
    expect_close(coefficient(full, "siteb").pooled.estimate, odds(6, 4), "siteb of its own", 1e-11);

    // Products: a word of both columns, and a slope for each site; the margin that is not there gives all words.
    const PooledRegression product = pool_regression(tables, regression_of("z ~ site*kind")).at(0);
    EXPECT_EQ(product.coefficients.back().name, "sitec:kindyes");
    ASSERT_EQ(product.tests.size(), 3u);
    EXPECT_EQ(product.tests[2].term, "site:kind");
    EXPECT_EQ(pool_regression(tables, regression_of("z ~ site:count")).at(0).coefficients.size(), 4u);
    EXPECT_EQ(pool_regression(tables, regression_of("z ~ count + site:count")).at(0).coefficients.size(), 4u);
}

TEST(PoolRegression, RatesOfCounts) {
    const CompletedTables tables = site_tables();
    const PooledRegression fit =
        pool_regression(tables, regression_of("count ~ C(site) + offset(log(2))", Family::poisson)).at(0);
    // Sites a and b have 1, 2, 3, 4, 1, 2, 3, 4, 1, 2 and 3, 4, 1, 2, 3, 4, 1, 2, 3, 4.
    expect_close(fit.coefficients[0].pooled.estimate, std::log(23.0 / 20.0), "constant", 1e-11);
    expect_close(coefficient(fit, "siteb").pooled.estimate, std::log(27.0 / 23.0), "siteb", 1e-11);
    expect_close(coefficient(fit, "siteb").pooled.within, 1.0 / 27 + 1.0 / 23, "its variance", 1e-11);
}

TEST(PoolRegression, ErrorsThatDoNotTrustTheModel) {
    const CompletedTables tables = site_tables();
    // A mean: e is 1.5 or 0.5 in equal parts, h = 1 / 40.
    Regression mean = regression_of("count ~ 1");
    mean.robust = true;
    const double scale = 39.0 / 40.0;
    expect_close(pool_regression(tables, mean).at(0).coefficients[0].pooled.within, 1.25 / 40.0 / scale / scale, "HC3");
    // Houses of all four counts: each sums up to nothing.
    mean.robust = false;
    mean.cluster = "house";
    const PooledRegression same = pool_regression(tables, mean).at(0);
    EXPECT_EQ(same.residual_df, 9.0);
    expect_close(same.coefficients[0].pooled.within, 0.0, "clusters");
    // Two sites as clusters of 20 and 20 rows, z + 2 and z in them: sums of +20 and -20.
    Regression pair = regression_of("I(ifelse(site == 'c', 2, 0)) ~ 1");
    pair.cluster = "house";
    expect_close(pool_regression(tables, pair).at(0).coefficients[0].pooled.within,
                 10.0 * 16.0 / 1600.0 * (10.0 / 9.0) * (39.0 / 39.0), "ten clusters of 4 and -4");
    pair.robust = true;
    EXPECT_NE(message_of(tables, pair).find("one of them"), std::string::npos);
    pair = regression_of("z ~ count");
    pair.cluster = "kind";
    EXPECT_NE(message_of(tables, pair).find("was imputed in 1 row"), std::string::npos);
    pair = regression_of("z ~ I(house == 3 & count == 2)");
    pair.robust = true;
    EXPECT_NE(message_of(tables, pair).find("row 14 alone"), std::string::npos) << message_of(tables, pair);
}

TEST(PoolRegression, RowsWhereSomethingIsTrue) {
    const CompletedTables tables = site_tables();
    Regression regression = regression_of("z ~ site");
    regression.where = parse_expression("--where", "kind == 'yes' & site != 'a'");
    const PooledRegression fit = pool_regression(tables, regression).at(0);
    EXPECT_EQ(fit.rows, 14u);
    EXPECT_EQ(fit.most_rows, 15u);
    EXPECT_EQ(fit.residual_df, 12.0);
    ASSERT_EQ(fit.coefficients.size(), 2u) << "a has no rows, and b is the reference";
    EXPECT_EQ(fit.coefficients[1].name, "sitec");
    regression.where = parse_expression("--where", "site == 'a'");
    EXPECT_NE(message_of(tables, regression).find("only one word"), std::string::npos);
    regression.where = parse_expression("--where", "kind");
    EXPECT_NE(message_of(tables, regression).find("neither true nor false"), std::string::npos);
}

TEST(Derive, ComputesInEveryTable) {
    CompletedTables tables = small_tables();
    add_derived(tables, parse_derivation("r = log(b) / a"));
    add_derived(tables, parse_derivation("`r 2` = 2 * r + 0 * weight"));
    const CompletedColumn &r = tables.column("r");
    EXPECT_EQ(r.hidden, std::vector<std::int32_t>{7});
    EXPECT_EQ(r.original[3], std::log(2.0) / 20.0);
    EXPECT_TRUE(std::isnan(r.original[7]));
    EXPECT_EQ(r.imputed[1][0], std::log(5.0) / 40.0);
    EXPECT_EQ(tables.column("r 2").imputed[0][0], 2.0 * (std::log(3.0) / 40.0));
    EXPECT_TRUE(std::isnan(tables.column("r 2").original[3])) << "weight is missing there";
    EXPECT_EQ(tables.model, (std::vector<std::size_t>{0, 1, 3})) << "a column with missing cells has no mean";

    const struct {
        const char *text;
        const char *expected;
    } wrong[] = {
        {"a = b", "has a column \"a\" already"},
        {"remark = b", "already"},
        {"s = b - ", "at its end"},
        {"s == b", "a = is expected"},
        {"= b", "name of the new column"},
        {"s = log(b - 3.5)",
         "imputation 1: --derive \"s = log(b - 3.5)\", at \"log(b - 3.5)\": not defined in row "
         "1, where b is 1"},
        {"s = sqrt(4 - b)", "imputation 2: --derive \"s = sqrt(4 - b)\", at \"sqrt(4 - b)\": not defined in row 8"},
        {"s = nowhere + 1", "no column \"nowhere\""}};
    const std::size_t columns = tables.columns.size();
    for (const auto &row : wrong) {
        std::string message;
        try {
            add_derived(tables, parse_derivation(row.text));
        } catch (const Error &error) {
            message = error.what();
        }
        EXPECT_NE(message.find(row.expected), std::string::npos) << row.text << ": " << message;
    }
    EXPECT_EQ(tables.columns.size(), columns);
}

TEST(PoolRegression, SeparationAndWrongResponses) {
    CompletedTables tables = site_tables();
    for (std::size_t i = 10; i < 20; ++i) tables.columns[1].original[i] = 1;
    std::string message = message_of(tables, regression_of("kind ~ z + site", Family::binomial));
    EXPECT_NE(message.find("imputation 1: separation"), std::string::npos) << message;
    EXPECT_NE(message.find("in 10 rows, so that the coefficient of \"siteb\""), std::string::npos) << message;
    // All rows are told apart by a number.
    message = message_of(tables, regression_of("I(z > 4) ~ z", Family::binomial));
    EXPECT_NE(message.find("coefficient of \"z\""), std::string::npos) << message;
    // The constant grows with it; the slope says more.
    message = message_of(tables, regression_of("I(z > 4) ~ I(z > 4.5)", Family::binomial));
    EXPECT_NE(message.find("coefficient of \"I(z>4.5)\""), std::string::npos) << message;
    message = message_of(tables, regression_of("I(z > -99) ~ z", Family::binomial));
    EXPECT_NE(message.find("the response is the same in all rows"), std::string::npos) << message;
    message = message_of(tables, regression_of("ifelse(site == 'b', 0, count) ~ site", Family::poisson));
    EXPECT_NE(message.find("that the response is 0 in 10 rows"), std::string::npos) << message;
    // Nearly separated is not separated: one row in 10 of either kind, and a steep slope.
    tables = site_tables();
    const PooledRegression steep =
        pool_regression(tables, regression_of("I(z + count > 6) ~ z", Family::binomial)).at(0);
    EXPECT_GT(steep.coefficients[1].pooled.estimate, 1.0);

    EXPECT_NE(message_of(tables, regression_of("z ~ count", Family::binomial)).find("0 or 1, and is 7 in row 2"),
              std::string::npos);
    EXPECT_NE(message_of(tables, regression_of("z - 1 ~ count", Family::poisson)).find("is -1 in row 1"),
              std::string::npos);
    EXPECT_NE(message_of(tables, regression_of("site ~ count", Family::binomial)).find("holds words (a, b, c, unused)"),
              std::string::npos);
    EXPECT_NE(message_of(tables, regression_of("site ~ count")).find("a response of numbers"), std::string::npos);
}

}  // namespace
}  // namespace ullage::host
