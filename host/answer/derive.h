// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Columns that are computed in every completed table.

#ifndef ULLAGE_HOST_ANSWER_DERIVE_H
#define ULLAGE_HOST_ANSWER_DERIVE_H

#include <string>
#include <string_view>

#include "ullage/host/run/completed_tables.h"
#include "ullage/host/table/expression.h"

namespace ullage::host {

/** "bmi = wgt / (hgt / 100)^2". */
struct Derivation {
    std::string name;
    Expression expression;
};

/** @throws Error  usage with the place and what is expected there */
[[nodiscard]] Derivation parse_derivation(std::string_view text);

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

}  // namespace ullage::host

#endif
