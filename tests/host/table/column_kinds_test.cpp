// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// What kind a column is taken for, and what the cells of words say.

#include "ullage/host/table/column_kinds.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "table_words.h"

namespace {

using namespace ullage::host;

// "binary(no,yes)", "stepped(5)", "number"; "carried" if no column of the name is in the model.
std::string kind_of(const Table &table, const std::string &name) {
    const auto place = table.find_column(name);
    if (!place) return "carried";
    const Column &column = table.columns[*place];
    std::string text = kColumnKindNames[static_cast<std::size_t>(column.kind)];
    std::string inner = column.kind == ColumnKind::stepped ? format_number(column.step) : "";
    for (const std::string &word : column.words) inner += (inner.empty() ? "" : ",") + word;
    return inner.empty() ? text : text + "(" + inner + ")";
}

ReadOptions finding_kinds() {
    ReadOptions options;
    options.find_kinds = true;
    return options;
}

ReadOptions with_kind(KindOption kind) {
    ReadOptions options;
    options.kinds = {std::move(kind)};
    return options;
}

// A column "c" with these cells beside a column of numbers.
std::string csv_of(const std::vector<std::string> &cells) {
    std::string csv = "x,c\n";
    for (std::size_t i = 0; i < cells.size(); ++i) csv += std::to_string(i % 7) + ".5" + "," + cells[i] + "\n";
    return csv;
}

TEST(ColumnKinds, AreFoundInTheFile) {
    std::vector<std::string> names;
    std::vector<std::string> many;
    for (int i = 0; i < 44; ++i) {
        names.push_back(std::to_string((i * 37) % 101));
        many.push_back("w" + std::to_string(i % 22));
    }
    std::vector<std::string> with_blank = names;
    with_blank[3] = "";
    const struct {
        std::vector<std::string> cells;
        const char *kind;
    } rows[] = {
        {{"yes", "no", "", "yes"}, "binary(no,yes)"},
        {{"b", "a", "c", "NA", "a"}, "nominal(a,b,c)"},
        {{"0", "1", "1", "0", "NA"}, "binary(0,1)"},
        {{"0", "1.0", "1", "0"}, "binary(0,1)"},
        {{"0", "1", "1", "1"}, "number"},  // a value that stands once may be a measurement
        {{"0", "1", "1", "0", "<1"}, "number"},
        {{"a", "a", "a"}, "carried"},
        {{"a", "b", "c", "d"}, "carried"},  // names of the rows
        {many, "carried"},
        {{"1", "2", "3"}, "carried"},
        {{"7", "8", "9", "10"}, "carried"},
        {{"1", "3", "2"}, "number"},
        {names, "carried"},
        {with_blank, "number"},
        {{"20240131", "19991231", "20000101"}, "carried"},
        {{"20240131", "19991231", "20001301"}, "number"},  // no thirteenth month
        {{"2024-01-31", "2024-02-01", "2024-02-01"}, "carried"},
        {{"31-Jan-2024", "1-Feb-2024", "1-Feb-2024"}, "carried"},
        {{"1.2.2024 10:30", "2.2.2024 11:00", "2.2.2024 11:00"}, "carried"},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(kind_of(table_of(csv_of(row.cells), finding_kinds()), "c"), row.kind) << csv_of(row.cells);
        EXPECT_EQ(kind_of(table_of(csv_of(row.cells)), "c").substr(0, 6),
                  row.cells[0].find_first_not_of("0123456789.") == std::string::npos ? "number" : "carrie");
    }
}

TEST(ColumnKinds, AreAsTheUserSays) {
    const std::string csv = csv_of({"2", "0", "1", "1", "2", "0"});
    const auto told = [&](const KindOption &option) { return kind_of(table_of(csv, with_kind(option)), "c"); };
    EXPECT_EQ(told({"c", ColumnKind::number, 0.0, {}}), "number");
    EXPECT_EQ(told({"c", ColumnKind::stepped, 1.0, {}}), "stepped(1)");
    EXPECT_EQ(told({"c", ColumnKind::nominal, 0.0, {}}), "nominal(0,1,2)");
    EXPECT_EQ(told({"c", ColumnKind::ordered, 0.0, {"2", "1", "0"}}), "ordered(2,1,0)");
    EXPECT_NE(error_of([&] {
                  told({"c", ColumnKind::binary, 0.0, {}});
              }).find("3 different words, and not 2"),
              std::string::npos);
    EXPECT_NE(error_of([&] {
                  told({"c", ColumnKind::ordered, 0.0, {"0", "1"}});
              }).find("none of its words"),
              std::string::npos);
}

TEST(ColumnKinds, CellsOfWordsAndStepsSayWhatIsPossible) {
    const ReadOptions ordered = with_kind({"c", ColumnKind::ordered, 0.0, {"I", "II", "III", "IV"}});
    const struct {
        const char *cell;
        const char *meaning;
    } words[] = {
        {"III", "2"},           {"", "missing"},       {"<=II", ">-0.5 <1.5"},
        {"≤ II", ">-0.5 <1.5"}, {"<II", ">-0.5 <0.5"}, {">II", ">1.5 <3.5"},
        {">=II", ">0.5 <3.5"},  {"≥II", ">0.5 <3.5"},  {"II..III", ">0.5 <2.5"},
    };
    for (const auto &row : words) {
        const Table table = table_of(csv_of({"I", "II", "III", "IV", row.cell}), ordered);
        EXPECT_EQ(cell_in_words(table, 4, 1), row.meaning) << row.cell;
    }
    for (const char *cell : {"V", "<I", ">IV", "III..II", "<", "I..", "<V"}) {
        EXPECT_NE(error_of([&] {
                      (void)table_of(csv_of({"I", "II", "III", "IV", cell}), ordered);
                  }).find("line 6 (row 5), column \"c\""),
                  std::string::npos)
            << cell;
    }
    const ReadOptions stepped = with_kind({"c", ColumnKind::stepped, 5.0, {}});
    const struct {
        const char *cell;
        const char *meaning;
    } steps[] = {
        {"10", "10"},     {"<10", "<7.5"},  {"<=10", "<12.5"}, {"<11", "<12.5"},
        {">10", ">12.5"}, {">=10", ">7.5"}, {">9", ">7.5"},    {"10..20", ">7.5 <22.5"},
    };
    for (const auto &row : steps) {
        EXPECT_EQ(cell_in_words(table_of(csv_of({"5", row.cell}), stepped), 1, 1), row.meaning) << row.cell;
    }
    EXPECT_NE(error_of([&] {
                  (void)table_of(csv_of({"5", "<x"}), stepped);
              }).find("only columns of numbers"),
              std::string::npos);
}

}  // namespace
