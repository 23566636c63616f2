// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Reading expressions.

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <utility>

#include "ullage/host/base/number_text.h"
#include "ullage/host/base/words.h"
#include "ullage/host/table/expression.h"
#include "ullage/host/table/operations.h"

namespace ullage::host {
namespace {

constexpr std::size_t kDeepest = 200;      // brackets within brackets: reading goes down by calls
constexpr std::size_t kMostTokens = 5000;  // a sum of so many columns is as deep as it is long

/** Operators of two operands that bind alike, the loosest first; minus, ^ and ! have functions of their own. */
constexpr std::array<std::array<std::string_view, 6>, 5> kLevels = {
    {{"|"}, {"&"}, {"==", "!=", "<", "<=", ">", ">="}, {"+", "-"}, {"*", "/"}}};
constexpr std::size_t kComparisons = 2;

constexpr std::string_view kSigns[] = {"&&", "||", "==", "!=", "<=", ">=", "~", "+", "-", "*", "/",
                                       "^",  ":",  "(",  ")",  ",",  "<",  ">", "&", "|", "!", "="};

bool is_name_byte(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || is_digit(c) || c == '.' || c == '_' ||
           static_cast<unsigned char>(c) >= 128;
}

/** How long a name or a number is: "x.1", "10x", "1e-3". */
std::size_t word_length(std::string_view text) {
    std::size_t length = 0;
    while (length < text.size() && is_name_byte(text[length])) ++length;
    // A sign within a number.
    if (length > 1 && (text[length - 1] == 'e' || text[length - 1] == 'E') && length + 1 < text.size() &&
        (text[length] == '-' || text[length] == '+') && parse_number(text.substr(0, length - 1))) {
        std::size_t end = length + 1;
        while (end < text.size() && is_digit(text[end])) ++end;
        if (end > length + 1) return end;
    }
    return length;
}

std::vector<Expression> operands_of(Expression first) {
    std::vector<Expression> operands;
    operands.push_back(std::move(first));
    return operands;
}

std::vector<Expression> operands_of(Expression first, Expression second) {
    std::vector<Expression> operands = operands_of(std::move(first));
    operands.push_back(std::move(second));
    return operands;
}

}  // namespace

ExpressionReader::ExpressionReader(std::string_view noun, std::string_view text) : noun_(noun), text_(text) {
    std::size_t at = 0;
    for (;;) {
        while (at < text_.size() && (text_[at] == ' ' || text_[at] == '\t')) ++at;
        Token token;
        token.begin = at;
        if (at == text_.size()) {
            tokens_.push_back(token);
            return;
        }
        const std::string_view rest = std::string_view(text_).substr(at);
        const char first = rest[0];
        if (first == '`' || first == '\'' || first == '"') {
            const std::size_t end = rest.find(first, 1);
            if (end == std::string_view::npos) {
                throw Error(Fault::usage, fmt::format("{}: the {} is not closed", place_of(token),
                                                      first == '`' ? "backquote" : "quote"));
            }
            token.kind = first == '`' ? Token::Kind::quoted_name : Token::Kind::text;
            token.text = rest.substr(1, end - 1);
            at += end + 1;
        } else if (is_name_byte(first)) {
            token.text = rest.substr(0, word_length(rest));
            const auto number = parse_number(token.text);
            token.kind = number ? Token::Kind::number : Token::Kind::name;
            token.number = number.value_or(0.0);
            at += token.text.size();
        } else {
            const auto sign = std::find_if(std::begin(kSigns), std::end(kSigns),
                                           [&](std::string_view known) { return rest.starts_with(known); });
            if (sign == std::end(kSigns)) throw Error(Fault::usage, place_of(token) + ": this sign has no meaning");
            token.kind = Token::Kind::sign;
            // "&&" and "||" are another way to write "&" and "|".
            token.text = *sign == "&&" || *sign == "||" ? sign->substr(1) : *sign;
            at += sign->size();
        }
        tokens_.push_back(std::move(token));
        if (tokens_.size() > kMostTokens) {
            throw Error(Fault::usage,
                        fmt::format("{}: more than {} names and signs", place_of(tokens_.back()), kMostTokens));
        }
    }
}

std::string ExpressionReader::place_of(const Token &token) const {
    return fmt::format(
        "{} {}, {}", noun_, quote(text_),
        token.begin == text_.size() ? "at its end" : "at " + quote(std::string_view(text_).substr(token.begin)));
}

Error ExpressionReader::wrong(const std::string &why) const {
    return {Fault::usage, fmt::format("{}: {}", place(), why)};
}

bool ExpressionReader::is_next(std::string_view sign) const {
    return token().kind == Token::Kind::sign && token().text == sign;
}

bool ExpressionReader::is_call_of(std::string_view name) const {
    if (token().kind != Token::Kind::name || (!name.empty() && token().text != name)) return false;
    const Token &behind = tokens_[next_ + 1];
    return behind.kind == Token::Kind::sign && behind.text == "(";
}

bool ExpressionReader::take(std::string_view sign) {
    if (!is_next(sign)) return false;
    ++next_;
    return true;
}

void ExpressionReader::expect(std::string_view sign) {
    if (!take(sign)) throw wrong(fmt::format("a {} is expected", sign));
}

Token ExpressionReader::take_token() {
    return at_end() ? token() : tokens_[next_++];
}

std::string ExpressionReader::text_since(std::size_t position) const {
    std::string text;
    for (std::size_t i = position; i < next_; ++i) {
        const bool is_text = tokens_[i].kind == Token::Kind::text;
        text += is_text ? fmt::format("'{}'", tokens_[i].text) : tokens_[i].text;
    }
    return text;
}

Expression ExpressionReader::operation_of(std::string place, std::string_view name, std::vector<Expression> operands) {
    Expression expression;
    expression.kind = Expression::Kind::operation;
    expression.name = name;
    expression.operation = find_operation(name, operands.size());
    expression.operands = std::move(operands);
    expression.place = std::move(place);
    return expression;
}

Expression ExpressionReader::read() {
    if (++depth_ > kDeepest) throw wrong("there are too many brackets within each other");
    Expression expression = read_level(0);
    --depth_;
    return expression;
}

Expression ExpressionReader::read_level(std::size_t level) {
    if (level == kLevels.size()) return read_negated();
    if (level == kComparisons && is_next("!")) {
        if (++depth_ > kDeepest) throw wrong("there are too many signs ! behind each other");
        const std::string at = place();
        (void)take("!");
        Expression operand = read_level(level);
        --depth_;
        return operation_of(at, "!", operands_of(std::move(operand)));
    }
    Expression left = read_level(level + 1);
    for (;;) {
        const auto sign = std::find_if(kLevels[level].begin(), kLevels[level].end(),
                                       [&](std::string_view known) { return !known.empty() && is_next(known); });
        if (sign == kLevels[level].end()) return left;
        const std::string at = place();
        (void)take(*sign);
        Expression right = read_level(level + 1);
        left = operation_of(at, *sign, operands_of(std::move(left), std::move(right)));
        if (level == kComparisons) return left;
    }
}

Expression ExpressionReader::read_negated() {
    if (!is_next("-")) return read_power();
    if (++depth_ > kDeepest) throw wrong("there are too many signs - behind each other");
    const std::string at = place();
    (void)take("-");
    Expression operand = read_negated();
    --depth_;
    return operation_of(at, "-", operands_of(std::move(operand)));
}

Expression ExpressionReader::read_power() {
    Expression base = read_operand();
    if (!is_next("^")) return base;
    if (++depth_ > kDeepest) throw wrong("there are too many powers of powers");
    const std::string at = place();
    (void)take("^");
    Expression exponent = read_negated();
    --depth_;
    return operation_of(at, "^", operands_of(std::move(base), std::move(exponent)));
}

Expression ExpressionReader::read_operand() {
    if (take("(")) {
        Expression inner = read();
        expect(")");
        return inner;
    }
    if (is_call_of()) return read_call();
    Expression expression;
    expression.place = place();
    expression.name = token().text;
    switch (token().kind) {
        case Token::Kind::number:
            expression.number = token().number;
            break;
        case Token::Kind::text:
            expression.kind = Expression::Kind::text;
            break;
        case Token::Kind::name:
        case Token::Kind::quoted_name:
            expression.kind = Expression::Kind::column;
            break;
        default:
            throw wrong("the name of a column, a number or a function is expected");
    }
    (void)take_token();
    return expression;
}

Expression ExpressionReader::read_call() {
    const std::string at = place();
    const Error unknown =
        wrong(fmt::format("{} is no function; known are {}", quote(token().text), fmt::join(function_names(), ", ")));
    const std::string name = take_token().text;
    const std::vector<std::string> known = function_names();
    if (std::find(known.begin(), known.end(), name) == known.end()) throw unknown;
    expect("(");
    std::vector<Expression> operands;
    do {
        operands.push_back(read());
    } while (take(","));
    expect(")");
    if (find_operation(name, operands.size()) == nullptr) {
        std::size_t wanted = 1;
        while (find_operation(name, wanted) == nullptr) ++wanted;
        throw Error(Fault::usage, fmt::format("{}: {} takes {}, and there {} {}", at, name, count_of(wanted, "operand"),
                                              operands.size() == 1 ? "is" : "are", operands.size()));
    }
    return operation_of(at, name, std::move(operands));
}

Expression parse_expression(std::string_view noun, std::string_view text) {
    ExpressionReader reader(noun, text);
    Expression expression = reader.read();
    if (!reader.at_end()) throw reader.wrong("an operator is expected");
    return expression;
}

}  // namespace ullage::host
