// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Summing up and counting the values of a column, also at the ends of double precision.

#include "ullage/host/report/column_values.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>

#include "ullage/host/report/page_pieces.h"

namespace ullage::host {
namespace {

TEST(ColumnValues, SummariesAreThoseOfTheirValues) {
    Values values;
    for (int i = 0; i < 200; ++i) values.push_back((i * 37) % 200);  // 0 to 199 in disorder
    const Summary summary = sum_up(ValuePasses(values));
    EXPECT_EQ(summary.count, 200U);
    EXPECT_DOUBLE_EQ(summary.mean, 99.5);
    EXPECT_NEAR(summary.deviation, std::sqrt(200.0 * 201.0 / 12.0), 1e-10);
    EXPECT_EQ(summary.least, 0.0);
    EXPECT_EQ(summary.low, 10.0);  // 10 of 200 are smaller: 5%
    EXPECT_EQ(summary.median, 100.0);
    EXPECT_EQ(summary.high, 190.0);
    EXPECT_EQ(summary.most, 199.0);
    EXPECT_EQ(middle_words(summary), "100 (10 to 190)");

    Values one = {3.0};
    EXPECT_EQ(sum_up(ValuePasses(one)).high, 3.0);
    EXPECT_TRUE(std::isnan(sum_up(ValuePasses(one)).deviation));
    Values none;
    EXPECT_TRUE(std::isnan(sum_up(ValuePasses(none)).median));
    for (const double unit : {5e-324, 1e-308, 1e200, 8.9e307}) {
        Values extreme = {-unit, unit, unit, -unit};
        const Summary of_extreme = sum_up(ValuePasses(extreme));
        EXPECT_EQ(of_extreme.low, -unit);
        EXPECT_EQ(of_extreme.high, unit);
        EXPECT_EQ(of_extreme.mean, 0.0) << unit;
        EXPECT_NEAR(of_extreme.deviation / unit, std::sqrt(4.0 / 3.0), unit < 1e-320 ? 0.2 : 1e-10) << unit;
    }
}

/** A column of a run without bounded cells. */
struct RunColumnOf {
    RunRecord record;
    CompletedColumn column;
    Values observed;
    Values imputed;
    ColumnValues values{};

    RunColumnOf(Values some_observed, Values some_imputed, Transformation transformation = Transformation::none)
        : observed(std::move(some_observed)), imputed(std::move(some_imputed)) {
        record.columns = {{.name = "a", .transformation = transformation}};
        values.record = &record.columns[0];
        values.column = &column;
        values.observed = ValuePasses(observed);
        values.missing = ValuePasses(imputed);
        values.of_observed = sum_up(values.observed);
        values.of_missing = sum_up(values.missing);
        values.of_bounded = sum_up(values.bounded);
    }
};

TEST(ColumnValues, BinsHoldEachValueOnce) {
    for (const Transformation transformation : {Transformation::none, Transformation::log}) {
        for (const auto &[low, high] : {std::pair(0.5, 7.0),
                                        {1.0, 1.0},
                                        {1e-12, 1e12},
                                        {1e-308, 2e-308},
                                        {1e200, 3e200},
                                        {1.0, 1.797e308},
                                        {1e10, 1e10 + 1e-5},
                                        {1e300, 1e300}}) {
            const RunColumnOf run({low, low + (high - low) / 3.0, high}, {high, low}, transformation);
            const BinnedAxis binned = bin(run.values);
            EXPECT_LE(binned.edges.size(), 32U) << low << ' ' << high;
            const Values counts = bin_counts(run.values.observed, binned.edges);
            EXPECT_EQ(std::accumulate(counts.begin(), counts.end(), 0.0), 3.0);
            if (!can_be_drawn(binned.axis)) continue;
            EXPECT_LE(binned.axis.low, low);
            EXPECT_GE(binned.axis.high, high);
            EXPECT_TRUE(std::is_sorted(binned.edges.begin(), binned.edges.end()));
        }
    }
    const Values at_edges = {0.0, 1.0, 1.5, 2.0, 3.0};
    EXPECT_EQ(bin_counts(ValuePasses(at_edges), {0.0, 1.0, 2.0, 3.0}), Values({1.0, 2.0, 2.0}));
}

TEST(ColumnValues, CellsAreDividedByWhatIsKnown) {
    RunResults results;
    results.record.columns = {{.name = "a"}};
    results.tables.rows = 5;
    results.tables.model = {0};
    const double unknown = std::nan("");
    results.tables.columns = {
        {"a", {1.0, unknown, 3.0, unknown, unknown}, {1, 3, 4}, {{2.0, 4.0, 5.0}, {2.5, 4.5, 5.5}}}};
    // The cell of row 2 was imputed alike in all tables, so that it counts as observed.
    results.bounds = {{3, 0, Knowledge::below, -kOpen, 9.0}, {2, 0, Knowledge::below, -kOpen, 9.0}};
    const ColumnValues values = values_of(results, run_cells(results), 0);
    EXPECT_EQ(values.of_observed.count, 2U);
    EXPECT_EQ(values.of_missing.count, 4U);
    EXPECT_EQ(values.places, std::vector<std::size_t>{1});
    EXPECT_EQ(values.of_bounded.least, 4.0);
    EXPECT_EQ(values.of_bounded.most, 4.5);
}

TEST(PagePieces, NumbersAreShort) {
    EXPECT_EQ(degrees_of_freedom(10000.0), "10000.0");
    EXPECT_EQ(degrees_of_freedom(10000.1), ">10000");
    EXPECT_EQ(degrees_of_freedom(kOpen), ">10000");
    EXPECT_EQ(number(-0.00001234), "\u22121.234e-05");
    EXPECT_EQ(fixed(-0.0001, 2), "0.00");
    const char *ordinals[] = {"1st", "2nd", "3rd", "4th", "11th", "12th", "13th", "21st", "112th", "122nd"};
    const std::size_t numbers[] = {1, 2, 3, 4, 11, 12, 13, 21, 112, 122};
    for (std::size_t i = 0; i < std::size(numbers); ++i) EXPECT_EQ(ordinal(numbers[i]), ordinals[i]);
}

TEST(PagePieces, APlotThatCannotBeDrawnSaysWhy) {
    Plot plot;
    plot.description = "what it shows";
    plot.x = {.low = 1e-308, .high = 2e-308};
    const std::string html = make_figure(plot, "title");
    EXPECT_EQ(html.find("<svg"), std::string::npos);
    EXPECT_NE(html.find("from 1e-308 to 2e-308"), std::string::npos);
    EXPECT_NE(html.find("what it shows"), std::string::npos);
}

}  // namespace
}  // namespace ullage::host
