// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// From rules of columns and rows to limits and an order of variables.

#include "ullage/host/model/region.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "ullage/host/base/words.h"
#include "ullage/host/model/scale.h"
#include "ullage/host/numbers/moments.h"
#include "ullage/host/table/transformations.h"

namespace ullage::host {
namespace {

/** Below a number of standard deviations. */
double normal_share(double deviations) {
    return 0.5 * std::erfc(-deviations * std::sqrt(0.5));
}

std::string advise_column(const Column &column) {
    std::string cure = "model a column that has no such limit, as the logarithm of the distance from it";
    if (column.transformation != Transformation::none) {
        cure = fmt::format("leave out --{}", name_of(column.transformation));
    } else if (column.lower == 0.0 && (column.upper == 1.0 || column.upper == kOpen)) {
        cure = fmt::format("--{} {} keeps it there by itself", column.upper == 1.0 ? "logit" : "log",
                           shell_word(in_list(column.name)));
    }
    return fmt::format("Most lie beyond the limits of {}: {}", quote(column.name), cure);
}

}  // namespace

bool Region::holds(std::span<const double> values) const {
    for (std::size_t i = 0; i < limits.size(); ++i) {
        if (!(limits[i].lower < values[i] && values[i] < limits[i].upper)) return false;
    }
    return std::ranges::all_of(order, [&](const auto &pair) { return values[pair.first] < values[pair.second]; });
}

Region find_region(const Table &table, const Variables &variables) {
    Region region;
    std::vector<std::size_t> place(table.columns.size());
    for (std::size_t c = 0; c < table.columns.size(); ++c) {
        const Column &column = table.columns[c];
        if (column.holds_words()) continue;
        const std::size_t variable = variables.columns[c].first;
        const Range range = range_of(column.transformation);
        const Interval limits{to_model(variables.scales[variable], std::max(column.lower, range.lower)),
                              to_model(variables.scales[variable], std::min(column.upper, range.upper))};
        const auto is_ordered = [&](const OrderRule &rule) {
            return static_cast<std::size_t>(rule.first) == c || static_cast<std::size_t>(rule.second) == c;
        };
        if (std::isinf(limits.lower) && std::isinf(limits.upper) && std::ranges::none_of(table.order, is_ordered)) {
            continue;
        }
        place[c] = region.variables.size();
        region.variables.push_back(variable);
        region.limits.push_back(limits);
    }
    for (const OrderRule &rule : table.order) {
        region.order.emplace_back(place[static_cast<std::size_t>(rule.first)],
                                  place[static_cast<std::size_t>(rule.second)]);
    }
    return region;
}

std::string advise_region(const Region &region, const Table &table, const Variables &variables,
                          const Parameters &parameters) {
    const auto column = [&](std::size_t place) -> const Column & {
        return table.columns[variables.list[region.variables[place]].column];
    };
    const auto covariance = [&](std::size_t i, std::size_t j) {
        return parameters.covariance[packed_index(std::max(i, j), std::min(i, j))];
    };
    double least = 2.0;
    std::string advice;
    for (std::size_t i = 0; i < region.limits.size(); ++i) {
        const auto below = [&](double limit) {
            return normal_share((limit - parameters.mean[i]) / std::sqrt(covariance(i, i)));
        };
        const double share = below(region.limits[i].upper) - below(region.limits[i].lower);
        if (share >= least) continue;
        least = share;
        advice = advise_column(column(i));
    }
    for (const auto &[first, second] : region.order) {
        const double square = covariance(first, first) - 2.0 * covariance(first, second) + covariance(second, second);
        const double share =
            normal_share((parameters.mean[second] - parameters.mean[first]) / std::sqrt(std::max(square, 1e-300)));
        if (share >= least) continue;
        least = share;
        advice = fmt::format(
            "Most break {} < {}: give the table their difference as a column in "
            "place of one of them, and model its logarithm (--log)",
            column(first).name, column(second).name);
    }
    return advice;
}

}  // namespace ullage::host
