// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// A table made ready for data augmentation.

#ifndef ULLAGE_HOST_MODEL_MODEL_TABLE_H
#define ULLAGE_HOST_MODEL_MODEL_TABLE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ullage/host/base/error.h"
#include "ullage/host/model/latent_columns.h"
#include "ullage/host/model/mixture.h"
#include "ullage/host/model/posterior.h"
#include "ullage/host/model/prior.h"
#include "ullage/host/model/region.h"
#include "ullage/host/model/scale.h"
#include "ullage/host/numbers/moments.h"
#include "ullage/host/table/table.h"

namespace ullage::host {

/** Rows that the engine holds as one group and that draw from one stream; part of what a seed means. */
inline constexpr std::size_t kBlockRows = 4096;

/** Rows of one level that have cells which are no numbers to the model; in a mixture, any rows. */
struct Block {
    std::size_t level;
    std::vector<std::int32_t> rows;  ///< at most kBlockRows; rows with the same hidden columns stand together
};

/** What the model knows of one level before the first draw, in the model's units. */
struct Level {
    std::string name;  ///< "" if there is no "by" column
    Moments complete;  ///< of the rows that are numbers throughout and never enter the engine; none in a mixture
    std::size_t row_count = 0;
    std::size_t first_block = 0;  ///< its blocks in ModelTable::blocks
    std::size_t block_count = 0;
    std::vector<std::size_t> observed_count;  ///< per variable, the observed cells of its column
    std::vector<double> mean;                 ///< of the observed cells, 0 where there are none; rough for words
    std::vector<double> variance;             ///< of the observed cells, 1 where they do not vary and for words
    Prior prior;
    Prior ruled_prior;  ///< of the variables of the region; never flat in their means
};

/** A table made ready for data augmentation. It refers to the table and its hidden cells, which must outlive it. */
struct ModelTable {
    const Table *table;
    const HiddenCells *hidden;
    std::vector<Scale> scales;  ///< one per column of the table
    Variables variables;
    std::vector<Level> levels;
    std::vector<Block> blocks;  ///< level by level
    std::optional<MixturePrior> mixture = std::nullopt;
    Region region = {};  ///< that every row lies in

    /** Normal distributions of the model: 1, or the components of the mixture. */
    [[nodiscard]] std::size_t component_count() const { return mixture ? mixture->components : 1; }
};

/**
 * Refuse a table for which there is no mixture of normals.
 *
 * @throws Error  usage, with what to do: a column of words or steps, levels, rules, or a prior of its own
 */
void check_mixture(const Table &table, const PriorChoice &prior);

/**
 * Make a table ready.
 *
 * @param components  of a mixture of normals; 1 is one normal distribution
 * @throws Error  usage, if a mixture is asked for with a column of words or steps, levels, rules or a prior of its own;
 *                data,
 *                in words and with a way out, if the data cannot determine the parameters: a constant column,
 *                a column that nothing is known of, too few rows, columns that are combinations of each other
 */
[[nodiscard]] ModelTable prepare_model(const Table &table, const HiddenCells &hidden, const PriorChoice &prior,
                                       std::size_t components = 1);

/** Where a level is, as a part of a sentence: ` in level "a"`, or nothing if there is no "by" column. */
[[nodiscard]] std::string in_level(const Level &level);

/** Why the parameters of a level cannot be drawn, and what to do. */
[[nodiscard]] Error explain_unusable(const ModelTable &model, const Level &level, const UnusableMoments &why);

}  // namespace ullage::host

#endif
