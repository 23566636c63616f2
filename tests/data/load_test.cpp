// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The load of a data text: its forms, its limits, every way to fail and what each leaves behind.

#include <vector>

#include "support/bits.h"
#include "support/engine_test.h"

namespace {

constexpr double kNone = kUndefined;
constexpr const char *kLoadFailed = "An error occurred during KeyFinishUp";

// Everything that a host can read of a load.
struct Outcome {
    std::int32_t result;
    std::int32_t case_count;
    std::int32_t variable_count;
    std::vector<double> values;  // of a load that succeeded
    std::string error_log;
    std::string standard_error;
    std::string last_error;
};

struct Options {
    bool mixture = false;
    const char16_t *weight = nullptr;
};

Outcome try_load(const std::u16string &text, const Options &options = {}) {
    LoadedEngine engine;
    DS_SetMixtureModeling(options.mixture);
    EXPECT_EQ(create_group(), 0);
    if (options.weight != nullptr) {
        EXPECT_EQ(DS_KeyWeight(options.weight), 0);
    }
    testing::internal::CaptureStderr();
    Outcome outcome{};
    outcome.result = load(text, u"G");
    outcome.standard_error = testing::internal::GetCapturedStderr();
    EXPECT_EQ(DS_GetGroupOneTotalSampleSize(&outcome.case_count), 0);
    EXPECT_EQ(DS_NVariables(0, &outcome.variable_count), 0);
    const auto cells = static_cast<std::size_t>(outcome.case_count) * static_cast<std::size_t>(outcome.variable_count);
    outcome.values.resize(cells + 1, 77.0);
    EXPECT_EQ(DS_DataMatrix(0, outcome.values.data()), outcome.result);
    EXPECT_EQ(outcome.values.back(), 77.0);
    outcome.values.pop_back();
    EXPECT_EQ(load(u"0\n0\nx\n"), 1) << "a group is loaded once, however that ends";
    outcome.last_error = last_error();
    outcome.error_log = engine.error_log();
    return outcome;
}

TEST(Load, FormsOfATextThatLoads) {
    struct Row {
        const char *what;
        const char16_t *text;
        Options options;
        std::int32_t case_count;
        std::int32_t variable_count;
        std::vector<double> values;
    };
    const Row rows[] = {
        {"the plain form", u"3\t2\nheight\tage\n1.5\t*\n2.5\t7\n3.5\t4.5\n", {}, 3, 2, {1.5, kNone, 2.5, 7, 3.5, 4.5}},
        {"header items on two lines", u"1\n1\nx\n5\n", {}, 1, 1, {5}},
        {"names behind the header", u"1\t1\tx\n5\n", {}, 1, 1, {5}},
        {"fractions are cut off", u"2.9\t1.2e0\nx\n5\n6\n", {}, 2, 1, {5, 6}},
        {"an empty header item is 0", u"\t1\nx\n5\n", {}, 0, 1, {}},
        {"a negative number of cases is none", u"-3\t1\nx\n5\n", {}, 0, 1, {}},
        {"the smallest number of cases", u"-2147483648.9\t1\nx\n", {}, 0, 1, {}},
        {"no variables", u"2\t0\nx\n5\n", {}, 2, 0, {}},
        {"white space before header numbers", u"\r 1\t\r1\nx\n5\n", {}, 1, 1, {5}},
        {"lines behind the last are not read", u"1\t1\nx\n5\nabc\td", {}, 1, 1, {5}},
        {"names behind the last are not read", u"1\t1\nx\t*?\t-\n5\n", {}, 1, 1, {5}},
        {"the last item may be empty at the end", u"1\t2\nx\ty\n5\t\n", {}, 1, 2, {5, kNone}},
        {"one item: an empty line ends the data", u"4\t1\nx\n5\n\n6\n7\n", {}, 4, 1, {5, kNone, kNone, kNone}},
        {"one item: more cases than lines", u"3\t1\nx\n5\n", {}, 3, 1, {5, kNone, kNone}},
        {"a weight of 1 and of 3",
         u"2\t3\nx\tW\ty\n1\t1\t2\n3\t +3\t*\n",
         {false, u"w"},
         4,
         2,
         {1, 2, 3, kNone, 3, kNone, 3, kNone}},
        {"weight first", u"1\t2\nw\tx\n2\t5\n", {false, u"w"}, 2, 1, {5, 5}},
        {"weight last", u"1\t2\nx\tw\n5\t2\n", {false, u"w"}, 2, 1, {5, 5}},
        {"weight alone", u"2\t1\nw\n2\n3\n", {false, u"w"}, 5, 0, {}},
        {"the first of two weights", u"1\t3\nw\tx\tW\n2\t5\t6\n", {false, u"W"}, 2, 2, {5, 6, 5, 6}},
        {"group ids", u"2\n3\ngrp\tx\tw\ty\n1\t5\t2\t6\n0\t7\t1\t*\n", {true, u"w"}, 3, 2, {5, 6, 5, 6, 7, kNone}},
        {"the group id column cannot be the weight's", u"1\t2\nw\tx\tw\n1\t5\t2\n", {true, u"w"}, 2, 1, {5, 5}},
        {"a group id and nothing else", u"2\t0\ng\n1\t2\t", {true, nullptr}, 2, 0, {}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.what);
        const Outcome outcome = try_load(row.text, row.options);
        EXPECT_EQ(outcome.result, 0) << outcome.error_log << outcome.standard_error;
        EXPECT_EQ(outcome.case_count, row.case_count);
        EXPECT_EQ(outcome.variable_count, row.variable_count);
        EXPECT_EQ(outcome.values, row.values);
        EXPECT_EQ(outcome.standard_error, "");
        EXPECT_EQ(outcome.last_error, "");
    }
}

TEST(Load, EveryFailureSaysItsLiteralLines) {
    struct Row {
        const char *what;
        const char16_t *text;
        Options options;
        const char *standard_error;
        const char *error_log;
        bool in_record;  // the load's own message follows in log and last error
        std::int32_t case_count;
    };
    const Options plain{};
    const Options weighted{false, u"w%s"};
    const Options mixture{true, nullptr};
    const char *no_cases = "Error{The number of cases was not found in the file, dty.dty,\n}";
    const char *no_variables = "Error{The number of variables was not found in the file, dty.dty,\n}";
    const char *no_data = "Error{No data in data file.}";
    const char *too_short = "1 [x]\n2 [y]\nA data record in group G is too short.\n";
    const char *bad_id = "1 [x]\nThere was a failed attempt to read a group ID in read_one_record.";
    const Row rows[] = {
        {"no text at all", u"", plain, no_data, "", false, 0},
        {"a word for the cases", u"n\t1\nx\n5\n", plain, no_cases, "", false, 0},
        {"too many cases", u"2147483648\t1\nx\n", plain, no_cases, "", false, 0},
        {"infinitely many", u"1e400\t1\nx\n", plain, no_cases, "", false, 0},
        {"far too few", u"-2147483649\t1\nx\n", plain, no_cases, "", false, 0},
        {"a blank for the cases", u" \t1\nx\n5\n", plain, no_cases, "", false, 0},
        {"a carriage return in the header", u"1\r\n1\nx\n5\n", plain, no_cases, "", false, 0},
        {"a star for the variables", u"1\t*\nx\n5\n", plain, no_variables, "", false, 0},
        {"too many variables", u"1\t2147483648\nx\n", plain, no_variables, "", false, 0},
        {"only the header", u"1\t1", plain, no_data, "", false, 0},
        {"names without a line end", u"0\t1\nx", plain, no_data, "", false, 0},
        {"an end mark in a name", u"0\t1\nx\xFFFFy\n", plain, no_data, "", false, 0},
        {"an end mark in front of an empty name", u"0\t1\nx\t\xFFFF\t\ty\n", plain, no_data, "", false, 0},
        {"an empty name", u"0\t2\nx\t\ty\n", plain,
         "Error{In the file, dty.dty,\nvariable number 2 has an empty string for a name.\n}", "", false, 0},
        {"a TAB before the end of the names", u"0\t1\nx\t\n", plain,
         "Error{In the file, dty.dty,\nvariable number 2 has an empty string for a name.\n}", "", false, 0},
        {"an empty line of names", u"0\t0\n\n", plain,
         "Error{In the file, dty.dty,\nvariable number 1 has an empty string for a name.\n}", "", false, 0},
        {"fewer names than variables", u"1\t3\nx\ty\n1\t2\t3\n", plain, "", "", false, 0},
        {"a huge number of variables", u"1\t2147483647\nx\n1\n", plain, "", "", false, 0},
        {"a negative number of variables", u"1\t-1\nx\n1\n", plain, "", "", false, 0},
        {"no name left for the group id", u"1\t1\nx\n1\t5\n", mixture, "", "", false, 0},
        {"no weight variable", u"1\t1\nx\n5\n", weighted, "",
         "1 [x]\nThe variable, 'w%s', is named as a case weight variable, but it doesn't exist in the data file, "
         "'dtz.dtz'.\n",
         false, 0},
        {"two TABs", u"1\t3\nx\ty\tz\n5\t\t6\n", plain,
         "Error{Record number 1\nof the file, dty.dty,\nhas only 2 items. There should be 3.\n}",
         "1 [x]\n2 [y]\n3 [z]\nA data record in group G is too short.\n", true, 0},
        {"an empty first item", u"1\t2\nx\ty\n\t6\n", plain, "", too_short, true, 0},
        {"a line of one item is not measured", u"2\t2\nx\ty\n1\t2\n6\n", plain, "", too_short, true, 1},
        {"short in its third record", u"3\t3\nx\ty\tz\n1\t2\t3\n4\t5\t6\n7\t8\n", plain,
         "Error{Record number 3\nof the file, dty.dty,\nhas only 2 items. There should be 3.\n}",
         "1 [x]\n2 [y]\n3 [z]\nA data record in group G is too short.\n", true, 2},
        {"more cases than lines", u"2\t2\nx\ty\n1\t2\n", plain, "", too_short, true, 1},
        {"an empty last item in the middle", u"2\t2\nx\ty\n1\t\n3\t4\n", plain, "", too_short, true, 1},
        {"no line end behind the last record", u"1\t2\nx\ty\n1\t2", plain, "",
         "1 [x]\n2 [y]\nData record number 1 is too long in the file dtz.dtz.\n", true, 0},
        {"an item too many", u"2\t2\nx\ty\n1\t2\n3\t4\t5\n", plain, "",
         "1 [x]\n2 [y]\nData record number 2 is too long in the file dtz.dtz.\n", true, 1},
        {"more names than items, an item too many", u"1\t1\nx\ty\tz\n3\t4\n", plain, "",
         "1 [x]\nData record number 1 is too long in the file dtz.dtz.\n", true, 0},
        {"an empty weight",
         u"1\t2\nx\tw\n1\t\n",
         {false, u"w"},
         "",
         "1 [x]\n2 [w]\nThe string, '', can't be interpreted as a case weight.\n",
         true,
         0},
        {"a weight of 0",
         u"1\t2\nx\tw\n1\t0\n",
         {false, u"w"},
         "",
         "1 [x]\n2 [w]\nThe string, '0', can't be interpreted as a case weight.\n",
         true,
         0},
        {"a negative weight",
         u"2\t2\nx\tw\n1\t2\n1\t- 1\n",
         {false, u"w"},
         "",
         "1 [x]\n2 [w]\nThe string, '-1', can't be interpreted as a case weight.\n",
         true,
         2},
        {"half a case",
         u"1\t2\nx\tw\n1\t1.5\n",
         {false, u"w"},
         "",
         "1 [x]\n2 [w]\nThe string, '1.5', can't be interpreted as a case weight.\n",
         true,
         0},
        {"a weight beyond 32 bits",
         u"1\t2\nx\tw\n1\t2147483648\n",
         {false, u"w"},
         "",
         "1 [x]\n2 [w]\nThe string, '2147483648', can't be interpreted as a case weight.\n",
         true,
         0},
        {"a missing weight",
         u"1\t2\nw\tx\n*\t5\n",
         {false, u"w"},
         "",
         "1 [w]\n2 [x]\nThe string, '', can't be interpreted as a case weight.\n",
         true,
         0},
        {"weights that run past the count of cases",
         u"2\t2\nx\tw\n1\t2\n1\t2147483646\n",
         {false, u"w"},
         "",
         "1 [x]\n2 [w]\n",
         true,
         2},
        {"a star for a group id", u"1\t1\ng\tx\n*\t5\n", mixture, "", bad_id, true, 0},
        {"a group id beyond 32 bits", u"1\t1\ng\tx\n2147483648\t5\n", mixture, "", bad_id, true, 0},
        {"a group id that reaches beyond by rounding up", u"1\t1\ng\tx\n2147483647.995\t5\n", mixture, "", bad_id, true,
         0},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.what);
        const Outcome outcome = try_load(row.text, row.options);
        EXPECT_EQ(outcome.result, 1);
        EXPECT_EQ(outcome.standard_error, row.standard_error);
        EXPECT_EQ(outcome.error_log, std::string(row.error_log) + (row.in_record ? kLoadFailed : ""));
        EXPECT_EQ(outcome.last_error, row.in_record ? kLoadFailed : "");
        EXPECT_EQ(outcome.case_count, row.case_count) << "cases read before the failure";
    }
}

