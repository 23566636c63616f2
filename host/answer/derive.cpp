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
            throw Error(Fault::data, fmt::format("{}, imputation {}: {}", tables.source, imputation + 1, error.what()));
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
    Derivation derivation{reader.take_token().text, {}};
    if (derivation.name.empty()) throw reader.wrong("the new column needs a name");
    reader.expect("=");
    derivation.expression = reader.read();
    if (!reader.at_end()) throw reader.wrong("an operator is expected");
    return derivation;
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

}  // namespace ullage::host
