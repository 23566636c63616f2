// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// What a file and a cell may say, and what is said about those that may not.

#include "ullage/host/table/read_table.h"

#include <gtest/gtest.h>

#include <random>

#include "table_words.h"

namespace ullage::host {
namespace {

// The cell of x in a table whose other cells are plain numbers.
std::string with_cell(const std::string &cell) {
    std::string quoted;
    for (const char c : cell) quoted += c == '"' ? "\"\"" : std::string(1, c);
    return "x,y\n1,2\n\"" + quoted + "\",3\n";
}

TEST(ReadTable, ACellSays) {
    const struct {
        const char *cell;
        const char *words;
    } rows[] = {
        {"1.50", "1.5"},
        {" 2\t", "2"},
        {"\u00a02", "2"},
        {"+3", "3"},
        {"-.5", "-0.5"},
        {"5.", "5"},
        {"1e3", "1000"},
        {"1E-3", "0.001"},
        {"", "missing"},
        {"  ", "missing"},
        {"NA", "missing"},
        {".", "missing"},
        {" * ", "missing"},
        {"<0.5", "<0.5"},
        {"< 0.5", "<0.5"},
        {"<=0.5", "<0.5"},
        {"≤ 0.5", "<0.5"},
        {"<-1", "<-1"},
        {">200", ">200"},
        {">= 200", ">200"},
        {"≥200", ">200"},
        {"2..3", ">2 <3"},
        {"-3.5 .. -.5", ">-3.5 <-0.5"},
        {"[2, 3]", ">2 <3"},
        {"(2.5,3.5)", ">2.5 <3.5"},
        {"2..", ">2"},
        {"..3", "<3"},
        {"[-inf, 3]", "<3"},
        {"2..Inf", ">2"},
        {"[-inf, inf]", "missing"},
        {"<inf", "missing"},
        {"<y", "<y"},
        {"> y", ">y"},
        {">1; <y; < 9", ">1 <y <9"},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(cell_in_words(table_of(with_cell(row.cell)), 1, 0), row.words) << row.cell;
    }
}

TEST(ReadTable, ACellMayNotSay) {
    const struct {
        const char *cell;
        const char *message;
    } rows[] = {
        {"0,5", "a decimal comma; write 0.5, or give --decimal comma"},
        {"-12,75", "a decimal comma; write -12.75, or give --decimal comma"},
        {"1,234", "a comma within a number; write 1.234 or 1234, whichever is meant, or give --decimal comma"},
        {"1,234.5", "a thousands separator"},
        {"1,234,567", "a thousands separator"},
        {"1.234.567", "more than one decimal point"},
        {"1'234", "a thousands separator; write 1234"},
        {"1 234", "two numbers in one cell, or a blank within a number"},
        {"2.5 3.5", "no number"},
        {"\u22125", "a dash that is no minus sign; write -5"},
        {"2-3", "two numbers; write an interval as 2..3"},
        {"+-5", "no number"},
        {"1e999", "too large or too small"},
        {"3..2", "the lower end is above the upper one"},
        {"[3, 2]", "the lower end is above the upper one"},
        {"2..2", "an interval without a width; write the number alone"},
        {"2...3", "more than two dots"},
        {"[2,5, 3]", "more than one comma"},
        {"1..x", "\"x\" is no number"},
        {"<", "a number or the name of a column must follow"},
        {"<0,5", "a decimal comma; write 0.5, or give --decimal comma"},
        {"<0.5 mg", "the word \"mg\" follows a number"},
        {"<x", "the cell refers to its own column"},
        {">inf", "no number is beyond infinity"},
        {"<5; 7", "write several conditions as >1; <other"},
        {"inf", "no number"},
        {"NaN", "no number"},
        {"0x10", "no number"},
        {"1d3", "no number"},
        {"abc", "no number; correct it, or give --na if it means missing, or --carry 'x'"},
        {"ND", "not detected, but below which limit? --nd 'x=LIMIT' tells"},
    };
    for (const auto &row : rows) {
        const std::string error = error_of([&] { (void)table_of(with_cell(row.cell)); });
        const std::string place = std::string("t.csv: line 3 (row 2), column \"x\", \"") + row.cell + "\": ";
        EXPECT_TRUE(error.starts_with(place)) << error;
        EXPECT_NE(error.find(row.message), std::string::npos) << row.cell << " gives: " << error;
    }
}

TEST(ReadTable, TheTextOfAFile) {
    const struct {
        const char *name;
        std::string bytes;
        const char *words;  // of the table, or the error
    } rows[] = {
        {"byte order mark", "\xEF\xBB\xBFx,y\n1,2\n", "x=1 y=2"},
        {"quoted behind a byte order mark", "\xEF\xBB\xBF\"x\",y\n1,2\n", "x=1 y=2"},
        {"CRLF", "x,y\r\n1,2\r\n3,\r\n", "x=1 y=2; x=3 y=missing"},
        {"CR", "x,y\r1,2\r3,4", "x=1 y=2; x=3 y=4"},
        {"no last line end", "x,y\n1,2\n3,", "x=1 y=2; x=3 y=missing"},
        {"blank lines", "\nx,y\n\n1,2\n\n\n3,4\n\n", "x=1 y=2; x=3 y=4"},
        {"semicolon", "x;y\n1;<2\n", "x=1 y=<2"},
        {"TAB", "x\ty\n1\t[2, 3]\n", "x=1 y=>2 <3"},
        {"bar", "x|y\n1|2\n", "x=1 y=2"},
        {"quoted commas in the header", "\"a,b,c\";y\n1;2\n", "a,b,c=1 y=2"},
        {"one column", "x\n1\n<2\n", "x=1; x=<2"},
        {"empty", "", "t.csv: the file is empty"},
        {"only line ends", "\n\r\n", "t.csv: the file is empty"},
        {"no row", "x,y\n", "t.csv: there is no row below the header"},
        {"no header", "1,2\n3,4\n",
         "t.csv: line 1: the first line must hold the names of the columns, and here are none"},
        {"UTF-16", std::string("\xFF\xFEx\0", 4), "t.csv: this is UTF-16 text; save it as UTF-8"},
        {"Latin 1", "x,y\n1,2\n1,\xE9\n", "t.csv: line 3: byte 0xE9 is no UTF-8; save the file as UTF-8"},
        {"zero byte", std::string("x,y\n1,\0\n", 8), "t.csv: line 2: a zero byte: this is no text file"},
        {"name twice", "x,y,x\n1,2,3\n",
         "t.csv: line 1, column \"x\": this name stands twice in the header; rename one"},
        {"no numbers", "x,y\na,b\n", "t.csv: no column holds a number"},
        {"open quote", "x,y\n1,2\n\"3,4\n5,6\n", "t.csv: line 3: a quote that opens here or below is never closed"},
        {"stray quote", "x,y\n1,2\n5\" pipe,4\n",
         "t.csv: line 3: a quote within a cell; put the whole cell between double quotes and write the quote itself "
         "twice"},
        {"ragged", "x,y,t\n1,2,\"a\nb\"\n3,4\n5,6,7,8\n",
         "t.csv: 2 problems:\n"
         "  line 4: 2 cells, and the header has 3 (separator \",\"); a cell that holds the separator must stand "
         "between "
         "double quotes\n"
         "  line 5: 4 cells, and the header has 3 (separator \",\"); a cell that holds the separator must stand "
         "between "
         "double quotes"},
    };
    for (const auto &row : rows) {
        std::string words;
        const std::string error = error_of([&] { words = table_in_words(table_of(row.bytes)); });
        EXPECT_EQ(words.empty() ? error : words, row.words) << row.name;
    }
}

TEST(ReadTable, PairsRemarksAndNotDetected) {
    const auto with = [](auto &&change) {
        ReadOptions options;
        change(options);
        return options;
    };
    const ReadOptions plain;
    const ReadOptions remarks = with([](ReadOptions &o) { o.remarks = {{"x", "r"}}; });
    const ReadOptions codes = with([](ReadOptions &o) {
        o.remarks = {{"x", "r"}};
        o.remark_below = {"1"};
        o.remark_above = {"2"};
        o.remark_observed = {"0"};
    });
    const ReadOptions laboratory = with([](ReadOptions &o) {
        o.remarks = {{"x", "r"}};
        o.remark_below = {"U", "UJ"};
        o.remark_observed = {"J"};
        o.remarks_in_cells = true;
        o.units = {"mg/L"};
    });
    const ReadOptions limits = with([](ReadOptions &o) { o.limits = {{"x", 0.5}}; });
    const struct {
        const char *name;
        ReadOptions options;
        std::string bytes;
        const char *words;  // of the table, or part of the error
    } rows[] = {
        {"pairs", plain, "x_lo,y,x_hi\n1,0,2\n3,0,3.0\n,0,4\n5,0,inf\n-Inf,0,\n",
         "y=0 x=>1 <2; y=0 x=3; y=0 x=<4; y=0 x=>5; "
         "y=0 x=missing"},
        {"pair of limits the wrong way", plain, "x_lo,x_hi\n1,2\n4,3\n",
         "line 3 (row 2), column \"x\", \"4 .. 3\": the lower "
         "limit is above the upper one"},
        {"pair with a word", plain, "x_lo,x_hi\n1,2\n4,<9\n", "\"<9\" is no limit"},
        {"pair beside its own name", plain, "x,x_lo,x_hi\n1,2,3\n", "x=1 x_lo=2 x_hi=3"},
        {"reference to a pair, and to one of its columns", plain, "x_lo,x_hi,y\n1,2,<x\n3,3,>x_lo\n,,1\n",
         "x=>1 <2 y=<x; x=3 y=>3; x=missing y=1"},
        {"pairs switched off", with([](ReadOptions &o) { o.pairs = false; }), "x_lo,x_hi\n1,2\n", "x_lo=1 x_hi=2"},
        {"pair named as columns", with([](ReadOptions &o) { o.columns = {{"x_hi"}}; }), "x_lo,x_hi\n1,2\n", "x_hi=2"},
        {"remarks", remarks, "x,r\n1,<\n2,>\n3,\n,\n4,≤\n", "x=<1; x=>2; x=3; x=missing; x=<4"},
        {"remark codes", codes, "x,r\n1,1\n2,2\n3,0\n", "x=<1; x=>2; x=3"},
        {"unknown remark", codes, "x,r\n1,1\n2,<\n", "the remark \"<\" in column \"r\" is none of 1 (below)"},
        {"several codes, behind numbers too", laboratory, "x,r\n1,U\n2,UJ\n3,J\n4 U,\n5UJ,\n6 J,\n",
         "x=<1; x=<2; x=3; x=<4; x=<5; x=6"},
        {"units", laboratory, "x,r\n0.5 mg/L,\n<0.5 mg/L,U\n", "a remark and a bound in one cell"},
        {"units behind bounds", laboratory, "x,r\n0.5mg/L,\n<0.5 mg/L,\n1..2 mg/L,\n", "x=0.5; x=<0.5; x=>1 <2"},
        {"a unit that is not declared", plain, "x\n1\n<0.5 mg/L\n", "--unit 'mg/L' reads past it"},
        {"not detected below a number", plain, "x\nND<0.5\nND < 2\n3\n", "x=<0.5; x=<2; x=3"},
        {"limits by their names", limits, "x\n<LOD\nBDL\n3\n", "x=<0.5; x=<0.5; x=3"},
        {"a column that is a limit", plain, "x,LOD\n<LOD,2\n3,2\n", "x=<LOD LOD=2; x=3 LOD=2"},
        {"a code that is a number is none behind a number", codes, "x,r\n1.51,0\n0.21,1\n", "x=1.51; x=<0.21"},
        {"remark without a number", remarks, "x,r\n1,\n,<\n", "there is no number"},
        {"remark on a bound", remarks, "x,r\n1,\n<2,<\n", "a remark and a bound in one cell"},
        {"not detected", limits, "x,y\nND,1\n3,2\n", "x=<0.5 y=1; x=3 y=2"},
        {"other word for it", with([](ReadOptions &o) {
             o.limits = {{"x", 2}};
             o.nondetect = {"n.d."};
         }),
         "x\nn.d.\n3\n", "x=<2; x=3"},
        {"a number for it", with([](ReadOptions &o) {
             o.limits = {{"x", 0}};
             o.nondetect = {"0"};
         }),
         "x,y\n0,0\n3,1\n", "x=<0 y=0; x=3 y=1"},
        {"other missing words", with([](ReadOptions &o) {
             o.missing = {"-99", "?"};
         }),
         "x,y\n-99,?\n,1\n2,2\n", "x=missing y=missing; x=missing y=1; x=2 y=2"},
        {"reference to a column outside the model", with([](ReadOptions &o) { o.carry = {"lod"}; }),
         "x,lod\n<lod,0.5\n3,1\n", "x=<0.5; x=3"},
        {"reference to a cell outside the model without a number", with([](ReadOptions &o) { o.carry = {"lod"}; }),
         "x,lod\n<lod,low\n3,1\n", "column \"lod\" is not in the model, and its cell \"low\" is no number"},
        {"no such column", with([](ReadOptions &o) { o.by = "site"; }), "x,y\n1,2\n",
         "--by: t.csv has no column \"site\"; its columns are x, y"},
        {"option on a carried column", with([](ReadOptions &o) {
             o.limits = {{"t", 1}};
             o.carry = {"t"};
         }),
         "x,t\n1,2\n", "--nd: column \"t\" is carried along by another option"},
        {"columns without a number", with([](ReadOptions &o) {
             o.columns = {{"x", "t"}};
         }),
         "x,t\n1,a\n", "column \"t\": the column holds no number; leave it out of --columns"},
        {"level missing", with([](ReadOptions &o) { o.by = "g"; }), "x,g\n1,a\n2,\n", "the row has no level"},
        {"id twice", with([](ReadOptions &o) { o.id = "i"; }), "x,i\n1,a\n2,a\n", "line 2 has the same id"},
    };
    for (const auto &row : rows) {
        std::string words;
        const std::string error = error_of([&] { words = table_in_words(table_of(row.bytes, row.options)); });
        if (words.empty()) {
            EXPECT_NE(error.find(row.words), std::string::npos) << row.name << ": " << error;
        } else {
            EXPECT_EQ(words, row.words) << row.name;
        }
    }
}

TEST(ReadTable, LevelsAndColumnsOfTheOutput) {
    ReadOptions options;
    options.by = "g";
    const Table table = table_of("g,x_hi,t,x_lo,y\nb,2,u,1,5\na,3,v,,6\nb,,w,1,7\n", options);
    EXPECT_EQ(table.levels, (std::vector<std::string>{"b", "a"}));
    EXPECT_EQ(table.level_of_row, (std::vector<std::int32_t>{0, 1, 0}));
    std::string order;
    for (const OutputColumn &column : table.output) {
        order += column.file_column >= 0 ? table.file.names[static_cast<std::size_t>(column.file_column)]
                                         : "[" + table.columns[static_cast<std::size_t>(column.column)].name + "]";
        order += ' ';
    }
    EXPECT_EQ(order, "g x_hi t x_lo [x] [y] ");
}

TEST(ReadTable, ReportsTheFirstFiftyProblemsOfAllColumnsByLine) {
    std::string bytes = "x,y\n";
    for (int i = 0; i < 40; ++i) bytes += "1,2\n\"0,5\",\"0,5\"\n";
    try {
        (void)table_of(bytes);
        FAIL();
    } catch (const DataError &error) {
        EXPECT_EQ(error.problem_count(), 80U);
        ASSERT_EQ(error.problems().size(), 50U);
        EXPECT_EQ(error.problems()[0].columns, std::vector<std::string>{"x"});
        EXPECT_EQ(error.problems()[49].line, 51);
        EXPECT_EQ(error.problems()[49].columns, std::vector<std::string>{"y"});
        EXPECT_EQ(std::string(error.what()).find("t.csv: 80 problems, of which these are the first 50:\n"), 0U);
    }
}

TEST(ReadTable, OneProblemForAColumnThatIsMostlyWords) {
    std::string bytes = "x,t\n1,2\n";
    for (int i = 0; i < 20; ++i) bytes += "1,word\n";
    EXPECT_EQ(
        error_of([&] { (void)table_of(bytes); }),
        "t.csv: line 3 (row 2), column \"t\", \"word\": 20 cells of this column hold words and 1 numbers, this is "
        "the first; give --na if the words mean missing, or --carry 't' if the column is not to be imputed");
}

// Files made of random cells, with quotes where they are needed and sometimes where they are not, line ends of all
// kinds and blank lines. Every cell must come back. The same files with a byte changed may be refused, with an error.
TEST(ReadTable, FindsEveryCellOfRandomFiles) {
    std::mt19937 random(4);
    const auto below = [&](std::size_t n) { return random() % n; };
    const std::vector<std::string> pieces = {"a", "1", ",", "\"", "\n", "\r\n", " ", "<", "é", "\t", ";"};
    const std::vector<std::string> line_ends = {"\n", "\r\n", "\r", "\n\n", "\r\n\n"};
    ReadOptions options;
    options.carry = {"a", "b"};
    options.separator = ',';
    int refused = 0;
    for (int trial = 0; trial < 3000; ++trial) {
        std::vector<std::string> cells;
        std::string bytes = "n,a,b" + line_ends[below(line_ends.size())];
        const std::size_t rows = 1 + below(4);
        for (std::size_t row = 0; row < rows; ++row) {
            bytes += "1";
            for (int c = 0; c < 2; ++c) {
                std::string cell;
                for (std::size_t length = below(5); length > 0; --length) cell += pieces[below(pieces.size())];
                std::string quoted = "\"";
                for (const char letter : cell) quoted += letter == '"' ? "\"\"" : std::string(1, letter);
                quoted += '"';
                const bool must_quote = cell.find_first_of(",\"\n\r") != std::string::npos;
                bytes += "," + (must_quote || below(3) == 0 ? quoted : cell);
                cells.push_back(cell);
            }
            if (row + 1 < rows || below(2) == 0) bytes += line_ends[below(line_ends.size())];
        }
        const Table table = table_of(bytes, options);
        ASSERT_EQ(table.row_count(), rows) << bytes;
        for (std::size_t i = 0; i < cells.size(); ++i) ASSERT_EQ(table.file.text(i / 2, 1 + i % 2), cells[i]) << bytes;

        bytes[below(bytes.size())] = pieces[below(pieces.size())][0];
        refused += error_of([&] { (void)table_of(bytes, options); }) != "no error";
    }
    EXPECT_GT(refused, 500);
    EXPECT_LT(refused, 2900);
}

TEST(ReadTable, Notices) {
    const struct {
        const char *bytes;
        const char *text;  // of the notices, warnings with "!"
    } rows[] = {
        {"x,y\n1,2\n", ""},
        {"x,t,u\n1,a,\n2,b,NA\n", "carried along unchanged, as there is no number in them: \"t\", \"u\"\n"},
        {"x_lo,x_hi\n1,2\n",
         "columns \"x_lo\" and \"x_hi\" are read as the limits of \"x\" (--limits none reads them as they are)\n"},
        {",x\na,1\n", "!column 1 has no name and is carried along unchanged\n"},
        {"i,x\n1,7\n2,5\n3,\n", "!column \"i\" only counts the rows; --id 'i' keeps it out of the model\n"},
        // Names reach neither the terminal nor a shell as more than a name.
        {"i';ls,x\n1,7\n2,5\n3,\n",
         "!column \"i';ls\" only counts the rows; --id 'i'\\'';ls' keeps it out of the model\n"},
        {"a\x1b[2J\u202e\u009b,x\nt,7\n",
         "carried along unchanged, as there is no number in it: \"a\uFFFD[2J\uFFFD\uFFFD\"\n"},
        // Twice as often as any neighbour, which lie 0.1 apart; with cells above alone there is no question.
        {"x,y\n0.5,1\n<0.7,0\n0.5,3\n0.5,2\n0.5,4\n0.6,1\n0.8,1\n0.9,1\n1.3,1\n",
         "!column \"x\" has cells below a limit, and its lowest value 0.5 stands there 4 times, more often than its "
         "neighbours: if that is a limit that was filled in, write <0.5 in these cells\n"},
        {"x,y\n0.5,1\n>0.7,0\n0.5,3\n0.5,2\n0.5,4\n0.6,1\n0.8,1\n0.9,1\n1.3,1\n", ""},
        // As often as a neighbour, and as often as chance makes it with neighbours 0.5 apart.
        {"x,y\n20,1\n<20,0\n20,3\n20,2\n20,4\n21,1\n23,1\n23,1\n23,1\n24,1\n", ""},
        {"x,y\n0.5,1\n<0.7,0\n0.5,3\n1,1\n1.5,2\n", ""},
        // Codes for missing, which also outdo the question about a limit; once, or not the lowest, is no code.
        {"x,y\n-999.0,1\n<7,0\n-999,3\n",
         "!column \"x\" has -999.0 as its lowest value, 2 times: if that means missing, --na 'NA,.,*,-999.0' says "
         "so\n"},
        {"x,y,z\n-99,-9999,1\n-100,-9999,-999\n-99,-9999.5,2\n3,-999,1\n", ""},
        {"x,q,r\n7,<,<\n2,NA,a\n3,≥,\n",
         "!column \"q\" holds nothing but signs such as < and >: if they belong to the values of another column, "
         "--remark 'COLUMN=q' reads these as bounds; now they count as measured\n"
         "carried along unchanged, as there is no number in them: \"q\", \"r\"\n"},
    };
    for (const auto &row : rows) {
        Notices notices;
        (void)read_table({"t.csv", row.bytes}, {}, notices);
        std::string text;
        for (const Notice &notice : notices) text += (notice.is_warning ? "!" : "") + notice.text + "\n";
        EXPECT_EQ(text, row.text) << row.bytes;
    }
}

}  // namespace
}  // namespace ullage::host
