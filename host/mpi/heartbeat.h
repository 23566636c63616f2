// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Whether the other ranks are still there.

#ifndef ULLAGE_HOST_MPI_HEARTBEAT_H
#define ULLAGE_HOST_MPI_HEARTBEAT_H

#include <mpi.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <optional>
#include <thread>
#include <vector>

namespace ullage::host {

/**
 * A thread that tells rank 0 every second that this rank is there, or, in rank 0, tells all others, and listens to
 * them. So a machine, or the way to it, that is gone without a word is found, however long the iterations are. What a
 * program knows of a lost connection may take a quarter of an hour to come.
 */
class Heartbeat {
public:
    Heartbeat() = default;
    ~Heartbeat() { stop(); }
    Heartbeat(const Heartbeat &) = delete;
    Heartbeat &operator=(const Heartbeat &) = delete;

    /** Begin, on a communicator that nobody else uses. */
    void start(MPI_Comm beats);
    /** End the thread; messages may still be under way. */
    void stop();
    /** Once stopped: take in what is under way.
     * @return whether all others have stopped too and nothing is under way any more */
    [[nodiscard]] bool ended();

    /** A rank that has been silent for too long. */
    [[nodiscard]] std::optional<std::size_t> lost() const;

    /** Seconds of silence after which a rank counts as lost: long for a machine that is busy. */
    static constexpr int kSilence = 20;

private:
    enum class Tag : int { beat, last };

    void beat();
    void send(Tag tag);
    bool take_one();

    MPI_Comm beats_ = MPI_COMM_NULL;
    std::vector<std::size_t> others_;
    std::vector<MPI_Request> sending_;
    std::vector<std::chrono::steady_clock::time_point> heard_;
    std::size_t going_on_ = 0;  // how many of the others have not sent their last beat
    bool sent_last_ = false;
    std::atomic<bool> stopping_ = false;
    std::atomic<int> lost_ = -1;
    std::thread thread_;
};

}  // namespace ullage::host

#endif
