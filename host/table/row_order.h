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
    [[nodiscard]] std::uint8_t at(std::size_t i, std::size_t j) const { return matrix_[i * columns_.size() + j]; }
    /** Where a column stands among these, or nothing. */
    [[nodiscard]] std::optional<std::size_t> find(std::size_t column) const;

private:
    void add(std::int32_t first, std::int32_t second, std::uint8_t ordered);
    void close();

    std::vector<std::size_t> columns_;
    std::vector<std::uint8_t> matrix_;
};

}  // namespace ullage::host

#endif
