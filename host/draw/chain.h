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

/** Iterations at the beginning of a chain that take no account of the rules: parameters far from the data would have
 * nearly all rows refused. Part of what a seed means, as is the next. */
inline constexpr std::uint64_t kSettling = 20;
/** How often an iteration draws refused rows and the parameters of the variables with rules by turns: these depend much
 * on each other, and cost little beside the cells. */
inline constexpr std::size_t kRuledSweeps = 10;

/** The most numbers that a member of a team of a chain puts into an exchange. */
[[nodiscard]] std::size_t exchange_capacity(const ModelTable &model);

/**
 * One chain of data augmentation (Tanner, Wong 1987), with its own engine session.
 *
 * An iteration draws the hidden cells given the parameters, then the parameters of every level given the completed
 * rows and, where there are rules, the rows that these refuse (draw_refused_rows), which are forgotten. The chain
 * starts from parameters of its own, more widely spread than the posterior distribution. All that it gives depends on
 * the table, the seed and the chain's number alone.
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

    /** All that a chain whose cells are about to be renewed goes on from. */
    [[nodiscard]] std::vector<double> state() const;

    /**
     * Go on, before the first iteration, where another chain of the model, seed and number was. The cells are not those
     * that it had: the next iteration draws them from the parameters as the first of a chain does.
     *
     * @param iterations  that the other chain had done
     * @param state       its state()
     * @throws Error  data if it is none of this model
     */
    void resume(std::uint64_t iterations, std::span<const double> state);

    /** From now on draw the cells of each block so often in an iteration, given the same parameters.
     * @param sweeps  one per block of the table, at least 1 */
    void set_sweeps(std::vector<int> sweeps) { sweeps_ = std::move(sweeps); }

    /** Rows that broke the rules in the last iteration, of each level, in the mean of its sweeps; none without rules.
     */
    [[nodiscard]] std::span<const double> refused() const { return refused_; }

    /** The parameters of each level, in the model's units: the last drawn, or the start. */
    [[nodiscard]] std::span<const Parameters> parameters() const { return parameters_; }

    /** Copy the hidden cells' present draws in the order of HiddenCells::cells: numbers in the model's units, of words
     * their places. In other members of the team than the first only their own cells are. */
    void copy_hidden(std::span<double> values);

private:
    /** Rows of a level for which the refused ones come from one stream. */
    struct Portion {
        std::size_t level;
        std::size_t rows;
    };
    /** What this member has of the parts of a level. */
    struct OwnParts {
        std::size_t first;
        std::size_t total;
        std::vector<Moments> moments = {};
    };
    void draw_cells(std::size_t block);
    [[nodiscard]] Moments moments_of(std::size_t block);
    void draw_ruled(const std::vector<Moments> &rows, std::vector<Parameters> ruled);
    [[nodiscard]] std::vector<Moments> draw_refused(std::span<const Parameters> ruled, std::size_t sweep);
    [[nodiscard]] std::vector<Moments> combine_levels(std::vector<OwnParts> own, std::size_t n);
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
    std::vector<int> sweeps_;  // of each block
    EngineSession engine_;
    RandomStream random_;
    std::vector<Parameters> parameters_;
    std::vector<Portion> portions_;                     // of all members, level by level; none without rules
    std::pair<std::size_t, std::size_t> own_portions_;  // of this one
    std::vector<double> refused_;
    std::vector<double> all_refused_;  // since the chain has settled
};

}  // namespace ullage::host

#endif
