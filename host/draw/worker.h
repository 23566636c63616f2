// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Local worker processes and the frames that they send: the only place of the host library that forks.

#ifndef ULLAGE_HOST_DRAW_WORKER_H
#define ULLAGE_HOST_DRAW_WORKER_H

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace ullage::host {

/** What a frame holds. */
enum class FrameKind : std::uint32_t { progress, parameters, sweeps, refused, imputation, rest, failure, end };

/** The head of a frame; its bytes follow. Both ends run the same program on the same machine. */
struct FrameHead {
    FrameKind kind;
    std::uint32_t argument;  ///< iterations done; sweeps; index of an imputation; a Fault
    std::uint64_t size;      ///< bytes that follow
};

/**
 * The worker's end: gathers small frames, so that a chain of short iterations makes few calls of the system, and needs
 * no memory for large ones, so that a worker whose memory is at its end can still say so.
 */
class FrameWriter {
public:
    explicit FrameWriter(int descriptor);
    /** What waits goes with the first frame that comes a fraction of a second later. A worker whose reader is gone ends
     * itself. */
    void write(FrameKind kind, std::uint32_t argument, std::string_view bytes = {});
    void write(FrameKind kind, std::uint32_t argument, std::span<const double> numbers);
    void flush();
    /** Say that a round of the work is done, and wait for the reader's word whether there is another. */
    [[nodiscard]] bool rest();

private:
    void put(std::string_view bytes) const;
    int descriptor_;
    std::string buffer_;  // never grows
    std::chrono::steady_clock::time_point flushed_ = std::chrono::steady_clock::now();
};

/** A frame as it arrived; its bytes are valid during the call only. */
struct Frame {
    FrameHead head;
    std::string_view bytes;

    [[nodiscard]] std::vector<double> numbers() const;
};

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
