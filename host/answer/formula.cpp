// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Reading formulas.

#include "ullage/host/answer/formula.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "ullage/host/base/error.h"
#include "ullage/host/base/words.h"

namespace ullage::host {
namespace {

constexpr std::size_t kMostTerms = 2000;  // a power of a bracket has many

bool is_same(const Term &a, const Term &b) {
    return a.variables.size() == b.variables.size() &&
           std::is_permutation(a.variables.begin(), a.variables.end(), b.variables.begin());
}

/** Walks through the text of a formula. */
class FormulaReader {
public:
    FormulaReader(std::string_view text, std::span<const std::string> dot) : reader_("formula", text), dot_(dot) {}

    Formula read() {
        formula_.response = reader_.read();
        reader_.expect("~");
        formula_.terms = read_sum(true);
        if (!reader_.at_end()) throw reader_.wrong("a + is expected");
        if (formula_.terms.empty() && !formula_.intercept) throw reader_.wrong("there is nothing on the right side");
        std::stable_sort(formula_.terms.begin(), formula_.terms.end(),
                         [](const Term &a, const Term &b) { return a.variables.size() < b.variables.size(); });
        return std::move(formula_);
    }

private:
    using Terms = std::vector<Term>;

    void add(Terms &terms, Term term) const {
        for (const Term &other : terms) {
            if (is_same(other, term)) return;
        }
        if (terms.size() == kMostTerms) throw reader_.wrong(fmt::format("more than {} terms", kMostTerms));
        terms.push_back(std::move(term));
    }

    /** All products of a term of the one and a term of the other. */
    [[nodiscard]] Terms crossed(const Terms &left, const Terms &right) const {
        Terms terms;
        for (const Term &a : left) {
            for (const Term &b : right) {
                Term term{{}, a.variables};
                for (const std::size_t variable : b.variables) {
                    const auto end = term.variables.end();
                    if (std::find(term.variables.begin(), end, variable) == end) term.variables.push_back(variable);
                }
                for (const std::size_t variable : term.variables) {
                    if (!term.name.empty()) term.name += ':';
                    term.name += formula_.variables[variable].name;
                }
                add(terms, std::move(term));
            }
        }
        return terms;
    }

    /** Terms between + and -; the constant and offsets belong to the whole formula only. */
    Terms read_sum(bool is_whole) {
        Terms terms;
        bool is_negative = reader_.take("-");
        for (;;) {
            const std::string place = reader_.place();
            if (!is_whole || !(take_constant(is_negative) || take_offset(is_negative))) {
                for (Term &term : read_star()) {
                    if (!is_negative) {
                        add(terms, std::move(term));
                    } else if (std::erase_if(terms, [&](const Term &other) { return is_same(other, term); }) == 0) {
                        throw Error(Fault::usage,
                                    fmt::format("{}: there is no term {} to take out", place, quote(term.name)));
                    }
                }
            }
            is_negative = reader_.take("-");
            if (!is_negative && !reader_.take("+")) return terms;
        }
    }

    bool take_constant(bool is_negative) {
        const Token &token = reader_.token();
        if (token.kind != Token::Kind::number) return false;
        if (token.number != 1.0 && (token.number != 0.0 || is_negative)) {
            throw reader_.wrong("of numbers only 1 and 0, for the constant, are terms; I() makes one of arithmetic");
        }
        formula_.intercept = token.number == 1.0 && !is_negative;
        (void)reader_.take_token();
        return true;
    }

    bool take_offset(bool is_negative) {
        if (is_negative || !reader_.is_call_of("offset")) return false;
        (void)reader_.take_token();
        reader_.expect("(");
        formula_.offsets.push_back(reader_.read());
        reader_.expect(")");
        return true;
    }

    Terms read_star() {
        Terms terms = read_product();
        while (reader_.take("*")) {
            const Terms right = read_product();
            const Terms both = crossed(terms, right);
            for (const Term &term : right) add(terms, term);
            for (const Term &term : both) add(terms, term);
        }
        return terms;
    }

    Terms read_product() {
        Terms terms = read_power();
        while (reader_.take(":")) terms = crossed(terms, read_power());
        return terms;
    }

