// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Running one chain over a prepared table.

#include "ullage/host/draw/chain.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <type_traits>
#include <utility>

#include "ullage/host/base/error.h"
#include "ullage/host/draw/chain_errors.h"
#include "ullage/host/draw/engine_text.h"
#include "ullage/host/draw/hidden_values.h"
#include "ullage/host/draw/refused_rows.h"
#include "ullage/host/model/marginal.h"
#include "ullage/host/model/model_table.h"
#include "ullage/host/numbers/moments.h"

namespace ullage::host {
namespace {

Team &alone() {
    static Team team;
    return team;
}

// About what an iteration costs for each block: reading a row, and sweeping and drawing its hidden cells.
std::vector<double> work_of_blocks(const ModelTable &model) {
    const auto n = static_cast<double>(model.variables.list.size());
    std::vector<double> work;
    for (const Block &block : model.blocks) {
        work.push_back(0.0);
        for (const std::int32_t row : block.rows) {
            const auto hidden = static_cast<double>(model.hidden->of_row(static_cast<std::size_t>(row)).size());
            work.back() += 0.25 * n + hidden * hidden;
        }
    }
    return work;
}

std::size_t portion_count(const Level &level) {
    return (level.row_count + kBlockRows - 1) / kBlockRows;
}

// A node of a level's tree in an exchange: its level, its place, its count, means and scatter.
void append_node(std::size_t level, const TreeNode &node, std::vector<double> &numbers) {
    numbers.push_back(static_cast<double>(level));
    numbers.push_back(static_cast<double>(node.place));
    numbers.push_back(node.moments.count);
    numbers.insert(numbers.end(), node.moments.mean.begin(), node.moments.mean.end());
    numbers.insert(numbers.end(), node.moments.scatter.begin(), node.moments.scatter.end());
}

}  // namespace

std::size_t exchange_capacity(const ModelTable &model) {
    const std::size_t n = model.variables.list.size();
    std::size_t nodes = 0;
    for (const Level &level : model.levels) {
        const std::size_t parts = std::max(level.block_count + 1, portion_count(level));
        nodes += std::min<std::size_t>(parts, 2 * std::bit_width(parts));
    }
    return nodes * (3 + n + packed_size(n));
}

Chain::Chain(const ModelTable &model, std::uint64_t seed, std::uint64_t number) : Chain(model, seed, number, alone()) {}

Chain::Chain(const ModelTable &model, std::uint64_t seed, std::uint64_t number, Team &team)
    : model_(model),
      seed_(seed),
      number_(number),
      team_(&team),
      blocks_(share_of(work_of_blocks(model), team.number(), team.size())),
      sweeps_(model.blocks.size(), 1),
      random_({seed, StreamPurpose::start, number, 0, 0}) {
    for (std::size_t block = blocks_.first; block < blocks_.second; ++block) {
        const std::vector<std::int32_t> &rows = model.blocks[block].rows;
        try {
            (void)engine_.load_group(engine_text(model, rows));
        } catch (const EngineError &error) {
            throw refused_row(model, rows, error);
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
    if (model.region.is_everywhere()) return;
    std::vector<double> work;
    for (std::size_t l = 0; l < model.levels.size(); ++l) {
        for (std::size_t left = model.levels[l].row_count; left > 0; left -= portions_.back().rows) {
            portions_.push_back({l, std::min(left, kBlockRows)});
            work.push_back(static_cast<double>(portions_.back().rows));
        }
    }
    own_portions_ = share_of(work, team.number(), team.size());
    refused_.assign(model.levels.size(), 0.0);
    all_refused_ = refused_;
}

std::vector<double> Chain::state() const {
    std::vector<double> state;
    for (const Parameters &own : parameters_) {
        state.insert(state.end(), own.mean.begin(), own.mean.end());
        state.insert(state.end(), own.covariance.begin(), own.covariance.end());
    }
    state.insert(state.end(), sweeps_.begin(), sweeps_.end());
    state.insert(state.end(), all_refused_.begin(), all_refused_.end());
    return state;
}

void Chain::resume(std::uint64_t iterations, std::span<const double> state) {
    if (state.size() != this->state().size()) {
        throw Error(Fault::data, "the state of a chain is not one of this table and its rules");
    }
    const auto take = [&state](auto &numbers) {
        for (auto &number : numbers) {
            number = static_cast<std::remove_reference_t<decltype(number)>>(state.front());
            state = state.subspan(1);
        }
    };
    for (Parameters &own : parameters_) {
        take(own.mean);
        take(own.covariance);
    }
    take(sweeps_);
    take(all_refused_);
    iteration_ = iterations;
}

void Chain::iterate() {
    ++iteration_;
    std::vector<OwnParts> own;
    for (const Level &level : model_.levels) {
        const bool is_first = team_->number() == 0;  // who has the complete rows, which come before the blocks
        own.push_back(
            {is_first ? 0 : std::max(blocks_.first, level.first_block) - level.first_block + 1, level.block_count + 1});
        if (is_first) own.back().moments.push_back(level.complete);
    }
    for (std::size_t block = blocks_.first; block < blocks_.second; ++block) {
        draw_cells(block);
        own[model_.blocks[block].level].moments.push_back(moments_of(block));  // while its values are in the cache
    }
    const std::vector<Moments> rows = combine_levels(std::move(own), model_.variables.list.size());
    std::vector<Parameters> ruled;
    if (!portions_.empty() && iteration_ > kSettling) {
        for (const Parameters &all : parameters_) ruled.push_back(marginal_of(all, model_.region.variables));
    }
    for (std::size_t level = 0; level < rows.size(); ++level) draw_level(level, rows[level]);
    if (!ruled.empty()) draw_ruled(rows, std::move(ruled));
}

// What the other variables are given those with rules, the rules do not touch: it stays as it is drawn.
void Chain::draw_ruled(const std::vector<Moments> &rows, std::vector<Parameters> ruled) {
    const std::vector<std::size_t> &variables = model_.region.variables;
    std::ranges::fill(refused_, 0.0);
    for (std::size_t sweep = 0; sweep < kRuledSweeps; ++sweep) {
        std::vector<Moments> refused = draw_refused(ruled, sweep);
        for (std::size_t l = 0; l < rows.size(); ++l) {
            refused_[l] += refused[l].count / static_cast<double>(kRuledSweeps);
            random_.restart({seed_, StreamPurpose::ruled, number_, iteration_, sweep * rows.size() + l});
            const Level &level = model_.levels[l];
            try {
                ruled[l] = draw_parameters(combine({marginal_of(rows[l], variables), std::move(refused[l])}),
                                           level.ruled_prior, random_);
                if (sweep + 1 == kRuledSweeps) parameters_[l] = with_marginal(parameters_[l], variables, ruled[l]);
            } catch (const UnusableMoments &why) {
                throw explain_unusable(model_, level, {why.kind(), variables});
            }
        }
    }
    for (std::size_t l = 0; l < rows.size(); ++l) {
        all_refused_[l] += refused_[l];
        const auto ruled_iterations = static_cast<double>(iteration_ - kSettling);
        const double obeying = static_cast<double>(model_.levels[l].row_count) * ruled_iterations;
        if (ruled_iterations >= kSettling && all_refused_[l] > kMostRefused * (all_refused_[l] + obeying)) {
            throw too_many_refused(model_, model_.levels[l], ruled[l], iteration_, number_);
        }
    }
}

// The refused rows of each level.
std::vector<Moments> Chain::draw_refused(std::span<const Parameters> ruled, std::size_t sweep) {
    std::vector<OwnParts> own;
    std::size_t first_portion = 0;
    for (const Level &level : model_.levels) {
        const std::size_t total = portion_count(level);
        own.push_back({std::clamp(own_portions_.first, first_portion, first_portion + total) - first_portion, total});
        first_portion += total;
    }
    for (std::size_t portion = own_portions_.first; portion < own_portions_.second; ++portion) {
        const auto &[level, rows] = portions_[portion];
        random_.restart({seed_, StreamPurpose::refused, number_, iteration_, sweep * portions_.size() + portion});
        try {
            own[level].moments.push_back(draw_refused_rows(model_.region, ruled[level], rows, random_));
        } catch (const UnusableMoments &why) {
            throw explain_unusable(model_, model_.levels[level], why);
        } catch (const TooManyRefused &) {
            throw too_many_refused(model_, model_.levels[level], ruled[level], iteration_, number_);
        }
    }
    return combine_levels(std::move(own), model_.region.variables.size());
}

// The moments of each level, of which this member has some parts.
std::vector<Moments> Chain::combine_levels(std::vector<OwnParts> own, std::size_t n) {
    std::vector<double> numbers;
    for (std::size_t l = 0; l < own.size(); ++l) {
        for (const TreeNode &node : combine_within(std::move(own[l].moments), own[l].first, own[l].total)) {
            append_node(l, node, numbers);
        }
    }
    std::vector<std::vector<TreeNode>> nodes(own.size());
    for (const std::span<const double> all : team_->exchange(numbers)) {
        for (const double *next = all.data(); next != all.data() + all.size(); next += 3 + n + packed_size(n)) {
            const double *mean = next + 3;
            nodes[static_cast<std::size_t>(next[0])].push_back(
                {static_cast<std::size_t>(next[1]),
                 {next[2], {mean, mean + n}, {mean + n, mean + n + packed_size(n)}}});
        }
    }
    std::vector<Moments> rows;
    for (std::size_t l = 0; l < own.size(); ++l) {
        rows.push_back(combine_nodes(std::move(nodes[l]), own[l].total));
    }
    return rows;
}

void Chain::draw_cells(std::size_t block) {
    const Block &rows = model_.blocks[block];
    const Parameters &parameters = parameters_[rows.level];
    random_.restart({seed_, StreamPurpose::cells, number_, iteration_, block});
    try {
        for (int sweep = 0; sweep < sweeps_[block]; ++sweep) {
            engine_.impute(group_of(block), parameters.mean, parameters.covariance, random_);
        }
    } catch (const EngineError &error) {
        throw no_draw(model_, rows.rows, model_.levels[rows.level], iteration_, number_, error);
    }
}

Moments Chain::moments_of(std::size_t block) {
    const std::size_t n = model_.variables.list.size();
    Moments moments{static_cast<double>(model_.blocks[block].rows.size()), std::vector<double>(n),
                    std::vector<double>(packed_size(n))};
    engine_.sample_moments(group_of(block), moments.mean, moments.scatter);
    for (double &element : moments.scatter) element *= moments.count;
    return moments;
}

void Chain::draw_level(std::size_t level, const Moments &rows) {
    random_.restart({seed_, StreamPurpose::parameters, number_, iteration_, level});
    try {
        parameters_[level] = draw_parameters(rows, model_.levels[level].prior, random_);
    } catch (const UnusableMoments &why) {
        throw explain_unusable(model_, model_.levels[level], why);
    }
}

void Chain::copy_hidden(std::span<double> values) {
    if (team_->size() == 1) {
        copy_own_cells(values);
        return;
    }
    // By blocks, as the members have them.
    const auto cells_of = [&](std::size_t first, std::size_t last, const auto &visit) {
        for (std::size_t block = first; block < last; ++block) {
            for (const std::int32_t row : model_.blocks[block].rows) {
                const auto r = static_cast<std::size_t>(row);
                visit(model_.hidden->row_begin[r], model_.hidden->of_row(r).size());
            }
        }
    };
    copy_own_cells(values);
    std::size_t before = 0;
    cells_of(0, blocks_.first, [&](std::size_t, std::size_t count) { before += count; });
    std::vector<double> own;
    cells_of(blocks_.first, blocks_.second, [&](std::size_t begin, std::size_t count) {
        const std::span cells = values.subspan(begin, count);
        own.insert(own.end(), cells.begin(), cells.end());
    });
    std::span<const double> all = team_->gather_cells(before, own);
    if (team_->number() != 0) return;
    cells_of(0, model_.blocks.size(), [&](std::size_t begin, std::size_t count) {
        std::ranges::copy(all.first(count), values.begin() + static_cast<std::ptrdiff_t>(begin));
        all = all.subspan(count);
    });
}

void Chain::copy_own_cells(std::span<double> values) {
    const std::size_t n = model_.variables.list.size();
    std::vector<double> matrix;
    for (std::size_t block = blocks_.first; block < blocks_.second; ++block) {
        const Block &rows = model_.blocks[block];
        matrix.resize(rows.rows.size() * n);
        engine_.values(group_of(block), matrix);
        take_hidden(model_, rows.rows, matrix, values);
    }
}

}  // namespace ullage::host
