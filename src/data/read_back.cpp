// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The exports that give names, sizes, values and states back.

#include <algorithm>
#include <string_view>

#include "data/case_record.h"
#include "frame/session_state.h"

namespace {

// The name of a variable by its number; null if there is none.
const char16_t *variable_name(const Group *group, int32_t variable_number) {
    if (group == nullptr || variable_number < 1 || variable_number > group->variable_count) return nullptr;
    return group->variables[static_cast<std::size_t>(variable_number - 1)].name;
}

// A case by its number; null if there is none.
const CaseRecord *case_by_number(const Group *group, int32_t case_number) {
    if (group == nullptr || !is_loaded(*group) || case_number < 1 || case_number > group->case_count) return nullptr;
    return group->case_index[static_cast<std::size_t>(case_number - 1)];
}

bool has_variable(const Group &group, int32_t variable_number) {
    return variable_number >= 1 && variable_number <= group.variable_count;
}

}  // namespace

int32_t DS_NVariables(int32_t group_number, int32_t *variable_count) {
    const Group *group = enter_group(group_number);
    if (group == nullptr || variable_count == nullptr) return 1;
    *variable_count = group->variable_count;
    return 0;
}

int32_t DS_VariableNameLength(int32_t group_number, int32_t variable_number, int32_t *length) {
    const char16_t *name = variable_name(enter_group(group_number), variable_number);
    if (name == nullptr || length == nullptr) return 1;
    *length = static_cast<int32_t>(std::u16string_view(name).size());
    return 0;
}

int32_t DS_VariableNameW(int32_t group_number, int32_t variable_number, char16_t *name) {
    const char16_t *stored = variable_name(enter_group(group_number), variable_number);
    if (stored == nullptr || name == nullptr) return 1;
    const std::u16string_view text = stored;
    *std::copy(text.begin(), text.end(), name) = 0;
    return 0;
}

int32_t DS_GetGroupOneTotalSampleSize(int32_t *case_count) {
    const Group *group = enter_group(1);
    if (group == nullptr || case_count == nullptr) return 1;
    *case_count = group->case_count;
    return 0;
}

int32_t DS_GetSampleSize(int32_t group_number, int32_t *case_count) {
    const Group *group = enter_group(group_number);
    if (group == nullptr || case_count == nullptr) return 1;
    if (state.mixture_mode == 0) {
        *case_count = group->case_count;
        return 0;
    }
    if (!is_loaded(*group)) return 1;
    *case_count = 0;
    for (const CaseRecord *record = group->first_case; record != nullptr; record = record->next) {
        if (is_selected(*record, group_number)) ++*case_count;
    }
    return 0;
}

int32_t DS_DataScalar(int32_t group_number, int32_t case_number, int32_t variable_number, double *value) {
    const Group *group = enter_group(group_number);
    const CaseRecord *record = case_by_number(group, case_number);
    if (record == nullptr || !has_variable(*group, variable_number) || value == nullptr) return 1;
    *value = record->values[variable_number - 1];
    return 0;
}

int32_t DS_ConstraintTypeScalar(int32_t group_number, int32_t case_number, int32_t variable_number,
                                int32_t *constraint_type) {
    const Group *group = enter_group(group_number);
    const CaseRecord *record = case_by_number(group, case_number);
    if (record == nullptr || !has_variable(*group, variable_number) || constraint_type == nullptr) return 1;
    const CellState cell = record->states[variable_number - 1];
    *constraint_type = cell == nullptr ? 0 : cell == &MissingMarker ? 1 : 3;
    return 0;
}

int32_t DS_DataVector(int32_t group_number, int32_t case_number, double *values) {
    const Group *group = enter_group(group_number);
    const CaseRecord *record = case_by_number(group, case_number);
    if (record == nullptr || values == nullptr) return 1;
    std::copy_n(record->values, group->variable_count, values);
    return 0;
}

int32_t DS_DataMatrix(int32_t group_number, double *values) {
    const Group *group = enter_group(group_number);
    if (group == nullptr || !is_loaded(*group) || values == nullptr) return 1;
    for (const CaseRecord *record = group->first_case; record != nullptr; record = record->next) {
        values = std::copy_n(record->values, group->variable_count, values);
    }
    return 0;
}
