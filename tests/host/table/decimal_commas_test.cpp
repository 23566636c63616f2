// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Which commas of a cell are decimal ones, and which points would be.

#include "ullage/host/table/decimal_commas.h"

#include <gtest/gtest.h>

#include <string>

namespace ullage::host {
namespace {

TEST(DecimalCommas, BecomePointsInNumbersAlone) {
    const char *const rows[][2] = {{"0,5", "0.5"},
                                   {" -12,75 ", " -12.75 "},
                                   {"\"2,5\"", "\"2.5\""},
                                   {"<0,5", "<0.5"},
                                   {"\u22640,5", "\u22640.5"},
                                   {"ND<0,5", "ND<0.5"},
                                   {"2,5..3,5", "2.5..3.5"},
                                   {"[2,5 3,5)", "[2.5 3.5)"},
                                   {"0,5 mg/L", "0.5 mg/L"},
                                   {"3,5e-1", "3.5e-1"},
                                   {"+1,5E+10", "+1.5E+10"},
                                   {"1,2-Xylol", "1,2-Xylol"},
                                   {"a1,2", "a1,2"},
                                   {"1,2a", "1,2a"},
                                   {"1,234,567", "1,234,567"},
                                   {"1.234,5", "1.234,5"},
                                   {"2-3,5", "2-3,5"},
                                   {",5", ",5"},
                                   {"5,", "5,"},
                                   {"1,5e", "1,5e"},
                                   {"", ""}};
    for (const auto &[cell, expected] : rows) {
        std::string text = cell;
        point_decimals(text);
        EXPECT_EQ(text, expected);
    }
    for (const char *cell : {"1.5", "<-1.5", "1.5..2", "1..2.5", "1.234e5", "x 1.5"})
        EXPECT_TRUE(has_decimal_point(cell));
    for (const char *cell : {"1..2", "24.12.2024", "v1.5", "1,5", ".5", "5.", "1.2b"})
        EXPECT_FALSE(has_decimal_point(cell));
}

}  // namespace
}  // namespace ullage::host
