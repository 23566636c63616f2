// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Rules for columns and rows, and the closure of all bounds of a row.

#include "ullage/host/table/rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numeric>

#include "ullage/host/base/interrupt.h"
#include "ullage/host/base/problems.h"
#include "ullage/host/base/words.h"
#include "ullage/host/table/transformations.h"

namespace ullage::host {
namespace {

/** How far two columns are ordered: not at all, first <= second, or first < second. */
enum Ordered : std::uint8_t { kUnordered, kOrEqual, kStrict };

/** The order of some columns: at(i, j) says how i-th stands before j-th. */
struct OrderMatrix {
    std::size_t size = 0;
    std::vector<std::uint8_t> cells;

    explicit OrderMatrix(std::size_t n) : size(n), cells(n * n, kUnordered) {}
    [[nodiscard]] std::uint8_t at(std::size_t i, std::size_t j) const { return cells[i * size + j]; }
    void add(std::size_t i, std::size_t j, std::uint8_t ordered) {
        cells[i * size + j] = std::max(cells[i * size + j], ordered);
    }
    /** Add what follows through third columns; i stands before itself where the relations run in a circle. */
    void close() {
        for (std::size_t through = 0; through < size; ++through) {
            for (std::size_t i = 0; i < size; ++i) {
                if (at(i, through) == kUnordered) continue;
                for (std::size_t j = 0; j < size; ++j) {
                    if (at(through, j) != kUnordered) add(i, j, std::max(at(i, through), at(through, j)));
                }
            }
        }
    }
};

std::size_t column_of(const Table &table, const std::string &name, std::string_view rule) {
    const auto column = table.find_column(name);
    if (column) return *column;
    std::vector<std::string> names;
    for (const Column &c : table.columns) names.push_back(c.name);
    throw Error(Fault::usage,
                fmt::format("{}: {} is no column of the model; these are {}", rule, quote(name), list_of(names)));
}

/** Take "a<b<=c" apart. */
void add_order(Table &table, const std::string &rule) {
    const std::string option = "--order " + quote(rule);
    std::optional<std::size_t> before;
    bool or_equal = false;
    for (std::string_view rest = rule;;) {
        std::size_t sign = rest.find('<');
        sign = std::min(sign, rest.find("≤"));
        const std::size_t column = column_of(table, std::string(trim(rest.substr(0, sign))), option);
        if (before) {
            if (*before == column) throw Error(Fault::usage, option + ": a column cannot stand before itself");
            table.order.push_back({static_cast<std::int32_t>(*before), static_cast<std::int32_t>(column), or_equal});
        }
        before = column;
        if (sign == std::string_view::npos) break;
        or_equal = !rest.substr(sign).starts_with('<') || rest.substr(sign).starts_with("<=");
        rest.remove_prefix(sign + (rest[sign] == '<' ? (or_equal ? 2 : 1) : std::string_view("≤").size()));
    }
    if (table.order.empty() || rule.find_first_of("<\xE2") == std::string::npos) {
        throw Error(Fault::usage, option + ": an order is written as a<b or a<b<c");
    }
}

void add_limits(Table &table, const Rules &rules) {
    for (const auto &[name, limit] : rules.lower) {
        Column &column = table.columns[column_of(table, name, "--lower")];
        if (column.lower > -kOpen) throw Error(Fault::usage, fmt::format("--lower: {} is given twice", quote(name)));
        column.lower = limit;
    }
    for (const auto &[name, limit] : rules.upper) {
        Column &column = table.columns[column_of(table, name, "--upper")];
        if (column.upper < kOpen) throw Error(Fault::usage, fmt::format("--upper: {} is given twice", quote(name)));
        column.upper = limit;
    }
}

std::string_view name_of(Transformation transformation) {
    switch (transformation) {
        case Transformation::log:
            return "log";
        case Transformation::sqrt:
            return "sqrt";
        case Transformation::logit:
            return "logit";
        case Transformation::none:
            break;
    }
    return "none";
}

void add_transformations(Table &table, const Rules &rules, Notices &notices) {
    const auto give = [&](const std::vector<std::string> &names, Transformation transformation) {
        for (const std::string &name : names) {
            Column &column = table.columns[column_of(table, name, fmt::format("--{}", name_of(transformation)))];
            if (column.transformation != Transformation::none && column.transformation != transformation) {
                throw Error(Fault::usage, fmt::format("{} is given two transformations, {} and {}", quote(name),
                                                      name_of(column.transformation), name_of(transformation)));
            }
            column.transformation = transformation;
        }
    };
    give(rules.log, Transformation::log);
    give(rules.sqrt, Transformation::sqrt);
    give(rules.logit, Transformation::logit);

    const std::vector<std::size_t> tie = tied_columns(table);
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
        if (table.columns[i].transformation == Transformation::none) continue;
        const std::string name = table.columns[i].name;
        const Transformation given = table.columns[i].transformation;
        for (std::size_t j = 0; j < table.columns.size(); ++j) {
            Column &other = table.columns[j];
            if (tie[j] != tie[i] || other.transformation == given) continue;
            if (other.transformation != Transformation::none) {
                throw Error(Fault::usage,
                            fmt::format("{} and {} are compared with each other, so they must have the same "
                                        "transformation, and not {} and {}",
                                        quote(name), quote(other.name), name_of(given), name_of(other.transformation)));
            }
            other.transformation = given;
            notices.push_back({false, fmt::format("{} is compared with {}, so it is given the same transformation, {}",
                                                  quote(other.name), quote(name), name_of(given))});
        }
    }
}

void check_observed_values(const Table &table) {
    Problems problems;
    for (const Column &column : table.columns) {
        const Range range = range_of(column.transformation);
        if (column.transformation == Transformation::none) continue;
        for (std::size_t row = 0; row < column.values.size(); ++row) {
            const double value = column.values[row];
            if (column.states[row] != CellState::observed || range.holds(value)) continue;
            problems.add({.line = table.file.line[row],
                          .row = static_cast<std::int64_t>(row + 1),
                          .columns = {column.name},
                          .text = table.cell_text(row, static_cast<std::size_t>(&column - table.columns.data())),
                          .message = fmt::format("--{} needs {}", name_of(column.transformation), range.in_words)});
        }
    }
    problems.throw_if_any(table.file.source);
}

/** One bound of a cell, and the column that it comes from. */
struct Limit {
    double value;
    std::size_t source;
};

/** The closure, row by row. */
class Closure {
public:
    explicit Closure(const Table &table);
    HiddenCells close();

private:
    void read_own_limits(std::size_t row);
    void order_columns(std::size_t row);
    void check_order(std::size_t row);
    void add_cell(std::size_t row, std::size_t column);
    void add_contradiction(std::size_t row, std::size_t column, const Limit &lower, const Limit &upper);
    [[nodiscard]] std::string in_words(std::size_t row, const Limit &limit, bool is_upper) const;
    [[nodiscard]] bool is_new(std::size_t first, std::size_t second);
    void add_problem(std::size_t row, const std::vector<std::size_t> &columns, std::string message);

