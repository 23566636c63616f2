// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The closure of all bounds of a row.

#include "ullage/host/table/closure.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <span>

#include "ullage/host/base/interrupt.h"
#include "ullage/host/base/problems.h"
#include "ullage/host/base/words.h"
#include "ullage/host/table/row_order.h"
#include "ullage/host/table/transformations.h"

namespace ullage::host {
namespace {

/** One bound of a cell, and the column that it comes from. */
struct Limit {
    double value;
    std::size_t source;
};

/** The closure, row by row. */
class Closure {
public:
    explicit Closure(const Table &table)
        : table_(table),
          rule_order_(table),
          lower_(table.columns.size()),
          upper_(table.columns.size()),
          order_(&rule_order_) {}
    HiddenCells close();

private:
    void read_own_limits(std::size_t row);
    void order_columns(std::size_t row);
    void check_order(std::size_t row);
    void add_cell(std::size_t row, std::size_t column);
    void add_contradiction(std::size_t row, std::size_t column, const Limit &lower, const Limit &upper);
    [[nodiscard]] std::string in_words(std::size_t row, const Limit &limit, bool is_upper) const;
    [[nodiscard]] bool is_explained(std::size_t row, std::size_t i, std::size_t j) const;
    [[nodiscard]] bool is_new(std::size_t first, std::size_t second);
    void add_problem(std::size_t row, const std::vector<std::size_t> &columns, std::string message);
    [[nodiscard]] std::span<const Bound> bounds_of(std::size_t row) const {
        return std::span(table_.bounds)
            .subspan(table_.bound_begin[row], table_.bound_begin[row + 1] - table_.bound_begin[row]);
    }

    const Table &table_;
    RowOrder rule_order_;  // of the rules alone
    HiddenCells hidden_;
    Problems problems_;

