// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// What a load has to do with the frame: key slots, names, and the last error.

#include "support/engine_test.h"

namespace {

TEST(Keys, ALoadMarksTheSlotsOfItsVariables) {
    struct Row {
        const char *what;
        std::vector<std::pair<std::int32_t, const char16_t *>> definitions;
        const char *unused;
    };
    const Row rows[] = {
        {"no definition: all variables are those of slot 0", {}, "1,2,"},
        {"every variable defined elsewhere", {{1, u"x"}, {2, u"y"}}, "0,"},
        {"A to Z are a to z, other letters are not", {{1, u"X"}, {2, u"\u00C4y"}}, "2,"},
        {"two names in one slot", {{2, u"x"}, {2, u"y"}}, "0,1,"},
        {"the first of two definitions counts", {{2, u"x"}, {1, u"x"}, {2, u"y"}}, "0,1,"},
        {"a part of a name is another name", {{1, u"xx"}, {2, u""}}, "1,2,"},
        {"the name of slot 0 itself", {{1, u"\\DEFAULT"}}, "1,2,"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.what);
        LoadedEngine engine;
        EXPECT_EQ(create_group(3, 8), 0);
        for (const auto &[slot, name] : row.definitions) EXPECT_EQ(DS_KeyVariableDef(slot, name), 0);
        EXPECT_EQ(load(u"0\t2\nx\ty\n"), 0);
        EXPECT_EQ(DS_KeyEnd(), 0);
        std::string expected = "1 [x]\n2 [y]\n";
        for (const char *slot = row.unused; *slot != 0; slot += 2) {
            expected += std::string("Unused variable definition ") + *slot + ".\n";
        }
        EXPECT_EQ(engine.error_log(), expected);
    }
}

TEST(Keys, FullNamesRefuseTheGroupsOwn) {
    for (const bool fits : {false, true}) {
        LoadedEngine engine;
        EXPECT_EQ(create_group(1, 100), 0);
        const std::size_t label_units = 8;
        const std::u16string definition(20000 - 1 - label_units - 2, u'n');
        EXPECT_EQ(DS_KeyVariableDef(0, definition.c_str()), 0);
        EXPECT_EQ(DS_KeyGroupDef(fits ? u"a" : u"ab", u"0\n1\nx\n"), fits ? 0 : 1);
        EXPECT_EQ(engine.error_log(), fits ? "1 [x]\n" : "") << "full names are refused silently";
    }
}

TEST(LastError, IsCopiedOnlyWhereItFits) {
    LoadedEngine engine;
    char16_t buffer[40];
    buffer[0] = u'?';
    EXPECT_EQ(DS_GetErrorMessageW(buffer, 1), 0);
    EXPECT_EQ(buffer[0], 0) << "empty before any failure";
    EXPECT_EQ(create_and_load(u"1\n1\nx\nabc\n"), 1);
    const std::u16string expected = u"An error occurred during KeyFinishUp";
    const auto length = static_cast<std::int32_t>(expected.size());
    buffer[0] = u'?';
    EXPECT_EQ(DS_GetErrorMessageW(buffer, length), 1);
    EXPECT_EQ(buffer[0], 0) << "one unit short: empty";
    EXPECT_EQ(DS_GetErrorMessageW(buffer, length + 1), 0);
    EXPECT_EQ(buffer, expected);
    for (const std::int32_t capacity : {0, -1, INT32_MIN}) EXPECT_EQ(DS_GetErrorMessageW(buffer, capacity), 1);
    EXPECT_EQ(buffer, expected) << "untouched";
    EXPECT_EQ(DS_GetErrorMessageW(nullptr, 40), 1);
    EXPECT_EQ(create_and_load(u"0\n1\nx\n"), 0);
    EXPECT_EQ(last_error(), "An error occurred during KeyFinishUp") << "a success clears nothing";
}

}  // namespace
