// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Reading formulas, and least squares by Eigen.

#include "ullage/host/answer/regression.h"

#include <fmt/format.h>

#include <Eigen/QR>
#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "ullage/host/base/error.h"
#include "ullage/host/base/words.h"
#include "ullage/host/model/posterior.h"
#include "ullage/host/numbers/moments.h"

namespace ullage::host {
namespace {

// A column of the design whose part that the others do not explain is below this part of its length is a combination
// of them; R's lm draws the line at the same place.
constexpr double kLeastUnexplainedPart = 1e-7;

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

LinearFit fit_least_squares(std::span<const double> design, std::span<const double> response,
                            std::span<const std::string> names) {
    const auto cases = static_cast<Eigen::Index>(response.size());
    const auto size = static_cast<Eigen::Index>(names.size());
    if (cases <= size) {
        throw Error(Fault::data, fmt::format("too few rows: {} for {}, which need at least {}", cases,
                                             count_of(names.size(), "coefficient"), size + 1));
    }
    using RowMajor = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;
    Eigen::MatrixXd x = Eigen::Map<const RowMajor>(design.data(), cases, size);
    const Eigen::Map<const Eigen::VectorXd> y(response.data(), cases);
    // Columns of length 1, so that the pivots can be compared with one limit whatever the units.
    Eigen::VectorXd length(size);
    for (Eigen::Index j = 0; j < size; ++j) {
        length[j] = x.col(j).stableNorm();
        if (!(length[j] > 0.0)) {
            throw Error(Fault::data, fmt::format("{} is 0 in all rows", quote(names[static_cast<std::size_t>(j)])));
        }
        x.col(j) /= length[j];
    }
    Eigen::ColPivHouseholderQR<Eigen::MatrixXd> qr(x);
    for (Eigen::Index j = 0; j < size; ++j) {
        if (std::fabs(qr.matrixR()(j, j)) > kLeastUnexplainedPart) continue;
        const auto column = static_cast<std::size_t>(qr.colsPermutation().indices()[j]);
        throw Error(Fault::data,
                    fmt::format("the coefficient of {} is not determined: it follows from the other terms; "
                                "leave it out",
                                quote(names[column])));
    }
    const Eigen::VectorXd solution = qr.solve(y);
    LinearFit fit;
    fit.residual_df = static_cast<double>(cases - size);
    fit.residual_variance = (y - x * solution).squaredNorm() / fit.residual_df;
    // (X'X)^-1 = P R^-1 R^-T P'.
    const Eigen::MatrixXd inverse =
        qr.colsPermutation() *
        qr.matrixR().topRows(size).triangularView<Eigen::Upper>().solve(Eigen::MatrixXd::Identity(size, size));
    for (Eigen::Index i = 0; i < size; ++i) {
        fit.coefficients.push_back(solution[i] / length[i]);
        for (Eigen::Index j = 0; j <= i; ++j) {
            fit.covariance.push_back(fit.residual_variance * inverse.row(i).dot(inverse.row(j)) /
                                     (length[i] * length[j]));
        }
    }
    return fit;
}

}  // namespace ullage::host
