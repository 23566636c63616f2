// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Means, variances, correlations and quantiles, pooled.

#ifndef ULLAGE_HOST_ANSWER_POOL_MOMENTS_H
#define ULLAGE_HOST_ANSWER_POOL_MOMENTS_H

#include <vector>

#include "ullage/host/answer/pooled_row.h"
#include "ullage/host/run/completed_tables.h"
#include "ullage/host/table/table.h"

namespace ullage::host {

/** The quantities that a table can be asked for, of the columns of the model. Those of words have shares only, which
 * are asked for as means. */
struct PoolRequest {
    bool means = false;
    bool variances = false;
    bool covariances = false;
    bool correlations = false;
    std::vector<double> quantiles;  ///< probabilities strictly between 0 and 1
    /** Of the columns of the model, by which their values are changed first; as they are where there is none. */
    std::vector<Transformation> scale = {};
};

/**
 * Pool what is asked for, for every column (or pair) of the model and every level, level by level. With n rows:
 *
 * | quantity | complete-data variance | complete-data df |
 * |---|---|---|
 * | mean | s^2 / n | n - 1 |
 * | share p of a word | p (1 - p) / (n - 1), the same of what is 1 where the word stands | n - 1 |
 * | variance s^2 | 2 s^4 / (n - 1), of normal data | n - 1 |
 * | covariance s_ij | (s_ii s_jj + s_ij^2) / (n - 1), of normal data | n - 1 |
 * | correlation, as Fisher's z | 1 / (n - 3) | infinite |
 * | quantile, interpolated between order statistics (type 7 of Hyndman, Fan 1996) | Maritz, Jarrett (1978) | n - 1 |
 *
 * A correlation is pooled as z; estimate and interval are taken back to r, and the standard error is (1 - r^2) times
 * that of z. Everything else of its row is of z.
 *
 * @throws Error  usage if there are fewer than 2 imputations, a probability is out of range, or pairs are asked for
 * where there is only one column; data if a level has too few rows (2; 4 for correlations; for a quantile 1 / p - 1
 * and 1 / (1 - p) - 1), a column does not vary where it must, or a variance is beyond the range of double precision
 */
[[nodiscard]] std::vector<PooledRow> pool_moments(const CompletedTables &tables, const PoolRequest &request,
                                                  double confidence = kConfidence);

}  // namespace ullage::host

#endif
