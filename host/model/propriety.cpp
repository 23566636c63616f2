// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Columns and pairs of columns that the data leave open.

#include "ullage/host/model/propriety.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "ullage/host/base/error.h"
#include "ullage/host/base/interrupt.h"
#include "ullage/host/base/words.h"

namespace ullage::host {
namespace {

constexpr double kHardlyMore = 2.0;  // complete rows than columns

bool has_scatter(const Prior &prior) {
    return std::ranges::any_of(prior.scatter, [](double element) { return element != 0.0; });
}

/** What the known cells of a column say of where its values lie, in the model's units. */
struct KnownValues {
    std::size_t numbers = 0;
    std::size_t intervals = 0;
    bool from_below = false;  // some cell is bounded from below alone
    bool from_above = false;
    double largest_lower = -kOpen;
    double least_upper = kOpen;
    bool is_beside_others = false;  // some cell is ordered with other cells

    void add(const Interval &limits) {
        largest_lower = std::max(largest_lower, limits.lower);
        least_upper = std::min(least_upper, limits.upper);
        if (std::isfinite(limits.lower) && std::isfinite(limits.upper)) {
            ++intervals;
        } else {
            from_below = from_below || std::isfinite(limits.lower);
            from_above = from_above || std::isfinite(limits.upper);
        }
    }
    [[nodiscard]] bool is_one_sided() const { return numbers + intervals == 0 && from_below != from_above; }
};

KnownValues known_values(const ModelTable &model, std::size_t c, std::span<const std::int32_t> rows) {
    const Column &column = model.table->columns[c];
    const ColumnVariables &own = model.variables.columns[c];
    const Scale &scale = model.variables.scales[own.first];
    KnownValues known;
    for (const std::int32_t row : rows) {
        const auto r = static_cast<std::size_t>(row);
        if (column.states[r] == CellState::missing) continue;
        if (column.kind == ColumnKind::binary) {
            known.add(column.values[r] == static_cast<double>(own.reference) ? Interval{-kOpen, 0.0}
                                                                             : Interval{0.0, kOpen});
        } else if (model.table->is_hidden(r, c)) {
            const HiddenCell &cell = *std::ranges::lower_bound(model.hidden->of_row(r), static_cast<std::int32_t>(c),
                                                               {}, &HiddenCell::column);
            known.is_beside_others = known.is_beside_others || cell.reference_count > 0;
            known.add(interval_of(column, own, scale, cell.lower, cell.upper));
        } else if (own.is_latent) {
            const auto [lower, upper] = cell_limits(column, column.values[r]);
            known.add(interval_of(column, own, scale, lower, upper));
        } else {
            ++known.numbers;
        }
    }
    return known;
}

bool has_rules(const ModelTable &model, std::size_t c) {
    const ColumnVariables &own = model.variables.columns[c];
    return std::ranges::any_of(model.region.variables,
                               [&](std::size_t v) { return v >= own.first && v < own.first + own.count; });
}

/** Where the prior by which a level is judged is less than its own, that is hardly more. */
std::string under_prior(const Level &level, const Prior &judged) {
    return has_scatter(level.prior) == has_scatter(judged)
               ? "so that under this prior the posterior distribution is improper"
               : "so that under a flat prior the posterior distribution is improper, and the default prior is hardly "
                 "more "
                 "than flat";
}

Error improper(const Level &level, const Prior &prior, std::string_view what, std::string_view cure) {
    return {Fault::data,
            fmt::format("{}{}, {}: no chain would settle. Leave it out of the model (--columns, --carry), or "
                        "give {}",
                        what, in_level(level), under_prior(level, prior), cure)};
}

void check_column(const ModelTable &model, const Level &level, const Prior &prior, std::size_t c,
                  std::span<const std::int32_t> rows) {
    const KnownValues known = known_values(model, c, rows);
    if (known.is_beside_others) return;
    const std::string name = quote(model.table->columns[c].name);
    const bool is_flat = prior.mean_cases == 0.0;
    if (is_flat && known.is_one_sided()) {
        throw improper(
            level, prior,
            fmt::format("all that is known of {} is bounded from {} alone", name, known.from_above ? "above" : "below"),
            fmt::format("a prior from a file with mean_cases above 0 and covariance_cases above {} (--prior FILE; "
                        "ridge leaves means flat)",
                        model.variables.list.size() - 1));
    }
    const auto finite = static_cast<double>(known.numbers + known.intervals);
    if (prior.covariance_cases + finite <= (is_flat ? 1.0 : 0.0)) {
        throw improper(level, prior,
                       fmt::format("of {} {} known, and all else of it is only above or below something", name,
                                   finite == 0.0 ? "no number or interval is" : "a single number or interval is"),
                       "a prior of the covariance (--prior ridge=2)");
    }
    if (!has_scatter(prior) && known.numbers == 0 && known.intervals > 0 && known.largest_lower < known.least_upper) {
        throw improper(level, prior,
                       fmt::format("no number of {} is known, and one value fits all of its intervals", name),
                       "a prior of the covariance (--prior ridge=2)");
    }
}

void check_pairs(const ModelTable &model, const Level &level, const Prior &prior, std::span<const std::int32_t> rows) {
    const std::vector<Column> &columns = model.table->columns;
    const auto known = [&](std::size_t c, std::int32_t row) {
        return columns[c].states[static_cast<std::size_t>(row)] != CellState::missing;
    };
    std::vector<std::size_t> incomplete;
    for (std::size_t c = 0; c < columns.size(); ++c) {
        if (!std::ranges::all_of(rows, [&](std::int32_t row) { return known(c, row); })) incomplete.push_back(c);
    }
    for (std::size_t i = 0; i < incomplete.size(); ++i) {
        check_interrupt();
        for (std::size_t j = 0; j < i; ++j) {
            const std::size_t a = incomplete[j];
            const std::size_t b = incomplete[i];
            if (std::ranges::any_of(rows, [&](std::int32_t row) { return known(a, row) && known(b, row); })) continue;
            throw Error(
                Fault::data,
                fmt::format(
                    "{} and {} are never known together{}, {}: nothing tells how they depend on each other. Leave "
                    "one out of the model (--columns, --carry), or give a prior under which they are "
                    "uncorrelated as far as the data say nothing (--prior ridge=2)",
                    quote(columns[a].name), quote(columns[b].name), in_level(level), under_prior(level, prior)));
        }
    }
}

}  // namespace

void check_propriety(const ModelTable &model, const Level &level, const Prior &prior,
                     std::span<const std::int32_t> rows) {
    for (std::size_t c = 0; c < model.table->columns.size(); ++c) {
        check_interrupt();
        const bool is_nominal = model.table->columns[c].kind == ColumnKind::nominal;  // has a scale of its own
        if (is_nominal || model.variables.columns[c].are_indicators || has_rules(model, c)) continue;
        check_column(model, level, prior, c, rows);
    }
    if (!has_scatter(prior)) check_pairs(model, level, prior, rows);
}

Notices doubts_of_propriety(const ModelTable &model) {
    Notices notices;
    if (model.mixture) return notices;
    const auto n = static_cast<double>(model.variables.list.size());
    for (const Level &level : model.levels) {
        const bool has_hidden = level.complete.count < static_cast<double>(level.row_count);
        if (has_scatter(level.prior) || !has_hidden || level.complete.count > n + kHardlyMore) continue;
        notices.push_back(
            {true, fmt::format("{} complete{}, hardly more than the {} columns or fewer: under a prior without "
                               "a scatter the posterior distribution may be improper; --prior ridge=1 makes it proper",
                               count_of(static_cast<std::size_t>(level.complete.count), "row") +
                                   (level.complete.count == 1.0 ? " is" : " are"),
                               in_level(level), model.variables.list.size())});
    }
    return notices;
}

}  // namespace ullage::host
