// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// DS_KeyGroupDef: the load of the current group.

#include <cstddef>
#include <string_view>

#include "data/data_text_reader.h"
#include "data/load.h"
#include "frame/log.h"
#include "frame/session_state.h"
#include "frame/workspace.h"

namespace {

void log_group_summary(const Group &group) {
    log_printf(state.TraceLog, u"Group 1 (%s)\n", {group.group_name});
    for (std::int32_t i = 0; i < group.variable_count; ++i) {
        log_printf(state.TraceLog, u"%s\n", {group.variables[static_cast<std::size_t>(i)].name});
    }
}

int KeyFinishUp(Group &group, DataTextReader &reader, bool mixture_mode) {
    workspace_grow(group.variable_count);
    if (load_group_cases(group, reader, mixture_mode) != 0) {
        record_last_error(u"An error occurred during KeyFinishUp");
        return 1;
    }
    log_group_summary(group);
    return 0;
}

// Whether the names line holds as many names as the header announces.
bool has_all_names(const DataTextReader &reader, bool mixture_mode) {
    return reader.variable_count >= 0 &&
           reader.name_count >= static_cast<std::size_t>(reader.variable_count) + (mixture_mode ? 1 : 0);
}

}  // namespace

int32_t DS_KeyGroupDef(const char16_t *group_name, const char16_t *data_text) {
    Group *group = state.group_current;
    if (group == nullptr || group->definition_tried) return 1;
    const std::u16string_view name = group_name == nullptr ? u"" : group_name;
    const std::u16string_view label = kLoadLabel;
    group->definition_tried = true;
    if (!string_pool_has_room(group->strings, name.size() + label.size() + 2, 2)) return 1;
    group->group_name = string_pool_add(group->strings, name);
    (void)string_pool_add(group->strings, label);  // takes its room among the names, and is read by nobody

    const bool mixture_mode = state.mixture_mode != 0;
    DataTextReader reader;
    if (reader_open(reader, data_text == nullptr ? u"" : data_text) != 0) return 1;
    if (!has_all_names(reader, mixture_mode)) return 1;
    if (read_variable_table(*group, reader, mixture_mode) != 0) return 1;
    return KeyFinishUp(*group, reader, mixture_mode);
}
