// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Files that appear whole or not at all, and completed tables byte for byte.

#include "ullage/host/run/write_table.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "host/table/table_words.h"
#include "support/temp_folder.h"
#include "ullage/host/base/output_file.h"

namespace ullage::host {
namespace {

std::string path_in(const TempFolder &folder, const char *name) {
    return std::filesystem::path(folder.wide_path(name)).string();
}

std::ptrdiff_t count_files(const TempFolder &folder) {
    const std::filesystem::directory_iterator files(path_in(folder, ""));
    return std::distance(begin(files), end(files));
}

TEST(OutputFile, AppearsWholeOrNotAtAll) {
    const TempFolder folder;
    const std::string path = path_in(folder, "out.csv");
    {
        OutputFile file(path);
        file.write("first");
        EXPECT_FALSE(folder.holds("out.csv"));
        file.commit();
    }
    EXPECT_EQ(folder.text("out.csv"), "first");
    {
        OutputFile file(path);
        file.write(std::string(1 << 20, 'x'));  // more than any buffer, so that it reaches the disk
    }
    EXPECT_EQ(folder.text("out.csv"), "first");
    {
        OutputFile file(path);
        file.write("second");
        file.commit();
    }
    EXPECT_EQ(folder.text("out.csv"), "second");
    EXPECT_EQ(count_files(folder), 1);
    struct stat status = {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    const mode_t mask = umask(0);
    umask(mask);
    EXPECT_EQ(status.st_mode & 0777, 0666 & ~mask);

    EXPECT_EQ(error_of([&] { OutputFile file(path_in(folder, "none/out.csv")); }),
              path_in(folder, "none/out.csv") + ": No such file or directory");
    // A directory that has the name of the file: known at the end, and nothing stays behind.
    std::filesystem::create_directories(path_in(folder, "taken/inside"));
    EXPECT_EQ(error_of([&] {
                  OutputFile file(path_in(folder, "taken"));
                  file.commit();
              }),
              path_in(folder, "taken") + ": Is a directory");
    EXPECT_EQ(count_files(folder), 2);
}

TEST(WriteTable, ObservedAndCarriedCellsByteForByte) {
    const std::string bytes =
        "\xEF\xBB\xBF\"id\";\"a \"\"b\"\"\";\"x;1_lo\";note;\"x;1_hi\"\r\n"
        "007; 1.50 ;\"2\";\"line\nbreak; \"\"q\"\"\";2.0\r\n"
        "\r\n"
        "008;<3;1;NA;\"\"\r\n"
        "009;+1e0;*;;";
    ReadOptions options;
    options.id = "id";
    const Table table = table_of(bytes, options);
    const HiddenCells hidden = close_bounds(table);
    ASSERT_EQ(hidden.cells.size(), 3U);
    const double values[] = {-0.1, 1e22, 5e-324};

    const TempFolder folder;
    const auto written = [&](std::span<const double> imputed, int imputation, bool is_long) {
        OutputFile file(path_in(folder, "out.csv"));
        write_header(file, table, {}, is_long);
        write_rows(file, table, hidden, imputed, {}, imputation, is_long);
        file.commit();
        return folder.text("out.csv");
    };
    EXPECT_EQ(written({}, 0, true),
              "\"id\";\"a \"\"b\"\"\";\"x;1_lo\";note;\"x;1_hi\";\"x;1\";.imp;.id\n"
              "007; 1.50 ;\"2\";\"line\nbreak; \"\"q\"\"\";2.0;\"2\";0;007\n"
              "008;NA;1;NA;\"\";NA;0;008\n"
              "009;+1e0;*;;;NA;0;009\n");
    EXPECT_EQ(written(values, 12, false),
              "\"id\";\"a \"\"b\"\"\";\"x;1_lo\";note;\"x;1_hi\";\"x;1\"\n"
              "007; 1.50 ;\"2\";\"line\nbreak; \"\"q\"\"\";2.0;\"2\"\n"
              "008;-0.1;1;NA;\"\";1e+22\n"
              "009;+1e0;*;;;5e-324\n");

    // Read again, the file gives the same cells at the same places.
    const Table again = table_of(written(values, 12, false), options);
    for (std::size_t row = 0; row < table.row_count(); ++row) {
        for (std::size_t c = 0; c < table.file.names.size(); ++c) {
            if (c == 1 && row == 1) continue;
            EXPECT_EQ(again.file.text(row, c), table.file.text(row, c));
        }
    }
}

}  // namespace
}  // namespace ullage::host
