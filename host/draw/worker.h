// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Local worker processes.

#ifndef ULLAGE_HOST_DRAW_WORKER_H
#define ULLAGE_HOST_DRAW_WORKER_H

#include <cstddef>
#include <functional>

#include "ullage/host/draw/frames.h"

namespace ullage::host {

/**
 * Run work in worker processes, at most some at a time, and take their frames in this process.
 *
 * A worker inherits all memory of this process as it is now. It ends with its work; an Error, or any other exception,
 * of its work becomes the same Error here. When the function leaves, by whatever way, no worker is left.
 *
 * @param first  index of the first piece of work
 * @param count  pieces of work, started in order
 * @param jobs   workers at a time
 * @param work   called in the worker with the index of its piece
 * @param take   called here for all frames but rest, failure and end
 * @param again  called here whenever all workers rest: whether there is another round; none if it is empty. Between
 *               rounds all workers are there, and keep what they have in memory
 * @throws Error  of a worker; internal if a worker died without a word; interrupted
 */
void run_workers(std::size_t first, std::size_t count, std::size_t jobs,
                 const std::function<void(std::size_t, FrameWriter &)> &work,
                 const std::function<void(std::size_t, const Frame &)> &take, const std::function<bool()> &again = {});

}  // namespace ullage::host

#endif
