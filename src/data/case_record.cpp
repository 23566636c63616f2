// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The evaluation of the inequalities on a cell.

#include "data/case_record.h"

BoundNode MissingMarker{};
const double UnitValue = 1.0;

CellState cell_bounds(std::int32_t cell, double &lower, double &upper) {
    const CellState head = state.current_states[cell];
    if (head == nullptr) {
        lower = upper = state.current_values[cell];
    } else {
        interval_between_bounds(head, lower, upper);
    }
    return head;
}
