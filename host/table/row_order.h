// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The order of the cells of a row.

#ifndef ULLAGE_HOST_TABLE_ROW_ORDER_H
#define ULLAGE_HOST_TABLE_ROW_ORDER_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "ullage/host/table/table.h"

namespace ullage::host {

/** How far two columns are ordered: not at all, first <= second, or first < second. */
enum Ordered : std::uint8_t { kUnordered, kOrEqual, kStrict };

/**
 * The columns that are ordered with others, and all that follows of their order, also through third columns. A column
 * stands before itself where the order runs in a circle.
 */
class RowOrder {
public:
    /** The order of the table's rules and of the references among the bounds of a row. */
    explicit RowOrder(const Table &table, std::span<const Bound> bounds = {});

    /** The columns in relations, ascending. */
    [[nodiscard]] const std::vector<std::size_t> &columns() const { return columns_; }
    /** How the i-th of these columns stands before the j-th. */
    [[nodiscard]] Ordered at(std::size_t i, std::size_t j) const {
        const std::size_t word = i * words_ + j / 64;
        const std::size_t shift = j % 64;
        return (strict_[word] >> shift & 1U) != 0    ? kStrict
               : (ordered_[word] >> shift & 1U) != 0 ? kOrEqual
                                                     : kUnordered;
    }
    /** Where a column stands among these, or nothing. */
    [[nodiscard]] std::optional<std::size_t> find(std::size_t column) const;

private:
    void add(std::int32_t first, std::int32_t second, Ordered ordered);
    void close();

    // Sets of columns as bits, one row of words per column: those that it stands before or beside, and those that it
    // stands strictly before, which are among the former.
    std::vector<std::size_t> columns_;
    std::size_t words_ = 0;
    std::vector<std::uint64_t> ordered_;
    std::vector<std::uint64_t> strict_;
};

}  // namespace ullage::host

#endif
