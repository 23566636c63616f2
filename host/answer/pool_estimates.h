// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Pooling estimates that were made elsewhere.

#ifndef ULLAGE_HOST_ANSWER_POOL_ESTIMATES_H
#define ULLAGE_HOST_ANSWER_POOL_ESTIMATES_H

#include <string>
#include <vector>

#include "ullage/host/answer/pooled_row.h"

namespace ullage::host {

/**
 * Pool a table of estimates made elsewhere: CSV with the columns estimate and std.error (or se), optionally term (or
 * name), which tells the quantities apart, and df, the complete-data degrees of freedom; one row per imputation and
 * term. Other columns are ignored.
 *
 * @param source       name of the file, for messages
 * @param complete_df  where there is no column df
 * @throws Error  data if a column or a number is missing, a standard error is negative, or a term stands only once or
 *                less often than another
 */
[[nodiscard]] std::vector<PooledRow> pool_estimates(const std::string &source, std::string bytes,
                                                    double complete_df = kInfiniteDf, double confidence = kConfidence);

}  // namespace ullage::host

#endif
