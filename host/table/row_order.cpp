// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The order of the cells of a row, closed.

#include "ullage/host/table/row_order.h"

#include <algorithm>

namespace ullage::host {

RowOrder::RowOrder(const Table &table, std::span<const Bound> bounds) {
    for (const OrderRule &rule : table.order) {
        columns_.push_back(static_cast<std::size_t>(rule.first));
        columns_.push_back(static_cast<std::size_t>(rule.second));
    }
    for (const Bound &bound : bounds) {
        if (bound.other < 0) continue;
        columns_.push_back(static_cast<std::size_t>(bound.column));
        columns_.push_back(static_cast<std::size_t>(bound.other));
    }
    std::sort(columns_.begin(), columns_.end());
    columns_.erase(std::unique(columns_.begin(), columns_.end()), columns_.end());
    matrix_.assign(columns_.size() * columns_.size(), kUnordered);
    for (const OrderRule &rule : table.order) add(rule.first, rule.second, rule.or_equal ? kOrEqual : kStrict);
    for (const Bound &bound : bounds) {
        if (bound.other < 0) continue;
        add(bound.is_upper ? bound.column : bound.other, bound.is_upper ? bound.other : bound.column, kStrict);
    }
    close();
}

std::optional<std::size_t> RowOrder::find(std::size_t column) const {
    const auto place = std::lower_bound(columns_.begin(), columns_.end(), column);
    if (place == columns_.end() || *place != column) return std::nullopt;
    return static_cast<std::size_t>(place - columns_.begin());
}

void RowOrder::add(std::int32_t first, std::int32_t second, std::uint8_t ordered) {
    const std::size_t i = *find(static_cast<std::size_t>(first));
    const std::size_t j = *find(static_cast<std::size_t>(second));
    std::uint8_t &cell = matrix_[i * columns_.size() + j];
    cell = std::max(cell, ordered);
}

void RowOrder::close() {
    const std::size_t n = columns_.size();
    for (std::size_t through = 0; through < n; ++through) {
        for (std::size_t i = 0; i < n; ++i) {
            const std::uint8_t before = at(i, through);
            if (before == kUnordered) continue;
            for (std::size_t j = 0; j < n; ++j) {
                if (at(through, j) == kUnordered) continue;
                std::uint8_t &cell = matrix_[i * n + j];
                cell = std::max({cell, before, at(through, j)});
            }
        }
    }
}

}  // namespace ullage::host
