// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The list of groups, the moves through it, and the session around it.

#include "support/engine_test.h"

namespace {

// Groups are told apart by how many definitions they still take.
std::int32_t count_after_create(std::int32_t dictionary_capacity = 4) {
    std::int32_t count = -7;
    EXPECT_EQ(DS_CreateGroup(99, &count, 1, dictionary_capacity, -99), 0);
    return count;
}

// How many definitions the current group still takes.
int definitions_left() {
    int left = 0;
    while (DS_KeyVariableDef(0, u"v") == 0) ++left;
    return left;
}

TEST(Groups, AreCountedAndReachedInOrderOfCreation) {
    LoadedEngine engine;
    EXPECT_EQ(count_after_create(2), 1);
    EXPECT_EQ(count_after_create(3), 2);
    EXPECT_EQ(count_after_create(4), 3);
    EXPECT_EQ(DS_GoToGroup(0), 0);
    EXPECT_EQ(definitions_left(), 3) << "group 0 is the current one";
    EXPECT_EQ(DS_GoToGroup(4), 1);
    EXPECT_EQ(DS_KeyVariableDef(0, u"v"), 1) << "after a failed move there is no current group";
    EXPECT_EQ(DS_GoToGroup(0), 0) << "also without a current group";
    EXPECT_EQ(DS_GoToGroup(2), 0);
    EXPECT_EQ(definitions_left(), 2);
    EXPECT_EQ(DS_GoToGroup(-5), 0);
    EXPECT_EQ(definitions_left(), 1) << "a negative number is the first group";
}

TEST(Groups, ACreationInTheMiddleDropsWhatFollowed) {
    LoadedEngine engine;
    for (int i = 1; i <= 3; ++i) EXPECT_EQ(count_after_create(), i);
    EXPECT_EQ(DS_GoToGroup(1), 0);
    EXPECT_EQ(count_after_create(7), 2);
    EXPECT_EQ(definitions_left(), 6);
    EXPECT_EQ(DS_GoToGroup(3), 1);
    EXPECT_EQ(DS_GoToGroup(2), 0);
}

TEST(Groups, ACreationWithoutACurrentGroupIsLinkedNowhere) {
    LoadedEngine engine;
    EXPECT_EQ(count_after_create(), 1);
    EXPECT_EQ(DS_GoToGroup(9), 1);
    EXPECT_EQ(count_after_create(6), 1);
    EXPECT_EQ(definitions_left(), 5);
    EXPECT_EQ(DS_GoToGroup(2), 1);
    EXPECT_EQ(DS_GoToGroup(1), 0);
    EXPECT_EQ(definitions_left(), 3);
}

TEST(Groups, CreationRefusesWhatItCannotBuild) {
    struct Row {
        std::int32_t key_count;
        std::int32_t capacity;
    };
    LoadedEngine engine;
    std::int32_t count = 77;
    for (const Row &row : {Row{0, 4}, Row{-1, 4}, Row{1, -1}, Row{INT32_MIN, INT32_MIN}}) {
        EXPECT_EQ(DS_CreateGroup(0, &count, row.key_count, row.capacity, 0), 1);
        EXPECT_EQ(count, 77);
        EXPECT_EQ(DS_GoToGroup(1), 1) << "no group was made";
    }
    EXPECT_EQ(DS_CreateGroup(0, nullptr, 1, 4, 0), 1);
    EXPECT_EQ(DS_GoToGroup(1), 1);
    // Capacity 0 makes a group that stays and is current.
    EXPECT_EQ(DS_CreateGroup(0, &count, 1, 0, 0), 1);
    EXPECT_EQ(count, 77);
    EXPECT_EQ(DS_GoToGroup(1), 0);
    EXPECT_EQ(DS_KeyVariableDef(0, u"v"), 1);
    EXPECT_EQ(DS_KeyWeight(u"w"), 0);
    EXPECT_EQ(engine.error_log(), "Too many items for dictionary.Too many items for dictionary.");
}

TEST(Groups, MixtureModeMovesNothing) {
    LoadedEngine engine;
    DS_SetMixtureModeling(-3);
    EXPECT_EQ(DS_GoToGroup(5), 0) << "also when no group exists";
    EXPECT_EQ(count_after_create(2), 1);
    EXPECT_EQ(count_after_create(5), 2);
    EXPECT_EQ(DS_GoToGroup(1), 0);
    EXPECT_EQ(definitions_left(), 4) << "the last group stays current";
    DS_SetMixtureModeling(0);
    EXPECT_EQ(DS_GoToGroup(1), 0);
    EXPECT_EQ(definitions_left(), 1);
}

TEST(Session, TheLogsOfTheFirstSessionServeAllAndEndAtTheUnload) {
    TempFolder folder;
    LoadedEngine engine;
    EXPECT_EQ(create_group(1, 1), 0);
    EXPECT_EQ(DS_KeyVariableDef(0, u"v"), 1);
    DS_GibbsClose();
    DS_GibbsOpen(folder.wide_path("trace").c_str(), folder.wide_path("error").c_str());
    EXPECT_EQ(create_group(1, 1), 0);
    EXPECT_EQ(DS_KeyVariableDef(0, u"v"), 1);
    EXPECT_EQ(engine.error_log(), "Too many items for dictionary.Too many items for dictionary.");
    EXPECT_FALSE(folder.holds("trace"));
    EXPECT_FALSE(folder.holds("error"));
}

TEST(Session, ALogThatCannotBeOpenedSwallowsItsLinesAndIsTriedAgain) {
    TempFolder folder;
    library_load();
    const std::u16string nowhere = folder.wide_path("no") + u"/where";
    EXPECT_EQ(DS_GibbsOpen(nowhere.c_str(), nullptr), 0);
    EXPECT_EQ(create_group(1, 1), 0);
    EXPECT_EQ(DS_KeyVariableDef(0, u"lost"), 1);
    const std::u16string endless = nowhere + std::u16string(100000, u'x');
    EXPECT_EQ(DS_GibbsOpen(endless.c_str(), folder.wide_path("error").c_str()), 0) << "without a close before it";
    EXPECT_EQ(DS_GoToGroup(1), 1) << "the old list is out of reach";
    EXPECT_EQ(create_group(1, 1), 0);
    EXPECT_EQ(DS_KeyVariableDef(0, u"kept"), 1);
    library_unload();
    state = SessionState{};
    EXPECT_EQ(folder.text("error"), "Too many items for dictionary.");
}

}  // namespace
