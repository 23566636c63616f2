// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Completing rows under parameters that are there.

#ifndef ULLAGE_HOST_DRAW_APPLY_H
#define ULLAGE_HOST_DRAW_APPLY_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "ullage/host/model/model_table.h"
#include "ullage/host/model/posterior.h"

namespace ullage::host {

/** Whether the hidden cells of a row are drawn one after the other, so that a draw goes on from the one before it: they
 * are several variables, and something is known of one. */
[[nodiscard]] bool needs_sweeps(const ModelTable &model, std::size_t row);

/**
 * Draw the hidden cells of a table under given parameters; none is drawn again. A row that needs no sweeps is one draw
 * from its conditional distribution; another is a Gibbs chain, in which an imputation lies 100 sweeps behind the one
 * before it, and the first as many behind the engine's start.
 *
 * @param model       its levels have names, its blocks are the rows with hidden cells, and either all or none of the
 *                    rows of a block need sweeps; nothing else of the levels and blocks is read
 * @param parameters  of each imputation for each level, in the model's units
 * @param part        which part of a file these rows are, from 1; with seed, imputation and block it names the streams
 * @param take        called for each imputation (from 0) with the hidden cells, in the units of the file and in the
 *                    order of HiddenCells::cells
 * @throws Error  data if a cell has no draw; internal if the process has an engine session already
 */
void complete_rows(const ModelTable &model, std::span<const std::vector<Parameters>> parameters, std::uint64_t seed,
                   std::uint64_t part,
                   const std::function<void(std::size_t imputation, std::span<const double> values)> &take);

}  // namespace ullage::host

#endif