TEST(Load, NamesAreKeptWhateverIsWrongWithThem) {
    struct Row {
        const char16_t *names;
        bool mixture;
        const char *standard_error;
        const char *listing;
    };
    const Row rows[] = {
        {u"a_1\t\u00e9t\u00e9\t\u0416\u0661", false, "", "1 [a_1]\n2 [\u00e9t\u00e9]\n3 [\u0416\u0661]\n"},
        {u"a b\tx%d\t-", false,
         "Error{The string, 'a b',\nin the file, dty.dty, is not allowed as a variable name.\n}"
         "Error{The string, 'x%d',\nin the file, dty.dty, is not allowed as a variable name.\n}"
         "Error{The string, '-',\nin the file, dty.dty, is not allowed as a variable name.\n}",
         "1 [a b]\n2 [x%d]\n3 [-]\n"},
        {u"x\t*\ty", false, "Error{In the file, dty.dty,\nvariable number 2 has an empty string for a name.\n}",
         "1 [x]\n2 []\n3 [y]\n"},
        {u"a.\tx\ty\tz", true, "Error{The string, 'a.',\nin the file, dty.dty, is not allowed as a variable name.\n}",
         "1 [x]\n2 [y]\n3 [z]\n"},
        {u"g\tx\t*\tz\t?", true, "Error{In the file, dty.dty,\nvariable number 3 has an empty string for a name.\n}",
         "1 [x]\n2 []\n3 [z]\n"},
        {u"x\ty\tz\t?\t*", false, "", "1 [x]\n2 [y]\n3 [z]\n"},
        {u"\xD800\tx\ty", false,
         "Error{The string, '\uFFFD',\nin the file, dty.dty, is not allowed as a variable name.\n}",
         "1 [\uFFFD]\n2 [x]\n3 [y]\n"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.listing);
        const Outcome outcome = try_load(u"0\t3\n" + std::u16string(row.names) + u"\n", {row.mixture, nullptr});
        EXPECT_EQ(outcome.result, 0);
        EXPECT_EQ(outcome.standard_error, row.standard_error);
        EXPECT_EQ(outcome.error_log, row.listing);
    }
    // A report is cut at 199 units.
    const std::u16string long_name(300, u'-');
    EXPECT_EQ(try_load(u"0\t1\n" + long_name + u"\n").standard_error,
              "Error{The string, '" + std::string(199 - 13, '-') + "}");
}

