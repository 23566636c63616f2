// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// A block of rows as a data text of the engine.

#ifndef ULLAGE_HOST_DRAW_ENGINE_TEXT_H
#define ULLAGE_HOST_DRAW_ENGINE_TEXT_H

#include <string>

#include "ullage/host/draw/chain.h"
#include "ullage/host/model/model_table.h"

namespace ullage::host {

/** The data text of a block: columns named v1, v2, ..., numbers in the model's units with all their digits. */
[[nodiscard]] std::u16string engine_text(const ModelTable &model, const Block &block);

}  // namespace ullage::host

#endif
