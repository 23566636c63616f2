// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Rows as a data text of the engine.

#ifndef ULLAGE_HOST_DRAW_ENGINE_TEXT_H
#define ULLAGE_HOST_DRAW_ENGINE_TEXT_H

#include <cstdint>
#include <span>
#include <string>

#include "ullage/host/model/model_table.h"

namespace ullage::host {

/**
 * The data text of some rows: columns named v1, v2, ..., numbers in the model's units with all their digits.
 *
 * @param with_component  begin each record with the group id 0, which leaves its component open (mixture mode)
 */
[[nodiscard]] std::u16string engine_text(const ModelTable &model, std::span<const std::int32_t> rows,
                                         bool with_component = false);

}  // namespace ullage::host

#endif