    // Of the present row.
    std::vector<double> lower_;  // of every column, from its own cell and rules
    std::vector<double> upper_;
    const RowOrder *order_;  // the rules' order, or that of the row
    std::optional<RowOrder> own_order_;
    std::vector<std::pair<std::size_t, std::size_t>> reported_;
};

void Closure::read_own_limits(std::size_t row) {
    for (std::size_t c = 0; c < table_.columns.size(); ++c) {
        const Column &column = table_.columns[c];
        if (!table_.is_hidden(row, c)) {
            lower_[c] = upper_[c] = column.values[row];
            continue;
        }
        const Range range = range_of(column.transformation);
        lower_[c] = std::max(column.lower, range.lower);
        upper_[c] = std::min(column.upper, range.upper);
    }
    for (const Bound &bound : bounds_of(row)) {
        if (bound.other >= 0) continue;
        const auto c = static_cast<std::size_t>(bound.column);
        if (bound.is_upper) {
            upper_[c] = std::min(upper_[c], bound.limit);
        } else {
            lower_[c] = std::max(lower_[c], bound.limit);
        }
    }
}

void Closure::order_columns(std::size_t row) {
    const std::span<const Bound> bounds = bounds_of(row);
    const bool has_references = std::ranges::any_of(bounds, [](const Bound &bound) { return bound.other >= 0; });
    if (has_references) own_order_.emplace(table_, bounds);
    order_ = has_references ? &*own_order_ : &rule_order_;
}

bool Closure::is_new(std::size_t first, std::size_t second) {
    const std::pair pair(first, second);
    if (std::find(reported_.begin(), reported_.end(), pair) != reported_.end()) return false;
    reported_.push_back(pair);
    return true;
}

void Closure::add_problem(std::size_t row, const std::vector<std::size_t> &columns, std::string message) {
    std::vector<std::string> names;
    for (const std::size_t c : columns) names.push_back(table_.columns[c].name);
    problems_.add({.line = table_.file.line[row],
                   .row = static_cast<std::int64_t>(row + 1),
                   .columns = std::move(names),
                   .message = std::move(message)});
}

/** Whether an observed cell between two others is in the wrong order with one of these, and reported with it. */
bool Closure::is_explained(std::size_t row, std::size_t i, std::size_t j) const {
    for (std::size_t m = 0; m < order_->columns().size(); ++m) {
        const bool is_between = order_->at(i, m) != kUnordered && order_->at(m, j) != kUnordered;
        if (is_between && !table_.is_hidden(row, order_->columns()[m])) return true;
    }
    return false;
}

/** Find circles, and observed cells in the wrong order. */
void Closure::check_order(std::size_t row) {
    const std::vector<std::size_t> &columns = order_->columns();
    std::vector<std::size_t> circle;
    for (std::size_t i = 0; i < columns.size(); ++i) {
        if (order_->at(i, i) != kUnordered) circle.push_back(columns[i]);
    }
    if (!circle.empty()) {
        add_problem(row, circle, "the order of these cells runs in a circle");
        return;
    }
    for (std::size_t i = 0; i < columns.size(); ++i) {
        const std::size_t first = columns[i];
        if (table_.is_hidden(row, first)) continue;
        for (std::size_t j = 0; j < columns.size(); ++j) {
            const std::size_t second = columns[j];
            if (order_->at(i, j) == kUnordered || table_.is_hidden(row, second)) continue;
            const bool or_equal = order_->at(i, j) == kOrEqual;
            if (lower_[first] < lower_[second] || (or_equal && lower_[first] == lower_[second])) continue;
            if (is_explained(row, i, j) || !is_new(first, second)) continue;
            add_problem(row, {first, second},
                        fmt::format("{} is {}, and must be {} {}, which is {}", table_.columns[first].name,
                                    table_.cell_text(row, first), or_equal ? "at most" : "below",
                                    table_.columns[second].name, table_.cell_text(row, second)));
        }
    }
}

/** "above 5 (column "a", ">5")". */
std::string Closure::in_words(std::size_t row, const Limit &limit, bool is_upper) const {
    const Column &column = table_.columns[limit.source];
    const double rule = is_upper ? column.upper : column.lower;
    std::string origin = quote(table_.cell_text(row, limit.source));
    if (table_.is_hidden(row, limit.source)) {
        const bool is_stated = std::ranges::any_of(bounds_of(row), [&](const Bound &bound) {
            return static_cast<std::size_t>(bound.column) == limit.source && bound.is_upper == is_upper &&
                   bound.other < 0 && bound.limit == limit.value;
        });
        if (!is_stated && rule == limit.value) {
            origin = is_upper ? "--upper" : "--lower";
        } else if (!is_stated) {
            origin = fmt::format("--{}", name_of(column.transformation));
        }
    }
    return fmt::format("{} {} (column {}, {})", is_upper ? "below" : "above", limit.value, quote(column.name), origin);
}

void Closure::add_contradiction(std::size_t row, std::size_t column, const Limit &lower, const Limit &upper) {
    if (!is_new(lower.source, upper.source)) return;
    std::vector<std::size_t> columns = {column};
    for (const std::size_t source : {lower.source, upper.source}) {
        if (std::find(columns.begin(), columns.end(), source) == columns.end()) columns.push_back(source);
    }
    add_problem(row, columns,
                fmt::format("no value of {} is {} and {}", quote(table_.columns[column].name),
                            in_words(row, lower, false), in_words(row, upper, true)));
}

void Closure::add_cell(std::size_t row, std::size_t column) {
    Limit lower{lower_[column], column};
    Limit upper{upper_[column], column};
    const auto first_reference = static_cast<std::uint32_t>(hidden_.references.size());
    if (const auto here = order_->find(column)) {
        for (std::size_t i = 0; i < order_->columns().size(); ++i) {
            const std::size_t other = order_->columns()[i];
            const bool is_hidden = table_.is_hidden(row, other);
            if (order_->at(i, *here) != kUnordered) {
                if (lower_[other] > lower.value) lower = {lower_[other], other};
                if (is_hidden) hidden_.references.push_back({static_cast<std::int32_t>(other), false});
            }
            if (order_->at(*here, i) != kUnordered) {
                if (upper_[other] < upper.value) upper = {upper_[other], other};
                if (is_hidden) hidden_.references.push_back({static_cast<std::int32_t>(other), true});
            }
        }
    }
    // An interval of neighbouring doubles has no number inside, either.
    if (!(std::nextafter(lower.value, kOpen) < upper.value)) add_contradiction(row, column, lower, upper);
    hidden_.cells.push_back({static_cast<std::int32_t>(row), static_cast<std::int32_t>(column), lower.value,
                             upper.value, first_reference,
                             static_cast<std::uint32_t>(hidden_.references.size() - first_reference)});
}

HiddenCells Closure::close() {
    hidden_.row_begin.reserve(table_.row_count() + 1);
    for (std::size_t row = 0; row < table_.row_count(); ++row) {
        check_interrupt();
        hidden_.row_begin.push_back(hidden_.cells.size());
        reported_.clear();
        read_own_limits(row);
        order_columns(row);
        check_order(row);
        for (std::size_t c = 0; c < table_.columns.size(); ++c) {
            if (table_.is_hidden(row, c)) add_cell(row, c);
        }
    }
    hidden_.row_begin.push_back(hidden_.cells.size());
    problems_.throw_if_any(table_.file.source);
    hidden_.cells.shrink_to_fit();
    return std::move(hidden_);
}

}  // namespace

HiddenCells close_bounds(const Table &table) {
    return Closure(table).close();
}

}  // namespace ullage::host
