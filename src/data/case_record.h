// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// One case of a group, the states of its cells, and the inequalities on them.

#ifndef ULLAGE_DATA_CASE_RECORD_H
#define ULLAGE_DATA_CASE_RECORD_H

#include <cstddef>
#include <cstdint>

#include "frame/session_state.h"

// One inequality on one cell. The bound is constant times what operand points to at the moment of the evaluation.
struct BoundNode {
    bool is_upper;
    double constant;
    const double *operand;
    BoundNode *next;
};

// Null: observed. The address of MissingMarker: missing. Anything else: the head of the list of bounds, which ends in
// the state that the cell had before its first bound.
using CellState = BoundNode *;

extern BoundNode MissingMarker;  // only its address carries meaning
extern const double UnitValue;   // 1.0, the operand of a bound that is a number

struct CaseRecord {
    std::int32_t missing_count;
    std::int32_t bounded_count;
    std::int32_t fixed_group_id;    // the id that the data gave; 0 leaves the case free
    std::int32_t current_group_id;  // the id that filters compare with
    double *values;
    CellState *states;
    CaseRecord *next;
    std::int32_t pattern_index;  // of its pattern of unobserved cells among those of the group
};

// Whether a call for that group number concerns the case: every case outside mixture mode.
[[nodiscard]] inline bool is_selected(const CaseRecord &record, std::int32_t group_number) {
    return state.mixture_mode == 0 || record.current_group_id == group_number;
}

[[nodiscard]] inline bool is_selected(const Group &group, std::size_t index, std::int32_t group_number) {
    return state.mixture_mode == 0 || is_selected(*group.case_index[index], group_number);
}

// The ends of the interval that a list of bounds leaves at the present values.
inline void interval_between_bounds(const BoundNode *head, double &lower, double &upper) {
    lower = kOpenLow;
    upper = kOpenHigh;
    for (const BoundNode *node = head; node != nullptr; node = node->next) {
        if (node == &MissingMarker) continue;
        const double bound = node->constant * *node->operand;
        if (is_marker(bound, kUndefined)) continue;
        // A bound that is not a number holds neither comparison and so changes nothing.
        if (node->is_upper) {
            if (bound < upper) upper = bound;
        } else {
            if (bound > lower) lower = bound;
        }
    }
}

// The ends of a cell's interval at the present values of the current case, and the cell's state. An observed cell gives
// its value for both ends. The ends are not compared with each other.
CellState cell_bounds(std::int32_t cell, double &lower, double &upper);

#endif
