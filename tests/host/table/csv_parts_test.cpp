// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Parts of a file: they do not depend on how the bytes come, and tell where they stand.

#include "ullage/host/table/csv_parts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace ullage::host {
namespace {

std::vector<CsvPart> parts_of(const std::string &bytes, std::size_t piece, std::size_t rows) {
    std::size_t place = 0;
    CsvParts parts(
        [&](char *buffer, std::size_t size) {
            const std::size_t count = bytes.copy(buffer, std::min(size, piece), place);
            place += count;
            return count;
        },
        rows);
    std::vector<CsvPart> all;
    for (CsvPart part; parts.next(part);) all.push_back(part);
    return all;
}

TEST(CsvParts, AreTheSameHoweverTheBytesCome) {
    // Empty lines before the header and between rows, line ends of both kinds and within quotes, none at the end.
    const std::string bytes = "\n\"a\nb\",c\r\n1,2\r\n\r\n\"3\n\"\"\n4\",5\n6,7\n8,9";
    for (const std::size_t piece : {1U, 2U, 5U, 100U}) {
        const std::vector<CsvPart> parts = parts_of(bytes, piece, 2);
        ASSERT_EQ(parts.size(), 2U) << piece;
        EXPECT_EQ(parts[0].bytes, "\n\"a\nb\",c\r\n1,2\r\n\r\n\"3\n\"\"\n4\",5\n");
        EXPECT_EQ(parts[1].bytes, "\n\"a\nb\",c\r\n6,7\n8,9");
        EXPECT_EQ(parts[1].rows_before, 2);
        EXPECT_EQ(parts[1].lines_before, 5);
    }
}

TEST(CsvParts, HaveAFirstOneAlways) {
    for (const std::string bytes : {"", "a,b\n", "a,b"}) {
        const std::vector<CsvPart> parts = parts_of(bytes, 3, 2);
        ASSERT_EQ(parts.size(), 1U) << bytes;
        EXPECT_EQ(parts[0].bytes, bytes);
    }
    EXPECT_EQ(parts_of("a\n1\n2\n", 3, 2).size(), 1U) << "no empty part behind a full one";
}

}  // namespace
}  // namespace ullage::host
