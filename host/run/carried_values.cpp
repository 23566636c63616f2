// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Numbers and words of columns outside the model.

#include "ullage/host/run/carried_values.h"

#include <algorithm>
#include <iterator>
#include <limits>

#include "ullage/host/base/number_text.h"
#include "ullage/host/base/words.h"

namespace ullage::host {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr std::uint32_t kNoText = std::numeric_limits<std::uint32_t>::max();
constexpr std::string_view kMissingWords[] = {"", "NA", ".", "*"};

}  // namespace

void CarriedValues::take(std::size_t row, std::string_view cell) {
    const bool has_too_many = texts_.size() > kMostCarriedWords;
    if (has_word_ && has_too_many) return;
    const std::string_view text = trim(cell);
    if (std::find(std::begin(kMissingWords), std::end(kMissingWords), text) != std::end(kMissingWords)) return;
    if (!has_word_) {
        const auto number = parse_number(text);
        has_word_ = !number;
        numbers_.resize(rows_, kNaN);
        numbers_[row] = number.value_or(kNaN);
    }
    if (has_too_many) return;
    const auto place = texts_.try_emplace(std::string(text), static_cast<std::uint32_t>(texts_.size()));
    text_of_row_.resize(rows_, kNoText);
    text_of_row_[row] = place.first->second;
    if (texts_.size() > kMostCarriedWords) text_of_row_ = {};
}

bool CarriedValues::finish(CompletedColumn &column) const {
    if (!has_word_) {
        column.original = numbers_;
        return !numbers_.empty();
    }
    if (texts_.size() > kMostCarriedWords) return false;
    std::vector<double> place_of(texts_.size());
    for (const auto &[text, number] : texts_) {
        place_of[number] = static_cast<double>(column.words.size());
        column.words.push_back(text);
    }
    column.original.assign(rows_, kNaN);
    for (std::size_t row = 0; row < rows_; ++row) {
        if (text_of_row_[row] != kNoText) column.original[row] = place_of[text_of_row_[row]];
    }
    return true;
}

CompletedColumn carried_column(const Table &table, std::size_t file_column) {
    CarriedValues values(table.row_count());
    for (std::size_t row = 0; row < table.row_count(); ++row) values.take(row, table.file.text(row, file_column));
    CompletedColumn column;
    column.name = table.file.names[file_column];
    (void)values.finish(column);
    return column;
}

}  // namespace ullage::host
