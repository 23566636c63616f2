// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// What a chain says of a row that the engine refuses or cannot draw.

#ifndef ULLAGE_HOST_DRAW_CHAIN_ERRORS_H
#define ULLAGE_HOST_DRAW_CHAIN_ERRORS_H

#include <cstdint>
#include <span>

#include "ullage/host/base/error.h"
#include "ullage/host/draw/engine_session.h"
#include "ullage/host/model/model_table.h"

namespace ullage::host {

/** A row could not be loaded.
 * @param rows  of the table, in the order of the engine's cases */
[[nodiscard]] Error refused_row(const ModelTable &model, std::span<const std::int32_t> rows, const EngineError &error);

/** The hidden cells of a row have no draw. An error that names no row is given back as it is.
 * @param rows  of the table, in the order of the engine's cases */
[[nodiscard]] Error no_draw(const ModelTable &model, std::span<const std::int32_t> rows, const Level &level,
                            std::uint64_t iteration, std::uint64_t chain, const EngineError &error);

/** Nearly all rows of the normal distribution break the rules. */
[[nodiscard]] Error too_many_refused(const ModelTable &model, const Level &level, const Parameters &parameters,
                                     std::uint64_t iteration, std::uint64_t chain);

}  // namespace ullage::host

#endif
