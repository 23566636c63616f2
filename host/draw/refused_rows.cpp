// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Draws of a normal distribution until enough of them obey.

#include "ullage/host/draw/refused_rows.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "ullage/host/base/interrupt.h"
#include "ullage/host/numbers/triangular.h"

namespace ullage::host {
namespace {

/** Refused rows for each that obeys, ten times as many as are an error in the long run; and rows that are too few to
 * tell. */
constexpr std::size_t kMostTries = 999;
constexpr std::size_t kFewRows = 50;

/** An estimate takes no more rows into account, and so many draws, of which the second half counts. */
constexpr double kEstimateRows = 1000.0;
constexpr int kEstimateDraws = 600;

// Moments of the rows of a level in which the columns with rules are observed, as of at most kEstimateRows.
Moments moments_with_rules(const ModelTable &model, std::size_t level) {
    const std::vector<std::size_t> &variables = model.region.variables;
    std::vector<double> values;
    for (std::size_t row = 0; row < model.table->row_count(); ++row) {
        if (static_cast<std::size_t>(model.table->level_of_row[row]) != level) continue;
        const auto value_of = [&](std::size_t variable) {
            return model.table->columns[model.variables.list[variable].column].values[row];
        };
        if (std::ranges::any_of(variables, [&](std::size_t v) { return std::isnan(value_of(v)); })) continue;
        for (const std::size_t v : variables) values.push_back(to_model(model.variables.scales[v], value_of(v)));
    }
    Moments moments = moments_of_rows(values, variables.size());
    if (moments.count <= kEstimateRows) return moments;
    for (double &element : moments.scatter) element *= kEstimateRows / moments.count;
    moments.count = kEstimateRows;
    return moments;
}

double share_of_refused(const Region &region, const Moments &rows, const Prior &prior) {
    RandomStream random({1, StreamPurpose::refused, 1, 0, 0});
    const auto obeying = static_cast<std::size_t>(rows.count);
    Parameters parameters = draw_parameters(rows, prior, random);
    double sum = 0.0;
    for (int draw = 0; draw < kEstimateDraws; ++draw) {
        check_interrupt();
        Moments refused = draw_refused_rows(region, parameters, obeying, random);
        if (2 * draw >= kEstimateDraws) sum += refused.count / (refused.count + rows.count);
        parameters = draw_parameters(combine({rows, std::move(refused)}), prior, random);
    }
    return sum / (kEstimateDraws / 2);
}

}  // namespace

Moments draw_refused_rows(const Region &region, const Parameters &parameters, std::size_t obeying,
                          RandomStream &random) {
    const std::size_t n = parameters.mean.size();
    std::vector<double> root = parameters.covariance;
    if (!take_root(root, n)) throw UnusableMoments(UnusableMoments::Kind::collinear, region.variables);
    const std::size_t most = kMostTries * std::max(obeying, kFewRows);
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

std::vector<double> estimate_refused(const ModelTable &model) {
    std::vector<double> shares;
    for (std::size_t level = 0; level < model.levels.size(); ++level) {
        const Moments rows = moments_with_rules(model, level);
        double share = std::numeric_limits<double>::quiet_NaN();
        try {
            if (rows.count > 0.0) share = share_of_refused(model.region, rows, model.levels[level].ruled_prior);
        } catch (const UnusableMoments &) {
            // Too little is observed to tell.
        } catch (const TooManyRefused &) {
            share = 1.0;
        }
        shares.push_back(share > kMostRefused ? 1.0 : share);
    }
    return shares;
}

}  // namespace ullage::host
