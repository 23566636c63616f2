// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The language of a cell: states, bounds at the present values, and what a cell does to others.

#include "data/case_record.h"
#include "support/bits.h"
#include "support/engine_test.h"

namespace {

// What a cell of the first case of the current group holds and allows.
struct Cell {
    std::int32_t type;
    double value;
    double lower;
    double upper;
};

Cell cell_of_first_case(std::int32_t variable) {
    Cell cell{};
    EXPECT_EQ(DS_ConstraintTypeScalar(0, 1, variable, &cell.type), 0);
    EXPECT_EQ(DS_DataScalar(0, 1, variable, &cell.value), 0);
    const CaseRecord *record = state.group_current->case_index[0];
    state.current_values = record->values;
    state.current_states = record->states;
    (void)cell_bounds(variable - 1, cell.lower, cell.upper);
    return cell;
}

void expect_cell(std::int32_t variable, const Cell &expected) {
    SCOPED_TRACE(variable);
    const Cell cell = cell_of_first_case(variable);
    EXPECT_EQ(cell.type, expected.type);
    CHECK_BITS(cell.value, expected.value);
    CHECK_BITS(cell.lower, expected.lower);
    CHECK_BITS(cell.upper, expected.upper);
}

constexpr double kNone = kUndefined;
constexpr double kLow = kOpenLow;
constexpr double kHigh = kOpenHigh;
constexpr Cell kMissing{1, kNone, kLow, kHigh};

Cell observed(double value) {
    return {0, value, value, value};
}
Cell bounded(double lower, double upper, double value = kNone) {
    return {3, value, lower, upper};
}

TEST(CellText, StatesAndBounds) {
    struct Row {
        const char *x;
        const char *y;
        const char *z;
        Cell expected[3];
    };
    // y and z hold 10 and 20 unless the row says otherwise. Columns are read from the left, so what x says of y or z is
    // dropped when their own texts are read; what z says of x or y stays.
    const Row rows[] = {
        {"3.5", "10", "20", {observed(3.5), observed(10), observed(20)}},
        {"1d3", " 1 0 ", "20", {observed(1000), observed(10), observed(20)}},
        {"*", " ", "   ", {kMissing, kMissing, kMissing}},
        {"1;2", "1;2;3", ";", {observed(1), observed(1), kMissing}},
        {";5", "5;", ";;", {{1, 5, kLow, kHigh}, observed(5), kMissing}},
        {"<5", "x<10", "Z < 2 0", {bounded(kLow, 5), kMissing, bounded(kLow, 20)}},
        {"5<", "5<y", "-1e1 < z", {bounded(5, kHigh), bounded(5, kHigh), bounded(-10, kHigh)}},
        {"1<<2", "1<Y<2", "2<<1", {bounded(1, 2), bounded(1, 2), bounded(2, 1)}},
        {"1<x<0", "<1e300", "1e300<", {bounded(1, 0), bounded(kLow, kHigh), bounded(kLow, kHigh)}},
        {"<y", "10", "20", {bounded(kLow, 10), observed(10), observed(20)}},
        {"y<", "10", "20", {bounded(10, kHigh), observed(10), observed(20)}},
        {"y<<z", "10", "20", {bounded(10, 20), observed(10), observed(20)}},
        {"y<<z", "*", "20", {bounded(kLow, 20), kMissing, observed(20)}},
        {"<", "10", "20", {bounded(kLow, kHigh), observed(10), observed(20)}},
        {"x<x", "10;<y", "20", {bounded(kLow, kHigh), observed(10), observed(20)}},
        {"<5;7", "7;<5", ";<5", {bounded(kLow, 5, 7), observed(7), kMissing}},
        {"<5;", "<5;;", "<;7", {bounded(kLow, 5), bounded(kLow, 5), bounded(kLow, 7, 7)}},
        {"<9;<5;<7", "1<;2<", "<1;;<0", {bounded(kLow, 5), bounded(2, kHigh), bounded(kLow, 1)}},
        {"1|2<", "<3|4", "1|2<<3|4", {bounded(2, kHigh), bounded(kLow, 3), bounded(2, 3)}},
        {"y|z<", "10", "20", {bounded(20, kHigh), observed(10), observed(20)}},
        {"0|1|2<|y<30|40", "10", "20", {bounded(2, 30), observed(10), observed(20)}},
        {"y<z", "10", "20", {kMissing, observed(10), observed(20)}},
        {"y<5", "*", "*", {kMissing, kMissing, kMissing}},
        {"7", "8", "x<3", {bounded(kLow, 3, 7), observed(8), kMissing}},
        {"7", "8", "1<y<9", {observed(7), bounded(1, 9, 8), kMissing}},
        {"<4", "*", "x<3;5<y", {bounded(kLow, 3), bounded(5, kHigh), kMissing}},
        {"1", "*", "x<y", {observed(1), bounded(1, kHigh), kMissing}},
        {"1", "*", "x<y<z", {observed(1), bounded(1, kHigh), bounded(kLow, kHigh)}},
        {"1", "2", "x|y<|30", {bounded(kLow, 30, 1), bounded(kLow, 30, 2), bounded(2, kHigh)}},
        {"1", "*", "0|x<y|<5|6", {observed(1), bounded(1, 5), bounded(1, 5)}},
        {"<-1e400", "1e400", "<1e-400", {bounded(kLow, -INFINITY), observed(INFINITY), bounded(kLow, 0)}},
        {"1e300", "<x", "x<", {observed(1e300), bounded(kLow, kHigh), bounded(kLow, kHigh)}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(std::string(row.x) + " | " + row.y + " | " + row.z);
        LoadedEngine engine;
        DS_AllowRankOrder();
        const std::string record = std::string(row.x) + "\t" + row.y + "\t" + row.z;
        ASSERT_EQ(create_and_load(wide("1\t3\nx\ty\tz\n" + record + "\n")), 0);
        for (std::int32_t i = 0; i < 3; ++i) expect_cell(i + 1, row.expected[i]);
    }
}

TEST(CellText, BoundsFollowTheCellThatTheyReferTo) {
    LoadedEngine engine;
    DS_AllowRankOrder();
    ASSERT_EQ(create_and_load(u"1\t2\nx\ty\n<y\t*\n"), 0);
    expect_cell(1, bounded(kLow, kHigh));
    double *y = &state.group_current->case_index[0]->values[1];
    for (const double value : {3.0, -2.0, 0.0, 5e-324}) {
        *y = value;
        expect_cell(1, bounded(kLow, value));
    }
    *y = std::nan("");
    expect_cell(1, bounded(kLow, kHigh));
}

TEST(CellText, NamesAreFoundWithoutRegardToCaseTheEarlierFirst) {
    LoadedEngine engine;
    DS_AllowRankOrder();
    ASSERT_EQ(create_and_load(u"1\t4\nAb\taB\t1e5\t\u00e4\n1\t2\t<aB;1e5<\t<\u00e4\n"), 0);
    expect_cell(3, bounded(1e5, 1));  // the first of the two; and a name that reads as a number is the number
    expect_cell(4, bounded(kLow, kHigh));
    EXPECT_EQ(create_and_load(u"1\t1\n\u00e4\n<\u00c4\n"), 1) << "A to Z alone are folded";
    EXPECT_EQ(create_and_load(u"1\t2\na b\tab\n1\t<a b\n"), 0);
    expect_cell(2, bounded(kLow, kHigh));  // the blank is gone: the cell's own name
}

TEST(CellText, WhatIsWrongIsReportedLiterally) {
    struct Row {
        const char16_t *cell;
        bool rank_order;
        const char *message;
    };
    const Row rows[] = {
        {u"abc", true, "The value, abc, of the variable, y, can't be interpreted.\n"},
        {u"1|2", true, "The value, 1|2, of the variable, y, can't be interpreted.\n"},
        {u"* ", true, "The value, *, of the variable, y, can't be interpreted.\n"},
        {u"100%s%d", true, "The value, 100%s%d, of the variable, y, can't be interpreted.\n"},
        {u"1\r", true, "The value, 1\r, of the variable, y, can't be interpreted.\n"},
        {u"\xD83D\xDE00\xDE00", true,
         "The value, \xF0\x9F\x98\x80\xEF\xBF\xBD, of the variable, y, can't be interpreted.\n"},
        {u"a;b;c", true, "The value, c, of the variable, y, can't be interpreted.\n"},
        {u"a;1", true, "The value, a, of the variable, y, can't be interpreted.\n"},
        {u">5", true, "The value, >5, of the variable, y, can't be interpreted.\n"},
        {u"<=5", true, "The string, =5, is not a variable name.\n"},
        {u"*<5", true, "The string, *, is not a variable name.\n"},
        {u"w<3", true, "The string, w, is not a variable name.\n"},
        {u"v<w", true, "The string, v, is not a variable name.\n"},
        {u"1<w<v", true, "The string, w, is not a variable name.\n"},
        {u"a|b<c|d", true, "The string, b, is not a variable name.\n"},
        {u"1|b<c|2", true, "The string, b, is not a variable name.\n"},
        {u"x<c|d", true, "The string, d, is not a variable name.\n"},
        {u"1<2", true, "You are not allowed to specify an inequality between the strings, 1 and 2.\n"},
        {u"1<2<", true, "You are not allowed to specify an inequality between the strings, 1 and 2.\n"},
        {u"1<x<|3|+4<9", true, "You are not allowed to specify an inequality between the strings, +4 and 9.\n"},
        {u"<", false,
         "The data file may not specify that the value of one variable (y) is less than the value of another variable "
         "(y).\n"},
        {u"X<", false,
         "The data file may not specify that the value of one variable (x) is less than the value of another variable "
         "(y).\n"},
        {u"1<<x", false,
         "The data file may not specify that the value of one variable (y) is less than the value of another variable "
         "(x).\n"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(narrow(row.cell));
        LoadedEngine engine;
        if (row.rank_order) DS_AllowRankOrder();
        EXPECT_EQ(create_and_load(u"2\t2\nx\ty\n1\t" + std::u16string(row.cell) + u"\n1\tnever read\n"), 1);
        EXPECT_EQ(last_error(), "An error occurred during KeyFinishUp");
        EXPECT_EQ(engine.error_log(),
                  "1 [x]\n2 [y]\n" + std::string(row.message) + "An error occurred during KeyFinishUp");
        EXPECT_EQ(engine.trace_log(), "");
    }
}

TEST(CellText, AMessageIsCutToItsBufferInTheLogToo) {
    LoadedEngine engine;
    const std::u16string cell(1005, u'q');
    EXPECT_EQ(create_and_load(u"1\t1\nx\n" + cell + u"\n"), 1);
    EXPECT_EQ(engine.error_log(),
              "1 [x]\nThe value, " + std::string(499 - 11, 'q') + "An error occurred during KeyFinishUp");
    // A message for the log alone is not cut.
    LoadedEngine second;
    EXPECT_EQ(create_and_load(u"1\t1\nx\n<" + cell.substr(1) + u"\n"), 1);
    EXPECT_EQ(second.error_log(), "1 [x]\nThe string, " + std::string(1004, 'q') +
                                      ", is not a variable name.\nAn error occurred during KeyFinishUp");
}

TEST(CellText, LongestItemsDoNotExhaustTheStack) {
    for (const char16_t *unit : {u"<", u"|", u";", u"<|", u"|<", u";<", u"1<;"}) {
        std::u16string cell = repeated<std::u16string>(unit, 1005 / std::u16string_view(unit).size());
        if (cell.find(u'<') == std::u16string::npos) cell[0] = u'<';
        LoadedEngine engine;
        DS_AllowRankOrder();
        EXPECT_EQ(create_and_load(u"1\t1\nx\n" + cell + u"\n"), 0) << narrow(unit);
    }
    // Half of the terms on each side: every pair is a bound.
    LoadedEngine engine;
    ASSERT_EQ(create_and_load(u"1\t1\nx\n" + repeated<std::u16string>(u"1|", 250) + u"1<" +
                              repeated<std::u16string>(u"|", 500) + u"\n"),
              0);
    expect_cell(1, bounded(1, kHigh));
}

}  // namespace
