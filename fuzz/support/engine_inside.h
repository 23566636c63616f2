// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The few things that a harness needs of the engine and the exports do not give: a fresh library for each input, the
// marks of the scratch pool, and the interval of a cell.

#ifndef ULLAGE_FUZZ_SUPPORT_ENGINE_INSIDE_H
#define ULLAGE_FUZZ_SUPPORT_ENGINE_INSIDE_H

#include <cstdint>

// Load the library as the system's loader would, with all state as it is in a new process.
void load_engine();

// Unload it: the logs are complete afterwards and all memory is back.
void unload_engine();

// Whether some operation has left a mark on the scratch pool.
bool has_open_mark();

struct CellInterval {
    double lower;
    double upper;
};

// The interval of a cell of the current group at the present values, 0-based.
CellInterval cell_interval(std::int32_t case_index, std::int32_t variable_index);

// Overwrite the value of a cell of the current group, 0-based, so that bounds that refer to it move.
void set_cell_value(std::int32_t case_index, std::int32_t variable_index, double value);

#endif
