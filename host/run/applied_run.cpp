// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// From the record of a run to a model of new rows.

#include "ullage/host/run/applied_run.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "ullage/host/base/error.h"
#include "ullage/host/base/problems.h"
#include "ullage/host/base/words.h"
#include "ullage/host/draw/apply.h"
#include "ullage/host/model/model_table.h"
#include "ullage/host/numbers/moments.h"
#include "ullage/host/table/closure.h"
#include "ullage/host/table/read_table.h"
#include "ullage/host/table/rules.h"

namespace ullage::host {
namespace {

Rules rules_of(const RunRecord &record) {
    Rules rules;
    rules.order = record.order;
    for (const RunColumn &column : record.columns) {
        if (std::isfinite(column.lower)) rules.lower.emplace_back(column.name, column.lower);
        if (std::isfinite(column.upper)) rules.upper.emplace_back(column.name, column.upper);
        if (column.transformation == Transformation::log) rules.log.push_back(column.name);
        if (column.transformation == Transformation::sqrt) rules.sqrt.push_back(column.name);
        if (column.transformation == Transformation::logit) rules.logit.push_back(column.name);
    }
    return rules;
}

/** Whether a column's words are variables that were observed throughout in the run. */
bool are_indicators(const RunColumn &column) {
    return column.holds_words() && !column.is_latent();
}

std::size_t level_index(const RunRecord &record, const std::string &name) {
    const auto found = std::find_if(record.levels.begin(), record.levels.end(),
                                    [&](const RunLevel &level) { return level.name == name; });
    return static_cast<std::size_t>(found - record.levels.begin());
}

/** Put the rows of a level with hidden cells into blocks, those that need sweeps or the others. */
void add_blocks(ModelTable &model, std::size_t level, bool swept) {
    const HiddenCells &hidden = *model.hidden;
    std::vector<std::int32_t> own;
    for (std::size_t row = 0; row < model.table->row_count(); ++row) {
        if (static_cast<std::size_t>(model.table->level_of_row[row]) != level || hidden.of_row(row).empty()) continue;
        if (needs_sweeps(model, row) == swept) own.push_back(static_cast<std::int32_t>(row));
    }
    // Rows of one pattern stand together: the engine prepares a pattern once.
    std::stable_sort(own.begin(), own.end(), [&](std::int32_t a, std::int32_t b) {
        return std::ranges::lexicographical_compare(hidden.of_row(static_cast<std::size_t>(a)),
                                                    hidden.of_row(static_cast<std::size_t>(b)), {}, &HiddenCell::column,
                                                    &HiddenCell::column);
    });
    for (std::size_t first = 0; first < own.size(); first += kBlockRows) {
        const auto begin = own.begin() + static_cast<std::ptrdiff_t>(first);
        const auto size = static_cast<std::ptrdiff_t>(std::min(kBlockRows, own.size() - first));
        model.blocks.push_back({level, {begin, begin + size}});
    }
}

}  // namespace

AppliedRun::AppliedRun(const RunRecord &record, const ParameterDraws &draws) : record_(record), draws_(draws) {
    if (record.components > 1) {
        throw Error(Fault::data,
                    "the run drew a mixture of normals, and new rows are completed under one normal alone");
    }
    for (const RunColumn &column : record.columns) {
        if (column.kind != ColumnKind::ordered || !column.is_latent() || !column.cuts.empty()) continue;
        throw Error(Fault::data, fmt::format("run.json has no cut points of the ordered column {}; run ullage impute "
                                             "again with this version",
                                             quote(column.name)));
    }
}

NewRows AppliedRun::read(InputText text, ReadOptions options, Notices &notices) const {
    const std::string source = text.source;
    options.columns.emplace();
    options.keep_blank = true;
    options.by = record_.by;
    for (const RunColumn &column : record_.columns) {
        options.columns->push_back(column.name);
        if (column.kind == ColumnKind::number) continue;
        options.kinds.push_back({column.name, column.kind, column.step, column.words});
    }
    NewRows rows;
    try {
        Notices of_reading;  // what is to be said of such a table the run has said
        rows.table = read_table(std::move(text), options, of_reading);
        apply_rules(rows.table, rules_of(record_), of_reading);
    } catch (const Error &error) {
        if (error.fault() != Fault::usage) throw;
        throw Error(Fault::data, fmt::format("{} does not fit the run: {}", source, error.what()));
    }
    rows.hidden = close_bounds(rows.table);
    check_new(rows.table, notices);
    return rows;
}

/** Hold what was read against the record. */
void AppliedRun::check_new(const Table &table, Notices &notices) const {
    const auto refuse = [&](std::size_t row, const std::string &column, std::string text, std::string why) {
        throw_problem(table.file.source, {.line = table.file.line[row],
                                          .row = static_cast<std::int64_t>(row + 1),
                                          .columns = {column},
                                          .text = std::move(text),
                                          .message = std::move(why)});
    };
    for (const OutputColumn &column : table.output) {
        if (column.file_column < 0 || column.column >= 0) continue;
        const std::string &name = table.file.names[static_cast<std::size_t>(column.file_column)];
        if (name.empty() || std::ranges::count(record_.carried, name, &CarriedColumn::name) > 0) continue;
        notices.push_back({false, fmt::format("the run had no column {}; it is carried along unchanged", quote(name))});
    }
    for (std::size_t level = 0; level < table.levels.size(); ++level) {
        if (level_index(record_, table.levels[level]) < record_.levels.size()) continue;
        std::vector<std::string> names;
        for (const RunLevel &known : record_.levels) names.push_back(known.name);
        const auto row = std::ranges::find(table.level_of_row, static_cast<std::int32_t>(level));
        refuse(static_cast<std::size_t>(row - table.level_of_row.begin()), record_.by.value_or(""), table.levels[level],
               fmt::format("a level that the run did not have; its levels are {}", list_of(names)));
    }
    for (std::size_t c = 0; c < table.columns.size(); ++c) {
        const Column &column = table.columns[c];
        const RunColumn &known = record_.column(column.name);
        if (column.transformation != known.transformation) {
            throw Error(Fault::data, fmt::format("{}: cells of column {} are ordered with those of a column of another "
                                                 "transformation in the run",
                                                 table.file.source, quote(column.name)));
        }
        if (!are_indicators(known)) continue;
        const auto hidden = std::ranges::find_if(column.states, [](CellState s) { return s != CellState::observed; });
        if (hidden == column.states.end()) continue;
        const auto row = static_cast<std::size_t>(hidden - column.states.begin());
        refuse(row, column.name, table.cell_text(row, c),
               "the word is hidden, and the run, in which all words of the column were known, tells nothing of them: "
               "fill it in, or run ullage impute on rows some of which lack the word");
    }
}

/** Any units do, as long as columns that cells compare share one. */
std::vector<Scale> AppliedRun::scales_of(const Table &table) const {
    std::vector<Scale> scales;
    for (const std::size_t tie : tied_columns(table)) {
        const RunColumn &column = record_.column(table.columns[tie].name);
        if (column.holds_words()) {
            scales.emplace_back();
        } else {
            scales.push_back({column.transformation, column.centre, column.scale});
        }
    }
    return scales;
}

/** As lay_out_variables, but with what the run has made of the words; their variables are in the units of the file. */
Variables AppliedRun::lay_out(const Table &table, const std::vector<Scale> &scales) const {
    Variables variables;
    variables.columns.resize(table.columns.size());
    for (const bool last : {false, true}) {
        for (std::size_t c = 0; c < table.columns.size(); ++c) {
            const RunColumn &known = record_.column(table.columns[c].name);
            if ((known.kind == ColumnKind::nominal && known.is_latent()) != last) continue;
            ColumnVariables &own = variables.columns[c];
            own.first = variables.list.size();
            own.is_latent = known.is_latent();
            own.are_indicators = are_indicators(known);
            own.cuts = known.cuts;
            std::vector<std::string> with_variable;
            for (const RunVariable &variable : record_.variables) {
                if (variable.column != known.name) continue;
                variables.list.push_back({variable.name, c, variable.word});
                variables.scales.push_back(known.holds_words() ? Scale() : scales[c]);
                if (variable.word) with_variable.push_back(*variable.word);
            }
            own.count = variables.list.size() - own.first;
            for (std::size_t word = 0; word < known.words.size(); ++word) {
                const auto found = std::find(with_variable.begin(), with_variable.end(), known.words[word]);
                if (found == with_variable.end()) own.reference = word;
            }
        }
    }
    return variables;
}

Parameters AppliedRun::parameters_of(const Variables &variables, std::size_t imputation, std::size_t level) const {
    const auto chains = static_cast<std::size_t>(record_.chains);
    const std::size_t chain = imputation % chains;
    const std::size_t iteration = (imputation / chains + 1) * static_cast<std::size_t>(record_.thin) - 1;
    const std::size_t n = record_.variables.size();
    std::vector<std::size_t> place_of;  // in the record, of each variable
    for (const Variable &variable : variables.list) {
        const auto found = std::find_if(record_.variables.begin(), record_.variables.end(),
                                        [&](const RunVariable &known) { return known.name == variable.name; });
        place_of.push_back(static_cast<std::size_t>(found - record_.variables.begin()));
    }
    const auto draw = [&](std::size_t parameter) { return draws_.draws[level][parameter][chain][iteration]; };
    Parameters parameters;
    for (std::size_t i = 0; i < n; ++i) {
        const Scale &scale = variables.scales[i];
        parameters.mean.push_back((draw(place_of[i]) - scale.centre) / scale.scale);
        for (std::size_t j = 0; j <= i; ++j) {
            const std::size_t high = std::max(place_of[i], place_of[j]);
            const double covariance = draw(n + packed_index(high, std::min(place_of[i], place_of[j])));
            parameters.covariance.push_back(covariance / scale.scale / variables.scales[j].scale);
        }
    }
    return parameters;
}

void AppliedRun::complete(const NewRows &rows, std::size_t imputations, std::uint64_t seed, std::uint64_t part,
                          const std::function<void(std::size_t, std::span<const double>)> &take) const {
    const Table &table = rows.table;
    ModelTable model{&table, &rows.hidden, scales_of(table), {}, {}, {}};
    model.variables = lay_out(table, model.scales);
    for (std::size_t l = 0; l < table.levels.size(); ++l) {
        model.levels.emplace_back().name = table.levels[l];
        for (const bool swept : {false, true}) add_blocks(model, l, swept);
    }
    std::vector<std::vector<Parameters>> parameters(imputations);
    for (std::size_t k = 0; k < imputations; ++k) {
        for (const std::string &level : table.levels) {
            parameters[k].push_back(parameters_of(model.variables, k, level_index(record_, level)));
        }
    }
    complete_rows(model, parameters, seed, part, take);
}

}  // namespace ullage::host
