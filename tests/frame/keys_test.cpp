// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Key definitions: the limits of a group's dictionary and of its names.

#include "support/engine_test.h"

namespace {

TEST(Keys, TheDictionaryTakesOneLessThanItsCapacity) {
    LoadedEngine engine;
    EXPECT_EQ(create_group(1, 1), 0);
    EXPECT_EQ(DS_KeyVariableDef(0, u"a"), 1);
    EXPECT_EQ(create_group(1, 3), 0);
    EXPECT_EQ(DS_KeyVariableDef(0, u"a"), 0);
    EXPECT_EQ(DS_KeyVariableDef(0, u"a"), 0) << "a second definition of a name is another entry";
    EXPECT_EQ(DS_KeyVariableDef(0, u"a"), 1);
    EXPECT_EQ(engine.error_log(), "Too many items for dictionary.Too many items for dictionary.");
}

TEST(Keys, SlotsOutsideTheGroupAreRefusedWithoutAMessage) {
    LoadedEngine engine;
    EXPECT_EQ(create_group(3, 2), 0);
    for (const std::int32_t slot : {-1, 3, INT32_MIN, INT32_MAX}) EXPECT_EQ(DS_KeyVariableDef(slot, u"a"), 1);
    EXPECT_EQ(DS_KeyVariableDef(2, u"a"), 0) << "the refused ones have taken no entry";
    EXPECT_EQ(DS_KeySelect(INT32_MIN, 12345), 0);
    EXPECT_EQ(DS_KeyEnd(), 0) << "before a load every slot is unused";
    EXPECT_EQ(engine.error_log(),
              "Unused variable definition 0.\nUnused variable definition 1.\nUnused variable definition 2.\n");
}

// A definition of so many units, its terminator included.
std::int32_t define(std::size_t units) {
    return DS_KeyVariableDef(0, std::u16string(units - 1, u'n').c_str());
}

TEST(Keys, NamesFillTwentyThousandUnitsAndNotOneMore) {
    LoadedEngine engine;
    EXPECT_EQ(create_group(1, 100), 0);
    EXPECT_EQ(define(20001), 1);
    EXPECT_EQ(define(15000), 0);
    EXPECT_EQ(define(5001), 1);
    EXPECT_EQ(DS_KeyWeight(std::u16string(5000, u'w').c_str()), 1);
    EXPECT_EQ(define(5000), 0) << "the refused ones have taken nothing";
    EXPECT_EQ(DS_KeyVariableDef(0, nullptr), 1) << "not even an empty name fits now";
    EXPECT_EQ(engine.error_log(), "") << "full names are refused silently";
}

TEST(Keys, AFullDictionaryStillTakesTheName) {
    LoadedEngine engine;
    EXPECT_EQ(create_group(1, 1), 0);
    EXPECT_EQ(define(19999), 1);
    EXPECT_EQ(DS_KeyWeight(u"w"), 1) << "the refused definition's name has its place";
    EXPECT_EQ(DS_KeyWeight(u""), 0);
    EXPECT_EQ(define(1), 1);
    EXPECT_EQ(engine.error_log(), "Too many items for dictionary.") << "full names are found before a full dictionary";
}

TEST(Keys, ManyEmptyNamesStopAtTheLimitOfStrings) {
    LoadedEngine engine;
    EXPECT_EQ(create_group(1, 30000), 0);
    int taken = 0;
    while (define(1) == 0) ++taken;
    EXPECT_EQ(taken, 20000);
}

}  // namespace
