// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Rows of CSV files that come in parts of every size.

#include "ullage/host/table/csv_rows.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace ullage::host {
namespace {

/** Gives a text in parts of some bytes. */
CsvRows::Read in_parts(const std::string &text, std::size_t part) {
    return [text, part, place = std::size_t{0}](char *buffer, std::size_t size) mutable {
        const std::size_t count = std::min({part, size, text.size() - place});
        std::copy_n(text.begin() + static_cast<std::ptrdiff_t>(place), count, buffer);
        place += count;
        return count;
    };
}

TEST(CsvRows, AreTheSameWhereverThePartsEnd) {
    const std::string text = "a ;\"b;\"\"c\"\n1;x\r\n\"2\n\";\"\"\"y\"\" \"\n;\n-4e0;last";
    const std::vector<std::vector<std::string>> rows = {{"1", "x"}, {"2\n", "\"y\" "}, {"", ""}, {"-4e0", "last"}};
    for (std::size_t part = 1; part <= text.size(); ++part) {
        CsvRows file("f.csv", in_parts(text, part), ';');
        EXPECT_EQ(file.names(), (std::vector<std::string>{"a", "b;\"c"}));
        for (const auto &row : rows) {
            ASSERT_TRUE(file.next()) << part;
            EXPECT_EQ(file.cell(0), row[0]) << part;
            EXPECT_EQ(file.cell(1), row[1]) << part;
        }
        EXPECT_EQ(file.number(0), -4.0);
        EXPECT_STREQ(file.broken("odd").what(), "f.csv: line 6: odd") << "a cell of line 3 goes on in line 4";
        EXPECT_FALSE(file.next());
    }
}

TEST(CsvRows, ErrorsSayWhere) {
    const struct {
        const char *text;
        const char *expected;
    } wrong[] = {{"", "f.csv: the file is empty"},
                 {"a,b\n1,2\n3\n", "f.csv: line 3: 1 cell, and the header has 2"},
                 {"a,b\n1,2\n3,x\"y\n", "f.csv: a quote that stands or is missing in the row of line 3"},
                 {"a,b\n\"1,2\n", "f.csv: a quote that stands or is missing in the row of line 2"},
                 {"a,b\nx,2\n", "f.csv: line 2: column \"a\": \"x\" is no number"}};
    for (const auto &row : wrong) {
        try {
            CsvRows file("f.csv", in_parts(row.text, 3), ',');
            while (file.next()) (void)file.number(0);
            ADD_FAILURE() << row.text << " was accepted";
        } catch (const Error &error) {
            EXPECT_STREQ(error.what(), row.expected);
        }
    }
}

}  // namespace
}  // namespace ullage::host
