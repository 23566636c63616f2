// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The order of the cells of a row, closed.

#include "ullage/host/table/row_order.h"

#include <algorithm>

#include "ullage/host/base/interrupt.h"

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
    words_ = (columns_.size() + 63) / 64;
    ordered_.assign(columns_.size() * words_, 0);
    strict_.assign(columns_.size() * words_, 0);
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

void RowOrder::add(std::int32_t first, std::int32_t second, Ordered ordered) {
    const std::size_t j = *find(static_cast<std::size_t>(second));
    const std::size_t word = *find(static_cast<std::size_t>(first)) * words_ + j / 64;
    const std::uint64_t bit = std::uint64_t{1} << (j % 64);
    ordered_[word] |= bit;
    if (ordered == kStrict) strict_[word] |= bit;
}

void RowOrder::close() {
    for (std::size_t through = 0; through < columns_.size(); ++through) {
        check_interrupt();
        const std::uint64_t *ordered = ordered_.data() + through * words_;
        const std::uint64_t *strict = strict_.data() + through * words_;
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            const Ordered before = at(i, through);
            if (before == kUnordered) continue;
            std::uint64_t *own_ordered = ordered_.data() + i * words_;
            std::uint64_t *own_strict = strict_.data() + i * words_;
            const std::uint64_t *more_strict = before == kStrict ? ordered : strict;
            for (std::size_t w = 0; w < words_; ++w) {
                own_strict[w] |= more_strict[w];
                own_ordered[w] |= ordered[w];
            }
        }
    }
}

}  // namespace ullage::host
