// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The columns that a formula makes of completed tables.

#ifndef ULLAGE_HOST_ANSWER_DESIGN_H
#define ULLAGE_HOST_ANSWER_DESIGN_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "ullage/host/answer/formula.h"
#include "ullage/host/numbers/generalised_linear.h"
#include "ullage/host/run/completed_tables.h"

namespace ullage::host {

/** The coefficients of one term. */
struct DesignTerm {
    std::string name;
    std::vector<std::size_t> places;  ///< in Design::names
};

/**
 * A formula on some rows of completed tables. Words are coded by treatment contrasts: a column of 0 and 1 for each word
 * but the reference; a word that is in none of the rows, in no imputation, has none, and neither has a product of words
 * that are in none of them together. Where a term without the column of
 * words is not in the formula either, every word has a column (Chambers and Hastie 1992, section 2.4.1).
 */
class Design {
public:
    /**
     * @param rows  ascending, of each imputation; both these and the tables live as long as the design
     * @throws Error  usage if a column is not there, holds words where numbers are needed or the other way round, has
     *                no such word, or has one word only; data if a cell that is needed is missing
     */
    Design(const CompletedTables &tables, const Formula &formula, Family family,
           std::span<const std::vector<std::int32_t>> rows);

    [[nodiscard]] const std::vector<std::string> &names() const { return names_; }
    [[nodiscard]] const std::vector<DesignTerm> &terms() const { return terms_; }
    /** The words of a formula's variable have columns, that of numbers is one. */
    [[nodiscard]] bool holds_words(std::size_t variable) const { return !words_[variable].empty(); }

    /** Some rows of one imputation; clusters are left empty.
     * @throws Error  data with the row if a value cannot be used */
    [[nodiscard]] DesignBlock block(std::size_t imputation, std::span<const std::int32_t> rows) const;

private:
    /** A factor of a column of the design: a variable, or whether it is one of its words. */
    struct Part {
        std::size_t variable;
        std::optional<double> word = {};  // its place
    };
    /** A column of the design. */
    struct DesignColumn {
        std::string name;
        std::vector<Part> parts;
    };

    void find_words(const FormulaVariable &variable, std::span<const std::vector<std::int32_t>> rows);
    void add_term(const Term &term, std::optional<std::size_t> full_in_first,
                  std::span<const std::vector<std::int32_t>> rows);
    void leave_out_absent(const Term &term, std::span<const std::vector<std::int32_t>> rows,
                          std::vector<DesignColumn> &products) const;
    [[nodiscard]] bool has_margin(const Term &term, std::size_t variable) const;
    [[nodiscard]] std::vector<DesignColumn> columns_of_variable(std::size_t variable, bool is_full) const;
    [[nodiscard]] std::vector<double> response(std::size_t imputation, std::span<const std::int32_t> rows) const;

    const CompletedTables &tables_;
    const Formula &formula_;
    Family family_;
    std::vector<std::vector<double>> words_;  // of each variable: places of its words, the reference first
    std::vector<DesignColumn> columns_;
    std::vector<std::string> names_;
    std::vector<DesignTerm> terms_;
};

}  // namespace ullage::host

#endif
