// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Pooling a quantity that has a name.

#include "ullage/host/answer/pooled_row.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "ullage/host/base/error.h"
#include "ullage/host/base/words.h"

namespace ullage::host {

std::string in_level(const std::string &level) {
    return level.empty() ? std::string() : fmt::format(" in level {}", quote(level));
}

PooledRow pool_pieces(std::string level, std::string name, const Pieces &pieces, double complete_df,
                      double confidence) {
    const auto is_finite = [](double number) { return std::isfinite(number); };
    try {
        if (!std::all_of(pieces.estimates.begin(), pieces.estimates.end(), is_finite) ||
            !std::all_of(pieces.variances.begin(), pieces.variances.end(), is_finite)) {
            throw out_of_range();
        }
        const Pooled pooled = pool_scalar(pieces.estimates, pieces.variances, complete_df, confidence);
        return {std::move(level), std::move(name), pooled};
    } catch (const Error &error) {
        throw Error(error.fault(), fmt::format("{}{}: {}", name, in_level(level), error.what()));
    }
}

}  // namespace ullage::host
