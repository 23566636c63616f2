// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The processes that run one chain together.

#ifndef ULLAGE_HOST_DRAW_TEAM_H
#define ULLAGE_HOST_DRAW_TEAM_H

#include <cstddef>
#include <functional>
#include <span>
#include <utility>
#include <vector>

namespace ullage::host {

/**
 * A team runs one chain: each member draws the cells of some blocks of rows, and all draw the same parameters from the
 * same sums. Every member makes the same calls in the same order. What a chain gives does not depend on its team.
 *
 * This one is a team of one; its descendants say how several members talk to each other.
 */
class Team {
public:
    virtual ~Team() = default;
    [[nodiscard]] virtual std::size_t size() const { return 1; }
    /** Which member this is, from 0. Member 0 speaks for the team. */
    [[nodiscard]] virtual std::size_t number() const { return 0; }

    /**
     * Give every member what all of them put in.
     *
     * @return the numbers of each member, in the order of the members; valid until the next call
     * @throws Error  if another member failed: its error
     */
    [[nodiscard]] virtual std::vector<std::span<const double>> exchange(std::span<const double> own) { return {own}; }

    /** Memory that all members see, with room for the hidden cells that they put there before an exchange; empty if
     * none was asked for. */
    [[nodiscard]] virtual std::span<double> shared_cells() { return {}; }
};

/** The pieces of work that a member does, if they are divided in their order and so that each member has about as much:
 * from first up to, and not including, second.
 * @param work  of each piece, at least 0 */
[[nodiscard]] std::pair<std::size_t, std::size_t> share_of(std::span<const double> work, std::size_t member,
                                                           std::size_t members);

/**
 * Run work in a team of processes of this machine, which are forked from this one: it is member 0. As with every fork,
 * no other thread of this process should be at work.
 *
 * All other members are gone when the function returns or throws.
 *
 * @param members   at least 1
 * @param capacity  the most numbers that a member ever puts into an exchange
 * @param cells     numbers that the members share
 * @param work      called in every member; what it leaves behind in members other than 0 is lost
 * @throws Error  of the work of any member; internal if a member died or could not be started
 */
void run_team(std::size_t members, std::size_t capacity, std::size_t cells, const std::function<void(Team &)> &work);

}  // namespace ullage::host

#endif
