// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The one body of state of the library, reached directly by every operation.

#ifndef ULLAGE_FRAME_SESSION_STATE_H
#define ULLAGE_FRAME_SESSION_STATE_H

#include <bit>
#include <cstdint>

#include "frame/group.h"
#include "frame/region_pool.h"
#include "generator/wichmann_hill.h"
#include "ullage/engine.h"

struct BoundNode;
struct TextStream;

// What nothing has been drawn for yet: the value of every cell of a new case, recognised by exact equality.
inline constexpr double kUndefined = 1e300;

// Ends of an interval without a bound on that side, recognised by exact equality.
inline constexpr double kOpenLow = -1.7976931348623157e308;
inline constexpr double kOpenHigh = 1.7976931348623157e308;

// x == marker for a marker other than zero. Its bits tell as well, and need no thought of NaN.
[[nodiscard]] inline bool is_marker(double x, double marker) {
    return std::bit_cast<std::uint64_t>(x) == std::bit_cast<std::uint64_t>(marker);
}

// Smallest pivot that any kernel accepts; a NaN passes every test against it.
inline constexpr double kPivotTolerance = 1e-15;

struct SessionState {
    RegionPool DataPool;  // cases and bounds; only grows, until unload
    RegionPool WorkPool;  // scratch of one operation
    Group *group_head;
    Group *group_current;
    std::int32_t mixture_mode;
    std::int32_t force_level;
    std::int32_t allow_rank_order;
    std::int32_t test_value;
    const char16_t *weight_variable;
    CaseRecord *current_record;
    double *current_values;
    BoundNode **current_states;
    std::int32_t workspace_dimension;
    double *workspace_covariance;
    double *workspace_swept;
    char16_t LastErrorText[500];
    char16_t ReaderErrorText[200];
    TextStream *ErrorLog;
    TextStream *TraceLog;
    std::int32_t gibbs_sweep_count;
    RandomSource *random_source;
    double tolerant_determinant;
    WichmannHillGenerator generator;

    bool session_is_open;
    Group *last_created;          // chain of all groups that exist, by created_before
    std::int32_t prepared_order;  // order of the covariance in workspace_covariance, -1 if it holds none
};

extern SessionState state;

// Give group_current after a move to a group: null if there is no such group, or none at all.
[[nodiscard]] Group *enter_group(std::int32_t group_number);

// Destroy every group, also those that no list holds any more.
void destroy_groups();

#endif
