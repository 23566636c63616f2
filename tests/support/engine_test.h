// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// An engine that is loaded anew for a test, with a session and two logs. For programs that link the engine's folders.

#ifndef ULLAGE_TESTS_SUPPORT_ENGINE_TEST_H
#define ULLAGE_TESTS_SUPPORT_ENGINE_TEST_H

#include <gtest/gtest.h>

#include <string>

#include "frame/session_state.h"
#include "platform/library_hooks.h"
#include "support/temp_folder.h"
#include "support/utf16.h"

// A loaded engine with an open session. What the logs hold can be read once the engine is unloaded.
class LoadedEngine {
public:
    LoadedEngine() {
        library_load();
        DS_GibbsOpen(folder_.wide_path("trace").c_str(), folder_.wide_path("error").c_str());
    }
    LoadedEngine(const LoadedEngine &) = delete;
    LoadedEngine &operator=(const LoadedEngine &) = delete;
    ~LoadedEngine() { unload(); }

    void unload() {
        if (!loaded_) return;
        EXPECT_EQ(state.WorkPool.top_mark, nullptr) << "a mark was left open";
        library_unload();
        state = SessionState{};  // as the loader would give it to the next process
        loaded_ = false;
    }

    std::string error_log() {
        unload();
        return folder_.text("error");
    }
    std::string trace_log() {
        unload();
        return folder_.text("trace");
    }

private:
    TempFolder folder_;
    bool loaded_ = true;
};

inline std::string last_error() {
    char16_t text[500];
    EXPECT_EQ(DS_GetErrorMessageW(text, 500), 0);
    return narrow(text);
}

inline std::int32_t create_group(std::int32_t key_count = 1, std::int32_t dictionary_capacity = 8) {
    std::int32_t number;
    return DS_CreateGroup(0, &number, key_count, dictionary_capacity, 0);
}

inline std::int32_t load(const std::u16string &text, const char16_t *name = u"g") {
    return DS_KeyGroupDef(name, text.c_str());
}

inline std::int32_t create_and_load(const std::u16string &text) {
    return create_group() != 0 ? 1 : load(text);
}

#endif
