// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Writing cells in the engine's language.

#include "ullage/host/draw/engine_text.h"

#include <array>
#include <charconv>
#include <cmath>

#include "ullage/host/base/error.h"
#include "ullage/host/model/model_table.h"

namespace ullage::host {
namespace {

// The engine reads no longer item.
constexpr std::size_t kLongestItem = 1000;

template <typename Number>
void append_number(std::u16string &text, Number number) {
    std::array<char, 32> digits;
    const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size(), number);
    text.append(digits.data(), end);
}

void append_name(std::u16string &text, std::size_t column) {
    text += u'v';
    append_number(text, column + 1);
}

// Bounds as pieces: "1<", "<2", "v3<", "<v4". Every one lands on the cell itself.
void append_hidden(std::u16string &text, const ModelTable &model, const HiddenCell &cell) {
    const std::size_t begin = text.size();
    const Scale &scale = model.scales[static_cast<std::size_t>(cell.column)];
    const auto separate = [&] {
        if (text.size() > begin) text += u';';
    };
    if (const double lower = to_model(scale, cell.lower); std::isfinite(lower)) {
        append_number(text, lower);
        text += u'<';
    }
    if (const double upper = to_model(scale, cell.upper); std::isfinite(upper)) {
        separate();
        text += u'<';
        append_number(text, upper);
    }
    for (const Reference &reference : model.hidden->references_of(cell)) {
        separate();
        if (reference.is_upper) text += u'<';
        append_name(text, static_cast<std::size_t>(reference.column));
        if (!reference.is_upper) text += u'<';
    }
    if (text.size() == begin) text += u'*';
    if (text.size() - begin > kLongestItem) {
        throw Error(Fault::data, model.table->describe_cell(static_cast<std::size_t>(cell.row),
                                                            static_cast<std::size_t>(cell.column)) +
                                     ": the cell is ordered with too many other cells");
    }
}

}  // namespace

std::u16string engine_text(const ModelTable &model, const Block &block) {
    const Table &table = *model.table;
    const std::size_t n = table.columns.size();
    std::u16string text;
    text.reserve(block.rows.size() * n * 20 + n * 8 + 32);
    append_number(text, block.rows.size());
    text += u'\t';
    append_number(text, n);
    text += u'\n';
    for (std::size_t j = 0; j < n; ++j) {
        append_name(text, j);
        text += j + 1 < n ? u'\t' : u'\n';
    }
    for (const std::int32_t row_number : block.rows) {
        const auto row = static_cast<std::size_t>(row_number);
        const HiddenCell *hidden = model.hidden->of_row(row).data();
        for (std::size_t j = 0; j < n; ++j) {
            if (table.is_hidden(row, j)) {
                append_hidden(text, model, *hidden++);
            } else {
                append_number(text, to_model(model.scales[j], table.columns[j].values[row]));
            }
            text += j + 1 < n ? u'\t' : u'\n';
        }
    }
    return text;
}

}  // namespace ullage::host
