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
        return head;
    }
    lower = kOpenLow;
    upper = kOpenHigh;
    for (const BoundNode *node = head; node != nullptr; node = node->next) {
        if (node == &MissingMarker) continue;
        const double bound = node->constant * *node->operand;
        if (bound == kUndefined) continue;
        // A bound that is not a number holds neither comparison and so changes nothing.
        if (node->is_upper) {
            if (bound < upper) upper = bound;
        } else {
            if (bound > lower) lower = bound;
        }
    }
    return head;
}
