// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The model's units, and the way back that keeps every cell between its bounds.

#include "ullage/host/model/scale.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "host/table/table_words.h"
#include "ullage/host/base/error.h"
#include "ullage/host/base/number_text.h"

namespace ullage::host {
namespace {

struct Ready {
    Table table;
    HiddenCells hidden;
    std::vector<Scale> scales;
};

Ready ready(const std::string &bytes, const Rules &rules = {}) {
    Ready result{table_of(bytes), {}, {}};
    Notices notices;
    apply_rules(result.table, rules, notices);
    result.hidden = close_bounds(result.table);
    result.scales = choose_scales(result.table, result.hidden);
    return result;
}

TEST(Scale, ChoosesCentreAndScale) {
    const struct {
        const char *name;
        const char *bytes;
        Rules rules;
        std::vector<double> centres;
        std::vector<double> scales;
    } rows[] = {
        {"each column its own", "x,y\n1,10\n3,30\n", {}, {2, 20}, {1, 10}},
        {"tied by an order rule",
         "x,y,z\n1,5,1\n3,7,9\n",
         {.order = {"x<y"}},
         {4, 4, 5},
         {std::sqrt(5.0), std::sqrt(5.0), 4}},
        {"tied by a reference of one row", "x,y\n1,5\n3,7\n<y,9\n", {}, {5, 5}, {std::sqrt(8.0), std::sqrt(8.0)}},
        {"logarithm", "x,y\n1,1\n7.38905609893065,3\n", {.log = {"x"}}, {1, 2}, {1, 1}},
        {"bounds help a constant column",
         "x,y\n2,1\n2,3\n<6; >1,0\n",
         {},
         {2.75, 4.0 / 3},
         {std::sqrt(3.6875), std::sqrt(14.0 / 9)}},
        {"constant", "x,y\n2,1\n2,1\n,\n", {}, {2, 1}, {1, 1}},
        {"only zeros", "x,y\n0,1\n0,3\n", {}, {0, 2}, {1, 1}},
        {"large numbers", "x,y\n1.5e70,1\n1.7e70,3\n", {}, {1.6e70, 2}, {1e69, 1}},
    };
    for (const auto &row : rows) {
        const Ready r = ready(row.bytes, row.rules);
        for (std::size_t c = 0; c < row.centres.size(); ++c) {
            const double unit = row.centres[c] == 0.0 ? 1.0 : std::fabs(row.centres[c]);
            EXPECT_NEAR(r.scales[c].centre / unit, row.centres[c] / unit, 1e-14) << row.name << c;
            EXPECT_NEAR(r.scales[c].scale / row.scales[c], 1.0, 1e-13) << row.name << c;
        }
    }
}

TEST(Scale, RefusesWhatNoSquareCouldHold) {
    const struct {
        const char *bytes;
        Rules rules;
        const char *expected;
    } rows[] = {{"x,y\n1,1e200\n2,2e200\n", {}, "column \"y\": its values have the standard deviation 5e+199"},
                {"x,y\n1,1.5e308\n2,1.7e308\n", {}, "column \"y\""},
                {"x,y\n1,1e-308\n2,2e-308\n", {}, "5e-309"},
                {"x,y\n1,1e200\n2,2e200\n", {.log = {"y"}}, "its values have"},
                {"x,y\n1,1\n2,2\n>1e300,2\n", {}, "line 4"},
                {"x,y\n1,1\n2,2\n<-1e300,2\n", {}, "line 4"}};
    for (const auto &row : rows) {
        try {
            (void)ready(row.bytes, row.rules);
            ADD_FAILURE() << row.bytes;
        } catch (const Error &error) {
            EXPECT_EQ(error.fault(), Fault::data);
            EXPECT_NE(std::string(error.what()).find(row.expected), std::string::npos) << error.what();
        }
    }
    // Bounds that only leave a cell open may lie anywhere.
    EXPECT_EQ(ready("x,y\n1,1\n2,2\n<1e300,2\n>-1e300,1\n").scales.size(), 2u);
}

TEST(Scale, ThereAndBack) {
    const struct {
        Scale scale;
        double value;
        double model;
    } rows[] = {
        {{Transformation::none, 10, 4}, 12, 0.5},       {{Transformation::log, 1, 2}, 1, -0.5},
        {{Transformation::sqrt, 1, 2}, 25, 2},          {{Transformation::logit, 0, 2}, 0.5, 0},
        {{Transformation::log, 1, 2}, 0, -kOpen},       {{Transformation::logit, 1, 2}, 1, kOpen},
        {{Transformation::none, 1, 2}, -kOpen, -kOpen}, {{Transformation::sqrt, 1, 2}, kOpen, kOpen},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(to_model(row.scale, row.value), row.model);
        EXPECT_EQ(from_model(row.scale, row.model), row.value);
    }
}

// Bounds in the model's units, and draws next to them: rounding on the way back leads outside about every second time.
TEST(Restore, NeverLeavesTheBounds) {
    std::mt19937_64 random(7);
    std::uniform_real_distribution<double> uniform(0.0, 1.0);
    int moved = 0;
    for (const char *transformation : {"none", "log", "sqrt", "logit"}) {
        for (int trial = 0; trial < 2000; ++trial) {
            const double low = uniform(random) * 0.4 + 1e-3;
            const double high = low + (trial % 2 == 0 ? 1e-15 : 0.25) * (1 + uniform(random));
            Rules rules;
            if (transformation == std::string("log")) rules.log = {"x"};
            if (transformation == std::string("sqrt")) rules.sqrt = {"x"};
            if (transformation == std::string("logit")) rules.logit = {"x"};
            const Ready r =
                ready("x,y\n0.123,1\n0.7,2\n" + format_number(low) + ".." + format_number(high) + ",3\n", rules);
            for (const bool at_upper : {false, true}) {
                const double limit = at_upper ? high : low;
                double value[] = {to_model(r.scales[0], limit)};
                if (trial % 3 == 0) value[0] = std::nextafter(value[0], at_upper ? kOpen : -kOpen);
                const double plain = from_model(r.scales[0], value[0]);
                restore(r.table, r.hidden, r.scales, value);
                EXPECT_GT(value[0], low);
                EXPECT_LT(value[0], high);
                EXPECT_NEAR(value[0], limit, 1e-13);
                moved += value[0] != plain;
                // What is written reads back within the bounds, too.
                const double read = std::stod(format_number(value[0]));
                EXPECT_TRUE(read > low && read < high);
            }
        }
    }
    EXPECT_GT(moved, 1000);
}

TEST(Restore, KeepsTheOrderOfCellsThatRoundToOneValue) {
    // Cells far from 0 on a narrow scale: neighbouring draws fall on one double.
    const Ready r = ready("c,b,a\n1e15,1e15,1e15\n1000000000000001,1e15,1e15\n,,\n", {.order = {"a<=b", "b<=c"}});
    for (const double at : {-0.3, 0.0, 0.4}) {
        std::vector<double> values = {at + 2e-16, at + 1e-16, at};  // c, b, a
        restore(r.table, r.hidden, r.scales, values);
        EXPECT_LT(values[2], values[1]);
        EXPECT_LT(values[1], values[0]);
    }
    // Against an upper limit the cells below give way.
    const Ready narrow =
        ready("c,b,a\n1e15,1e15,1e15\n1000000000000001,1e15,1e15\n<1000000000000002,,\n", {.order = {"a<=b", "b<=c"}});
    const double limit = to_model(narrow.scales[0], 1e15 + 2);
    std::vector<double> values = {limit, limit, limit};
    restore(narrow.table, narrow.hidden, narrow.scales, values);
    EXPECT_EQ(values, (std::vector<double>{1e15 + 1.875, 1e15 + 1.75, 1e15 + 1.625}));
}

TEST(Restore, RefusesWhatIsNoRounding) {
    const Ready r = ready("x,y\n1,1\n3,2\n<2,\n", {.log = {"y"}});
    const struct {
        std::vector<double> draws;
        const char *error;
    } rows[] = {
        {{0.001, 0.0}, "line 4 (row 3), column \"x\", \"<2\": the draw 2.001 is not below 2"},
        {{-1.0, 1e6},
         "line 4 (row 3), column \"y\", \"\": an imputed value is too large for a number; check the column's "
         "transformation, or give it an --upper limit"},
        {{-1.0}, "an imputation of the wrong length"},
    };
    for (const auto &row : rows) {
        std::vector<double> values = row.draws;
        EXPECT_EQ(error_of([&] { restore(r.table, r.hidden, r.scales, values); }), row.error);
    }
    std::vector<double> underflow = {-1.0, -1e6};
    restore(r.table, r.hidden, r.scales, underflow);
    EXPECT_GT(underflow[1], 0.0);
}

}  // namespace
}  // namespace ullage::host
