// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Writing cells in the engine's language.

#include "ullage/host/draw/engine_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <numeric>

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

// One item of the data text. Its bounds are pieces, "1<", "<2", "v3<", "<v4", that all land on the cell itself.
class Item {
public:
    explicit Item(std::u16string &text) : text_(text), begin_(text.size()) {}

    void number(double value) { append_number(text_, value); }
    void within(double lower, double upper) {
        if (std::isfinite(lower)) {
            separate();
            append_number(text_, lower);
            text_ += u'<';
        }
        if (std::isfinite(upper)) {
            separate();
            text_ += u'<';
            append_number(text_, upper);
        }
    }
    void beside(std::size_t variable, bool is_upper) {
        separate();
        if (is_upper) text_ += u'<';
        append_name(text_, variable);
        if (!is_upper) text_ += u'<';
    }
    /** @return whether the engine can read it */
    [[nodiscard]] bool end() {
        if (text_.size() == begin_) text_ += u'*';
        return text_.size() - begin_ <= kLongestItem;
    }

private:
    void separate() {
        if (text_.size() > begin_) text_ += u';';
    }
    std::u16string &text_;
    std::size_t begin_;
};

// Writes the cells of a row one after the other.
class RowText {
public:
    RowText(const ModelTable &model, std::size_t row, std::u16string &text) : model_(model), row_(row), text_(text) {}

    void append(std::size_t c) {
        const Column &column = model_.table->columns[c];
        const HiddenCell *hidden = hidden_cell(c);
        const ColumnVariables &own = model_.variables.columns[c];
        if (own.are_indicators) {
            for (std::size_t j = 0; j < own.count; ++j) append_number(c, own.first + j);
            return;
        }
        if (column.kind == ColumnKind::binary || column.kind == ColumnKind::nominal) {
            for (std::size_t j = 0; j < own.count; ++j) append_utility(c, own, j, hidden != nullptr);
            return;
        }
        const Scale &scale = model_.variables.scales[own.first];
        Item item(text_);
        if (hidden != nullptr) {
            const Interval interval = interval_of(column, own, scale, hidden->lower, hidden->upper);
            item.within(interval.lower, interval.upper);
            for (const Reference &reference : model_.hidden->references_of(*hidden)) {
                item.beside(model_.variables.columns[static_cast<std::size_t>(reference.column)].first,
                            reference.is_upper);
            }
        } else if (own.is_latent) {
            const auto [lower, upper] = cell_limits(column, column.values[row_]);
            const Interval interval = interval_of(column, own, scale, lower, upper);
            item.within(interval.lower, interval.upper);
        } else {
            item.number(to_model(scale, column.values[row_]));
        }
        end(item, c);
    }

private:
    [[nodiscard]] const HiddenCell *hidden_cell(std::size_t c) const {
        if (!model_.table->is_hidden(row_, c)) return nullptr;
        const auto cells = model_.hidden->of_row(row_);
        return &*std::ranges::lower_bound(cells, static_cast<std::int32_t>(c), {}, &HiddenCell::column);
    }

    void append_number(std::size_t c, std::size_t variable) {
        Item item(text_);
        item.number(observed_value(*model_.table, model_.variables, variable, row_));
        end(item, c);
    }

    // The variable of one word: above 0 and above all others where the word holds, below the one that holds otherwise.
    void append_utility(std::size_t c, const ColumnVariables &own, std::size_t j, bool is_hidden) {
        const Column &column = model_.table->columns[c];
        Item item(text_);
        if (!is_hidden) {
            const auto word = static_cast<std::size_t>(column.values[row_]);
            if (word == own.reference) {
                item.within(-kOpen, 0.0);
            } else if (own.variable_of(word) == own.first + j) {
                item.within(0.0, kOpen);
                for (std::size_t other = 0; other < own.count; ++other) {
                    if (other != j) item.beside(own.first + other, false);
                }
            } else {
                item.beside(own.variable_of(word), true);
            }
        }
        end(item, c);
    }

    void end(Item &item, std::size_t c) {
        if (!item.end()) {
            throw Error(Fault::data,
                        model_.table->describe_cell(row_, c) + ": the cell is ordered with too many other cells");
        }
        text_ += u'\t';
    }

    const ModelTable &model_;
    std::size_t row_;
    std::u16string &text_;
};

}  // namespace

std::u16string engine_text(const ModelTable &model, std::span<const std::int32_t> rows, bool with_component) {
    const std::size_t n = model.variables.list.size();
    std::u16string text;
    text.reserve(rows.size() * n * 20 + n * 8 + 32);
    append_number(text, rows.size());
    text += u'\t';
    append_number(text, n);
    text += u'\n';
    if (with_component) text += u"component\t";
    for (std::size_t j = 0; j < n; ++j) {
        append_name(text, j);
        text += j + 1 < n ? u'\t' : u'\n';
    }
    std::vector<std::size_t> order(model.table->columns.size());  // of the columns, as their variables stand
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::ranges::sort(order, {}, [&](std::size_t c) { return model.variables.columns[c].first; });
    for (const std::int32_t row : rows) {
        if (with_component) text += u"0\t";
        RowText row_text(model, static_cast<std::size_t>(row), text);
        for (const std::size_t c : order) row_text.append(c);
        text.back() = u'\n';
    }
    return text;
}

}  // namespace ullage::host
