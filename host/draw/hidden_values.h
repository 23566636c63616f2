// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The hidden cells of rows that the engine has completed.

#ifndef ULLAGE_HOST_DRAW_HIDDEN_VALUES_H
#define ULLAGE_HOST_DRAW_HIDDEN_VALUES_H

#include <cstdint>
#include <span>

#include "ullage/host/model/model_table.h"

namespace ullage::host {

/**
 * Take the hidden cells of some rows from the variables' values.
 *
 * @param matrix  row after row one value per variable, in the model's units
 * @param values  one per hidden cell of the table, in the order of HiddenCells::cells: those of the rows become numbers
 *                in the model's units, or of words their places; the others stay
 */
void take_hidden(const ModelTable &model, std::span<const std::int32_t> rows, std::span<const double> matrix,
                 std::span<double> values);

}  // namespace ullage::host

#endif
