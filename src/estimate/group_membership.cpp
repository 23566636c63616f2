// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// DS_ImputeGroupMembership: the groups of the cases that the data leave free.

#include <cstddef>

#include "data/case_record.h"
#include "frame/session_state.h"

int32_t DS_ImputeGroupMembership(const int32_t *ids) {
    const Group *group = state.group_current;
    if (group == nullptr || !is_loaded(*group) || ids == nullptr) return 1;
    for (std::int32_t i = 0; i < group->case_count; ++i) {
        CaseRecord &record = *group->case_index[static_cast<std::size_t>(i)];
        if (record.fixed_group_id == 0) record.current_group_id = ids[i];
    }
    return 0;
}
