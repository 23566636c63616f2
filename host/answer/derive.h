// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Columns that are computed in every completed table.

#ifndef ULLAGE_HOST_ANSWER_DERIVE_H
#define ULLAGE_HOST_ANSWER_DERIVE_H

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ullage/host/run/completed_tables.h"
#include "ullage/host/run/run_record.h"
#include "ullage/host/table/expression.h"
#include "ullage/host/table/table.h"

namespace ullage::host {

/** "bmi = wgt / (hgt / 100)^2". */
struct Derivation {
    std::string name;
    Expression expression;
    std::string text = {};  ///< the whole
};

/** @throws Error  usage with the place and what is expected there */
[[nodiscard]] Derivation parse_derivation(std::string_view text);

/** @throws Error  as parse_derivation */
[[nodiscard]] std::vector<Derivation> parse_derivations(const std::vector<std::string> &texts);

/**
 * Compute a column in every completed table and put it behind the others. In rows of which a cell that it is made of
 * was imputed, it counts as imputed; where one outside the model is missing, it is missing. A column that is nowhere
 * missing is put behind those of the model, so that its mean is pooled like theirs.
 *
 * @throws Error  usage if there is a column of that name, or none that the expression names, or words stand where
 *                numbers are needed; data with row, imputation and values where the expression is not defined. The
 *                tables are untouched then.
 */
void add_derived(CompletedTables &tables, const Derivation &derivation);

/** The derivations of a run.
 * @throws Error  data if the record has one that cannot be read */
[[nodiscard]] std::vector<Derivation> derivations_of(const RunRecord &record);

/** Columns that are computed of a table while it is completed, one imputation at a time, by the rule of add_derived. */
class Deriver {
public:
    /**
     * Compute those of the original table.
     *
     * @param table, hidden  must outlive the object
     * @param rows_before    of the table that this one is a part of; for messages
     * @throws Error  as add_derived; data only where observed cells alone leave an expression undefined
     */
    Deriver(const Table &table, const HiddenCells &hidden, std::vector<Derivation> derivations,
            std::size_t rows_before = 0);

    /** Those of the original table: all of their hidden cells are NaN. */
    [[nodiscard]] const std::vector<CompletedColumn> &original() const { return original_; }
    /** Those of an imputation, from 1, with the values of its hidden cells.
     * @throws Error  data as add_derived */
    [[nodiscard]] std::vector<CompletedColumn> of(std::size_t imputation, std::span<const double> values) const;

private:
    const HiddenCells &hidden_;
    std::vector<Derivation> derivations_;
    CompletedTables given_;  // one imputation of the columns of the model, with those of the others that are used
    std::vector<CompletedColumn> original_;
};

}  // namespace ullage::host

#endif
