// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// What the cells of a column outside the model hold: numbers or words.

#ifndef ULLAGE_HOST_RUN_CARRIED_VALUES_H
#define ULLAGE_HOST_RUN_CARRIED_VALUES_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "ullage/host/run/completed_tables.h"
#include "ullage/host/table/table.h"

namespace ullage::host {

/** A column that is read cell by cell: of numbers if it holds nothing else, and otherwise of words. */
class CarriedValues {
public:
    explicit CarriedValues(std::size_t rows) : rows_(rows) {}

    /** A cell with its quotes taken off. */
    void take(std::size_t row, std::string_view cell);
    /** Put the values, and the words if there are any, into a column; false if it holds neither numbers nor 1 to
     * kMostCarriedWords words. */
    [[nodiscard]] bool finish(CompletedColumn &column) const;

private:
    std::size_t rows_;
    std::vector<double> numbers_ = {};
    bool has_word_ = false;
    std::map<std::string, std::uint32_t> texts_ = {};  // different ones, numbered as they come; if there are
    std::vector<std::uint32_t> text_of_row_ = {};      // more than kMostCarriedWords, rows are forgotten
};

/** A column of a file, or one without values and words if it holds neither numbers nor few words. */
[[nodiscard]] CompletedColumn carried_column(const Table &table, std::size_t file_column);

}  // namespace ullage::host

#endif
