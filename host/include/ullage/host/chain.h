// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Bayesian data augmentation: a table made ready for it, and one chain.

#ifndef ULLAGE_HOST_CHAIN_H
#define ULLAGE_HOST_CHAIN_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "ullage/host/engine_session.h"
#include "ullage/host/model.h"
#include "ullage/host/prior.h"
#include "ullage/host/random_stream.h"
#include "ullage/host/scale.h"
#include "ullage/host/table.h"

namespace ullage::host {

/** Rows that the engine holds as one group and that draw from one stream; part of what a seed means. */
inline constexpr std::size_t kBlockRows = 4096;

/** Rows of one level that have hidden cells. */
struct Block {
    std::size_t level;
    std::vector<std::int32_t> rows;  ///< at most kBlockRows; rows with the same hidden columns stand together
};

/** What the model knows of one level before the first draw, in the model's units. */
struct Level {
    std::string name;  ///< "" if there is no "by" column
    Moments complete;  ///< of the rows without hidden cells, which never enter the engine
    std::size_t row_count = 0;
    std::size_t first_block = 0;  ///< its blocks in ModelTable::blocks
    std::size_t block_count = 0;
    std::vector<std::size_t> observed_count;  ///< per column
    std::vector<double> mean;                 ///< of the observed cells, 0 where there are none
    std::vector<double> variance;             ///< of the observed cells, 1 where they do not vary
    Prior prior;
};

/** A table made ready for data augmentation. It refers to the table and its hidden cells, which must outlive it. */
struct ModelTable {
    const Table *table;
    const HiddenCells *hidden;
    std::vector<std::string> names;  ///< of the columns
    std::vector<Scale> scales;
    std::vector<Level> levels;
    std::vector<Block> blocks;  ///< level by level
};

/**
 * Make a table ready.
 *
 * @throws Error  data, in words and with a way out, if the data cannot determine the parameters: a constant column,
 *                a column that nothing is known of, too few rows, columns that are combinations of each other
 */
[[nodiscard]] ModelTable prepare_model(const Table &table, const HiddenCells &hidden, const PriorChoice &prior);

/**
 * One chain of data augmentation (Tanner, Wong 1987), with its own engine session.
 *
 * An iteration draws the hidden cells given the parameters, then the parameters of every level given the completed
 * rows. The chain starts from parameters of its own, more widely spread than the posterior distribution. All that it
 * gives depends on the table, the seed and the chain's number alone.
 */
class Chain {
public:
    /** Open the engine and load the rows with hidden cells.
     * @param number  from 1
     * @throws Error  internal if the process has an engine session already, or the engine refuses a row */
    Chain(const ModelTable &model, std::uint64_t seed, std::uint64_t number);

    /** @throws Error  data if the completed rows or the parameters have become unusable: which columns, and why */
    void iterate();

    /** The parameters of each level, in the model's units: the last drawn, or the start. */
    [[nodiscard]] std::span<const Parameters> parameters() const { return parameters_; }

    /** Copy the hidden cells' present draws, in the model's units and the order of HiddenCells::cells. */
    void copy_hidden(std::span<double> values);

private:
    void draw_cells(std::size_t block);
    void draw_level(std::size_t level);

    const ModelTable &model_;
    std::uint64_t seed_;
    std::uint64_t number_;
    std::uint64_t iteration_ = 0;
    EngineSession engine_;
    RandomStream random_;
    std::vector<Parameters> parameters_;
};

}  // namespace ullage::host

#endif
