// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Drawing hidden cells of new rows.

#include "ullage/host/draw/apply.h"

#include <algorithm>
#include <cmath>

#include "ullage/host/base/interrupt.h"
#include "ullage/host/draw/chain_errors.h"
#include "ullage/host/draw/engine_session.h"
#include "ullage/host/draw/engine_text.h"
#include "ullage/host/draw/hidden_values.h"
#include "ullage/host/numbers/random_stream.h"

namespace ullage::host {
namespace {

// What is left of a start after so many sweeps over two cells whose correlation given all others is r: r^(2 sweeps).
// Up to r = 0.977 that is below 1%; see docs/apply.md. Part of what a seed means.
constexpr int kSweeps = 100;

}  // namespace

bool needs_sweeps(const ModelTable &model, std::size_t row) {
    if (std::ranges::any_of(model.variables.columns, &ColumnVariables::is_latent)) return true;
    const std::span<const HiddenCell> cells = model.hidden->of_row(row);
    return cells.size() > 1 && std::ranges::any_of(cells, [](const HiddenCell &cell) {
               return std::isfinite(cell.lower) || std::isfinite(cell.upper) || cell.reference_count > 0;
           });
}

void complete_rows(const ModelTable &model, std::span<const std::vector<Parameters>> parameters, std::uint64_t seed,
                   std::uint64_t part,
                   const std::function<void(std::size_t imputation, std::span<const double> values)> &take) {
    EngineSession engine;
    std::vector<std::int32_t> groups;
    std::vector<int> sweeps;
    for (const Block &block : model.blocks) {
        try {
            groups.push_back(engine.load_group(engine_text(model, block.rows)));
        } catch (const EngineError &error) {
            throw refused_row(model, block.rows, error);
        }
        sweeps.push_back(needs_sweeps(model, static_cast<std::size_t>(block.rows.front())) ? kSweeps : 1);
    }
    RandomStream random({seed, StreamPurpose::apply, 1, part, 0});
    std::vector<double> values(model.hidden->cells.size());
    std::vector<double> matrix;
    for (std::size_t k = 0; k < parameters.size(); ++k) {
        for (std::size_t b = 0; b < model.blocks.size(); ++b) {
            check_interrupt();
            const Block &block = model.blocks[b];
            const Parameters &own = parameters[k][block.level];
            random.restart({seed, StreamPurpose::apply, k + 1, part, b});
            try {
                for (int sweep = 0; sweep < sweeps[b]; ++sweep) {
                    engine.impute(groups[b], own.mean, own.covariance, random);
                }
            } catch (const EngineError &error) {
                throw no_draw(model, block.rows, model.levels[block.level], part, k + 1, error);
            }
            matrix.resize(block.rows.size() * model.variables.list.size());
            engine.values(groups[b], matrix);
            take_hidden(model, block.rows, matrix, values);
        }
        std::vector<double> restored = values;
        restore(*model.table, *model.hidden, model.scales, restored);
        take(k, restored);
    }
}

}  // namespace ullage::host
