// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The processes that run one chain together: the interface, and a team of one.

#ifndef ULLAGE_HOST_DRAW_TEAM_H
#define ULLAGE_HOST_DRAW_TEAM_H

#include <cstddef>
#include <span>
#include <utility>
#include <vector>

namespace ullage::host {

/**
 * A team runs one chain: each member draws the cells of some blocks of rows, and all draw the same parameters from the
 * same sums. Every member makes the same calls in the same order. What a chain gives does not depend on its team.
 *
 * This one is a team of one; its descendants say how several members talk to each other. Wherever a member waits for
 * another that has failed, it throws that one's error.
 */
class Team {
public:
    Team() = default;
    virtual ~Team() = default;
    Team(const Team &) = delete;
    Team &operator=(const Team &) = delete;
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

    /**
     * Give the first member the cells that all of them have: side by side, in the order of the members.
     *
     * @param before  cells of the members before this one
     * @return in the first member all cells, valid until the next exchange; nothing in the others
     * @throws Error  as exchange
     */
    [[nodiscard]] virtual std::span<const double> gather_cells([[maybe_unused]] std::size_t before,
                                                               std::span<const double> own) {
        return own;
    }
};

/** The pieces of work that a member does, if they are divided in their order and so that each member has about as much:
 * from first up to, and not including, second.
 * @param work  of each piece, at least 0 */
[[nodiscard]] std::pair<std::size_t, std::size_t> share_of(std::span<const double> work, std::size_t member,
                                                           std::size_t members);

}  // namespace ullage::host

#endif