    Terms read_power() {
        Terms terms = read_bracket();
        if (!reader_.take("^")) return terms;
        const double order = reader_.token().number;
        if (reader_.token().kind != Token::Kind::number || !(order >= 1.0 && order <= 20.0) ||
            order != static_cast<int>(order)) {
            throw reader_.wrong("an order from 1 to 20 is expected; the power of a column is written I(x^2)");
        }
        (void)reader_.take_token();
        const Terms base = terms;
        for (int i = 1; i < static_cast<int>(order); ++i) {
            for (Term &term : crossed(terms, base)) add(terms, std::move(term));
        }
        return terms;
    }

    Terms read_bracket() {
        if (reader_.take("(")) {
            if (++depth_ > 200) throw reader_.wrong("there are too many brackets within each other");
            Terms terms = read_sum(false);
            --depth_;
            reader_.expect(")");
            return terms;
        }
        if (reader_.token().kind == Token::Kind::name && reader_.token().text == ".") return read_dot();
        FormulaVariable variable = read_variable();
        return {term_of(std::move(variable))};
    }

    Term term_of(FormulaVariable variable) {
        auto &variables = formula_.variables;
        const auto found = std::find_if(variables.begin(), variables.end(),
                                        [&](const FormulaVariable &known) { return known.name == variable.name; });
        const auto place = static_cast<std::size_t>(found - variables.begin());
        Term term{variable.name, {place}};
        if (found == variables.end()) variables.push_back(std::move(variable));
        return term;
    }

    Terms read_dot() {
        const std::vector<std::string> named = columns_of(formula_.response);
        Terms terms;
        Expression column;
        column.kind = Expression::Kind::column;
        column.place = reader_.place();
        for (const std::string &name : dot_) {
            if (std::find(named.begin(), named.end(), name) != named.end()) continue;
            column.name = name;
            add(terms, term_of({name, column}));
        }
        if (terms.empty()) throw reader_.wrong("the model has no column besides those of the response");
        (void)reader_.take_token();
        return terms;
    }

    FormulaVariable read_variable() {
        const Token::Kind kind = reader_.token().kind;
        if (kind != Token::Kind::name && kind != Token::Kind::quoted_name) {
            throw reader_.wrong("the name of a column or a function is expected");
        }
        const std::size_t begin = reader_.position();
        FormulaVariable variable;
        if (reader_.is_call_of("offset")) {
            throw reader_.wrong("an offset stands between signs +, outside of all brackets");
        }
        if (reader_.is_call_of("C")) {
            variable = read_categorical();
        } else {
            variable.expression = reader_.read_operand();
        }
        variable.name = reader_.text_since(begin);
        return variable;
    }

    /** C(column) or C(column, ref = word). */
    FormulaVariable read_categorical() {
        FormulaVariable variable;
        variable.is_categorical = true;
        (void)reader_.take_token();
        reader_.expect("(");
        variable.expression = reader_.read_operand();
        if (variable.expression.kind != Expression::Kind::column) throw reader_.wrong("C() takes the name of a column");
        if (reader_.take(",")) {
            if (reader_.take_token().text != "ref") throw reader_.wrong("ref = WORD is expected behind the column");
            reader_.expect("=");
            const Token::Kind kind = reader_.token().kind;
            if (kind == Token::Kind::sign || kind == Token::Kind::end) throw reader_.wrong("a word is expected");
            variable.reference = reader_.take_token().text;
        }
        reader_.expect(")");
        return variable;
    }

    ExpressionReader reader_;
    std::span<const std::string> dot_;
    Formula formula_;
    std::size_t depth_ = 0;
};

/** Refuse a column that would explain itself. */
void check_response(const Formula &formula) {
    if (formula.response.kind != Expression::Kind::column) return;
    for (const Term &term : formula.terms) {
        for (const std::size_t place : term.variables) {
            const Expression &expression = formula.variables[place].expression;
            if (expression.kind != Expression::Kind::column || expression.name != formula.response.name) continue;
            throw Error(Fault::usage,
                        fmt::format("{}: {} is the response too", expression.place, quote(expression.name)));
        }
    }
}

}  // namespace

Formula parse_formula(std::string_view text, std::span<const std::string> dot) {
    Formula formula = FormulaReader(text, dot).read();
    check_response(formula);
    return formula;
}

}  // namespace ullage::host
