// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// From a formula to the columns of a design.

#include "ullage/host/answer/design.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <utility>

#include "ullage/host/answer/table_values.h"
#include "ullage/host/base/error.h"
#include "ullage/host/base/interrupt.h"
#include "ullage/host/base/words.h"

namespace ullage::host {

Design::Design(const CompletedTables &tables, const Formula &formula, Family family,
               std::span<const std::vector<std::int32_t>> rows)
    : tables_(tables), formula_(formula), family_(family) {
    (void)response(0, {});  // what is wrong with the response whatever the rows are
    for (const FormulaVariable &variable : formula.variables) find_words(variable, rows);
    for (const Expression &offset : formula.offsets) (void)values_of(tables, offset, 0, {});
    if (formula.intercept) columns_.push_back({std::string(kIntercept), {}});
    // Without a constant, the words of the first column of words have all their columns.
    std::optional<std::size_t> full;
    for (const Term &term : formula.terms) {
        for (const std::size_t variable : term.variables) {
            if (!formula.intercept && !full && holds_words(variable)) full = variable;
        }
    }
    for (const Term &term : formula.terms) {
        const bool has_it =
            full && std::find(term.variables.begin(), term.variables.end(), *full) != term.variables.end();
        add_term(term, has_it ? full : std::nullopt, rows);
        if (has_it) full.reset();
    }
    for (const DesignColumn &column : columns_) names_.push_back(column.name);
}

/** Which words a variable has in the rows, the reference first; none of a variable of numbers. */
void Design::find_words(const FormulaVariable &variable, std::span<const std::vector<std::int32_t>> rows) {
    std::vector<double> &found = words_.emplace_back();
    const RowValues none = values_of(tables_, variable.expression, 0, {});
    if (none.words == nullptr) {
        if (!variable.is_categorical) return;
        throw Error(Fault::usage, fmt::format("{}: column {} holds numbers, and C() is for columns of words",
                                              variable.expression.place, quote(variable.expression.name)));
    }
    const std::vector<std::string> &words = *none.words;
    std::vector<bool> is_used(words.size(), false);
    for (std::size_t k = 0; k < rows.size(); ++k) {
        check_interrupt();
        for (const double word : values_of(tables_, variable.expression, k, rows[k]).values) {
            is_used[static_cast<std::size_t>(word)] = true;
        }
    }
    for (std::size_t word = 0; word < words.size(); ++word) {
        if (is_used[word]) found.push_back(static_cast<double>(word));
    }
    if (found.size() < 2) {
        throw Error(Fault::usage, fmt::format("column {} has only one word in these rows; leave it out",
                                              quote(variable.expression.name)));
    }
    if (variable.reference.empty()) return;
    const auto reference = std::find_if(found.begin(), found.end(), [&](double word) {
        return words[static_cast<std::size_t>(word)] == variable.reference;
    });
    if (reference == found.end()) {
        throw Error(Fault::usage, fmt::format("{}: column {} has no word {} in these rows; its words are {}",
                                              variable.expression.place, quote(variable.expression.name),
                                              quote(variable.reference), fmt::join(words, ", ")));
    }
    std::rotate(found.begin(), reference, reference + 1);
}

/** Whether the formula has a term without one of its variables too; the empty one is taken for there. */
bool Design::has_margin(const Term &term, std::size_t variable) const {
    std::vector<std::size_t> margin = term.variables;
    std::erase(margin, variable);
    return margin.empty() || std::any_of(formula_.terms.begin(), formula_.terms.end(), [&](const Term &other) {
               return other.variables.size() == margin.size() &&
                      std::is_permutation(margin.begin(), margin.end(), other.variables.begin());
           });
}

std::vector<Design::DesignColumn> Design::columns_of_variable(std::size_t variable, bool is_full) const {
    const FormulaVariable &own = formula_.variables[variable];
    if (!holds_words(variable)) return {{own.name, {{variable}}}};
    const std::vector<std::string> &words = tables_.column(own.expression.name).words;
    std::vector<DesignColumn> columns;
    for (std::size_t i = is_full ? 0 : 1; i < words_[variable].size(); ++i) {
        const double word = words_[variable][i];
        columns.push_back({own.expression.name + words[static_cast<std::size_t>(word)], {{variable, word}}});
    }
    return columns;
}

/** Of products of several columns of words those that stand together in no row, in no imputation. */
void Design::leave_out_absent(const Term &term, std::span<const std::vector<std::int32_t>> rows,
                              std::vector<DesignColumn> &products) const {
    std::vector<std::size_t> of_words;
    for (const std::size_t variable : term.variables) {
        if (holds_words(variable)) of_words.push_back(variable);
    }
    if (of_words.size() < 2) return;
    std::set<std::vector<double>> together;
    for (std::size_t k = 0; k < rows.size(); ++k) {
        check_interrupt();
        std::vector<std::vector<double>> values;
        for (const std::size_t variable : of_words) {
            values.push_back(values_of(tables_, formula_.variables[variable].expression, k, rows[k]).values);
        }
        std::vector<double> words(of_words.size());
        for (std::size_t i = 0; i < rows[k].size(); ++i) {
            for (std::size_t j = 0; j < words.size(); ++j) words[j] = values[j][i];
            together.insert(words);
        }
    }
    std::erase_if(products, [&](const DesignColumn &column) {
        std::vector<double> words;
        for (const Part &part : column.parts) {
            if (part.word) words.push_back(*part.word);
        }
        return !together.contains(words);
    });
}

void Design::add_term(const Term &term, std::optional<std::size_t> full_in_first,
                      std::span<const std::vector<std::int32_t>> rows) {
    constexpr std::size_t kMostColumns = 10000;
    std::vector<DesignColumn> products = {{}};
    for (const std::size_t variable : term.variables) {
        const bool is_full = full_in_first == variable || !has_margin(term, variable);
        std::vector<DesignColumn> longer;
        for (const DesignColumn &factor : columns_of_variable(variable, is_full)) {
            for (const DesignColumn &product : products) {
                DesignColumn &column = longer.emplace_back(product);
                column.name += (product.parts.empty() ? "" : ":") + factor.name;
                column.parts.push_back(factor.parts[0]);
            }
        }
        products = std::move(longer);
        if (products.size() + columns_.size() <= kMostColumns) continue;
        throw Error(Fault::usage, fmt::format("the terms to {} have more than {} coefficients; leave columns of many "
                                              "words out of products",
                                              quote(term.name), kMostColumns));
    }
    leave_out_absent(term, rows, products);
    if (products.empty()) return;
    DesignTerm &places = terms_.emplace_back(DesignTerm{term.name, {}});
    for (DesignColumn &column : products) {
        places.places.push_back(columns_.size());
        columns_.push_back(std::move(column));
    }
}

/** The response as the family takes it: of two words the second is 1. */
std::vector<double> Design::response(std::size_t imputation, std::span<const std::int32_t> rows) const {
    const Expression &expression = formula_.response;
    RowValues values = values_of(tables_, expression, imputation, rows);
    if (values.words != nullptr && (family_ != Family::binomial || values.words->size() != 2)) {
        const char *what = family_ == Family::binomial
                               ? "and the response of a logistic model has two of them; compare "
                                 "it with one in quotes, as in I(site == 'b')"
                               : "and this model needs a response of numbers";
        throw Error(Fault::usage, fmt::format("{}: column {} holds words ({}), {}", expression.place,
                                              quote(expression.name), fmt::join(*values.words, ", "), what));
    }
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const double value = values.values[i];
        if (family_ == Family::binomial && value != 0.0 && value != 1.0) {
            throw Error(Fault::data, fmt::format("{}: the response of a logistic model is 0 or 1, and is {} in row {}; "
                                                 "impute the column as one of words, or compare it with a limit",
                                                 expression.place, value, rows[i] + 1));
        }
        if (family_ == Family::poisson && !(value >= 0.0)) {
            throw Error(Fault::data, fmt::format("{}: the response of a Poisson model is 0 or more, and is {} in row "
                                                 "{}; impute the column as a count, or with a lower bound",
                                                 expression.place, value, rows[i] + 1));
        }
    }
    return std::move(values.values);
}

DesignBlock Design::block(std::size_t imputation, std::span<const std::int32_t> rows) const {
    DesignBlock block;
    block.rows.assign(rows.begin(), rows.end());
    block.response = response(imputation, rows);
    block.offset.assign(rows.size(), 0.0);
    for (const Expression &offset : formula_.offsets) {
        const RowValues values = values_of(tables_, offset, imputation, rows);
        if (values.words != nullptr) throw Error(Fault::usage, offset.place + ": an offset is of numbers");
        for (std::size_t i = 0; i < rows.size(); ++i) block.offset[i] += values.values[i];
    }
    std::vector<std::vector<double>> values;
    for (const FormulaVariable &variable : formula_.variables) {
        values.push_back(values_of(tables_, variable.expression, imputation, rows).values);
    }
    block.design.assign(rows.size() * columns_.size(), 1.0);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        double *row = block.design.data() + i * columns_.size();
        for (std::size_t c = 0; c < columns_.size(); ++c) {
            for (const Part &part : columns_[c].parts) {
                const double value = values[part.variable][i];
                row[c] *= part.word ? (value == *part.word ? 1.0 : 0.0) : value;
            }
        }
    }
    return block;
}

}  // namespace ullage::host
