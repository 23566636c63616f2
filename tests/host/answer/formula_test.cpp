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

std::vector<std::string> names_of(const Formula &formula) {
    std::vector<std::string> names;
    for (const Term &term : formula.terms) names.push_back(term.name);
    return names;
}

TEST(Formula, SaysWhatItMeans) {
    const Formula formula = parse_formula(" log10(`y 1`)~x1+ log(x.3) +x1:sqrt(x2)\t");
    EXPECT_EQ(columns_of(formula.response), std::vector<std::string>{"y 1"});
    EXPECT_EQ(formula.response.name, "log10");
    EXPECT_TRUE(formula.intercept);
    EXPECT_EQ(names_of(formula), (std::vector<std::string>{"x1", "log(x.3)", "x1:sqrt(x2)"}));
    const FormulaVariable &last = formula.variables.at(formula.terms[2].variables.at(1));
    EXPECT_EQ(columns_of(last.expression), std::vector<std::string>{"x2"});
    EXPECT_FALSE(parse_formula("y ~ x - 1").intercept);
    EXPECT_FALSE(parse_formula("y ~ 0 + x").intercept);
    EXPECT_TRUE(parse_formula("y ~ 1").terms.empty());

    const std::vector<std::string> dot = {"y", "a", "b"};
    const struct {
        const char *text;
        std::vector<std::string> terms;
    } right[] = {{"y ~ 10x + 1", {"10x"}},  // a name may begin with a digit
                 {"y ~ log", {"log"}},      // a column may be called log
                 {"höhe ~ größe", {"größe"}},
                 {"y ~ a*b", {"a", "b", "a:b"}},
                 {"y ~ a:b + c + b:a + a", {"c", "a", "a:b"}},
                 {"y ~ (a + b + c)^2 - b:c", {"a", "b", "c", "a:b", "a:c"}},
                 {"y ~ a*b*c - a:b:c", {"a", "b", "c", "a:b", "a:c", "b:c"}},
                 {"y ~ a:a", {"a"}},
                 {"log(y + 1) ~ . + I(b^2)", {"a", "b", "I(b^2)"}},
                 {"y ~ . - a", {"b"}},
                 {"y ~ C(site, ref = b) + C(`my site`)", {"C(site,ref=b)", "C(my site)"}},
                 {"y ~ offset(log(t)) + I(1e-3 * a)", {"I(1e-3*a)"}}};
    for (const auto &row : right) EXPECT_EQ(names_of(parse_formula(row.text, dot)), row.terms) << row.text;
    EXPECT_EQ(parse_formula("y ~ C(site, ref = 'b c')").variables[0].reference, "b c");
    EXPECT_EQ(parse_formula("y ~ a + offset(log(t)) + offset(u)").offsets.size(), 2u);
}

TEST(Formula, ErrorsSayWhere) {
    const struct {
        const char *text;
        const char *expected;
    } wrong[] = {{"", "at its end"},
                 {"y", "a ~ is expected"},
                 {"y ~", "the name of a column"},
                 {"y ~ x +", "the name of a column"},
                 {"y ~ x z", "at \"z\": a + is expected"},
                 {"y ~ x / z", "at \"/ z\""},
                 {"y ~ sin(x)", "at \"sin(x)\": \"sin\" is no function"},
                 {"y ~ log(x", "a ) is expected"},
                 {"y ~ log()", "at \")\""},
                 {"y ~ log(x, 2)", "log takes 1 operand, and there are 2"},
                 {"y ~ `x", "at \"`x\": the backquote is not closed"},
                 {"y ~ x - z", "at \"z\": there is no term \"z\" to take out"},
                 {"y ~ 0", "nothing on the right"},
                 {"y ~ x:", "the name of a column"},
                 {"y ~ x^z", "at \"z\": an order"},
                 {"y ~ x^2.5", "an order"},
                 {"y ~ 2", "only 1 and 0"},
                 {"y ~ a:1", "at \"1\""},
                 {"y ~ .", "no column besides"},
                 {"y ~ C(a + b)", "a ) is expected"},
                 {"y ~ C(a, first)", "ref = WORD"},
                 {"y ~ a:offset(b)", "an offset stands between"},
                 {"y ~ a + b:y", "\"y\" is the response too"},
                 {"y ~ a; b", "at \"; b\": this sign"}};
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
