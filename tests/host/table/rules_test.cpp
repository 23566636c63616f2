// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Rules for columns and rows, and the closure of bounds.

#include "ullage/host/table/rules.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>

#include "table_words.h"

namespace ullage::host {
namespace {

std::string closed(const std::string &bytes, const Rules &rules) {
    std::string words;
    const std::string error = error_of([&] {
        Notices notices;
        Table table = table_of(bytes);
        apply_rules(table, rules, notices);
        words = hidden_in_words(table, close_bounds(table)) + " ";
    });
    return words.empty() ? error : words.substr(0, words.size() - 1);
}

TEST(CloseBounds, WhatFollows) {
    const struct {
        const char *name;
        std::string bytes;
        Rules rules;
        const char *words;
    } rows[] = {
        {"nothing known", "x,y\n,1\n2,1\n", {}, "x:(-inf,inf)"},
        {"the tightest of a cell", "x,y\n>1; >2; <9; <8,1\n", {}, "x:(2,8)"},
        {"rules and cell",
         "x,y\n<9,\n,1\n",
         {.lower = {{"x", 0}}, .upper = {{"y", 7}}},
         "x:(0,9) y:(-inf,7) x:(0,inf)"},
        {"through another cell", "x,y\n<y,<5\n1,2\n", {}, "x:(-inf,5)<y y:(-inf,5)>x"},
        {"by an observed cell", "x,y\n<y,5\n", {}, "x:(-inf,5)"},
        {"an order of three",
         "x,y,z\n,,\n1,2,3\n",
         {.order = {"x<y<z"}},
         "x:(-inf,inf)<y<z y:(-inf,inf)>x<z z:(-inf,inf)>x>y"},
        {"an order whose middle column comes last",
         "x,y,z\n,,\n1,3,2\n",
         {.order = {"x<z", "z<y"}},
         "x:(-inf,inf)<y<z y:(-inf,inf)>x>z z:(-inf,inf)>x<y"},
        {"numbers at both ends of an order",
         "x,y,z\n1,,3\n1,2,\n>4,,<5\n",
         {.order = {"x < y", "y <= z"}},
         "y:(1,3) z:(2,inf) x:(4,5)<y<z y:(4,5)>x<z z:(4,5)>x>y"},
        {"a column rule through an order",
         "x,y\n,\n1,2\n",
         {.upper = {{"y", 9}}, .order = {"x<y"}},
         "x:(-inf,9)<y y:(-inf,9)>x"},
        {"rows with references do not disturb those without",
         "x,y\n<y,>0\n,\n<y,\n1,2\n",
         {},
         "x:(-inf,inf)<y y:(0,inf)>x x:(-inf,inf) y:(-inf,inf) x:(-inf,inf)<y y:(-inf,inf)>x"},
        {"equal observed cells", "x,y\n2,2\n", {.order = {"x<=y"}}, ""},
        {"range of a logarithm", "x,y\n<5,1\n2,1\n", {.log = {"x"}}, "x:(0,5)"},
        {"range of a logit", "x,y\n,1\n0.5,1\n", {.logit = {"x"}}, "x:(0,1)"},
        {"observed zero under a root", "x,y\n0,\n2,1\n", {.sqrt = {"x"}}, "y:(-inf,inf)"},
    };
    for (const auto &row : rows) EXPECT_EQ(closed(row.bytes, row.rules), row.words) << row.name;
}

TEST(CloseBounds, Contradictions) {
    const struct {
        std::string bytes;
        Rules rules;
        const char *error;
    } rows[] = {
        {"x,y\n>5; <3,1\n2,1\n",
         {},
         "t.csv: line 2 (row 1), column \"x\": no value of \"x\" is above 5 (column "
         "\"x\", \">5; <3\") and below 3 (column \"x\", \">5; <3\")"},
        {"x,y\n1,1\n,2\n<y,>9\n>3,<3\n>y,4\n<-1,0\n",
         {.lower = {{"x", 0}}},
         "t.csv: line 7 (row 6), column \"x\": no value of \"x\" is above 0 (column \"x\", --lower) and below "
         "-1 (column "
         "\"x\", \"<-1\")"},
        {"x,y,z\n5,,1\n1,2,3\n",
         {.order = {"x<y<z"}},
         "t.csv: line 2 (row 1), columns \"x\", \"z\": x is 5, and must be below z, "
         "which is 1"},
        {"x,y,z\n5,3,1\n",
         {.order = {"x<y<z"}},
         "t.csv: 2 problems:\n"
         "  line 2 (row 1), columns \"x\", \"y\": x is 5, and must be below y, which is 3\n"
         "  line 2 (row 1), columns \"y\", \"z\": y is 3, and must be below z, which is 1"},
        {"x,y\n2,2\n",
         {.order = {"x<y"}},
         "t.csv: line 2 (row 1), columns \"x\", \"y\": x is 2, and must be below y, which is 2"},
        {"x,y\n3,2\n",
         {.order = {"x<=y"}},
         "t.csv: line 2 (row 1), columns \"x\", \"y\": x is 3, and must be at most y, which is 2"},
        {"x,y,z\n>5,,<4\n1,2,3\n",
         {.order = {"x<y<z"}},
         "t.csv: line 2 (row 1), columns \"x\", \"z\": no value of \"x\" is above 5 (column \"x\", \">5\") and below 4 "
         "(column \"z\", \"<4\")"},
        {"x,y\n1..1.0000000000000002,1\n2,2\n",  // no number lies between these two
         {},
         "t.csv: line 2 (row 1), column \"x\": no value of \"x\" is above 1 (column \"x\", "
         "\"1..1.0000000000000002\") and below 1.0000000000000002 (column \"x\", \"1..1.0000000000000002\")"},
        {"x,y\n<y,<x\n1,2\n",
         {},
         "t.csv: line 2 (row 1), columns \"x\", \"y\": the order of these cells runs in a circle"},
        {"x,y\n1,2\n<-1,2\n",
         {.log = {"x"}},
         "t.csv: line 3 (row 2), column \"x\": no value of \"x\" is above 0 (column \"x\", --log) and below "
         "-1 (column \"x\", "
         "\"<-1\")"},
    };
    for (const auto &row : rows) EXPECT_EQ(closed(row.bytes, row.rules), row.error);
}

TEST(ApplyRules, Refuses) {
    const struct {
        Rules rules;
        const char *error;
    } rows[] = {
        {{.lower = {{"u", 1}}}, "--lower: \"u\" is no column of the model; these are x, y, z, a€"},
        {{.lower = {{"t", 1}}},
         "--lower: \"t\" is carried along, as there is no number in it; --number or --nominal takes it into the model"},
        {{.lower = {{"x", 1}, {"x", 2}}}, "--lower: \"x\" is given twice"},
        {{.lower = {{"x", 2}}, .upper = {{"x", 2}}}, "the rules leave no value for \"x\": above 2 and below 2"},
        {{.upper = {{"x", -1}}, .log = {"x"}}, "the rules leave no value for \"x\": above 0 and below -1"},
        {{.order = {"x"}}, "--order \"x\": an order is written as a<b or a<b<c"},
        {{.order = {"x<y", "z"}}, "--order \"z\": an order is written as a<b or a<b<c"},
        {{.order = {"x<y", "a€"}}, "--order \"a€\": an order is written as a<b or a<b<c"},
        {{.order = {"x<<y"}}, "--order \"x<<y\": \"\" is no column of the model; these are x, y, z, a€"},
        {{.order = {"x<x"}}, "--order \"x<x\": a column cannot stand before itself"},
        {{.order = {"x<y", "y≤z", "z<x"}}, "--order: the rules run in a circle through \"x\""},
        {{.log = {"x"}, .sqrt = {"x"}}, "\"x\" is given two transformations, log and sqrt"},
        {{.order = {"x<y<z"}, .log = {"x"}, .sqrt = {"z"}},
         "\"x\" and \"z\" are compared with each other, so they must have the same transformation, and not log and "
         "sqrt"},
        {{.log = {"y"}}, "t.csv: line 3 (row 2), column \"y\", \"0\": --log needs values above 0"},
        {{.logit = {"x"}},
         "t.csv: 2 problems:\n  line 2 (row 1), column \"x\", \"1\": --logit needs values between 0 and 1, "
         "without the ends\n  line 3 (row 2), column \"x\", \"-2\": --logit needs values between 0 and 1, "
         "without the ends"},
    };
    for (const auto &row : rows) EXPECT_EQ(closed("x,y,z,t,a€\n1,3,7,a,1\n-2,0,8,b,2\n", row.rules), row.error);
}

// Draws the cells of closed rows in a random order, each anywhere between its bounds and the cells drawn before, as the
// engine's first pass does; and decides by trial whether rows contradict themselves.
TEST(CloseBounds, EveryCellHasRoomWhateverTheOrderOfTheDraws) {
    std::mt19937 random(20261122);
    const auto below = [&](std::uint32_t n) { return static_cast<int>(random() % n); };
    int good_rows = 0;
    int bad_rows = 0;
    for (int trial = 0; trial < 3000; ++trial) {
        constexpr int n = 5;
        const std::string names = "abcde";
        std::string bytes = "a,b,c,d,e\n";
        for (int c = 0; c < n; ++c) {
            std::string cell;
            switch (below(6)) {
                case 0:
                    cell = std::to_string(below(20));
                    break;
                case 1:
                    cell = "<" + std::to_string(below(20) + 5);
                    break;
                case 2:
                    cell = ">" + std::to_string(below(15));
                    break;
                default:
                    break;
            }
            // A cell that is not a number may refer to others as well.
            if (cell.empty() || cell[0] == '<' || cell[0] == '>') {
                for (int other = 0; other < n; ++other) {
                    if (other == c || below(5) != 0) continue;
                    cell += (cell.empty() ? "" : ";") + std::string(below(2) ? "<" : ">") +
                            names[static_cast<std::size_t>(other)];
                }
            }
            bytes += (c > 0 ? "," : "") + cell;
        }
        bytes += "\n1,1,1,1,1\n";
        const Table table = table_of(bytes);
        HiddenCells hidden;
        const bool is_good = error_of([&] { hidden = close_bounds(table); }) == "no error";

        // The oracle: the longest chains of "above" from the lower limits, by relaxation; strictness as a tiny step.
        constexpr double step = 1e-6;
        std::vector<double> low(n, -1000.0);
        std::vector<double> high(n, 1000.0);
        std::vector<std::pair<int, int>> pairs;  // first < second
        for (std::size_t c = 0; c < n; ++c) {
            if (!table.is_hidden(0, c)) low[c] = high[c] = table.columns[c].values[0];
        }
        for (std::size_t b = 0; b < table.bound_begin[1]; ++b) {
            const Bound &bound = table.bounds[b];
            const auto c = static_cast<std::size_t>(bound.column);
            if (bound.other >= 0) {
                pairs.push_back(bound.is_upper ? std::pair(bound.column, bound.other)
                                               : std::pair(bound.other, bound.column));
            } else if (bound.is_upper) {
                high[c] = std::min(high[c], bound.limit - step);
            } else {
                low[c] = std::max(low[c], bound.limit + step);
            }
        }
        for (int pass = 0; pass < 2 * n; ++pass) {
            for (const auto &[first, second] : pairs) {
                low[static_cast<std::size_t>(second)] =
                    std::max(low[static_cast<std::size_t>(second)], low[static_cast<std::size_t>(first)] + step);
            }
        }
        bool can_be = true;
        for (std::size_t c = 0; c < n; ++c) can_be = can_be && low[c] <= high[c] + 0.5 * step;
        // A circle climbs with every pass until it passes what n cells can need.
        for (std::size_t c = 0; c < n; ++c) {
            const double fraction = (low[c] - std::floor(low[c] + 0.5)) / step;
            can_be = can_be && fraction < n + 1.5;
        }
        ASSERT_EQ(is_good, can_be) << bytes;
        (is_good ? good_rows : bad_rows) += 1;
        if (!is_good) continue;

        const auto cells = hidden.of_row(0);
        std::vector<std::size_t> order(cells.size());
        std::iota(order.begin(), order.end(), std::size_t{0});
        std::shuffle(order.begin(), order.end(), random);
        std::vector<double> value(n, std::nan(""));
        for (const std::size_t i : order) {
            double lower = std::max(cells[i].lower, -100.0);
            double upper = std::min(cells[i].upper, 100.0);
            for (const Reference &reference : hidden.references_of(cells[i])) {
                const double other = value[static_cast<std::size_t>(reference.column)];
                if (std::isnan(other)) continue;
                if (reference.is_upper) {
                    upper = std::min(upper, other);
                } else {
                    lower = std::max(lower, other);
                }
            }
            ASSERT_LT(lower, upper) << bytes;
            const double share = std::uniform_real_distribution(0.01, 0.99)(random);
            value[static_cast<std::size_t>(cells[i].column)] = lower + share * (upper - lower);
        }
        for (const auto &[first, second] : pairs) {
            const auto at = [&](int c) {
                const double drawn = value[static_cast<std::size_t>(c)];
                return std::isnan(drawn) ? table.columns[static_cast<std::size_t>(c)].values[0] : drawn;
            };
            ASSERT_LT(at(first), at(second)) << bytes;
        }
    }
    EXPECT_GT(good_rows, 500);
    EXPECT_GT(bad_rows, 500);
}

}  // namespace
}  // namespace ullage::host
