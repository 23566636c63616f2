// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The ranks of an MPI program as those who run the chains.

#ifndef ULLAGE_HOST_MPI_MPI_CREW_H
#define ULLAGE_HOST_MPI_MPI_CREW_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "ullage/host/draw/crew.h"
#include "ullage/host/mpi/ranks.h"

namespace ullage::host {

/**
 * Ranks, divided among the chains: each is the team of some ranks that follow each other, so that they are on one
 * machine where that is possible; of fewer ranks each runs several chains, one after the other. Rank 0 is in the first
 * team, and takes what the others send whenever it waits and after each of its own iterations.
 *
 * A rank holds one chain at a time: rounds need a rank for every chain.
 */
class MpiCrew : public Crew {
public:
    explicit MpiCrew(Ranks &ranks) : ranks_(ranks) {}

    [[nodiscard]] bool leads() const override { return ranks_.leads(); }
    [[nodiscard]] std::uint64_t agree(std::uint64_t number, const std::string &facts) override;
    void share(std::vector<double> &numbers) override;
    /** @throws Error    usage if there are rounds and fewer ranks than chains; as Crew and Ranks
     *  @throws Stopped  in ranks other than 0, when any rank has failed */
    std::size_t run(const ChainWork &work) override;

private:
    Ranks &ranks_;
};

}  // namespace ullage::host

#endif
