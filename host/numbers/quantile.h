// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Quantiles of a sample.

#ifndef ULLAGE_HOST_NUMBERS_QUANTILE_H
#define ULLAGE_HOST_NUMBERS_QUANTILE_H

#include <span>

namespace ullage::host {

/**
 * A quantile, interpolated between order statistics (type 7 of Hyndman, Fan 1996, The American Statistician 50).
 *
 * @param sorted       at least one number, ascending
 * @param probability  from 0 to 1; 0.5 gives the median
 */
[[nodiscard]] double quantile_of(std::span<const double> sorted, double probability);

/**
 * The variance of a quantile by the method of Maritz and Jarrett (1978, JASA 73): that of an order statistic drawn with
 * the probabilities that a beta distribution with the parameters (n + 1) p and (n + 1) (1 - p) gives to the n intervals
 * ((i - 1) / n, i / n).
 *
 * @param sorted       n numbers, ascending
 * @param probability  p, strictly between 0 and 1; outside 1 / (n + 1) .. n / (n + 1) nearly all the weight is on the
 *                     last order statistic, and the variance is too small
 */
[[nodiscard]] double quantile_variance(std::span<const double> sorted, double probability);

}  // namespace ullage::host

#endif
