// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// One chain of Bayesian data augmentation.

#ifndef ULLAGE_HOST_DRAW_CHAIN_H
#define ULLAGE_HOST_DRAW_CHAIN_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "ullage/host/draw/engine_session.h"
#include "ullage/host/model/model_table.h"
#include "ullage/host/model/posterior.h"
#include "ullage/host/model/prior.h"
#include "ullage/host/model/scale.h"
#include "ullage/host/numbers/moments.h"
#include "ullage/host/numbers/random_stream.h"
#include "ullage/host/table/table.h"

namespace ullage::host {

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

    /** Copy the hidden cells' present draws in the order of HiddenCells::cells: numbers in the model's units, of words
     * their places. */
    void copy_hidden(std::span<double> values);

private:
    void draw_cells(std::size_t block);
    [[nodiscard]] Moments moments_of(std::size_t block);
    void draw_level(std::size_t level, std::vector<Moments> parts);

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
