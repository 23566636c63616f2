// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// DS_Impute: which cases it draws and how, by its calls of the source, and what stays when a case fails.

#include <cmath>
#include <string>
#include <vector>

#include "support/bits.h"
#include "support/engine_test.h"
#include "support/random_sources.h"

namespace {

using Numbers = std::vector<double>;

constexpr double kNone = kUndefined;
const double kNaN = std::nan("");

Numbers values(std::int32_t group_number, std::size_t cells) {
    Numbers all(cells, 77);
    EXPECT_EQ(DS_DataMatrix(group_number, all.data()), 0);
    return all;
}

void expect_bits(const Numbers &got, const Numbers &expected) {
    ASSERT_EQ(got.size(), expected.size());
    for (std::size_t i = 0; i < got.size(); ++i) {
        SCOPED_TRACE(i);
        CHECK_BITS(got[i], expected[i]);
    }
}

// Keeps what the engine hands to NextMultivariateNormal and answers with 1, 2, 3, ...
struct CapturingSource final : TestSource {
    std::vector<Numbers> means;
    std::vector<Numbers> roots;

    std::int32_t NextUniform(double *) override { return kOutOfNumbers; }
    std::int32_t NextStandardNormal(double *) override { return kOutOfNumbers; }
    std::int32_t NextMultivariateNormal(std::int32_t n, double *out, const double *mean, const double *root) override {
        means.emplace_back(mean, mean + n);
        roots.emplace_back(root, root + n * (n + 1) / 2);
        for (std::int32_t i = 0; i < n; ++i) out[i] = i + 1;
        return 1;  // a positive status is success
    }
};

TEST(DirectDraw, HandsOverTheConditionalMeanAndRoot) {
    LoadedEngine engine;
    ASSERT_EQ(create_and_load(u"4\t3\nx\ty\tz\n*\t*\t*\n3\t*\t*\n3\t7\t8\n*\t1\t*\n"), 0);
    const Numbers means{1, 2, 3};
    const Numbers covariance{4, 2, 5, 2, 4, 12.25};
    CapturingSource source;
    EXPECT_EQ(DS_Impute(1, means.data(), covariance.data(), 0, 0, &source), 0);
    ASSERT_EQ(source.means.size(), 3u) << "one vector per case that has anything missing";
    expect_bits(source.means[0], {1, 2, 3});
    expect_bits(source.roots[0], {2, 1, 2, 1, 1.5, 3});
    expect_bits(source.means[1], {3, 4});  // y and z given x = 3, two above its mean: half of it more
    expect_bits(source.roots[1], {2, 1.5, 3});
    // x and z given y: 1/5 is rounded once, then 2, 4 and 4 by it, then the deviation -1.
    const double fifth = 0.2;
    expect_bits(source.means[2], {1 + 0.0 + (2 * fifth) * -1, 3 + (4 * fifth) * -1});
    const double root00 = std::sqrt(4 - 2 * (2 * fifth));
    EXPECT_EQ(source.roots[2].size(), 3u);
    CHECK_BITS(source.roots[2][0], root00);
    expect_bits(values(1, 12), {1, 2, 3, 3, 1, 2, 3, 7, 8, 1, 1, 2});
    EXPECT_EQ(source.references, 0);
    EXPECT_EQ(source.interfaces_asked, 0);
}

TEST(DirectDraw, TakesAVarianceAtTheToleranceAndRefusesOneBelow) {
    struct Row {
        double variance;
        std::int32_t result;
        const char *log;
    };
    for (const Row &row : {Row{1e-15, 0, ""},
                           {9e-16, 1,
                            "Matrix is uninvertible in conventional_prepare()\nError: Couldn't find square "
                            "root of matrix."},
                           {-4, 1,
                            "Estimated covariance matrix is singular.\nError: Couldn't find square root of "
                            "matrix."}}) {
        LoadedEngine engine;
        ASSERT_EQ(create_and_load(u"1\t1\nx\n*\n"), 0);
        const double mean = 7;
        ScriptedSource source({2.0});
        EXPECT_EQ(DS_Impute(0, &mean, &row.variance, 0, 0, &source), row.result);
        EXPECT_EQ(source.calls, row.result == 0 ? "M" : "");
        CHECK_BITS(values(0, 1)[0], row.result == 0 ? std::sqrt(row.variance) * 2 + 7 : kNone);
        EXPECT_EQ(engine.error_log(), std::string("1 [x]\n") + row.log);
    }
}

// What a case asks of the source on its first and on its second call, under independent standard normal variables.
TEST(Calls, OfEachKindOfCase) {
    struct Row {
        const char16_t *record;  // x and y
        bool force_gibbs;
        std::string first;
        std::string second;
        bool some_undefined = false;
    };
    const auto times = [](const char *calls, std::size_t count) { return repeated<std::string>(calls, count); };
    const Row rows[] = {
        {u"1\t2", false, "", ""},
        {u"1\t2", true, "", ""},
        {u"1\t*", false, "M", "M"},
        {u"*\t*", false, "M", "M"},
        {u"1\t*", true, times("N", 22), "N"},
        {u"*\t*", true, times("NN", 22), "NN"},
        {u"1\t<0", false, times("N", 22), "N"},
        {u"*\t<0", false, times("NN", 22), "NN"},
        {u"-1<\t*", false, times("NN", 22), "NN"},
        {u"0<<1\t*", false, times("UUN", 22), "UUN"},
        {u"1\t2<", false, times("UU", 22), "UU"},
        {u"1\t5<<5", false, "", ""},
        {u"<5;1\t2", false, "N", "N"},  // holds a number: the chain is under way
        {u"<5;1\t*", false, times("NN", 22), "NN", true},
        {u";1\t;2", false, "M", "M"},
        {u";1\t;2", true, "NN", "NN"},
        {u"1\tx<2", false, times("NN", 22), "NN", true},  // bounded by the other's cell: its number is a start
        {u"<1e300\t2", false, times("N", 22), "N"},
    };
    const double means[] = {0, 0};
    const double covariance[] = {1, 0, 1};
    for (const Row &row : rows) {
        SCOPED_TRACE(narrow(row.record) + (row.force_gibbs ? ", forced" : ""));
        LoadedEngine engine;
        if (row.force_gibbs) DS_ForceGibbs();
        DS_ForceMC();  // changes nothing
        ASSERT_EQ(create_and_load(u"1\t2\nx\ty\n" + std::u16string(row.record) + u"\n"), 0);
        // 0.5 is accepted on every way, also below the mirrored and above the other bounds.
        ScriptedSource source(Numbers(200, 0.5));
        EXPECT_EQ(DS_Impute(1, means, covariance, 0, 0, &source), 0);
        EXPECT_EQ(source.calls, row.first);
        source.calls.clear();
        EXPECT_EQ(DS_Impute(1, means, covariance, 1, 1, &source), 0);
        EXPECT_EQ(source.calls, row.second);
        EXPECT_EQ(engine.error_log(),
                  std::string("1 [x]\n2 [y]\n") +
                      (row.some_undefined ? "In the Gibbs sampler, some values are undefined, but not all.\n" : ""));
    }
}

TEST(Calls, ACaseDrawnDirectlyGoesOnAsAChain) {
    LoadedEngine engine;
    ASSERT_EQ(create_and_load(u"1\t2\nx\ty\n*\t*\n"), 0);
    const double means[] = {0, 0};
    const double covariance[] = {1, 0, 1};
    ScriptedSource source(Numbers(10, 0.25));
    EXPECT_EQ(DS_Impute(1, means, covariance, 0, 0, &source), 0);
    DS_ForceGibbs();
    DS_ForceMC();
    EXPECT_EQ(DS_Impute(1, means, covariance, 0, 0, &source), 0);
    EXPECT_EQ(source.calls, "MNN");
}

TEST(Chain, ValuesOfOneSweepByHand) {
    LoadedEngine engine;
    DS_AllowRankOrder();
    DS_ForceGibbs();
    ASSERT_EQ(create_and_load(u"1\t3\nw\tx\ty\n3\t;1\t;6\n"), 0);
    // The inverse of {2, -2, 4} is {1, 0.5, 0.5}: x given y has the slope -0.5 and the variance 1, y given x the slope
    // -1 and the variance 2. The observed w = 3 with the slopes 0.5 and 0 and a deviation of 2 adds 1 to the mean of x.
    const double means[] = {1, 10, 20};
    const double covariance[] = {2, 1, 2.5, 0, -2, 4};
    ScriptedSource source({0.5, 2});
    EXPECT_EQ(DS_Impute(1, means, covariance, 0, 0, &source), 0);
    const double x = 0.5 + (11 + (6 - 20) * -0.5);
    const double y = 2 * std::sqrt(2.0) + (20 + (x - 11) * -1);
    expect_bits(values(1, 3), {3, x, y});
    EXPECT_EQ(source.calls, "NN");
}

TEST(Chain, ARepeatedCaseReadsTheCellsOfItsFirstRecord) {
    LoadedEngine engine;
    DS_AllowRankOrder();
    EXPECT_EQ(create_group(), 0);
    EXPECT_EQ(DS_KeyWeight(u"w"), 0);
    ASSERT_EQ(load(u"1\t3\nx\ty\tw\n<y\t*\t2\n"), 0);
    const double means[] = {0, 0};
    const double covariance[] = {1, 0, 1};
    SeededSource source(11);
    int copy_above_its_own = 0;
    for (int pass = 0; pass < 50; ++pass) {
        ASSERT_EQ(DS_Impute(1, means, covariance, 0, 0, &source), 0);
        const Numbers all = values(1, 4);
        EXPECT_LE(all[2], all[1]) << "the copy's x is below the y of the first";
        if (all[2] > all[3]) ++copy_above_its_own;
    }
    EXPECT_GT(copy_above_its_own, 0);
}

// Reversed bounds take the middle and no number.
TEST(ReversedBounds, FailTheCaseThatEndsWithThem) {
    struct Row {
        const char *what;
        const char16_t *record;  // x and y
        const char *calls;
        Numbers kept;
        const char *named;
    };
    const Row rows[] = {
        {"always", u"1<<0\t2", "", {kNone, 2}, "x"},
        {"the first of two", u"1<<0\t3<<2", "", {kNone, kNone}, "x"},
        {"the second alone", u"2\t3<<2", "", {2, kNone}, "y"},
        {"a chain under way", u"1<<0;4\t;5", "N", {4, 5}, "x"},
        {"infinite ends", u"1e400<<-1e400\t2", "", {kNone, 2}, "x"},
        // y is drawn freely at 0.25 in every sweep, so x between 2 and y ends reversed.
        {"by another cell", u"2<x<y\t*", "UUNNNNNNNNNNNNNNNNNNNNNN", {kNone, kNone}, "x"},
    };
    const double means[] = {0, 0};
    const double covariance[] = {1, 0, 1};
    for (const Row &row : rows) {
        SCOPED_TRACE(row.what);
        LoadedEngine engine;
        DS_AllowRankOrder();
        ASSERT_EQ(create_and_load(u"3\t2\nx\ty\n9\t*\n" + std::u16string(row.record) + u"\n9\t*\n"), 0);
        ScriptedSource source(Numbers(200, 0.25));
        EXPECT_EQ(DS_Impute(1, means, covariance, 0, 0, &source), 1);
        EXPECT_EQ(source.calls, std::string("M") + row.calls) << "numbers that were taken stay taken";
        expect_bits(values(1, 6), {9, 0.25, row.kept[0], row.kept[1], 9, kNone});
        EXPECT_EQ(engine.error_log(),
                  "1 [x]\n2 [y]\nThe variable, " + std::string(row.named) + ", has no value between its bounds.\n");
    }
}

TEST(ReversedBounds, OnlyTheLastPassCounts) {
    LoadedEngine engine;
    DS_AllowRankOrder();
    ASSERT_EQ(create_and_load(u"1\t2\nx\ty\n2<x<y\t*\n"), 0);
    const double means[] = {0, 0};
    const double covariance[] = {1, 0, 1};
    // Start and 19 sweeps with y at 0.25, then y at 3 makes room for x between 2 and 3 in the last sweep.
    Numbers numbers{0.25, 0.25};
    numbers.insert(numbers.end(), 20, 0.25);
    numbers.insert(numbers.end(), {3, 0.25, 0.25, 0.25, 0.5});
    ScriptedSource source(numbers);
    EXPECT_EQ(DS_Impute(1, means, covariance, 0, 0, &source), 0);
    EXPECT_EQ(source.calls, "UU" + std::string(21, 'N') + "UUN");
    const Numbers after = values(1, 2);
    CHECK_LIBM_BITS(after[0], 0x1.0f9675518aa35p+1);
    CHECK_BITS(after[1], 0.25);
    // The next call is one sweep, which finds y at 0.25, draws another y, and takes both back.
    EXPECT_EQ(DS_Impute(1, means, covariance, 0, 0, &source), 1);
    EXPECT_EQ(source.used, numbers.size());
    expect_bits(values(1, 2), after);
}

TEST(ReversedBounds, NeighboursThatNameEachOtherRepairThemselves) {
    LoadedEngine engine;
    DS_AllowRankOrder();
    // x and y know nothing of the bound of z: the start often leaves y above 0, and z in the middle.
    const std::u16string text = u"500\t3\nx\ty\tz\n" + repeated<std::u16string>(u"<y\tx<<z\ty<<0\n", 500);
    ASSERT_EQ(create_and_load(text), 0);
    const double means[] = {0, 0, 0};
    const double covariance[] = {1, 0, 1, 0, 0, 1};
    SeededSource source(3);
    ASSERT_EQ(DS_Impute(1, means, covariance, 0, 0, &source), 0);
    const Numbers all = values(1, 1500);
    for (std::size_t i = 0; i < 1500; i += 3) {
        EXPECT_LE(all[i], all[i + 1]);
        EXPECT_LE(all[i + 1], all[i + 2]);
        EXPECT_LE(all[i + 2], 0);
    }
}

TEST(Failures, OfNaNOfNoSourceAndOfPivots) {
    struct Row {
        const char *what;
        const char16_t *record;  // x and y, with some values in the cells that are to be kept
        Numbers means;
        Numbers covariance;
        bool has_source;
        std::int32_t result;
        const char *calls;
        Numbers after;
        const char *error_log;
        const char *trace_log = "";
    };
    const char *no_value_y = "The variable, y, has no value between its bounds.\n";
    const char *no_source = "No random source was given.\n";
    const char *no_root = "Error: Couldn't find square root of matrix.";
    const char *no_inverse = "Couldn't invert covariance matrix in gibbs_prepare().\n";
    const char *singular =
        "Estimated covariance matrix is singular.\nMatrix is uninvertible in conventional_prepare()\n";
    const Numbers unit{1, 0, 1};
    const Row rows[] = {
        {"a NaN mean of a bounded cell", u";5\t<1;6", {0, kNaN}, unit, true, 1, "N", {5, 6}, no_value_y},
        {"a NaN mean of the other one", u";5\t<1;6", {kNaN, 0}, unit, true, 1, "N", {5, 6}, no_value_y},
        {"a NaN mean at the start", u"*\t<1", {0, kNaN}, unit, true, 1, "N", {kNone, kNone}, no_value_y},
        {"a NaN mean of a free cell", u"5\t*", {0, kNaN}, unit, true, 0, "M", {5, kNaN}, ""},
        {"a NaN mean of an observed cell", u"5\t<1", {kNaN, 0}, unit, true, 1, "", {5, kNone}, no_value_y},
        {"NaN in the covariance", u"5\t<1", {0, 0}, {1, 0, kNaN}, true, 1, "", {5, kNone}, no_value_y},
        {"NaN before the source", u"5\t<1", {0, 0}, {1, 0, kNaN}, false, 1, "", {5, kNone}, no_value_y},
        {"reversed before the source", u"5\t1<<0", {0, 0}, unit, false, 1, "", {5, kNone}, no_value_y},
        {"a negative variance behind a NaN",
         u"<1\t<1",
         {0, 0},
         {kNaN, 0, -1},
         true,
         1,
         "",
         {kNone, kNone},
         "The variable, x, has no value between its bounds.\n",
         "less than zero\n"},

        {"no source, nothing to draw", u"5\t6", {0, 0}, unit, false, 0, "", {5, 6}, ""},
        {"no source, a point", u"5\t7<<7", {0, 0}, unit, false, 0, "", {5, 7}, ""},
        {"no source, a vector", u"5\t;6", {0, 0}, unit, false, 1, "", {5, 6}, no_source},
        {"no source, a chain", u";5\t<1;6", {0, 0}, unit, false, 1, "", {5, 6}, no_source},
        {"no source, a start behind a point", u"7<<7\t*", {0, 0}, unit, false, 1, "", {kNone, kNone}, no_source},
        {"no root before no source",
         u"5\t;6",
         {0, 0},
         {1, 0, -1},
         false,
         1,
         "",
         {5, 6},
         "Estimated covariance matrix is singular.\nError: Couldn't find square root of matrix."},

        {"singular, but not for this case", u"5\t*", {0, 0}, {0, 0, 1}, true, 0, "M", {5, 0.25}, singular},
        {"no root", u"*\t;6", {0, 0}, {1, 1, 1}, true, 1, "", {kNone, 6}, nullptr},
        {"no inverse", u"<1;5\t;6", {0, 0}, {1, 1, 1}, true, 1, "", {5, 6}, nullptr},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.what);
        LoadedEngine engine;
        ASSERT_EQ(create_and_load(u"1\t2\nx\ty\n" + std::u16string(row.record) + u"\n"), 0);
        ScriptedSource source(Numbers(200, 0.25));
        EXPECT_EQ(DS_Impute(1, row.means.data(), row.covariance.data(), 0, 0, row.has_source ? &source : nullptr),
                  row.result);
        EXPECT_EQ(source.calls, row.calls);
        expect_bits(values(1, 2), row.after);
        EXPECT_EQ(last_error(), "");
        const bool is_chain = row.error_log == nullptr && row.record[0] == u'<';
        const std::string expected =
            row.error_log != nullptr ? row.error_log : singular + std::string(is_chain ? no_inverse : no_root);
        EXPECT_EQ(engine.error_log(), "1 [x]\n2 [y]\n" + expected);
        EXPECT_EQ(engine.trace_log(), "Group 1 (g)\nx\ny\n" + std::string(row.trace_log));
    }
}

