// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The blocks for dense work that all groups share, sized for the largest group of the session.

#ifndef ULLAGE_FRAME_WORKSPACE_H
#define ULLAGE_FRAME_WORKSPACE_H

#include <cstdint>

// Replace the blocks by uninitialised ones of that order. On std::bad_alloc the old ones stay.
void workspace_allocate(std::int32_t dimension);

// Make room for groups of that many variables. The contents are lost if the blocks have to grow.
void workspace_grow(std::int32_t dimension);

void workspace_free();

#endif
