// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// A pooled quantity with its name.

#ifndef ULLAGE_HOST_ANSWER_POOLED_ROW_H
#define ULLAGE_HOST_ANSWER_POOLED_ROW_H

#include <string>
#include <vector>

#include "ullage/host/numbers/rubin.h"

namespace ullage::host {

/** A pooled quantity with its name: "mean(lead)", "cor(lead,zinc)", or a coefficient of a regression. */
struct PooledRow {
    std::string level;  ///< of the "by" column, or empty
    std::string name;
    Pooled pooled;
    std::string delta = {};  ///< what missing cells were shifted by ("y=0.5"), or empty
};

/** Estimates and complete-data variances of one quantity, one per imputation. */
struct Pieces {
    std::vector<double> estimates;
    std::vector<double> variances;
};

/** Pool one quantity.
 * @throws Error  data with the quantity and its level if numbers are beyond the range of double precision */
[[nodiscard]] PooledRow pool_pieces(std::string level, std::string name, const Pieces &pieces, double complete_df,
                                    double confidence);

/** " in level "x"", for a message; empty if there are no levels. */
[[nodiscard]] std::string in_level(const std::string &level);

}  // namespace ullage::host

#endif
