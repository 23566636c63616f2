// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The key calls: which variables the host expects in the current group, and which of them were not found.

#include <string_view>

#include "frame/group.h"
#include "frame/log.h"
#include "frame/session_state.h"

namespace {

// A copy of the name among the group's names; null if they are full.
const char16_t *keep_name(StringPool &strings, const char16_t *name) {
    const std::u16string_view text = name == nullptr ? u"" : name;
    return string_pool_has_room(strings, text.size() + 1, 1) ? string_pool_add(strings, text) : nullptr;
}

}  // namespace

int32_t DS_KeyVariableDef(int32_t key_index, const char16_t *name) {
    Group *group = state.group_current;
    if (group == nullptr || key_index < 0 || key_index >= group->key_count) return 1;
    const char16_t *kept = keep_name(group->strings, name);
    if (kept == nullptr) return 1;
    return dictionary_add(*group->dictionary, kept, &group->key_flags[static_cast<std::size_t>(key_index)]);
}

int32_t DS_KeySelect(int32_t, int32_t) {
    return 0;
}

int32_t DS_KeyWeight(const char16_t *name) {
    if (state.group_current == nullptr) return 1;
    const char16_t *kept = keep_name(state.group_current->strings, name);
    if (kept == nullptr) return 1;
    state.weight_variable = kept;
    return 0;
}

int32_t DS_KeyEnd() {
    const Group *group = state.group_current;
    if (group == nullptr) return 1;
    for (std::int32_t slot = 0; slot < group->key_count; ++slot) {
        if (group->key_flags[static_cast<std::size_t>(slot)] == 0) {
            log_printf(state.ErrorLog, u"Unused variable definition %d.\n", {slot});
        }
    }
    return 0;
}
