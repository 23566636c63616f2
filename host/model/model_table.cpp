// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// From a table to levels, blocks and moments, and what forbids to model it.

#include "ullage/host/model/model_table.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <span>
#include <utility>

#include "ullage/host/base/error.h"
#include "ullage/host/base/words.h"
#include "ullage/host/model/marginal.h"
#include "ullage/host/model/propriety.h"
#include "ullage/host/numbers/moments.h"

namespace ullage::host {
namespace {

std::string list_columns(const ModelTable &model, const std::vector<std::size_t> &columns) {
    std::string text;
    for (std::size_t i = 0; i < columns.size(); ++i) {
        if (i > 0) text += i + 1 < columns.size() ? ", " : " and ";
        text += fmt::format("\"{}\"", model.variables.list[columns[i]].name);
    }
    return text;
}

std::size_t count_observed(const Column &column, const std::vector<std::int32_t> &rows) {
    return static_cast<std::size_t>(std::ranges::count_if(
        rows, [&](std::int32_t row) { return column.states[static_cast<std::size_t>(row)] == CellState::observed; }));
}

// Mean and variance of the observed cells of each variable, and how many there are.
void summarise_observed(const ModelTable &model, const std::vector<std::int32_t> &rows, Level &level) {
    const Table &table = *model.table;
    for (std::size_t j = 0; j < model.variables.list.size(); ++j) {
        const ColumnVariables &own = model.variables.columns[model.variables.list[j].column];
        const Column &column = table.columns[model.variables.list[j].column];
        if (own.is_latent && column.holds_words()) {
            level.observed_count.push_back(count_observed(column, rows));
            level.mean.push_back(own.score_mean[j - own.first]);
            level.variance.push_back(1.0);
            continue;
        }
        std::vector<double> observed;
        for (const std::int32_t row : rows) {
            const double value = observed_value(table, model.variables, j, static_cast<std::size_t>(row));
            if (!std::isnan(value)) observed.push_back(value);
        }
        const Moments moments = moments_of_rows(observed, 1);
        const double variance = observed.empty() ? 0.0 : moments.scatter[0] / moments.count;
        level.observed_count.push_back(observed.size());
        level.mean.push_back(moments.mean[0]);
        level.variance.push_back(variance > 1e-18 ? variance : 1.0);
    }
}

// Moments of rows that are numbers throughout, in parts of a block's size.
Moments complete_moments(const ModelTable &model, const std::vector<std::int32_t> &rows) {
    const Table &table = *model.table;
    const std::size_t n = model.variables.list.size();
    std::vector<Moments> parts;
    std::vector<double> values;
    for (std::size_t first = 0; first < rows.size() || parts.empty(); first += kBlockRows) {
        values.clear();
        for (std::size_t i = first; i < std::min(first + kBlockRows, rows.size()); ++i) {
            for (std::size_t j = 0; j < n; ++j) {
                values.push_back(observed_value(table, model.variables, j, static_cast<std::size_t>(rows[i])));
            }
        }
        parts.push_back(moments_of_rows(values, n));
    }
    return combine(std::move(parts));
}

// Moments of some variables over the rows of a level in which all of them are observed.
Moments joint_moments(const ModelTable &model, const Level &level, std::span<const std::size_t> variables) {
    const Table &table = *model.table;
    std::vector<double> values;
    for (std::size_t row = 0; row < table.row_count(); ++row) {
        if (table.levels[static_cast<std::size_t>(table.level_of_row[row])] != level.name) continue;
        const auto is_hidden = [&](std::size_t j) { return table.is_hidden(row, model.variables.list[j].column); };
        if (std::ranges::any_of(variables, is_hidden)) continue;
        for (const std::size_t j : variables) values.push_back(observed_value(table, model.variables, j, row));
    }
    return moments_of_rows(values, variables.size());
}

bool are_usable(const Moments &moments) {
    try {
        check_moments(moments, {});
    } catch (const UnusableMoments &) {
        return false;
    }
    return true;
}

// Find columns that follow from each other in the complete rows and in all rows where they are observed together: the
// imputed cells would come to follow too.
void check_joint(const ModelTable &model, const Level &level, const Prior &prior) {
    if (level.complete.count <= static_cast<double>(model.variables.list.size())) return;
    try {
        check_moments(level.complete, prior);
    } catch (const UnusableMoments &why) {
        if (why.kind() != UnusableMoments::Kind::collinear) return;
        if (!are_usable(joint_moments(model, level, why.columns()))) throw;
    }
}

// The utilities of nominal columns are held by as many cases as there are rows: fixed but for what a chain needs.
void add_utilities(const ModelTable &model, Level &level) {
    for (std::size_t c = 0; c < model.table->columns.size(); ++c) {
        const ColumnVariables &own = model.variables.columns[c];
        if (model.table->columns[c].kind != ColumnKind::nominal || !own.is_latent) continue;
        level.prior.utilities.push_back({own.first, own.count, static_cast<double>(level.row_count)});
    }
}

// Under a flat mean something must be known of each column, and of words enough to tell where their variables lie.
void check_known(const Column &column, const ColumnVariables &own, const Level &level,
                 const std::vector<std::int32_t> &rows) {
    const auto known = [&](std::int32_t row) {
        return column.states[static_cast<std::size_t>(row)] != CellState::missing;
    };
    if (std::ranges::none_of(rows, known)) {
        throw Error(Fault::data, fmt::format("nothing is known of \"{}\"{}: all its cells are missing. Leave it "
                                             "out of the model (--columns), or give a prior from a file with "
                                             "mean_cases above 0 and covariance_cases above {} (--prior FILE)",
                                             column.name, in_level(level), level.mean.size() - 1));
    }
    if (!column.holds_words() || !own.is_latent) return;
    std::vector<bool> occurs(column.words.size(), false);
    for (const std::int32_t row : rows) {
        const double place = column.values[static_cast<std::size_t>(row)];
        if (!std::isnan(place)) occurs[static_cast<std::size_t>(place)] = true;
    }
    const auto count = std::ranges::count(occurs, true);
    if (column.kind == ColumnKind::ordered ? count >= 2 : count == std::ssize(occurs)) return;
    const auto word = static_cast<std::size_t>(std::ranges::find(occurs, false) - occurs.begin());
    throw Error(Fault::data, fmt::format("\"{}\" is never \"{}\"{}, so nothing tells how likely that is. Give a prior "
                                         "from a file, put the rows into fewer levels (--by), or leave the column out "
                                         "of the model (--carry)",
                                         column.name, column.words[word], in_level(level)));
}

// Cases that the prior means of variables with rules are worth where the prior leaves means flat. Far outside the
// region a normal distribution of large variance looks there like an exponential one, whatever its mean: under a flat
// prior the posterior distribution would be improper, however many rows there are.
constexpr double kRuledCases = 1.0;

Prior ruled_prior(const ModelTable &model, const Level &level) {
    const std::vector<std::size_t> &variables = model.region.variables;
    Prior prior = marginal_of(level.prior, variables, model.variables.list.size());
    if (prior.mean_cases > 0.0) return prior;
    prior.mean_cases = kRuledCases;
    for (const std::size_t variable : variables) prior.mean.push_back(level.mean[variable]);
    return prior;
}

// Find early what would stop the first iterations.
void check_level(const ModelTable &model, const Level &level, const Prior &prior, const std::vector<std::int32_t> &rows,
                 bool is_mixture) {
    const Table &table = *model.table;
    const std::size_t n = model.variables.list.size();
    if (level.prior.mean_cases == 0.0) {
        for (std::size_t c = 0; c < table.columns.size(); ++c) {
            check_known(table.columns[c], model.variables.columns[c], level, rows);
        }
    }
    try {
        // Enough rows, and columns that vary, by stand-in moments of uncorrelated columns.
        Moments stand_in{static_cast<double>(rows.size()), level.mean, std::vector<double>(packed_size(n), 0.0)};
        for (std::size_t j = 0; j < n; ++j) {
            double spread = static_cast<double>(rows.size());
            const ColumnVariables &own = model.variables.columns[model.variables.list[j].column];
            const bool has_words = table.columns[model.variables.list[j].column].holds_words();
            if (!(has_words && own.is_latent) && level.observed_count[j] == rows.size()) {
                const auto value = [&](std::int32_t row) {
                    return observed_value(table, model.variables, j, static_cast<std::size_t>(row));
                };
                if (std::ranges::all_of(rows, [&](std::int32_t row) { return value(row) == value(rows[0]); })) {
                    spread = 0.0;
                }
            }
            stand_in.scatter[packed_index(j, j)] = spread;
        }
        check_moments(stand_in, prior);
        check_joint(model, level, prior);
        if (!is_mixture) check_propriety(model, level, prior, rows);
    } catch (const UnusableMoments &why) {
        throw explain_unusable(model, level, why);
    }
}

}  // namespace

void check_mixture(const Table &table, const PriorChoice &prior) {
    for (const Column &column : table.columns) {
        if (column.kind == ColumnKind::number) continue;
        throw Error(Fault::usage, fmt::format("\"{}\" is a column of {}, and a mixture (--components) is one of "
                                              "numbers: carry it along (--carry), or take one normal distribution",
                                              column.name, column.holds_words() ? "words" : "steps"));
    }
    if (table.levels.size() > 1) {
        throw Error(Fault::usage, "--components and --by cannot be given together: run each level on its own file");
    }
    for (const Column &column : table.columns) {
        if (column.lower == -kOpen && column.upper == kOpen && column.transformation != Transformation::sqrt) continue;
        throw Error(Fault::usage,
                    fmt::format("{} has limits (--lower, --upper, --sqrt), which a mixture (--components) "
                                "does not keep; --log or --logit may do instead",
                                quote(column.name)));
    }
    if (!table.order.empty()) throw Error(Fault::usage, "--components and --order cannot be given together");
    if (prior.kind != PriorChoice::Kind::standard) {
        throw Error(Fault::usage, "--prior is for one normal distribution; a mixture (--components) has its own prior");
    }
}

std::string in_level(const Level &level) {
    return level.name.empty() ? std::string() : fmt::format(" in level \"{}\"", level.name);
}

Error explain_unusable(const ModelTable &model, const Level &level, const UnusableMoments &why) {
    const std::size_t n = model.variables.list.size();
    const std::string where = in_level(level);
    std::string text;
    if (why.kind() == UnusableMoments::Kind::too_few) {
        const std::size_t least = level.row_count > n ? 1 : n - level.row_count + 1;
        text = fmt::format(
            "too few rows{}: {} for {} columns, which need at least {}. Use fewer columns (--columns), or a prior that "
            "is "
            "worth some cases (--prior ridge={})",
            where, level.row_count, n, n + 1, least);
    } else if (why.kind() == UnusableMoments::Kind::constant) {
        text = fmt::format(
            "{} {} constant{}: all values are the same. Leave {} out of the model (--columns), or use a prior that is "
            "worth some cases (--prior ridge=1)",
            list_columns(model, why.columns()), why.columns().size() == 1 ? "is" : "are", where,
            why.columns().size() == 1 ? "it" : "them");
    } else {
        const Moments joint = joint_moments(model, level, why.columns());
        const auto columns = static_cast<double>(why.columns().size());
        text = joint.count > columns && !are_usable(joint)
                   ? fmt::format(
                         "{} are collinear{}: the covariance is singular, as each of them follows from the "
                         "others.",
                         list_columns(model, why.columns()), where)
                   : fmt::format(
                         "too little is observed together of {}{}: {} with a value in all of them do not tell "
                         "how they depend on each other, and the covariance has become singular.",
                         list_columns(model, why.columns()), where,
                         count_of(static_cast<std::size_t>(joint.count), "row"));
        text +=
            " Leave one of them out of the model (--columns), or use a prior that is worth some cases (--prior "
            "ridge=1)";
    }
    return {Fault::data, text};
}

ModelTable prepare_model(const Table &table, const HiddenCells &hidden, const PriorChoice &prior,
                         std::size_t components) {
    if (table.columns.empty()) throw Error(Fault::data, "there is no column to model");
    if (components > 1) check_mixture(table, prior);
    ModelTable model{&table, &hidden, choose_scales(table, hidden), {}, {}, {}};
    model.variables = lay_out_variables(table, model.scales);
    model.region = find_region(table, model.variables);
    const bool has_latent = std::ranges::any_of(model.variables.columns, &ColumnVariables::is_latent);
    std::vector<std::vector<std::int32_t>> rows_of_level(table.levels.size());
    for (std::size_t row = 0; row < table.row_count(); ++row) {
        rows_of_level[static_cast<std::size_t>(table.level_of_row[row])].push_back(static_cast<std::int32_t>(row));
    }
    for (std::size_t l = 0; l < table.levels.size(); ++l) {
        Level level;
        level.name = table.levels[l];
        level.row_count = rows_of_level[l].size();
        summarise_observed(model, rows_of_level[l], level);
        level.prior = make_prior(prior, table, model.variables, level.variance);
        level.ruled_prior = ruled_prior(model, level);
        // What would be an error under a flat prior is one under the weak default, too: it is not what cures data.
        const bool is_weak = prior.kind == PriorChoice::Kind::standard && level.prior.covariance_cases == kDefaultCases;
        const Prior checked = is_weak ? Prior{} : level.prior;
        // Before anything of the size of a covariance is made.
        if (!has_enough_rows(static_cast<double>(level.row_count), model.variables.list.size(), checked)) {
            throw explain_unusable(model, level, UnusableMoments(UnusableMoments::Kind::too_few, {}));
        }
        add_utilities(model, level);
        // The engine prepares a pattern of hidden cells once per group: rows of one pattern stay together.
        std::vector<std::int32_t> &rows = rows_of_level[l];
        const auto precedes = [&](std::int32_t a, std::int32_t b) {
            return std::ranges::lexicographical_compare(hidden.of_row(static_cast<std::size_t>(a)),
                                                        hidden.of_row(static_cast<std::size_t>(b)), {},
                                                        &HiddenCell::column, &HiddenCell::column);
        };
        std::ranges::stable_sort(rows, precedes);
        const auto first_hidden =
            has_latent || components > 1 ? rows.begin() : std::ranges::partition_point(rows, [&](std::int32_t row) {
                return hidden.of_row(static_cast<std::size_t>(row)).empty();
            });
        level.first_block = model.blocks.size();
        for (auto begin = first_hidden; begin != rows.end(); ++level.block_count) {
            const auto end = begin + std::min<std::ptrdiff_t>(kBlockRows, rows.end() - begin);
            model.blocks.push_back({l, {begin, end}});
            begin = end;
        }
        level.complete = complete_moments(model, {rows.begin(), first_hidden});
        check_level(model, level, checked, rows, components > 1);
        if (components > 1) model.mixture = make_mixture_prior(components, level.mean, level.variance);
        model.levels.push_back(std::move(level));
    }
    return model;
}

}  // namespace ullage::host
