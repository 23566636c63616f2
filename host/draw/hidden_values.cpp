// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// From variables to cells.

#include "ullage/host/draw/hidden_values.h"

#include <cstddef>

namespace ullage::host {

void take_hidden(const ModelTable &model, std::span<const std::int32_t> rows, std::span<const double> matrix,
                 std::span<double> values) {
    const std::size_t n = model.variables.list.size();
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const auto row = static_cast<std::size_t>(rows[i]);
        double *out = values.data() + model.hidden->row_begin[row];
        for (const HiddenCell &cell : model.hidden->of_row(row)) {
            const auto c = static_cast<std::size_t>(cell.column);
            const Column &column = model.table->columns[c];
            const ColumnVariables &own = model.variables.columns[c];
            const std::span latents = matrix.subspan(i * n + own.first, own.count);
            *out++ = column.holds_words()
                         ? static_cast<double>(word_of(column, own, model.variables.scales[own.first], latents))
                         : latents[0];
        }
    }
}

}  // namespace ullage::host
