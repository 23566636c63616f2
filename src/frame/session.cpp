// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// Load and unload of the library, the session, the list of groups and the switches.

#include <algorithm>
#include <string_view>

#include "frame/group.h"
#include "frame/log.h"
#include "frame/session_state.h"
#include "frame/workspace.h"
#include "platform/library_hooks.h"

SessionState state;

namespace {

void open_log(TextStream *&log, const char16_t *path) {
    if (log == nullptr) log = text_stream_open(path == nullptr ? u"" : path);
}

void close_log(TextStream *&log) {
    if (log != nullptr) text_stream_close(log);
    log = nullptr;
}

}  // namespace

void library_load() {
    pool_construct(state.DataPool);
    pool_construct(state.WorkPool);
    state.gibbs_sweep_count = 20;
    generator_construct(state.generator);
    state.ErrorLog = nullptr;
    state.TraceLog = nullptr;
    state.prepared_order = -1;
}

void library_unload() {
    close_log(state.TraceLog);
    close_log(state.ErrorLog);
    generator_destroy(state.generator);
    destroy_groups();
    workspace_free();
    pool_destroy(state.WorkPool);
    pool_destroy(state.DataPool);
}

Group *enter_group(std::int32_t group_number) {
    return DS_GoToGroup(group_number) == 0 ? state.group_current : nullptr;
}

void destroy_groups() {
    while (state.last_created != nullptr) {
        Group *group = state.last_created;
        state.last_created = group->created_before;
        delete group;
    }
    state.group_head = nullptr;
    state.group_current = nullptr;
}

int32_t DS_GibbsOpen(const char16_t *trace_log_path, const char16_t *error_log_path) {
    state.group_current = nullptr;
    state.group_head = nullptr;
    workspace_allocate(1);
    open_log(state.TraceLog, trace_log_path);
    open_log(state.ErrorLog, error_log_path);
    state.session_is_open = true;
    return 0;
}

int32_t DS_GibbsClose() {
    destroy_groups();
    workspace_free();
    state.session_is_open = false;
    return 0;
}

int32_t DS_CreateGroup(int32_t, int32_t *group_count, int32_t key_count, int32_t dictionary_capacity, int32_t) {
    if (!state.session_is_open || group_count == nullptr || key_count < 1 || dictionary_capacity < 0) return 1;
    try {
        Group *group = group_construct(state.group_current, key_count, dictionary_capacity);
        group->created_before = state.last_created;
        state.last_created = group;
        state.group_current = group;
        if (state.group_head == nullptr) state.group_head = group;
        if (group->construction_failed) return 1;
    } catch (const char16_t *text) {
        show_notice(u"Could not create a group", text);
        return 1;
    }
    *group_count = 1;
    for (const Group *group = state.group_head; group->next != nullptr; group = group->next) ++*group_count;
    return 0;
}

int32_t DS_GoToGroup(int32_t group_number) {
    if (group_number == 0 || state.mixture_mode != 0) return 0;
    state.group_current = state.group_head;
    for (int32_t i = 1; i < group_number && state.group_current != nullptr; ++i) {
        state.group_current = state.group_current->next;
    }
    return state.group_current == nullptr ? 1 : 0;
}

int32_t DS_GetErrorMessageW(char16_t *buffer, int32_t capacity) {
    if (buffer == nullptr || capacity < 1) return 1;
    const std::u16string_view text = state.LastErrorText;
    if (text.size() >= static_cast<std::size_t>(capacity)) {
        buffer[0] = 0;
        return 1;
    }
    *std::copy(text.begin(), text.end(), buffer) = 0;
    return 0;
}

void DS_SetMixtureModeling(int32_t flag) {
    state.mixture_mode = flag;
}

int32_t DS_ForceMC() {
    state.force_level = std::max(state.force_level, 1);
    return 0;
}

int32_t DS_ForceGibbs() {
    state.force_level = std::max(state.force_level, 2);
    return 0;
}

int32_t DS_AllowRankOrder() {
    state.allow_rank_order = 1;
    return 0;
}

void DS_SetTest(int32_t value) {
    state.test_value = value;
}

int32_t DS_GetTest() {
    return state.test_value;
}
