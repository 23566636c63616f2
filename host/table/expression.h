// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Expressions of columns, such as "wgt / (hgt / 100)^2" or "age >= 18 & sex == 'f'".

#ifndef ULLAGE_HOST_TABLE_EXPRESSION_H
#define ULLAGE_HOST_TABLE_EXPRESSION_H

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "ullage/host/base/error.h"

namespace ullage::host {

struct Operation;

/** An expression, taken apart. */
struct Expression {
    enum class Kind { number, text, column, operation };

    Kind kind = Kind::number;
    double number = 0.0;
    std::string name = {};                 ///< the text, the name of the column, or that of the operation
    const Operation *operation = nullptr;  ///< an operator or a function
    std::vector<Expression> operands = {};
    std::string place = {};  ///< "expression "x * lgo(y)", at "lgo(y)"", for messages
};

/** One piece of a text: a name, a number, a quoted text, or a sign. */
struct Token {
    enum class Kind { name, quoted_name, number, text, sign, end };

    Kind kind = Kind::end;
    std::string text;       ///< without quotes or backquotes
    double number = 0.0;    ///< of a number
    std::size_t begin = 0;  ///< where it begins in the whole text
};

/**
 * Reads expressions from a text. A name is made of letters, digits, points and underscores, or stands between
 * backquotes; a text stands between single or double quotes. In the order in which they bind: ^ (from right to left),
 * a minus, * and /, + and -, comparisons (== != < <= > >=), !, &, |. What is true is 1, what is false 0.
 *
 * Functions: log, log10, log2, log1p, exp, expm1, sqrt, abs, floor, ceiling, round (halves away from 0), min and max of
 * two, ifelse(a, b, c), is.na, and I, which changes nothing.
 */
class ExpressionReader {
public:
    /** @param noun  what the text is, for messages: "formula"
     * @throws Error  usage with the place of a character that cannot be, or of a quote that is not closed */
    ExpressionReader(std::string_view noun, std::string_view text);

    /** An expression, to where it ends. @throws Error  usage with the place and what is expected there */
    [[nodiscard]] Expression read();
    /** The same without operators: a column, a number, a function, or what stands in brackets. */
    [[nodiscard]] Expression read_operand();

    [[nodiscard]] const Token &token() const { return tokens_[next_]; }
    [[nodiscard]] bool at_end() const { return token().kind == Token::Kind::end; }
    [[nodiscard]] std::size_t position() const { return next_; }
    [[nodiscard]] bool is_next(std::string_view sign) const;
    /** Whether a name and a bracket come next; the name is this one, if one is given. */
    [[nodiscard]] bool is_call_of(std::string_view name = {}) const;
    /** Go on behind this sign, if it is there. */
    bool take(std::string_view sign);
    void expect(std::string_view sign);
    [[nodiscard]] Token take_token();
    /** What was read since a position, without blanks and backquotes. */
    [[nodiscard]] std::string text_since(std::size_t position) const;
    /** "formula "y ~ x + ", at its end". */
    [[nodiscard]] std::string place() const { return place_of(token()); }
    [[nodiscard]] Error wrong(const std::string &why) const;

private:
    [[nodiscard]] std::string place_of(const Token &token) const;
    Expression read_level(std::size_t level);
    Expression read_negated();
    Expression read_power();
    Expression read_call();
    [[nodiscard]] static Expression operation_of(std::string place, std::string_view name,
                                                 std::vector<Expression> operands);

    std::string noun_;
    std::string text_;
    std::vector<Token> tokens_;
    std::size_t next_ = 0;
    std::size_t depth_ = 0;
};

/** The whole text as an expression.
 * @throws Error  usage, as ExpressionReader */
[[nodiscard]] Expression parse_expression(std::string_view noun, std::string_view text);

/** The names of all columns in an expression, each once. */
[[nodiscard]] std::vector<std::string> columns_of(const Expression &expression);

/** Values of a column in some rows: numbers, NaN where there is none, or places in a list of words. */
struct RowValues {
    std::vector<double> values;
    const std::vector<std::string> *words = nullptr;
};

/** Gives the values of a column by its name, as many as there are rows. */
using ColumnSource = std::function<RowValues(const std::string &name)>;

/**
 * An expression in some rows. Words that are numbers count as those, where a number is needed. A column alone gives
 * what the source gives.
 *
 * @return one value per row, NaN or infinite where it is not defined
 * @throws Error  usage with the place if words stand where numbers are needed, or a text is no word of the column
 */
[[nodiscard]] RowValues evaluate(const Expression &expression, const ColumnSource &columns, std::size_t rows);

}  // namespace ullage::host

#endif
