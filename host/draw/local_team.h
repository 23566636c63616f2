// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Teams of processes of this machine.

#ifndef ULLAGE_HOST_DRAW_LOCAL_TEAM_H
#define ULLAGE_HOST_DRAW_LOCAL_TEAM_H

#include <cstddef>
#include <functional>

#include "ullage/host/draw/team.h"

namespace ullage::host {

/**
 * Run work in a team of processes of this machine, which are forked from this one: it is member 0. As with every fork,
 * no other thread of this process should be at work.
 *
 * All other members are gone when the function returns or throws.
 *
 * @param members   at least 1
 * @param capacity  the most numbers that a member ever puts into an exchange
 * @param cells     the most that the members ever gather
 * @param work      called in every member; what it leaves behind in members other than 0 is lost
 * @throws Error  of the work of any member; internal if a member died or could not be started
 */
void run_team(std::size_t members, std::size_t capacity, std::size_t cells, const std::function<void(Team &)> &work);

}  // namespace ullage::host

#endif
