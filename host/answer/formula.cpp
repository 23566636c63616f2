// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Reading formulas.

#include "ullage/host/answer/formula.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "ullage/host/base/error.h"
#include "ullage/host/base/words.h"

namespace ullage::host {
namespace {

constexpr std::array<std::pair<std::string_view, TermFunction>, 5> kFunctions = {{{"log", TermFunction::log},
                                                                                  {"log10", TermFunction::log10},
                                                                                  {"log2", TermFunction::log2},
                                                                                  {"exp", TermFunction::exp},
                                                                                  {"sqrt", TermFunction::sqrt}}};

bool is_name_byte(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' || c == '_' ||
           static_cast<unsigned char>(c) >= 128;
}

/** Walks through the text of a formula. */
class FormulaReader {
public:
    explicit FormulaReader(std::string_view text) : text_(text) {}

    Formula read() {
        Formula formula;
        formula.response = read_factor(nullptr);
        expect('~');
        bool is_negative = take('-');
        for (;;) {
            read_term(formula, is_negative);
            if (at_end()) break;
            is_negative = take('-');
            if (!is_negative) expect('+');
        }
        if (formula.terms.empty() && !formula.intercept) throw wrong("there is nothing on the right side");
        return formula;
    }

private:
    void read_term(Formula &formula, bool is_negative) {
        if (take_number("1")) {
            formula.intercept = !is_negative;
            return;
        }
        if (!is_negative && take_number("0")) {
            formula.intercept = false;
            return;
        }
        if (is_negative) throw wrong("only 1 can be taken out by a -");
        Term term;
        do {
            if (!term.factors.empty()) term.name += ':';
            term.factors.push_back(read_factor(&term.name));
        } while (take(':'));
        for (const Term &other : formula.terms) {
            if (other.name == term.name) throw wrong(fmt::format("the term {} stands there twice", quote(term.name)));
        }
        formula.terms.push_back(std::move(term));
    }

    /** Read a factor, and add its text to the name if there is one. */
    Factor read_factor(std::string *name) {
        Factor factor;
        std::string word = read_name();
        if (take('(')) {
            const auto found = std::find_if(kFunctions.begin(), kFunctions.end(),
                                            [&](const auto &known) { return known.first == word; });
            if (found == kFunctions.end()) {
                throw wrong(fmt::format("{} is no function; known are log, log10, log2, exp and sqrt", quote(word)));
            }
            factor.function = found->second;
            factor.column = read_name();
            expect(')');
            word += '(' + factor.column + ')';
        } else {
            factor.column = word;
        }
        if (name != nullptr) *name += word;
        return factor;
    }

    std::string read_name() {
        skip_blanks();
        const std::size_t begin = place_;
        if (place_ < text_.size() && text_[place_] == '`') {
            const std::size_t end = text_.find('`', place_ + 1);
            if (end == std::string_view::npos) throw wrong("the backquote is not closed");
            place_ = end + 1;
            return std::string(text_.substr(begin + 1, end - begin - 1));
        }
        while (place_ < text_.size() && is_name_byte(text_[place_])) ++place_;
        if (place_ == begin) throw wrong("the name of a column is expected");
        return std::string(text_.substr(begin, place_ - begin));
    }

    bool take(char sign) {
        skip_blanks();
        if (place_ == text_.size() || text_[place_] != sign) return false;
        ++place_;
        return true;
    }
    /** Take a number that no name goes on from. */
    bool take_number(std::string_view number) {
        skip_blanks();
        const std::size_t end = place_ + number.size();
        if (text_.substr(place_, number.size()) != number || (end < text_.size() && is_name_byte(text_[end])))
            return false;
        place_ = end;
        return true;
    }
    void expect(char sign) {
        if (!take(sign)) throw wrong(fmt::format("a {} is expected", sign));
    }
    void skip_blanks() {
        while (place_ < text_.size() && (text_[place_] == ' ' || text_[place_] == '\t')) ++place_;
    }
    bool at_end() {
        skip_blanks();
        return place_ == text_.size();
    }
    Error wrong(const std::string &why) {
        skip_blanks();
        const std::string place =
            place_ == text_.size() ? std::string("at its end") : "at " + quote(text_.substr(place_));
        return {Fault::usage, fmt::format("formula {}, {}: {}", quote(text_), place, why)};
    }

    std::string_view text_;
    std::size_t place_ = 0;
};

}  // namespace

double Factor::value(double x) const {
    switch (function) {
        case TermFunction::identity:
            return x;
        case TermFunction::log:
            return std::log(x);
        case TermFunction::log10:
            return std::log10(x);
        case TermFunction::log2:
            return std::log2(x);
        case TermFunction::exp:
            return std::exp(x);
        case TermFunction::sqrt:
            return std::sqrt(x);
    }
    return x;
}

Formula parse_formula(std::string_view text) {
    return FormulaReader(text).read();
}

}  // namespace ullage::host
