// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The results of a run, from its directory or from memory.

#include "ullage/host/run/run_results.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <span>
#include <utility>

#include "ullage/host/model/parameter_names.h"
#include "ullage/host/run/overimputation_file.h"

namespace ullage::host {

RunResults read_results(const std::string &directory) {
    RunResults results;
    results.record = read_run_record(directory);
    results.draws = read_parameters(directory, results.record);
    results.tables = read_completed_tables(directory, results.record);
    results.bounds = read_bounded_cells(directory, results.record);
    results.overimputation = read_overimputation(directory, results.record);
    return results;
}

ParameterDraws gather_draws(const ModelTable &model, const Imputations &imputations) {
    ParameterDraws result;
    result.names = parameter_names(model);
    const std::size_t parameters = result.names.size();
    const std::size_t levels = model.levels.size();
    const std::size_t chains = imputations.draws.size();
    result.draws.assign(levels, std::vector<Chains>(parameters, Chains(chains)));
    for (std::size_t chain = 0; chain < chains; ++chain) {
        const std::size_t iterations = imputations.draws[chain].size() / (parameters * levels);
        for (std::size_t iteration = 0; iteration < iterations; ++iteration) {
            for (std::size_t level = 0; level < levels; ++level) {
                const std::span<const double> draw = imputations.draw(model, chain, iteration, level);
                for (std::size_t p = 0; p < parameters; ++p) {
                    result.draws[level][p][chain].push_back(draw[p]);
                }
            }
        }
    }
    return result;
}

RunResults gather_results(RunRecord record, const ModelTable &model, const Imputations &imputations) {
    RunResults results;
    const Table &table = *model.table;
    results.draws = gather_draws(model, imputations);
    if (model.mixture) {
        const auto place = std::ranges::find(results.draws.names, "components") - results.draws.names.begin();
        double sum = 0.0;
        double count = 0.0;
        for (const std::vector<double> &chain : results.draws.draws[0][static_cast<std::size_t>(place)]) {
            sum = std::accumulate(chain.begin(), chain.end(), sum);
            count += static_cast<double>(chain.size());
        }
        record.levels[0].filled = sum / count;
    }
    CompletedTables &tables = results.tables;
    tables.source = table.file.source;
    tables.rows = table.row_count();
    tables.imputations = imputations.values.size();
    tables.levels = table.levels;
    tables.level_of_row = table.level_of_row;
    for (const Column &column : table.columns) {
        tables.model.push_back(tables.columns.size());
        const std::size_t place = tables.columns.size();
        tables.columns.push_back(
            {column.name, column.values, {}, ImputedCells(imputations.values, place), column.words});
    }
    for (const HiddenCell &cell : model.hidden->cells) {
        tables.columns[static_cast<std::size_t>(cell.column)].hidden.push_back(cell.row);
    }
    record.most_sweeps = imputations.sweeps.empty() ? 1 : std::ranges::max(imputations.sweeps);
    results.bounds = find_bounded_cells(table, *model.hidden);
    results.record = std::move(record);
    for (std::size_t level = 0; level < imputations.refused.size(); ++level) {
        results.record.levels[level].refused = imputations.refused[level];
    }
    return results;
}

}  // namespace ullage::host
