// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Rules for columns and rows.

#include "ullage/host/table/rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>

#include "ullage/host/base/interrupt.h"
#include "ullage/host/base/problems.h"
#include "ullage/host/base/words.h"
#include "ullage/host/table/row_order.h"
#include "ullage/host/table/transformations.h"

namespace ullage::host {
namespace {

std::size_t column_of(const Table &table, const std::string &name, std::string_view rule) {
    const auto column = table.find_column(name);
    if (column && !table.columns[*column].holds_words()) return *column;
    if (column) {
        throw Error(Fault::usage,
                    fmt::format("{}: {} is {}, and the rule is for numbers; --number may make it one", rule,
                                quote(name), kColumnKindNames[static_cast<std::size_t>(table.columns[*column].kind)]));
    }
    for (const OutputColumn &output : table.output) {
        if (!output.is_found || table.file.names[static_cast<std::size_t>(output.file_column)] != name) continue;
        throw Error(Fault::usage,
                    fmt::format("{}: {} is carried along, as {}; --number or --nominal takes it into the model", rule,
                                quote(name), output.reason));
    }
    std::vector<std::string> names;
    for (const Column &c : table.columns) names.push_back(c.name);
    throw Error(Fault::usage,
                fmt::format("{}: {} is no column of the model; these are {}", rule, quote(name), list_of(names)));
}

/** Take "a<b<=c" apart. */
void add_order(Table &table, const std::string &rule) {
    const std::string option = "--order " + quote(rule);
    const std::size_t rules_before = table.order.size();
    std::optional<std::size_t> before;
    bool or_equal = false;
    for (std::string_view rest = rule;;) {
        std::size_t sign = rest.find('<');
        sign = std::min(sign, rest.find("≤"));
        const std::size_t column = column_of(table, std::string(trim(rest.substr(0, sign))), option);
        if (table.columns[column].kind == ColumnKind::stepped) {
            throw Error(Fault::usage, fmt::format("{}: {} is stepped, and only columns of numbers are ordered; without "
                                                  "--step it is one",
                                                  option, quote(table.columns[column].name)));
        }
        if (before) {
            if (*before == column) throw Error(Fault::usage, option + ": a column cannot stand before itself");
            table.order.push_back({static_cast<std::int32_t>(*before), static_cast<std::int32_t>(column), or_equal});
        }
        before = column;
        if (sign == std::string_view::npos) break;
        or_equal = !rest.substr(sign).starts_with('<') || rest.substr(sign).starts_with("<=");
        rest.remove_prefix(sign + (rest[sign] == '<' ? (or_equal ? 2 : 1) : std::string_view("≤").size()));
    }
    if (table.order.size() == rules_before) {
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

/** Why a column cannot hold an observed value, or nothing. A step around a limit still reaches over it. */
std::string objection_to(const Column &column, double value) {
    const double half = column.kind == ColumnKind::stepped ? 0.5 * column.step : 0.0;
    const Range range = range_of(column.transformation);
    if (!range.holds(value) && !(half > 0.0 && range.holds(value + half))) {
        return fmt::format("--{} needs {}", name_of(column.transformation), range.in_words);
    }
    const bool is_below = half > 0.0 ? value + half <= column.lower : value < column.lower;
    const bool is_above = half > 0.0 ? value - half >= column.upper : value > column.upper;
    if (!is_below && !is_above) return "";
    return fmt::format("the value is {} {}={}, which holds for every row", is_below ? "below --lower" : "above --upper",
                       column.name, is_below ? column.lower : column.upper);
}

void check_observed_values(const Table &table) {
    Problems problems;
    for (std::size_t c = 0; c < table.columns.size(); ++c) {
        check_interrupt();
        const Column &column = table.columns[c];
        if (column.holds_words()) continue;
        for (std::size_t row = 0; row < column.values.size(); ++row) {
            if (table.is_hidden(row, c)) continue;
            std::string objection = objection_to(column, column.values[row]);
            if (objection.empty()) continue;
            problems.add({.line = table.file.line[row],
                          .row = static_cast<std::int64_t>(row + 1),
                          .columns = {column.name},
                          .text = table.cell_text(row, c),
                          .message = std::move(objection)});
        }
    }
    problems.throw_if_any(table.file.source);
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
    const RowOrder order(table);
    for (std::size_t i = 0; i < order.columns().size(); ++i) {
        if (order.at(i, i) == kUnordered) continue;
        throw Error(Fault::usage, fmt::format("--order: the rules run in a circle through {}",
                                              quote(table.columns[order.columns()[i]].name)));
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
}

}  // namespace ullage::host
