// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Formulas as they are written.

#include "ullage/host/answer/formula.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ullage/host/base/error.h"

namespace ullage::host {
namespace {

TEST(Formula, SaysWhatItMeans) {
    const Formula formula = parse_formula(" log10(`y 1`)~x1+ log(x.3) +x1:sqrt(x2)\t");
    EXPECT_EQ(formula.response.column, "y 1");
    EXPECT_EQ(formula.response.function, TermFunction::log10);
    EXPECT_TRUE(formula.intercept);
    std::vector<std::string> names;
    for (const Term &term : formula.terms) names.push_back(term.name);
    EXPECT_EQ(names, (std::vector<std::string>{"x1", "log(x.3)", "x1:sqrt(x2)"}));
    EXPECT_EQ(formula.terms[2].factors.at(1).column, "x2");
    EXPECT_FALSE(parse_formula("y ~ x - 1").intercept);
    EXPECT_FALSE(parse_formula("y ~ 0 + x").intercept);
    EXPECT_TRUE(parse_formula("y ~ 1").terms.empty());
    EXPECT_EQ(parse_formula("y ~ 10x + 1").terms.at(0).name, "10x") << "a name may begin with a digit";
    EXPECT_EQ(parse_formula("y ~ log").terms.at(0).factors.at(0).column, "log") << "a column may be called log";
    EXPECT_EQ(parse_formula("höhe ~ größe").terms.at(0).name, "größe");
}

TEST(Formula, ErrorsSayWhere) {
    const struct {
        const char *text;
        const char *expected;
    } wrong[] = {{"", "at its end"},
                 {"y", "a ~ is expected"},
                 {"y ~", "the name of a column"},
                 {"y ~ x +", "the name of a column"},
                 {"y ~ x z", "at \"z\""},
                 {"y ~ x * z", "at \"* z\""},
                 {"y ~ sin(x)", "\"sin\" is no function"},
                 {"y ~ log(x", "a ) is expected"},
                 {"y ~ log()", "the name of a column"},
                 {"y ~ `x", "not closed"},
                 {"y ~ x - z", "only 1"},
                 {"y ~ x + x", "twice"},
                 {"y ~ 0", "nothing on the right"},
                 {"y ~ x:", "the name of a column"}};
    for (const auto &row : wrong) {
        try {
            (void)parse_formula(row.text);
            ADD_FAILURE() << row.text << " was accepted";
        } catch (const Error &error) {
            EXPECT_EQ(error.fault(), Fault::usage);
            EXPECT_NE(std::string(error.what()).find(row.expected), std::string::npos) << error.what();
        }
    }
}

}  // namespace
}  // namespace ullage::host