TEST(Failures, ACaseThatFailsEndsThePassAndALaterRangeGoesOn) {
    LoadedEngine engine;
    ASSERT_EQ(create_and_load(u"3\t2\nx\ty\n1\t*\n*\t2\n1\t*\n"), 0);
    const double means[] = {0, 0};
    const double covariance[] = {0, 0, 1};
    CapturingSource source;
    EXPECT_EQ(DS_Impute(1, means, covariance, 0, 0, &source), 1);
    expect_bits(values(1, 6), {1, 1, kNone, 2, 1, kNone});
    EXPECT_EQ(DS_Impute(1, means, nullptr, 3, 0, &source), 0);
    expect_bits(values(1, 6), {1, 1, kNone, 2, 1, 1});
}

TEST(Ranges, AreCheckedBeforeAnythingIsDrawn) {
    struct Row {
        std::int32_t first;
        std::int32_t last;
        std::int32_t result;
        const char *calls;
    };
    const Row rows[] = {
        {0, 0, 0, "MMM"},      {1, 0, 0, "MMM"},      {0, 3, 0, "MMM"}, {1, 1, 0, "M"}, {2, 0, 0, "MM"},
        {3, 3, 0, "M"},        {3, 2, 0, ""},         {1, 4, 1, ""},    {4, 0, 1, ""},  {-1, 0, 1, ""},
        {0, -1, 1, ""},        {2, 4, 1, ""},         {3, 1, 0, ""},    {4, 4, 1, ""},  {INT32_MIN, INT32_MIN, 1, ""},
        {INT32_MAX, 0, 1, ""}, {0, INT32_MAX, 1, ""},
    };
    LoadedEngine engine;
    ASSERT_EQ(create_and_load(u"3\t1\nx\n*\n*\n*\n"), 0);
    const double mean = 0;
    const double variance = 1;
    ScriptedSource source(Numbers(100, 0.5));
    EXPECT_EQ(DS_Impute(1, &mean, &variance, 2, 0, &source), 1) << "no covariance was prepared yet";
    ASSERT_EQ(DS_Impute(1, &mean, &variance, 0, 0, nullptr), 1);
    for (const Row &row : rows) {
        SCOPED_TRACE(testing::Message() << row.first << " to " << row.last);
        source.calls.clear();
        EXPECT_EQ(DS_Impute(1, &mean, &variance, row.first, row.last, &source), row.result);
        EXPECT_EQ(source.calls, row.calls);
    }
    EXPECT_EQ(DS_Impute(1, nullptr, &variance, 0, 0, &source), 1);
    EXPECT_EQ(DS_Impute(1, &mean, nullptr, 0, 0, &source), 1);
    EXPECT_EQ(DS_Impute(9, &mean, &variance, 0, 0, &source), 1);
    DS_GoToGroup(1);
    ASSERT_EQ(create_and_load(u"0\t1\nx\n"), 0);
    for (const Row &row : {Row{0, 0, 0, ""}, {1, 0, 0, ""}, {2, 0, 1, ""}, {1, 1, 1, ""}}) {
        EXPECT_EQ(DS_Impute(2, &mean, &variance, row.first, row.last, &source), row.result) << row.first << row.last;
    }
    EXPECT_EQ(engine.error_log(), "1 [x]\nNo random source was given.\n1 [x]\n") << "a refusal says nothing";
}

