// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Expressions: the operators and functions, and their values in rows.

#include "ullage/host/table/expression.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "ullage/host/base/number_text.h"
#include "ullage/host/base/words.h"
#include "ullage/host/table/operations.h"

namespace ullage::host {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

double truth(bool is_true) {
    return is_true ? 1.0 : 0.0;
}

/** A comparison; of nothing nothing is known. */
double compared(const double *x, bool is_true) {
    return std::isnan(x[0]) || std::isnan(x[1]) ? kNaN : truth(is_true);
}

/** The smaller, or the larger, of two, if both are known. */
double chosen(const double *x, bool takes_first) {
    if (std::isnan(x[0]) || std::isnan(x[1])) return kNaN;
    return takes_first ? x[0] : x[1];
}

constexpr Operation kOperations[] = {
    {"+", 2, [](const double *x) { return x[0] + x[1]; }},
    {"-", 2, [](const double *x) { return x[0] - x[1]; }},
    {"-", 1, [](const double *x) { return -x[0]; }},
    {"*", 2, [](const double *x) { return x[0] * x[1]; }},
    {"/", 2, [](const double *x) { return x[0] / x[1]; }},
    // A square is a product: the last bit of pow belongs to the library of the platform.
    {"^", 2, [](const double *x) { return x[1] == 2.0 ? x[0] * x[0] : std::pow(x[0], x[1]); }},
    {"==", 2, [](const double *x) { return compared(x, x[0] == x[1]); }},
    {"!=", 2, [](const double *x) { return compared(x, x[0] != x[1]); }},
    {"<", 2, [](const double *x) { return compared(x, x[0] < x[1]); }},
    {"<=", 2, [](const double *x) { return compared(x, x[0] <= x[1]); }},
    {">", 2, [](const double *x) { return compared(x, x[0] > x[1]); }},
    {">=", 2, [](const double *x) { return compared(x, x[0] >= x[1]); }},
    // What is false makes "and" false, and what is true "or" true, whatever the other one is.
    {"&", 2, [](const double *x) { return x[0] == 0.0 || x[1] == 0.0 ? 0.0 : compared(x, true); }},
    {"|", 2,
     [](const double *x) {
         const auto is_true = [](double value) { return value != 0.0 && !std::isnan(value); };
         return is_true(x[0]) || is_true(x[1]) ? 1.0 : compared(x, false);
     }},
    {"!", 1, [](const double *x) { return std::isnan(x[0]) ? kNaN : truth(x[0] == 0.0); }},
    {"I", 1, [](const double *x) { return x[0]; }},
    {"log", 1, [](const double *x) { return std::log(x[0]); }},
    {"log10", 1, [](const double *x) { return std::log10(x[0]); }},
    {"log2", 1, [](const double *x) { return std::log2(x[0]); }},
    {"log1p", 1, [](const double *x) { return std::log1p(x[0]); }},
    {"exp", 1, [](const double *x) { return std::exp(x[0]); }},
    {"expm1", 1, [](const double *x) { return std::expm1(x[0]); }},
    {"sqrt", 1, [](const double *x) { return std::sqrt(x[0]); }},
    {"abs", 1, [](const double *x) { return std::fabs(x[0]); }},
    {"floor", 1, [](const double *x) { return std::floor(x[0]); }},
    {"ceiling", 1, [](const double *x) { return std::ceil(x[0]); }},
    {"round", 1, [](const double *x) { return std::round(x[0]); }},
    {"min", 2, [](const double *x) { return chosen(x, x[0] < x[1]); }},
    {"max", 2, [](const double *x) { return chosen(x, x[0] > x[1]); }},
    {"ifelse", 3, [](const double *x) { return std::isnan(x[0]) ? kNaN
                                               : x[0] != 0.0    ? x[1]
                                                                : x[2]; }},
    {"is.na", 1, [](const double *x) { return truth(std::isnan(x[0])); }},
};

class Evaluator {
public:
    Evaluator(const ColumnSource &columns, std::size_t rows) : columns_(columns), rows_(rows) {}

