// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Draws of a normal distribution until enough of them obey.

#include "ullage/host/draw/refused_rows.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "ullage/host/model/model_table.h"
#include "ullage/host/numbers/triangular.h"

namespace ullage::host {
namespace {

/** Refused rows for each that obeys, ten times as many as are an error in the long run; and rows that are too few to
 * tell. */
constexpr std::size_t kMostRefused = 999;
constexpr std::size_t kFewRows = 50;

}  // namespace

Moments draw_refused_rows(const Region &region, const Parameters &parameters, std::size_t obeying,
                          RandomStream &random) {
    const std::size_t n = parameters.mean.size();
    std::vector<double> root = parameters.covariance;
    if (!take_root(root, n)) throw UnusableMoments(UnusableMoments::Kind::collinear, region.variables);
    const std::size_t most = kMostRefused * std::max(obeying, kFewRows);
    std::vector<Moments> parts;
    std::vector<double> values;
    std::vector<double> row(n);
    std::vector<double> normals(n);
    std::size_t refused = 0;
    while (obeying > 0) {
        for (double &normal : normals) normal = random.normal();
        for (std::size_t i = 0; i < n; ++i) {
            row[i] = parameters.mean[i];
            for (std::size_t j = 0; j <= i; ++j) row[i] += root[packed_index(i, j)] * normals[j];
        }
        if (region.holds(row)) {
            --obeying;
            continue;
        }
        if (++refused > most) throw TooManyRefused();
        values.insert(values.end(), row.begin(), row.end());
        if (values.size() < kBlockRows * n) continue;
        parts.push_back(moments_of_rows(values, n));
        values.clear();
    }
    parts.push_back(moments_of_rows(values, n));
    return combine(std::move(parts));
}

}  // namespace ullage::host
