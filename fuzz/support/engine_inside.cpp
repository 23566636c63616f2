// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// What the harnesses see of the engine beside its exports.

#include "support/engine_inside.h"

#include <cstddef>

#include "data/case_record.h"
#include "frame/session_state.h"
#include "platform/library_hooks.h"

void load_engine() {
    // A reference of the harness's own: building the generator's tables is most of the work of a load.
    static const bool tables_are_kept = (acquire_tables(), true);
    (void)tables_are_kept;
    state = SessionState{};
    library_load();
}

void unload_engine() {
    library_unload();
}

bool has_open_mark() {
    return state.WorkPool.top_mark != nullptr || state.DataPool.top_mark != nullptr;
}

CellInterval cell_interval(std::int32_t case_index, std::int32_t variable_index) {
    state.current_record = state.group_current->case_index[static_cast<std::size_t>(case_index)];
    state.current_values = state.current_record->values;
    state.current_states = state.current_record->states;
    CellInterval interval;
    (void)cell_bounds(variable_index, interval.lower, interval.upper);
    return interval;
}

void set_cell_value(std::int32_t case_index, std::int32_t variable_index, double value) {
    state.group_current->case_index[static_cast<std::size_t>(case_index)]->values[variable_index] = value;
}
