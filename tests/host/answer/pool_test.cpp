// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Pooling of tables whose answer is known.

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "host/answer/small_tables.h"
#include "host/expect_close.h"
#include "ullage/host/answer/pool_estimates.h"
#include "ullage/host/answer/pool_moments.h"
#include "ullage/host/base/error.h"

namespace ullage::host {
namespace {

const PooledRow &row_of(const std::vector<PooledRow> &rows, const std::string &level, const std::string &name) {
    for (const PooledRow &row : rows) {
        if (row.level == level && row.name == name) return row;
    }
    ADD_FAILURE() << "no " << name << " in level " << level;
    return rows.front();
}

TEST(PoolMoments, OfEachLevel) {
    const std::vector<PooledRow> rows = pool_moments(small_tables(), {true, true, true, true, {0.5}});
    EXPECT_EQ(rows.size(), 2u * (2 + 2 + 1 + 1 + 2));
    // b in "high": 1, 2, 4, 3 and 1, 2, 4, 5, with means 2.5 and 3 and variances 5/3 and 10/3.
    const Pooled &mean = row_of(rows, "high", "mean(b)").pooled;
    expect_close(mean.estimate, 2.75, "mean");
    expect_close(mean.within, 2.5 / 4.0, "U of the mean");
    expect_close(mean.between, 0.125, "B of the mean");
    const Pooled &variance = row_of(rows, "high", "var(b)").pooled;
    expect_close(variance.estimate, 2.5, "variance");
    expect_close(variance.within, (2.0 / 3.0) * 0.5 * (25.0 / 9.0 + 100.0 / 9.0), "U of the variance");
    // a and b in "low" have the same values in both imputations: s_aa = s_bb = 5/3, s_ab = 4/3.
    const Pooled &covariance = row_of(rows, "low", "cov(a,b)").pooled;
    expect_close(covariance.estimate, 4.0 / 3.0, "covariance");
    expect_close(covariance.within, (25.0 / 9.0 + 16.0 / 9.0) / 3.0, "U of the covariance");
    EXPECT_EQ(covariance.between, 0.0);
    const Pooled &correlation = row_of(rows, "low", "cor(a,b)").pooled;
    expect_close(correlation.estimate, 0.8, "correlation");
    expect_close(correlation.upper, std::tanh(std::atanh(0.8) + 1.959963984540054), "upper end of the correlation");
    expect_close(correlation.standard_error, 0.36, "standard error of the correlation");
    EXPECT_EQ(row_of(rows, "low", "q50(b)").pooled.estimate, 2.5);
}

TEST(PoolMoments, MedianErrorAgainstTheNormalLaw) {
    // The median of n standard normals has the standard error sqrt(pi / 2 / n), nearly.
    CompletedTables tables;
    tables.rows = 999;
    tables.imputations = 2;
    tables.levels = {""};
    tables.level_of_row.assign(tables.rows, 0);
    CompletedColumn column{"x", {}, {}, {{}, {}}};
    double uniform = 0.5;
    for (std::size_t i = 0; i < tables.rows; ++i) {
        uniform = std::fmod(uniform + 0.6180339887498949, 1.0);
        // The logistic distribution scaled to the normal density at 0, 1 / sqrt(2 pi).
        column.original.push_back(std::sqrt(2.0 * M_PI) / 4.0 * std::log(uniform / (1.0 - uniform)));
    }
    tables.columns.push_back(column);
    tables.model = {0};
    const Pooled median = pool_moments(tables, {false, false, false, false, {0.5}})[0].pooled;
    // Evenly spread points know their median better than a sample's order statistics tell; 3% covers the difference.
    EXPECT_NEAR(median.standard_error, std::sqrt(M_PI / 2.0 / 999.0), 0.03 * std::sqrt(M_PI / 2.0 / 999.0));
}

TEST(PoolMoments, ErrorsSayWhere) {
    const auto message_of = [](const CompletedTables &tables, const PoolRequest &request) -> std::string {
        try {
            (void)pool_moments(tables, request);
        } catch (const Error &error) {
            return error.what();
        }
        return "";
    };
    CompletedTables tables = small_tables();
    EXPECT_NE(message_of(tables, {false, false, false, false, {1.5}}).find("1.5"), std::string::npos);
    tables.level_of_row = {0, 0, 0, 0, 0, 0, 1, 0};
    EXPECT_NE(message_of(tables, {true, false, false, false, {}}).find("\"high\""), std::string::npos);
    tables = small_tables();
    EXPECT_NE(message_of(tables, {false, false, false, false, {0.1}})
                  .find("\"low\" are too few for the quantile at 0.1, which needs at least 9"),
              std::string::npos);
    for (const double unit : {1e200, 1e-200}) {
        for (double &value : tables.columns[0].original) value *= unit;
        const std::string message = message_of(tables, {true, false, false, false, {}});
        EXPECT_NE(message.find("range of double precision"), std::string::npos) << message;
        tables = small_tables();
    }
    tables.columns[0].original.assign(8, 1.0);
    EXPECT_NE(message_of(tables, {false, false, false, true, {}}).find("constant"), std::string::npos);
    tables.model = {1};
    EXPECT_NE(message_of(tables, {false, false, true, false, {}}).find("only one"), std::string::npos);
    tables.imputations = 1;
    EXPECT_NE(message_of(tables, {true, false, false, false, {}}).find("at least 2"), std::string::npos);
}

TEST(PoolEstimates, ReadsTablesMadeElsewhere) {
    const auto rows = pool_estimates("e.csv",
                                     "imputation;term;estimate;std.error;df\n"
                                     "1;a;10;1;30\n1;\"b;c\";1;0.5;inf\n2;a;11;1;30\n2;\"b;c\";1;0.5;Inf\n");
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0].pooled.between, 0.5);
    EXPECT_EQ(rows[1].name, "b;c");
    EXPECT_TRUE(std::isinf(rows[1].pooled.df));
    const char *const wrong[] = {"estimate,se\n1,1\n",
                                 "estimate\n1\n2\n",
                                 "estimate,se\n1,-1\n2,1\n",
                                 "estimate,se\n1,1\nx,1\n",
                                 "term,estimate,se\na,1,1\na,2,1\nb,1,1\n",
                                 "estimate,se,df\n1,1,0\n2,1,0\n",
                                 "estimate,se,df\n1,1,5\n2,1,6\n"};
    for (const char *text : wrong) {
        try {
            (void)pool_estimates("e.csv", text);
            ADD_FAILURE() << "accepted: " << text;
        } catch (const Error &error) {
            EXPECT_EQ(std::string(error.what()).rfind("e.csv: ", 0), 0u) << error.what();
        }
    }
}

}  // namespace
}  // namespace ullage::host