TEST(Load, TheTraceLogTellsGroupAndVariables) {
    LoadedEngine engine;
    EXPECT_EQ(create_group(), 0);
    EXPECT_EQ(DS_KeyWeight(u"y"), 0);
    EXPECT_EQ(load(u"1\t3\nx\ty\tz\n1\t1\t2\n", u"100%s \xD83D\xDE00"), 0);
    EXPECT_EQ(create_group(), 0);
    EXPECT_EQ(load(u"1\t1\ny\n1\n", nullptr), 0) << "the weight belongs to the group before";
    EXPECT_EQ(create_and_load(u"1\t1\ny\nq\n"), 1);
    EXPECT_EQ(engine.trace_log(), "Group 1 (100%s \xF0\x9F\x98\x80)\nx\nz\nGroup 1 ()\ny\n");
    EXPECT_EQ(engine.error_log(),
              "1 [x]\n2 [y]\n3 [z]\n1 [y]\n1 [y]\nThe value, q, of the variable, y, can't be interpreted.\n"
              "An error occurred during KeyFinishUp");
}

TEST(Load, LongestItemsAtTheLimitAndOnePast) {
    const auto number = [](std::size_t units) { return std::u16string(units - 1, u'0') + u"2"; };
    struct Row {
        const char *what;
        std::u16string text;
        Options options;
        bool loads;
        std::string error_log;
        std::string standard_error;
    };
    const std::string id_failure = "There was a failed attempt to read a group ID in read_one_record.";
    const Row rows[] = {
        {"cases, 500 units", number(500) + u"\t1\nx\n1\n3\n", {}, true, "1 [x]\n", ""},
        {"cases, 501",
         number(501) + u"\t1\nx\n1\n3\n",
         {},
         false,
         "",
         "Error{The number of cases was not found in the file, dty.dty,\n}"},
        {"variables, 500", u"1\t" + number(500) + u"\nx\ty\n1\t3\n", {}, true, "1 [x]\n2 [y]\n", ""},
        {"variables, 501",
         u"1\t" + number(501) + u"\nx\ty\n1\t3\n",
         {},
         false,
         "",
         "Error{The number of variables was not found in the file, dty.dty,\n}"},
        {"item, 1005", u"1\t2\nx\ty\n" + number(1005) + u"\t1\n", {}, true, "1 [x]\n2 [y]\n", ""},
        {"item, 1006",
         u"1\t2\nx\ty\n" + number(1006) + u"\t1\n",
         {},
         false,
         std::string("1 [x]\n2 [y]\n") + kLoadFailed,
         ""},
        {"last item, 1006, blanks count",
         u"1\t2\nx\ty\n1\t" + std::u16string(1006, u' ') + u"\n",
         {},
         false,
         std::string("1 [x]\n2 [y]\n") + kLoadFailed,
         ""},
        {"last item, 1006, and no line end",
         u"1\t2\nx\ty\n1\t" + number(1006),
         {},
         false,
         std::string("1 [x]\n2 [y]\n") + kLoadFailed,
         ""},
        {"weight, 1005", u"1\t2\nx\tw\n1\t" + number(1005) + u"\n", {false, u"w"}, true, "1 [x]\n2 [w]\n", ""},
        {"weight, 1006",
         u"1\t2\nx\tw\n1\t" + number(1006) + u"\n",
         {false, u"w"},
         false,
         std::string("1 [x]\n2 [w]\n") + kLoadFailed,
         ""},
        {"group id, 1005", u"1\t1\ng\tx\n" + number(1005) + u"\t1\n", {true, nullptr}, true, "1 [x]\n", ""},
        {"group id, 1006",
         u"1\t1\ng\tx\n" + number(1006) + u"\t1\n",
         {true, nullptr},
         false,
         "1 [x]\n" + id_failure + kLoadFailed,
         ""},
        {"a name of any length",
         u"0\t1\n" + std::u16string(30000, u'n') + u"\n",
         {},
         true,
         "1 [" + std::string(30000, 'n') + "]\n",
         ""},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.what);
        const Outcome outcome = try_load(row.text, row.options);
        EXPECT_EQ(outcome.result, row.loads ? 0 : 1);
        EXPECT_EQ(outcome.error_log, row.error_log);
        EXPECT_EQ(outcome.standard_error, row.standard_error);
    }
}

