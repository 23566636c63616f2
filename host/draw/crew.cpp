// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// A worker process for each chain, and with it the others of its team.

#include "ullage/host/draw/crew.h"

#include <algorithm>

#include "ullage/host/draw/local_team.h"
#include "ullage/host/draw/worker.h"

namespace ullage::host {

std::size_t LocalCrew::run(const ChainWork &work) {
    // Processes that share a chain: those that would find no chain of their own, as far as there is work for them.
    const std::size_t members = std::clamp<std::size_t>(jobs_ / work.count, 1, work.most_members);
    std::size_t rounds = 0;
    run_workers(
        work.first, work.count, jobs_,
        [&](std::size_t chain, FrameWriter &writer) {
            run_team(members, work.capacity, members > 1 ? work.cells : 0,
                     [&](Team &team) { work.draw(chain, team, writer); });
        },
        work.take,
        [&] {
            if (!work.again || !work.again()) return false;
            ++rounds;
            return true;
        });
    return rounds;
}

}  // namespace ullage::host
