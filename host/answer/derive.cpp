// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Computing columns of completed tables.

#include "ullage/host/answer/derive.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <span>
#include <utility>
#include <vector>

#include "ullage/host/answer/table_values.h"
#include "ullage/host/base/error.h"
#include "ullage/host/base/interrupt.h"
#include "ullage/host/base/words.h"
#include "ullage/host/run/carried_values.h"

namespace ullage::host {
namespace {

/** The values in some rows of one imputation, missing where what they are made of is. */
std::vector<double> derived_values(const CompletedTables &tables, const Derivation &derivation, std::size_t imputation,
                                   std::span<const std::int32_t> rows) {
    constexpr std::size_t kBlock = 4096;
    std::vector<double> values;
    for (std::size_t first = 0; first < rows.size(); first += kBlock) {
        check_interrupt();
        const auto block = rows.subspan(first, std::min(kBlock, rows.size() - first));
        try {
            const RowValues some = values_of(tables, derivation.expression, imputation, block, MissingCells::stay);
            values.insert(values.end(), some.values.begin(), some.values.end());
        } catch (const Error &error) {
            if (error.fault() != Fault::data) throw;
            throw Error(Fault::data, fmt::format("{}, imputation {}: {}", tables.source,
                                                 tables.imputations_before + imputation + 1, error.what()));
        }
    }
    return values;
}

/** The rows in which a cell of one of the columns was imputed, ascending. */
std::vector<std::int32_t> hidden_rows(const CompletedTables &tables, const std::vector<std::string> &columns) {
    std::vector<std::int32_t> all;
    for (const std::string &name : columns) {
        const std::vector<std::int32_t> &own = tables.column(name).hidden;
        std::vector<std::int32_t> both;
        std::set_union(all.begin(), all.end(), own.begin(), own.end(), std::back_inserter(both));
        all = std::move(both);
    }
    return all;
}

}  // namespace

Derivation parse_derivation(std::string_view text) {
    ExpressionReader reader("--derive", text);
    const Token::Kind kind = reader.token().kind;
    if (kind != Token::Kind::name && kind != Token::Kind::quoted_name) {
        throw reader.wrong("the name of the new column is expected");
    }
    Derivation derivation{reader.take_token().text, {}, std::string(text)};
    if (derivation.name.empty()) throw reader.wrong("the new column needs a name");
    reader.expect("=");
    derivation.expression = reader.read();
    if (!reader.at_end()) throw reader.wrong("an operator is expected");
    return derivation;
}

std::vector<Derivation> parse_derivations(const std::vector<std::string> &texts) {
    std::vector<Derivation> derivations;
    for (const std::string &text : texts) derivations.push_back(parse_derivation(text));
    return derivations;
}

void add_derived(CompletedTables &tables, const Derivation &derivation) {
    const auto is_own = [&](const auto &column) { return column.name == derivation.name; };
    const auto &others = tables.other_columns;
    if (std::any_of(tables.columns.begin(), tables.columns.end(), is_own) ||
        std::find(others.begin(), others.end(), derivation.name) != others.end()) {
        throw Error(Fault::usage, fmt::format("--derive: {} has a column {} already; give the new one another name",
                                              tables.source, quote(derivation.name)));
    }
    CompletedColumn column;
    column.name = derivation.name;
    const RowValues kind = values_of(tables, derivation.expression, 0, {});
    if (kind.words != nullptr) column.words = *kind.words;
    column.hidden = hidden_rows(tables, columns_of(derivation.expression));
    std::vector<std::int32_t> rows(tables.rows);
    for (std::size_t row = 0; row < rows.size(); ++row) rows[row] = static_cast<std::int32_t>(row);
    column.original = derived_values(tables, derivation, 0, rows);
    const bool is_missing =
        std::any_of(column.original.begin(), column.original.end(), [](double value) { return std::isnan(value); });
    for (std::size_t k = 0; k < tables.imputations; ++k) {
        column.imputed.held().push_back(derived_values(tables, derivation, k, column.hidden));
    }
    for (const std::int32_t row : column.hidden) {
        column.original[static_cast<std::size_t>(row)] = std::numeric_limits<double>::quiet_NaN();
    }
    if (!is_missing) tables.model.push_back(tables.columns.size());
    tables.columns.push_back(std::move(column));
}

std::vector<Derivation> derivations_of(const RunRecord &record) {
    std::vector<Derivation> derivations;
    for (const RunDerived &derived : record.derived) {
        try {
            derivations.push_back(parse_derivation(derived.derivation));
        } catch (const Error &error) {
            throw Error(Fault::data, fmt::format("run.json: derived column {}: {}", quote(derived.name), error.what()));
        }
    }
    return derivations;
}

Deriver::Deriver(const Table &table, const HiddenCells &hidden, std::vector<Derivation> derivations,
                 std::size_t rows_before)
    : hidden_(hidden), derivations_(std::move(derivations)) {
    if (derivations_.empty()) return;
    const auto is_used = [&](const std::string &name) {
        return std::ranges::any_of(derivations_, [&](const Derivation &derivation) {
            return std::ranges::count(columns_of(derivation.expression), name) > 0;
        });
    };
    given_.source = table.file.source;
    given_.rows = table.row_count();
    given_.rows_before = rows_before;
    given_.imputations = 1;
    given_.other_columns = {".imp", ".id"};
    for (const Column &column : table.columns) {
        given_.columns.push_back({column.name, column.values, {}, {}, column.words});
    }
    for (const HiddenCell &cell : hidden.cells) {
        given_.columns[static_cast<std::size_t>(cell.column)].hidden.push_back(cell.row);
    }
    for (const OutputColumn &output : table.output) {
        if (output.file_column < 0) continue;
        const auto place = static_cast<std::size_t>(output.file_column);
        CompletedColumn column;
        if (is_used(table.file.names[place])) column = carried_column(table, place);
        if (column.original.empty()) {
            given_.other_columns.push_back(table.file.names[place]);
        } else {
            given_.columns.push_back(std::move(column));
        }
    }
    constexpr double unknown = std::numeric_limits<double>::quiet_NaN();
    original_ = of(0, std::vector<double>(hidden.cells.size(), unknown));
    // Also where an expression does without a cell, as what is false and unknown is false.
    for (CompletedColumn &column : original_) std::ranges::fill(column.imputed.held().front(), unknown);
}

std::vector<CompletedColumn> Deriver::of(std::size_t imputation, std::span<const double> values) const {
    if (derivations_.empty()) return {};
    CompletedTables tables = given_;
    tables.imputations_before = imputation - 1;
    for (CompletedColumn &column : tables.columns) column.imputed.held().emplace_back();
    for (std::size_t i = 0; i < values.size(); ++i) {
        tables.columns[static_cast<std::size_t>(hidden_.cells[i].column)].imputed.held().front().push_back(values[i]);
    }
    for (const Derivation &derivation : derivations_) add_derived(tables, derivation);
    return {std::make_move_iterator(tables.columns.end() - static_cast<std::ptrdiff_t>(derivations_.size())),
            std::make_move_iterator(tables.columns.end())};
}

}  // namespace ullage::host
