// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Choosing cells, hiding them, and counting what the intervals cover.

#include "ullage/host/draw/overimpute.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "ullage/host/draw/chain.h"
#include "ullage/host/model/model_table.h"
#include "ullage/host/numbers/random_stream.h"
#include "ullage/host/table/closure.h"

namespace ullage::host {
namespace {

struct Chosen {
    std::size_t row;
    std::size_t column;
};

/** The cells to be hidden in each run. */
std::vector<std::vector<Chosen>> choose_cells(const Table &table, std::uint64_t seed) {
    std::vector<std::vector<Chosen>> runs(kOverimputeRuns);
    std::vector<std::vector<bool>> taken(kOverimputeRuns, std::vector<bool>(table.row_count(), false));
    for (std::size_t c = 0; c < table.columns.size(); ++c) {
        std::vector<std::size_t> rows;
        for (std::size_t row = 0; row < table.row_count(); ++row) {
            if (!table.is_hidden(row, c)) rows.push_back(row);
        }
        const std::size_t per_run = std::min(rows.size() / 10, kMostOverimputed / kOverimputeRuns);
        RandomStream random({seed, StreamPurpose::overimpute, 1, 0, c});
        std::vector<std::size_t> counts(kOverimputeRuns, 0);
        for (std::size_t left = rows.size(); left > 0; --left) {
            // The next row at random among those that are left.
            const auto pick = static_cast<std::size_t>(random.uniform() * static_cast<double>(left));
            std::swap(rows[pick], rows[left - 1]);
            const std::size_t row = rows[left - 1];
            for (std::size_t run = 0; run < kOverimputeRuns; ++run) {
                if (counts[run] == per_run || taken[run][row]) continue;
                runs[run].push_back({row, c});
                taken[run][row] = true;
                ++counts[run];
                break;
            }
        }
    }
    return runs;
}

/** The draws of a cell, one per imputation. */
std::vector<double> draws_of(const HiddenCells &hidden, const Chosen &cell, const Imputations &result) {
    std::size_t place = hidden.row_begin[cell.row];
    while (hidden.cells[place].column != static_cast<std::int32_t>(cell.column)) ++place;
    return result.values.of_cell(place);
}

/** Count a cell of numbers that was hidden: the rank of its value among its draws. */
void count_rank(double value, const std::vector<double> &draws, OverimputedColumn &column) {
    const auto rank = std::count_if(draws.begin(), draws.end(), [&](double draw) { return draw < value; });
    if (rank >= 10 && rank <= 29) ++column.in_50;
    if (rank >= 2 && rank <= 37) ++column.in_90;
}

/** Count a cell of words that was hidden. */
void count_hits(double word, const std::vector<double> &draws, OverimputedColumn &column) {
    const auto n = static_cast<double>(draws.size());
    const auto times = [&](double of_word) {
        return static_cast<double>(std::count(draws.begin(), draws.end(), of_word));
    };
    double agreements = 0.0;  // of ordered pairs of draws
    for (const double draw : draws) agreements += times(draw) - 1.0;
    const double observed = times(word) / n;
    const double expected = agreements / (n * (n - 1.0));
    if (!column.hits) column.hits = OverimputedColumn::Hits();
    column.hits->observed += observed;
    column.hits->expected += expected;
    column.hits->error = std::hypot(column.hits->error, observed - expected);
}

}  // namespace

std::vector<OverimputedColumn> overimpute(const Table &table, const PriorChoice &prior, ImputeSettings settings,
                                          const std::function<void(const ImputeProgress &)> &progress,
                                          const DrawPlace &place, std::size_t components) {
    settings.imputations = kOverimputations;
    settings.renew_every.reset();
    settings.keeper = nullptr;
    std::vector<OverimputedColumn> columns(table.columns.size());
    for (std::size_t c = 0; c < columns.size(); ++c) columns[c].name = table.columns[c].name;
    const auto runs = choose_cells(table, settings.seed);
    for (std::size_t run = 0; run < runs.size(); ++run) {
        if (runs[run].empty()) continue;
        Table part = table;
        for (const Chosen &cell : runs[run]) {
            part.columns[cell.column].values[cell.row] = std::numeric_limits<double>::quiet_NaN();
            part.columns[cell.column].states[cell.row] = CellState::missing;
        }
        const HiddenCells hidden = close_bounds(part);
        const ModelTable model = prepare_model(part, hidden, prior, components);
        const auto show = [&](const ImputeProgress &of_run) {
            if (!progress) return;
            progress({static_cast<std::int64_t>(run) * of_run.total + of_run.done,
                      static_cast<std::int64_t>(runs.size()) * of_run.total});
        };
        const Imputations result = impute(model, settings, show, place);
        if (result.values.size() == 0) continue;  // another process has them
        for (const Chosen &cell : runs[run]) {
            const Column &own = table.columns[cell.column];
            ++columns[cell.column].cells;
            const auto count = own.holds_words() ? count_hits : count_rank;
            count(own.values[cell.row], draws_of(hidden, cell, result), columns[cell.column]);
        }
    }
    std::erase_if(columns, [](const OverimputedColumn &column) { return column.cells == 0; });
    return columns;
}

}  // namespace ullage::host
