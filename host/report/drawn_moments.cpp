// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Averaging the draws of the parameters.

#include "ullage/host/report/drawn_moments.h"

#include <algorithm>
#include <cmath>

#include "ullage/host/base/interrupt.h"
#include "ullage/host/numbers/moments.h"

namespace ullage::host {
namespace {

double mean_of(const Chains &chains) {
    double mean = 0.0;
    double count = 0.0;
    for (const std::vector<double> &chain : chains) {
        for (const double draw : chain) mean += (draw - mean) / ++count;
    }
    return mean;
}

}  // namespace

double DrawnMoments::deviation(std::size_t variable) const {
    return std::sqrt(covariance[packed_index(variable, variable)]);
}

double DrawnMoments::correlation(std::size_t first, std::size_t second) const {
    const double product = deviation(first) * deviation(second);
    return product > 0.0 && std::isfinite(product)
               ? covariance[packed_index(std::max(first, second), std::min(first, second))] / product
               : 0.0;
}

std::vector<DrawnMoments> drawn_moments(const RunResults &results) {
    const std::size_t variables = results.record.variables.size();
    std::vector<DrawnMoments> levels;
    for (const std::vector<Chains> &draws : results.draws.draws) {
        levels.emplace_back();
        for (std::size_t p = 0; p < variables + packed_size(variables); ++p) {
            check_interrupt();
            (p < variables ? levels.back().mean : levels.back().covariance).push_back(mean_of(draws[p]));
        }
    }
    return levels;
}

double mean_correlation(const RunRecord &record, const std::vector<DrawnMoments> &levels, std::size_t first,
                        std::size_t second) {
    double sum = 0.0;
    for (std::size_t level = 0; level < levels.size(); ++level) {
        sum += static_cast<double>(record.levels[level].rows) * levels[level].correlation(first, second);
    }
    return sum / static_cast<double>(record.rows);
}

}  // namespace ullage::host
