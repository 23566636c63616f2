// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Running one chain over a prepared table.

#include "ullage/host/draw/chain.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "ullage/host/base/error.h"
#include "ullage/host/draw/chain_errors.h"
#include "ullage/host/draw/engine_text.h"
#include "ullage/host/model/model_table.h"
#include "ullage/host/numbers/moments.h"

namespace ullage::host {
Chain::Chain(const ModelTable &model, std::uint64_t seed, std::uint64_t number)
    : model_(model), seed_(seed), number_(number), random_({seed, StreamPurpose::start, number, 0, 0}) {
    for (const Block &block : model.blocks) {
        try {
            (void)engine_.load_group(engine_text(model, block.rows));
        } catch (const EngineError &error) {
            throw refused_row(model, block.rows, error);
        }
    }
    const std::size_t n = model.variables.list.size();
    for (std::size_t l = 0; l < model.levels.size(); ++l) {
        const Level &level = model.levels[l];
        random_.restart({seed, StreamPurpose::start, number, 0, l});
        Parameters start{level.mean, std::vector<double>(packed_size(n), 0.0)};
        for (std::size_t j = 0; j < n; ++j) {
            // A whole standard deviation of the data off: far wider than the posterior of a mean.
            start.mean[j] += std::sqrt(level.variance[j]) * random_.normal();
            start.covariance[packed_index(j, j)] = level.variance[j] * std::exp(random_.normal());
        }
        parameters_.push_back(std::move(start));
    }
}

void Chain::iterate() {
    ++iteration_;
    std::vector<std::vector<Moments>> parts;  // of each level
    for (const Level &level : model_.levels) parts.push_back({level.complete});
    for (std::size_t block = 0; block < model_.blocks.size(); ++block) {
        draw_cells(block);
        parts[model_.blocks[block].level].push_back(moments_of(block));  // while its values are in the cache
    }
    for (std::size_t level = 0; level < model_.levels.size(); ++level) draw_level(level, std::move(parts[level]));
}

void Chain::draw_cells(std::size_t block) {
    const Block &rows = model_.blocks[block];
    const Parameters &parameters = parameters_[rows.level];
    random_.restart({seed_, StreamPurpose::cells, number_, iteration_, block});
    try {
        engine_.impute(static_cast<std::int32_t>(block) + 1, parameters.mean, parameters.covariance, random_);
    } catch (const EngineError &error) {
        throw no_draw(model_, rows.rows, model_.levels[rows.level], iteration_, number_, error);
    }
}

Moments Chain::moments_of(std::size_t block) {
    const std::size_t n = model_.variables.list.size();
    Moments moments{static_cast<double>(model_.blocks[block].rows.size()), std::vector<double>(n),
                    std::vector<double>(packed_size(n))};
    engine_.sample_moments(static_cast<std::int32_t>(block) + 1, moments.mean, moments.scatter);
    for (double &element : moments.scatter) element *= moments.count;
    return moments;
}

void Chain::draw_level(std::size_t level, std::vector<Moments> parts) {
    random_.restart({seed_, StreamPurpose::parameters, number_, iteration_, level});
    try {
        parameters_[level] = draw_parameters(combine(std::move(parts)), model_.levels[level].prior, random_);
    } catch (const UnusableMoments &why) {
        throw explain_unusable(model_, model_.levels[level], why);
    }
}

void Chain::copy_hidden(std::span<double> values) {
    const std::size_t n = model_.variables.list.size();
    std::vector<double> matrix;
    for (std::size_t block = 0; block < model_.blocks.size(); ++block) {
        const Block &rows = model_.blocks[block];
        matrix.resize(rows.rows.size() * n);
        engine_.values(static_cast<std::int32_t>(block) + 1, matrix);
        for (std::size_t i = 0; i < rows.rows.size(); ++i) {
            const auto row = static_cast<std::size_t>(rows.rows[i]);
            const auto cells = model_.hidden->of_row(row);
            double *out = values.data() + model_.hidden->row_begin[row];
            for (const HiddenCell &cell : cells) {
                const auto c = static_cast<std::size_t>(cell.column);
                const Column &column = model_.table->columns[c];
                const ColumnVariables &own = model_.variables.columns[c];
                const std::span latents = std::span<const double>(matrix).subspan(i * n + own.first, own.count);
                *out++ = column.holds_words()
                             ? static_cast<double>(word_of(column, own, model_.variables.scales[own.first], latents))
                             : latents[0];
            }
        }
    }
}

}  // namespace ullage::host