TEST(Load, GroupIdsAreRoundedAndCounted) {
    LoadedEngine engine;
    DS_SetMixtureModeling(1);
    ASSERT_EQ(
        create_and_load(u"8\t1\ng\tx\n2.99\t1\n2.98\t1\n\t1\n-0.5\t1\n-2\t1\n2147483647\t1\n-2147483648\t1\n 1e0\t1\n"),
        0);
    struct Row {
        std::int32_t id;
        std::int32_t count;
    };
    // 0.01 is added before the fraction goes, also to negative numbers.
    for (const Row &row :
         {Row{3, 1}, {2, 1}, {0, 2}, {-1, 1}, {-2, 0}, {INT32_MAX, 1}, {-2147483647, 1}, {INT32_MIN, 0}, {1, 1}}) {
        std::int32_t count = -1;
        EXPECT_EQ(DS_GetSampleSize(row.id, &count), 0);
        EXPECT_EQ(count, row.count) << row.id;
    }
}

TEST(Load, ReadBackStaysWithinTheGroup) {
    LoadedEngine engine;
    ASSERT_EQ(create_and_load(u"2\t2\nlong_name\ty\n1\t2\n3\t<4\n"), 0);
    double value = 77;
    std::int32_t word = 77;
    char16_t name[16] = u"untouched";
    for (const std::int32_t bad : {0, -1, 3, INT32_MIN, INT32_MAX}) {
        EXPECT_EQ(DS_DataScalar(1, bad, 1, &value), 1);
        EXPECT_EQ(DS_DataScalar(1, 1, bad, &value), 1);
        EXPECT_EQ(DS_ConstraintTypeScalar(1, bad, 1, &word), 1);
        EXPECT_EQ(DS_ConstraintTypeScalar(1, 1, bad, &word), 1);
        EXPECT_EQ(DS_DataVector(1, bad, &value), 1);
        EXPECT_EQ(DS_VariableNameLength(1, bad, &word), 1);
        EXPECT_EQ(DS_VariableNameW(1, bad, name), 1);
    }
    EXPECT_EQ(DS_DataScalar(1, 1, 1, nullptr), 1);
    EXPECT_EQ(DS_ConstraintTypeScalar(1, 1, 1, nullptr), 1);
    EXPECT_EQ(DS_DataVector(1, 1, nullptr), 1);
    EXPECT_EQ(DS_DataMatrix(1, nullptr), 1);
    EXPECT_EQ(DS_VariableNameW(1, 1, nullptr), 1);
    EXPECT_EQ(DS_VariableNameLength(1, 1, nullptr), 1);
    EXPECT_EQ(DS_NVariables(1, nullptr), 1);
    EXPECT_EQ(DS_GetSampleSize(1, nullptr), 1);
    EXPECT_EQ(DS_GetGroupOneTotalSampleSize(nullptr), 1);
    EXPECT_EQ(value, 77);
    EXPECT_EQ(word, 77);
    EXPECT_EQ(std::u16string(name), u"untouched");

    EXPECT_EQ(DS_VariableNameLength(1, 1, &word), 0);
    EXPECT_EQ(word, 9);
    EXPECT_EQ(DS_VariableNameW(1, 1, name), 0);
    EXPECT_EQ(std::u16string(name), u"long_name");
    double row[3] = {77, 77, 77};
    EXPECT_EQ(DS_DataVector(1, 2, row), 0);
    EXPECT_EQ(row[0], 3);
    EXPECT_EQ(row[1], kNone);
    EXPECT_EQ(row[2], 77);
    EXPECT_EQ(DS_ConstraintTypeScalar(1, 2, 2, &word), 0);
    EXPECT_EQ(word, 3);
}

}  // namespace
