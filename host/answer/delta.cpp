// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Shifting what was missing.

#include "ullage/host/answer/delta.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <set>

#include "ullage/host/base/error.h"
#include "ullage/host/base/interrupt.h"
#include "ullage/host/base/number_text.h"
#include "ullage/host/base/words.h"
#include "ullage/host/model/scale.h"
#include "ullage/host/table/transformations.h"

namespace ullage::host {
namespace {

constexpr std::size_t kMostScenarios = 1000;

/** A column of the model, and the level in which it is shifted, or all of them. */
struct Target {
    std::size_t column;
    std::optional<std::size_t> level = std::nullopt;
};

std::optional<std::size_t> column_named(const RunRecord &record, std::string_view name) {
    const auto found = std::ranges::find(record.columns, name, &RunColumn::name);
    if (found == record.columns.end()) return std::nullopt;
    return static_cast<std::size_t>(found - record.columns.begin());
}

Target find_target(const RunRecord &record, const std::string &text) {
    if (const auto column = column_named(record, text)) return {*column};
    // Names of levels and columns may hold colons themselves.
    for (std::size_t colon = text.find(':'); colon != std::string::npos; colon = text.find(':', colon + 1)) {
        const auto level = std::ranges::find(record.levels, text.substr(0, colon), &RunLevel::name);
        const auto column = column_named(record, std::string_view(text).substr(colon + 1));
        if (record.by && column && level != record.levels.end()) {
            return {*column, static_cast<std::size_t>(level - record.levels.begin())};
        }
    }
    throw Error(Fault::usage, fmt::format("--delta: {} is neither a column of the model nor LEVEL:COLUMN{}",
                                          quote(text), record.by ? "" : " (and the run has no --by)"));
}

/** The value of a cell, shifted. */
double shifted(const RunColumn &column, double value, double shift, std::int32_t row) {
    const Scale scale{column.transformation, 0.0, 1.0};
    const double on_scale = to_model(scale, value) + shift;
    const Range range = range_of(column.transformation);
    const double lowest = std::isfinite(range.lower) ? to_model(scale, range.lower) : -kOpen;
    const double result = from_model(scale, on_scale);
    if (std::isfinite(result) && on_scale >= lowest && result > column.lower && result < column.upper) return result;
    throw Error(Fault::data, fmt::format("--delta: in row {} {} shifts {} = {} beyond the range of the column; take a "
                                         "smaller shift",
                                         row + 1, shift, quote(column.name), format_number(value)));
}

}  // namespace

Delta parse_delta(std::string_view text) {
    const std::size_t sign = text.rfind('=');
    const auto wrong = [&] {
        return Error(Fault::usage, fmt::format("--delta: {} is not of the form COLUMN=NUMBER,NUMBER or "
                                               "LEVEL:COLUMN=NUMBER,NUMBER",
                                               quote(text)));
    };
    if (sign == std::string_view::npos || sign == 0) throw wrong();
    Delta delta{std::string(text.substr(0, sign)), {}};
    for (std::size_t begin = sign + 1; begin <= text.size();) {
        const std::size_t end = std::min(text.find(',', begin), text.size());
        const auto shift = parse_number(trim(text.substr(begin, end - begin)));
        if (!shift) throw wrong();
        delta.shifts.push_back(*shift);
        begin = end + 1;
    }
    return delta;
}

std::vector<Scenario> scenarios_of(const std::vector<Delta> &deltas) {
    std::vector<Scenario> scenarios(1);
    std::set<std::string_view> targets;
    for (const Delta &delta : deltas) {
        if (!targets.insert(delta.target).second) {
            throw Error(Fault::usage, fmt::format("--delta: {} is given twice", quote(delta.target)));
        }
        std::vector<Scenario> longer;
        for (const Scenario &scenario : scenarios) {
            for (const double shift : delta.shifts) {
                longer.push_back(scenario);
                longer.back().push_back(shift);
            }
        }
        scenarios = std::move(longer);
        if (scenarios.size() > kMostScenarios) {
            throw Error(Fault::usage, fmt::format("--delta: there are more than {} combinations", kMostScenarios));
        }
    }
    return scenarios;
}

std::string name_of(const std::vector<Delta> &deltas, const Scenario &scenario) {
    std::string name;
    for (std::size_t i = 0; i < deltas.size(); ++i) {
        name += fmt::format("{}{}={}", i > 0 ? " " : "", deltas[i].target, format_number(scenario[i]));
    }
    return name;
}

void shift_missing(CompletedTables &tables, const RunRecord &record, const std::vector<BoundedCell> &bounds,
                   const std::vector<Delta> &deltas, const Scenario &scenario) {
    for (std::size_t i = 0; i < deltas.size(); ++i) {
        const Target target = find_target(record, deltas[i].target);
        const RunColumn &described = record.columns[target.column];
        if (described.holds_words()) {
            throw Error(Fault::usage, fmt::format("--delta: {} holds words, which have no distance to be shifted by",
                                                  quote(described.name)));
        }
        std::set<std::int32_t> bounded;
        for (const BoundedCell &cell : bounds) {
            if (static_cast<std::size_t>(cell.column) == target.column) bounded.insert(cell.row);
        }
        CompletedColumn &column = tables.columns[tables.model[target.column]];
        for (std::size_t h = 0; h < column.hidden.size() && scenario[i] != 0.0; ++h) {
            check_interrupt();
            const std::int32_t row = column.hidden[h];
            const auto level = static_cast<std::size_t>(tables.level_of_row[static_cast<std::size_t>(row)]);
            if (bounded.contains(row) || (target.level && *target.level != level)) continue;
            for (std::vector<double> &imputation : column.imputed.held()) {
                imputation[h] = shifted(described, imputation[h], scenario[i], row);
            }
        }
    }
}

}  // namespace ullage::host
