// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The model of a run as its draws have it on average.

#ifndef ULLAGE_HOST_REPORT_DRAWN_MOMENTS_H
#define ULLAGE_HOST_REPORT_DRAWN_MOMENTS_H

#include <cstddef>
#include <vector>

#include "ullage/host/run/run_results.h"

namespace ullage::host {

/** Means and covariances of one level, on the scale of the model, averaged over all draws that count. */
struct DrawnMoments {
    std::vector<double> mean;        ///< one per variable
    std::vector<double> covariance;  ///< packed

    [[nodiscard]] double deviation(std::size_t variable) const;
    [[nodiscard]] double correlation(std::size_t first, std::size_t second) const;
};

/** Level by level. */
[[nodiscard]] std::vector<DrawnMoments> drawn_moments(const RunResults &results);

/** The correlation of two variables within levels, on average over the rows. */
[[nodiscard]] double mean_correlation(const RunRecord &record, const std::vector<DrawnMoments> &levels,
                                      std::size_t first, std::size_t second);

}  // namespace ullage::host

#endif
