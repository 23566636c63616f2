// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Over-imputation: observed cells are hidden, imputed, and compared with what was there.

#ifndef ULLAGE_HOST_DRAW_OVERIMPUTE_H
#define ULLAGE_HOST_DRAW_OVERIMPUTE_H

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "ullage/host/draw/impute.h"
#include "ullage/host/model/prior.h"
#include "ullage/host/table/table.h"

namespace ullage::host {

/** How often intervals of the imputations cover the observed cells of one column. */
struct OverimputedColumn {
    std::string name;
    std::size_t cells = 0;  ///< that were hidden in turn
    std::size_t in_50 = 0;  ///< of these, in the 50% interval
    std::size_t in_90 = 0;  ///< in the 90% interval
    /** Over the cells of a column of words, the sum of the share of imputations that hit the word. */
    struct Hits {
        double observed = 0.0;
        double expected = 0.0;  ///< the same of pairs of imputations that agree, which a right model hits as often
        double error = 0.0;     ///< standard error of the difference
    };
    std::optional<Hits> hits = std::nullopt;  ///< of words; they have no intervals
};

/** Draws of each hidden cell: 39 put the ends of both intervals on draws, as the rank of a further draw among them
 * takes each of 40 values equally often. */
inline constexpr int kOverimputations = 39;
/** The cells are hidden in so many runs; in each at most a tenth of a column's observed cells, one per row. */
inline constexpr std::size_t kOverimputeRuns = 5;
/** The most cells of a column that are hidden, in all runs together. */
inline constexpr std::size_t kMostOverimputed = 100;

/**
 * Hide a sample of observed cells in turn and impute them (Honaker, King, Blackwell 2011, Journal of Statistical
 * Software 45(7)).
 *
 * @param table     after apply_rules; not changed
 * @param settings  as impute; imputations is not read. The seed also decides which cells are hidden
 * @param progress  of all runs together; may be empty
 * @param place     as impute
 * @param components  as prepare_model
 * @return the columns that have observed cells enough to hide one
 * @throws Error  as prepare_model and impute
 */
[[nodiscard]] std::vector<OverimputedColumn> overimpute(const Table &table, const PriorChoice &prior,
                                                        ImputeSettings settings,
                                                        const std::function<void(const ImputeProgress &)> &progress,
                                                        const DrawPlace &place = {}, std::size_t components = 1);

}  // namespace ullage::host

#endif
