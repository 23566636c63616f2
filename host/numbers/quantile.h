// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Quantiles of a sample.

#ifndef ULLAGE_HOST_NUMBERS_QUANTILE_H
#define ULLAGE_HOST_NUMBERS_QUANTILE_H

#include <cstddef>
#include <span>
#include <vector>

namespace ullage::host {

/**
 * A quantile, interpolated between order statistics (type 7 of Hyndman, Fan 1996, The American Statistician 50).
 *
 * @param sorted       at least one number, ascending
 * @param probability  from 0 to 1; 0.5 gives the median
 */
[[nodiscard]] double quantile_of(std::span<const double> sorted, double probability);

/**
 * The weights of n order statistics in the method of Maritz and Jarrett (1978, JASA 73): the probabilities that a beta
 * distribution with the parameters (n + 1) p and (n + 1) (1 - p) gives to the n intervals ((i - 1) / n, i / n).
 *
 * @param probability  p, strictly between 0 and 1; outside 1 / (n + 1) .. n / (n + 1) nearly all the weight is on the
 *                     last order statistic, and variances are too small
 */
[[nodiscard]] std::vector<double> quantile_weights(std::size_t n, double probability);

/** The variance of a quantile: that of an order statistic that is drawn with these weights.
 * @param sorted  one number per weight, ascending */
[[nodiscard]] double quantile_variance(std::span<const double> sorted, std::span<const double> weights);

}  // namespace ullage::host

#endif
