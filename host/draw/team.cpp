// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// How the work of a team is divided.

#include "ullage/host/draw/team.h"

#include <numeric>

namespace ullage::host {

std::pair<std::size_t, std::size_t> share_of(std::span<const double> work, std::size_t member, std::size_t members) {
    const double share = std::accumulate(work.begin(), work.end(), 0.0) / static_cast<double>(members);
    // A piece belongs to the member in whose share its middle lies.
    const auto first_of = [&](std::size_t number) {
        if (number == members) return work.size();
        double before = 0.0;
        std::size_t piece = 0;
        while (piece < work.size() && before + 0.5 * work[piece] < share * static_cast<double>(number)) {
            before += work[piece++];
        }
        return piece;
    };
    return {first_of(member), first_of(member + 1)};
}

}  // namespace ullage::host