    [[nodiscard]] RowValues value(const Expression &expression) const {
        switch (expression.kind) {
            case Expression::Kind::number:
                return {std::vector<double>(rows_, expression.number), nullptr};
            case Expression::Kind::column:
                return columns_(expression.name);
            case Expression::Kind::text:
                throw Error(Fault::usage, expression.place + ": a text stands only beside == or != and a column");
            case Expression::Kind::operation:
                break;
        }
        std::vector<RowValues> operands = compared_words(expression);
        if (operands.empty()) {
            for (const Expression &operand : expression.operands) {
                const bool takes_words = expression.name == "is.na";
                operands.push_back(takes_words ? value(operand) : numbers(operand));
            }
        }
        RowValues result{std::vector<double>(rows_), nullptr};
        double x[3] = {};
        for (std::size_t row = 0; row < rows_; ++row) {
            for (std::size_t k = 0; k < operands.size(); ++k) x[k] = operands[k].values[row];
            result.values[row] = expression.operation->apply(x);
        }
        return result;
    }

private:
    /** The values where numbers are needed. */
    [[nodiscard]] RowValues numbers(const Expression &expression) const {
        RowValues result = value(expression);
        if (result.words == nullptr) return result;
        std::vector<double> number_of;
        for (const std::string &word : *result.words) {
            const auto number = parse_number(word);
            if (!number) {
                throw Error(Fault::usage,
                            fmt::format("{}: column {} holds words, and numbers are needed; compare it with one of its "
                                        "words ({}), each in quotes",
                                        expression.place, quote(expression.name), fmt::join(*result.words, ", ")));
            }
            number_of.push_back(*number);
        }
        for (double &value : result.values) {
            if (!std::isnan(value)) value = number_of[static_cast<std::size_t>(value)];
        }
        result.words = nullptr;
        return result;
    }

    /** The two operands of == or != as places in one list of words, if both are words; otherwise nothing. */
    [[nodiscard]] std::vector<RowValues> compared_words(const Expression &expression) const {
        if (expression.name != "==" && expression.name != "!=") return {};
        const bool has_text_first = expression.operands[0].kind == Expression::Kind::text;
        const Expression &left = expression.operands[has_text_first ? 1 : 0];
        const Expression &right = expression.operands[has_text_first ? 0 : 1];
        if (left.kind != Expression::Kind::column) return {};
        RowValues values = value(left);
        if (right.kind == Expression::Kind::column && values.words != nullptr) {
            RowValues others = value(right);
            if (others.words == nullptr) return {};
            // Words of the other column that this one does not have are places behind the last.
            for (double &other : others.values) {
                if (std::isnan(other)) continue;
                const std::string &word = (*others.words)[static_cast<std::size_t>(other)];
                const auto found = std::find(values.words->begin(), values.words->end(), word);
                other = static_cast<double>(found - values.words->begin());
            }
            return {std::move(values), std::move(others)};
        }
        if (right.kind != Expression::Kind::text) return {};
        if (values.words == nullptr) {
            throw Error(Fault::usage, fmt::format("{}: column {} holds numbers, which are written without quotes",
                                                  right.place, quote(left.name)));
        }
        const auto found = std::find(values.words->begin(), values.words->end(), right.name);
        if (found == values.words->end()) {
            throw Error(Fault::usage, fmt::format("{}: column {} has no word {}; its words are {}", right.place,
                                                  quote(left.name), quote(right.name), fmt::join(*values.words, ", ")));
        }
        const auto place = static_cast<double>(found - values.words->begin());
        return {std::move(values), {std::vector<double>(rows_, place), nullptr}};
    }

    const ColumnSource &columns_;
    std::size_t rows_;
};

void add_columns(const Expression &expression, std::vector<std::string> &names) {
    const bool is_column = expression.kind == Expression::Kind::column;
    if (is_column && std::find(names.begin(), names.end(), expression.name) == names.end()) {
        names.push_back(expression.name);
    }
    for (const Expression &operand : expression.operands) add_columns(operand, names);
}

}  // namespace

const Operation *find_operation(std::string_view name, std::size_t operands) {
    const auto found = std::find_if(std::begin(kOperations), std::end(kOperations), [&](const Operation &operation) {
        return operation.name == name && operation.operands == operands;
    });
    return found == std::end(kOperations) ? nullptr : found;
}

std::vector<std::string> function_names() {
    std::vector<std::string> names;
    for (const Operation &operation : kOperations) {
        if (std::isalpha(static_cast<unsigned char>(operation.name[0])) != 0) names.emplace_back(operation.name);
    }
    return names;
}

std::vector<std::string> columns_of(const Expression &expression) {
    std::vector<std::string> names;
    add_columns(expression, names);
    return names;
}

RowValues evaluate(const Expression &expression, const ColumnSource &columns, std::size_t rows) {
    return Evaluator(columns, rows).value(expression);
}

}  // namespace ullage::host
