// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The blocks for dense work that all groups share.

#include "frame/workspace.h"

#include <cstddef>
#include <memory>

#include "frame/session_state.h"

void workspace_allocate(std::int32_t dimension) {
    const auto n = static_cast<std::size_t>(dimension);
    auto covariance = std::make_unique_for_overwrite<double[]>(checked_product(n, n));
    auto swept = std::make_unique_for_overwrite<double[]>(checked_product(n, n));
    workspace_free();
    state.workspace_dimension = dimension;
    state.workspace_covariance = covariance.release();
    state.workspace_swept = swept.release();
}

void workspace_grow(std::int32_t dimension) {
    if (dimension > state.workspace_dimension) workspace_allocate(dimension);
}

void workspace_free() {
    delete[] state.workspace_covariance;
    delete[] state.workspace_swept;
    state.workspace_covariance = nullptr;
    state.workspace_swept = nullptr;
    state.workspace_dimension = 0;
    state.prepared_order = -1;
}
