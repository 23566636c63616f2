// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Tables whose posterior distribution is improper are refused, and those beside them are not.

#include "ullage/host/model/propriety.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>

#include "host/draw/table_of.h"
#include "ullage/host/base/error.h"

namespace ullage::host {
namespace {

/** A table of x, which is known, and y; cell(i) is what its row i says of y. */
std::string table_with(const std::function<std::string(int)> &cell) {
    std::string csv = "x,y\n";
    for (int i = 0; i < 40; ++i) csv += std::to_string(i * 17 % 41) + "," + cell(i) + "\n";
    return csv;
}

/** What is said against a table; nothing if there is a model. */
std::string refusal(const std::string &csv, const std::string &prior, const Rules &rules = {}) {
    try {
        (void)table_of(csv, prior, {}, rules);
    } catch (const Error &error) {
        EXPECT_EQ(error.fault(), Fault::data);
        return error.what();
    }
    return "";
}

TEST(Propriety, OneColumnThatTheDataLeaveOpen) {
    const auto except = [](int last, const std::string &those, const std::string &others) {
        return table_with([=](int i) { return i < last ? those + (i % 2 == 0 ? ".5" : ".25") : others; });
    };
    const std::string both_sides = table_with([](int i) { return i % 2 == 0 ? "<0" : ">0"; });
    const struct {
        std::string csv;
        const char *prior;
        const char *part;  // of the message; empty if there is none
    } rows[] = {
        // Bounded from one side: no prior that leaves means flat helps.
        {except(0, "", "<1"), "jeffreys", "\"y\" is bounded from above alone"},
        {except(0, "", "<1"), "ridge=9", "mean_cases above 0 and covariance_cases above 1"},
        {except(0, "", ">1"), "default", "from below alone"},
        {table_with([](int i) { return i < 9        ? ""
                                       : i % 2 == 0 ? "<1"
                                                    : "<7"; }), "ridge=2", "from above alone"},
        // The scale has no end: cases and numbers together are at most 1.
        {both_sides, "default", "no number or interval is known"},
        {both_sides, "ridge=1", "no number or interval is known"},
        {both_sides, "ridge=1.01", ""},
        {except(1, "3", "<1"), "jeffreys", "a single number or interval"},
        {except(1, "3", "<1"), "default", "hardly more than flat"},
        {except(1, "3", "<1"), "ridge=0.1", ""},
        {except(2, "3", "<1"), "default", ""},
        {table_with([](int i) { return i == 4 ? "2..3" : "<1"; }), "jeffreys", "a single number or interval"},
        {table_with([](int i) { return i % 20 == 4 ? "2..3" : "<1"; }), "default", ""},
        // The scale may be 0.
        {except(0, "", "0..1"), "jeffreys", "one value fits all of its intervals"},
        {except(0, "", "0..1"), "ridge=0.1", ""},
        {table_with([](int i) { return i % 2 == 0 ? "0..1" : "0.5..2"; }), "jeffreys", "one value fits all"},
        {table_with([](int i) { return i % 2 == 0 ? "0..1" : "1.5..2"; }), "jeffreys", ""},
    };
    for (const auto &row : rows) {
        const std::string said = refusal(row.csv, row.prior);
        if (*row.part == '\0') {
            EXPECT_EQ(said, "") << row.csv << row.prior;
        } else {
            EXPECT_NE(said.find(row.part), std::string::npos) << row.csv << row.prior << said;
        }
    }
}

TEST(Propriety, RulesAndOrdersAreNotTakenForKnowledge) {
    Rules rules;
    rules.lower = {{"y", 0.0}};
    EXPECT_EQ(refusal(table_with([](int i) { return i % 2 == 0 ? "<3" : "<1"; }), "default", rules), "");
    EXPECT_EQ(refusal(table_with([](int i) { return i % 2 == 0 ? "<x" : ">x"; }), "ridge=2"), "");
}

TEST(Propriety, ColumnsThatAreNeverKnownTogether) {
    std::string csv = "x,y,z\n";
    for (int i = 0; i < 40; ++i) {
        const std::string x = std::to_string(i * 17 % 41);
        const std::string y = std::to_string(i * 23 % 37);
        csv += (i % 2 == 0 ? x + ",," : "," + y + ",") + std::to_string(i * 29 % 43) + "\n";
    }
    EXPECT_NE(refusal(csv, "jeffreys").find("\"x\" and \"y\" are never known together"), std::string::npos);
    EXPECT_NE(refusal(csv, "default").find("never known together"), std::string::npos);
    EXPECT_EQ(refusal(csv, "ridge=1"), "");
    EXPECT_EQ(refusal(csv + "<9,>1,3\n", "default"), "");
}

TEST(Propriety, FewCompleteRowsAreDoubtedUnderAFlatPrior) {
    std::string csv = "x,y\n";
    for (int i = 0; i < 40; ++i) {
        const std::string x = std::to_string(i * 17 % 41);
        csv += (i < 4 ? x + "," + std::to_string(i * i) : i % 2 == 0 ? x + "," : "," + x) + "\n";
    }
    EXPECT_EQ(doubts_of_propriety(table_of(csv, "jeffreys")->model).size(), 1U);
    EXPECT_TRUE(doubts_of_propriety(table_of(csv, "default")->model).empty());
    EXPECT_TRUE(doubts_of_propriety(table_of(csv + "7,7\n", "jeffreys")->model).empty());
}

}  // namespace
}  // namespace ullage::host
