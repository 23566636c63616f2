// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Who runs the chains of a run.

#ifndef ULLAGE_HOST_DRAW_CREW_H
#define ULLAGE_HOST_DRAW_CREW_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "ullage/host/draw/frames.h"
#include "ullage/host/draw/team.h"

namespace ullage::host {

/** The chains of a run, as those see them who divide them. */
struct ChainWork {
    std::size_t first = 0;         ///< chain, from 0
    std::size_t count = 0;         ///< chains
    std::size_t most_members = 1;  ///< of a team that have something to do
    std::size_t capacity = 0;      ///< the most numbers that a member puts into an exchange
    std::size_t cells = 0;         ///< the most that a team gathers
    /** Run a chain: called in every member of its team. */
    std::function<void(std::size_t chain, Team &team, FrameWriter &writer)> draw;
    /** Called in the process that leads, for all frames but rest, failure and end. */
    std::function<void(std::size_t chain, const Frame &frame)> take;
    /** Called there whenever all chains rest: whether there is another round. Empty if there is only one. */
    std::function<bool()> again;
};

/**
 * The processes that run the chains of a run, in teams, and the one among them that leads: it gathers what they draw,
 * and alone speaks and writes. Where the others run the same program rather than being made for a piece of work, they
 * make the same calls in the same order.
 */
class Crew {
public:
    Crew() = default;
    virtual ~Crew() = default;
    Crew(const Crew &) = delete;
    Crew &operator=(const Crew &) = delete;

    [[nodiscard]] virtual bool leads() const { return true; }

    /** Take the number of the process that leads.
     * @param facts  what must be the same in all processes for them to draw one run
     * @throws Error  data if it is not */
    [[nodiscard]] virtual std::uint64_t agree(std::uint64_t number, [[maybe_unused]] const std::string &facts) {
        return number;
    }

    /** Take the numbers of the process that leads. */
    virtual void share([[maybe_unused]] std::vector<double> &numbers) {}

    /** Run chains.
     * @return rounds after the first
     * @throws Error  of the work in any process; internal if a process died or could not be started; interrupted */
    virtual std::size_t run(const ChainWork &work) = 0;
};

/** Processes of this machine that are forked from this one: one for each chain, or a team. */
class LocalCrew : public Crew {
public:
    /** @param jobs  processes that draw at a time, at least 1 */
    explicit LocalCrew(std::size_t jobs) : jobs_(jobs) {}
    std::size_t run(const ChainWork &work) override;

private:
    std::size_t jobs_;
};

}  // namespace ullage::host

#endif
