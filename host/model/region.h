// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Where the rules of a table allow a row to be, in the model's units.

#ifndef ULLAGE_HOST_MODEL_REGION_H
#define ULLAGE_HOST_MODEL_REGION_H

#include <cstddef>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "ullage/host/model/latent_columns.h"
#include "ullage/host/model/posterior.h"
#include "ullage/host/table/table.h"

namespace ullage::host {

/**
 * Where the rules that hold for every row (--lower, --upper, --order, and the range of a square root) allow a row to
 * be. The rows of the model are draws from a normal distribution that is cut to it.
 */
struct Region {
    std::vector<std::size_t> variables;                      ///< that a rule is of, ascending
    std::vector<Interval> limits;                            ///< one for each of these
    std::vector<std::pair<std::size_t, std::size_t>> order;  ///< places in variables: the first lies below the second

    [[nodiscard]] bool is_everywhere() const { return variables.empty(); }
    /** Whether a row obeys.
     * @param values  of the variables of the region, in their order */
    [[nodiscard]] bool holds(std::span<const double> values) const;
};

/** The share of refused rows above which the shape of the data is doubted, and that which is an error. */
inline constexpr double kMuchRefused = 0.5;
inline constexpr double kMostRefused = 0.99;

/** The region of the table's rules.
 * @param variables  of the table */
[[nodiscard]] Region find_region(const Table &table, const Variables &variables);

/** In a sentence, the rule that a normal distribution breaks most often, and what to do.
 * @param parameters  of the variables of the region */
[[nodiscard]] std::string advise_region(const Region &region, const Table &table, const Variables &variables,
                                        const Parameters &parameters);

}  // namespace ullage::host

#endif