TEST(Ranges, ALaterPieceUsesTheLastPreparedCovariance) {
    LoadedEngine engine;
    ASSERT_EQ(create_and_load(u"2\t2\nx\ty\n1\t*\n1\t*\n"), 0);
    ASSERT_EQ(create_and_load(u"2\t1\nx\n*\n*\n"), 0);
    const double means[] = {0, 5};
    const double first[] = {1, 0, 4};
    const double second[] = {1, 0, 9};
    CapturingSource source;
    EXPECT_EQ(DS_Impute(1, means, first, 1, 1, &source), 0);
    EXPECT_EQ(DS_Impute(1, means, second, 2, 2, &source), 0);
    EXPECT_EQ(DS_Impute(1, means, second, 1, 1, &source), 0);
    const double shifted[] = {0, 7};
    EXPECT_EQ(DS_Impute(1, shifted, nullptr, 2, 2, &source), 0) << "the covariance is not read";
    ASSERT_EQ(source.roots.size(), 4u);
    for (std::size_t i = 0; i < 4; ++i) CHECK_BITS(source.roots[i][0], i < 2 ? 2.0 : 3.0);
    CHECK_BITS(source.means[3][0], 7.0);
    EXPECT_EQ(DS_Impute(2, means, first, 2, 2, &source), 1) << "prepared for another order";
    EXPECT_EQ(DS_Impute(2, means, first, 1, 1, &source), 0);
    EXPECT_EQ(DS_Impute(1, means, second, 2, 2, &source), 1);
    EXPECT_EQ(DS_Impute(1, means, second, 1, 1, &source), 0);
    DS_GoToGroup(2);
    ASSERT_EQ(create_and_load(u"0\t2\nx\ty\n"), 0);
    EXPECT_EQ(DS_Impute(1, means, second, 2, 2, &source), 0) << "the workspaces have not grown";
    DS_GoToGroup(3);
    ASSERT_EQ(create_and_load(u"0\t3\nx\ty\tz\n"), 0);
    EXPECT_EQ(DS_Impute(1, means, second, 2, 2, &source), 1) << "they have grown since";
    EXPECT_EQ(DS_Impute(1, means, second, 1, 1, &source), 0);
    DS_GibbsClose();
    DS_GibbsOpen(nullptr, nullptr);
    ASSERT_EQ(create_and_load(u"2\t2\nx\ty\n1\t*\n1\t*\n"), 0);
    EXPECT_EQ(DS_Impute(1, means, second, 2, 2, &source), 1) << "another session";
}

TEST(Mixture, TheGroupNumberSelectsCasesWithinTheRange) {
    LoadedEngine engine;
    DS_SetMixtureModeling(1);
    ASSERT_EQ(create_and_load(u"4\t1\ng\tx\n1\t*\n2\t*\n0\t*\n1\t*\n"), 0);
    const double mean = 0;
    const double variance = 1;
    CapturingSource source;
    const auto impute = [&](std::int32_t id, std::int32_t first) {
        return DS_Impute(id, &mean, &variance, first, 0, &source);
    };
    EXPECT_EQ(impute(7, 0), 0) << "no case has that id";
    expect_bits(values(0, 4), Numbers(4, kNone));
    EXPECT_EQ(impute(1, 2), 0) << "the range counts all cases";
    expect_bits(values(0, 4), {kNone, kNone, kNone, 1});
    EXPECT_EQ(impute(0, 0), 0);
    expect_bits(values(0, 4), {kNone, kNone, 1, 1});
    EXPECT_EQ(impute(2, 0), 0);
    expect_bits(values(0, 4), {kNone, 1, 1, 1});
    EXPECT_EQ(source.means.size(), 3u);
}

}  // namespace
