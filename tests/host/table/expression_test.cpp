// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Expressions: what they are worth, and what is said of wrong ones.

#include "ullage/host/table/expression.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

namespace ullage::host {
namespace {

const std::vector<std::string> kSites = {"a", "b c"};
const std::vector<std::string> kOtherSites = {"b c", "d"};
const std::vector<std::string> kGrades = {"1", "2.5"};

/** Two rows. */
RowValues column(const std::string &name) {
    if (name == "x") return {{3.0, -2.0}, nullptr};
    if (name == "n") return {{NAN, 0.0}, nullptr};
    if (name == "site") return {{0.0, 1.0}, &kSites};
    if (name == "other") return {{1.0, 0.0}, &kOtherSites};
    if (name == "grade") return {{1.0, NAN}, &kGrades};
    throw Error(Fault::usage, "no column " + name);
}

TEST(Expression, Values) {
    const struct {
        const char *text;
        double first;
        double second;
    } right[] = {{"1 + 2 * 3 ^ 2 ^ 0.5 - 4 / 8", 1.0 + 2.0 * std::pow(3.0, std::sqrt(2.0)) - 0.5, 9.958},
                 {"-x^2", -9.0, -4.0},
                 {"2^-x", 0.125, 4.0},
                 {"10 - x - 1", 6.0, 11.0},
                 {"12 / x / 2", 2.0, -3.0},
                 {"1e-1 * `x`", 0.3, -0.2},
                 {"log(x)", std::log(3.0), NAN},
                 {"max(x, 0) + min(1, abs(x))", 4.0, 1.0},
                 {"ifelse(x > 0, log1p(x), 0)", std::log1p(3.0), 0.0},
                 {"x > 0 & x < 5 | x == -2", 1.0, 1.0},
                 {"!x > 0", 0.0, 1.0},
                 {"x >= 3 && x != 4 || !(1 > 0)", 1.0, 0.0},
                 {"n > -1", NAN, 1.0},
                 {"n > 0 & x < 0", 0.0, 0.0},  // what is false makes the whole false, ...
                 {"n == 1 | x == 3", 1.0, 0.0},
                 {"n == 1 | x == 4", NAN, 0.0},  // ... and what is not known leaves it open otherwise
                 {"is.na(n) + is.na(grade) * 10", 1.0, 10.0},
                 {"site == 'b c'", 0.0, 1.0},
                 {"\"a\" != site", 0.0, 1.0},
                 {"site == other", 0.0, 1.0},
                 {"grade * 2", 5.0, NAN},
                 {"grade == 2.5", 1.0, NAN},
                 {"grade == '1'", 0.0, NAN},
                 {"round(x / 2) + floor(x / 2) + ceiling(x / 2)", 5.0, -3.0}};
    for (const auto &row : right) {
        const RowValues values = evaluate(parse_expression("expression", row.text), column, 2);
        const double expected[] = {row.first, row.second == 9.958 ? row.first : row.second};
        for (std::size_t i = 0; i < 2; ++i) {
            EXPECT_EQ(std::isnan(values.values[i]), std::isnan(expected[i])) << row.text;
            if (std::isnan(expected[i])) continue;
            EXPECT_NEAR(values.values[i], expected[i], 1e-14) << row.text;
        }
    }
    EXPECT_EQ(evaluate(parse_expression("expression", "site"), column, 2).words, &kSites);
}

TEST(Expression, ErrorsSayWhere) {
    const std::string deep(1000, '(');
    std::string parts = "x";
    for (int i = 0; i < 3000; ++i) parts += " + x";
    const struct {
        std::string text;
        const char *expected;
    } wrong[] = {{"x +", "at its end"},
                 {"(x", "a ) is expected"},
                 {"x y", "at \"y\": an operator is expected"},
                 {"x < 1 < 2", "at \"< 2\""},
                 {"'a", "the quote is not closed"},
                 {"x ~ 1", "at \"~ 1\""},
                 {"x # 1", "at \"# 1\": this sign has no meaning"},
                 {"nowhere(x)", "\"nowhere\" is no function"},
                 {"x + site", "at \"site\": column \"site\" holds words"},
                 {"site == 'z'", "no word \"z\"; its words are a, b c"},
                 {"x == 'z'", "written without quotes"},
                 {"x + 'z'", "a text stands only beside"},
                 {"site < 'b c'", "at"},
                 {"min(x)", "min takes 2 operands, and there is 1"},
                 {deep, "too many brackets"},
                 {parts, "names and signs"}};
    for (const auto &row : wrong) {
        try {
            (void)evaluate(parse_expression("expression", row.text), column, 2);
            ADD_FAILURE() << row.text << " was accepted";
        } catch (const Error &error) {
            EXPECT_EQ(error.fault(), Fault::usage);
            EXPECT_NE(std::string(error.what()).find(row.expected), std::string::npos) << error.what();
        }
    }
}

}  // namespace
}  // namespace ullage::host