    const Table &table_;
    std::vector<std::size_t> rule_columns_;  // the columns of order rules
    OrderMatrix rule_order_;                 // their closed order
    HiddenCells hidden_;
    Problems problems_;

    // Of the present row.
    std::vector<double> lower_;  // of every column, from its own cell and rules
    std::vector<double> upper_;
    std::vector<std::size_t> columns_;  // the columns that are ordered with others
    OrderMatrix order_;                 // their closed order
    bool is_plain_ = false;             // the two are those of the rules alone
    std::vector<std::pair<std::size_t, std::size_t>> reported_;
};

/** The columns in relations, each once and ascending. */
std::vector<std::size_t> ordered_columns(std::vector<std::size_t> columns) {
    std::sort(columns.begin(), columns.end());
    columns.erase(std::unique(columns.begin(), columns.end()), columns.end());
    return columns;
}

std::size_t place_in(const std::vector<std::size_t> &columns, std::int32_t column) {
    return static_cast<std::size_t>(std::lower_bound(columns.begin(), columns.end(), static_cast<std::size_t>(column)) -
                                    columns.begin());
}

void add_rules(OrderMatrix &order, const std::vector<std::size_t> &columns, const Table &table) {
    for (const OrderRule &rule : table.order) {
        order.add(place_in(columns, rule.first), place_in(columns, rule.second), rule.or_equal ? kOrEqual : kStrict);
    }
}

std::vector<std::size_t> columns_of_rules(const Table &table) {
    std::vector<std::size_t> columns;
    for (const OrderRule &rule : table.order) {
        columns.push_back(static_cast<std::size_t>(rule.first));
        columns.push_back(static_cast<std::size_t>(rule.second));
    }
    return ordered_columns(std::move(columns));
}

Closure::Closure(const Table &table)
    : table_(table), rule_columns_(columns_of_rules(table)), rule_order_(rule_columns_.size()), order_(0) {
    add_rules(rule_order_, rule_columns_, table);
    rule_order_.close();
    lower_.resize(table.columns.size());
    upper_.resize(table.columns.size());
}

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
    for (std::size_t b = table_.bound_begin[row]; b < table_.bound_begin[row + 1]; ++b) {
        const Bound &bound = table_.bounds[b];
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
    const auto begin = table_.bounds.begin() + static_cast<std::ptrdiff_t>(table_.bound_begin[row]);
    const auto end = table_.bounds.begin() + static_cast<std::ptrdiff_t>(table_.bound_begin[row + 1]);
    if (std::none_of(begin, end, [](const Bound &bound) { return bound.other >= 0; })) {
        if (!is_plain_) {
            columns_ = rule_columns_;
            order_ = rule_order_;
            is_plain_ = true;
        }
        return;
    }
    is_plain_ = false;
    columns_ = rule_columns_;
    for (auto bound = begin; bound != end; ++bound) {
        if (bound->other < 0) continue;
        columns_.push_back(static_cast<std::size_t>(bound->column));
        columns_.push_back(static_cast<std::size_t>(bound->other));
    }
    columns_ = ordered_columns(std::move(columns_));
    order_ = OrderMatrix(columns_.size());
    add_rules(order_, columns_, table_);
    for (auto bound = begin; bound != end; ++bound) {
        if (bound->other < 0) continue;
        const std::size_t cell = place_in(columns_, bound->column);
        const std::size_t other = place_in(columns_, bound->other);
        order_.add(bound->is_upper ? cell : other, bound->is_upper ? other : cell, kStrict);
    }
    order_.close();
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

/** Find circles, and observed cells in the wrong order. */
void Closure::check_order(std::size_t row) {
    std::vector<std::size_t> circle;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
        if (order_.at(i, i) != kUnordered) circle.push_back(columns_[i]);
    }
    if (!circle.empty()) add_problem(row, circle, "the order of these cells runs in a circle");

    for (std::size_t i = 0; i < columns_.size() && circle.empty(); ++i) {
        for (std::size_t j = 0; j < columns_.size(); ++j) {
            const std::size_t first = columns_[i];
            const std::size_t second = columns_[j];
            if (order_.at(i, j) == kUnordered || table_.is_hidden(row, first) || table_.is_hidden(row, second))
                continue;
            const bool or_equal = order_.at(i, j) == kOrEqual;
            if (lower_[first] < lower_[second] || (or_equal && lower_[first] == lower_[second])) continue;
            // What an observed cell between the two explains is reported with that cell.
            bool is_explained = false;
            for (std::size_t m = 0; m < columns_.size(); ++m) {
                is_explained = is_explained || (order_.at(i, m) != kUnordered && order_.at(m, j) != kUnordered &&
                                                !table_.is_hidden(row, columns_[m]));
            }
            if (is_explained || !is_new(first, second)) continue;
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
        const auto begin = table_.bounds.begin() + static_cast<std::ptrdiff_t>(table_.bound_begin[row]);
        const auto end = table_.bounds.begin() + static_cast<std::ptrdiff_t>(table_.bound_begin[row + 1]);
        const bool is_stated = std::any_of(begin, end, [&](const Bound &bound) {
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
    const auto place = std::lower_bound(columns_.begin(), columns_.end(), column);
    if (place != columns_.end() && *place == column) {
        const auto here = static_cast<std::size_t>(place - columns_.begin());
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            const std::size_t other = columns_[i];
            const bool is_hidden = table_.is_hidden(row, other);
            if (order_.at(i, here) != kUnordered) {
                if (lower_[other] > lower.value) lower = {lower_[other], other};
                if (is_hidden) hidden_.references.push_back({static_cast<std::int32_t>(other), false});
            }
            if (order_.at(here, i) != kUnordered) {
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
        if (row % 4096 == 0) check_interrupt();
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

void check_rules(const Table &table) {
    for (const Column &column : table.columns) {
        const Range range = range_of(column.transformation);
        const double lower = std::max(column.lower, range.lower);
        const double upper = std::min(column.upper, range.upper);
        if (lower < upper) continue;
        throw Error(Fault::usage, fmt::format("the rules leave no value for {}: above {} and below {}",
                                              quote(column.name), lower, upper));
    }
    const std::vector<std::size_t> columns = columns_of_rules(table);
    OrderMatrix order(columns.size());
    add_rules(order, columns, table);
    order.close();
    for (std::size_t i = 0; i < columns.size(); ++i) {
        if (order.at(i, i) == kUnordered) continue;
        throw Error(Fault::usage, fmt::format("--order: the rules run in a circle through {}",
                                              quote(table.columns[columns[i]].name)));
    }
}

void warn_of_values_beyond_limits(const Table &table, Notices &notices) {
    for (const Column &column : table.columns) {
        const auto beyond = std::count_if(column.values.begin(), column.values.end(),
                                          [&](double value) { return value < column.lower || value > column.upper; });
        if (beyond == 0) continue;
        notices.push_back(
            {true, fmt::format("{} of column {} lie beyond its --lower or --upper, which hold for imputed "
                               "cells only",
                               count_of(static_cast<std::size_t>(beyond), "observed cell"), quote(column.name))});
    }
}

}  // namespace

std::vector<std::size_t> tied_columns(const Table &table) {
    std::vector<std::size_t> tie(table.columns.size());
    std::iota(tie.begin(), tie.end(), std::size_t{0});
    const auto root = [&](std::size_t c) {
        while (tie[c] != c) c = tie[c] = tie[tie[c]];
        return c;
    };
    const auto join = [&](std::int32_t a, std::int32_t b) {
        const std::size_t first = root(static_cast<std::size_t>(a));
        const std::size_t second = root(static_cast<std::size_t>(b));
        tie[std::max(first, second)] = std::min(first, second);
    };
    for (const OrderRule &rule : table.order) join(rule.first, rule.second);
    for (const Bound &bound : table.bounds) {
        if (bound.other >= 0) join(bound.column, bound.other);
    }
    for (std::size_t c = 0; c < tie.size(); ++c) tie[c] = root(c);
    return tie;
}

void apply_rules(Table &table, const Rules &rules, Notices &notices) {
    add_limits(table, rules);
    for (const std::string &rule : rules.order) add_order(table, rule);
    add_transformations(table, rules, notices);
    check_rules(table);
    check_observed_values(table);
    warn_of_values_beyond_limits(table, notices);
}

HiddenCells close_bounds(const Table &table) {
    return Closure(table).close();
}

}  // namespace ullage::host
