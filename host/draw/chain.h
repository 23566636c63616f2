// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// One chain of Bayesian data augmentation.

#ifndef ULLAGE_HOST_DRAW_CHAIN_H
#define ULLAGE_HOST_DRAW_CHAIN_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "ullage/host/draw/engine_session.h"
#include "ullage/host/draw/team.h"
#include "ullage/host/model/model_table.h"
#include "ullage/host/model/posterior.h"
#include "ullage/host/model/prior.h"
#include "ullage/host/model/scale.h"
#include "ullage/host/numbers/moments.h"
#include "ullage/host/numbers/random_stream.h"
#include "ullage/host/table/table.h"

namespace ullage::host {

/** The most numbers that a member of a team of a chain puts into an exchange. */
[[nodiscard]] std::size_t exchange_capacity(const ModelTable &model);

/**
 * One chain of data augmentation (Tanner, Wong 1987), with its own engine session.
 *
 * An iteration draws the hidden cells given the parameters, then the parameters of every level given the completed
 * rows. The chain starts from parameters of its own, more widely spread than the posterior distribution. All that it
 * gives depends on the table, the seed and the chain's number alone.
 */
class Chain {
public:
    /** Open the engine and load the rows with hidden cells, those of this member of the team.
     * @param number  from 1
     * @param team    must outlive the chain
     * @throws Error  internal if the process has an engine session already, or the engine refuses a row */
    Chain(const ModelTable &model, std::uint64_t seed, std::uint64_t number, Team &team);
    /** The same in a team of one. */
    Chain(const ModelTable &model, std::uint64_t seed, std::uint64_t number);

    /** @throws Error  data if the completed rows or the parameters have become unusable: which columns, and why */
    void iterate();

    /** The parameters of each level, in the model's units: the last drawn, or the start. */
    [[nodiscard]] std::span<const Parameters> parameters() const { return parameters_; }

    /** Copy the hidden cells' present draws in the order of HiddenCells::cells: numbers in the model's units, of words
     * their places. Other members of the team than the first call it too, with any values, which stay untouched. */
    void copy_hidden(std::span<double> values);

private:
    void draw_cells(std::size_t block);
    [[nodiscard]] Moments moments_of(std::size_t block);
    [[nodiscard]] std::vector<Moments> combine_levels(std::vector<std::vector<Moments>> own);
    void draw_level(std::size_t level, const Moments &rows);
    void copy_own_cells(std::span<double> values);

    /** The engine's number of a block. */
    [[nodiscard]] std::int32_t group_of(std::size_t block) const {
        return static_cast<std::int32_t>(block - blocks_.first) + 1;
    }

    const ModelTable &model_;
    std::uint64_t seed_;
    std::uint64_t number_;
    Team *team_;
    std::pair<std::size_t, std::size_t> blocks_;  ///< of this member: from first up to, and not including, second
    std::uint64_t iteration_ = 0;
    EngineSession engine_;
    RandomStream random_;
    std::vector<Parameters> parameters_;
};

}  // namespace ullage::host

#endif
