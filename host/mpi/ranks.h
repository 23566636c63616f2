// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The processes of an MPI program, their messages, and how all of them end together.

#ifndef ULLAGE_HOST_MPI_RANKS_H
#define ULLAGE_HOST_MPI_RANKS_H

#include <mpi.h>

#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "ullage/host/base/error.h"
#include "ullage/host/mpi/heartbeat.h"

namespace ullage::host {

/** What a message is. */
enum class MessageTag : int { facts, number, exchange, cells, frames, word, done, failure, stop };

/** Rank 0 has told the others to end. */
class Stopped : public std::exception {
public:
    [[nodiscard]] const char *what() const noexcept override { return "stopped"; }
};

/**
 * The ranks of an MPI program. Rank 0 leads.
 *
 * No call of MPI blocks: whoever waits takes in all messages that come, so that each learns of a failure wherever it
 * is. A rank that fails tells rank 0, whose waiting then ends with that error; rank 0 tells all others to stop, and all
 * leave together, so that nothing is written twice and none is left. A rank that is silent for long, as its machine or
 * the way to it is gone, is a failure too (Heartbeat).
 */
class Ranks {
public:
    /** Start MPI.
     * @throws Error  internal */
    Ranks(int *argc, char ***argv);
    Ranks(const Ranks &) = delete;
    Ranks &operator=(const Ranks &) = delete;

    [[nodiscard]] std::size_t size() const { return size_; }
    [[nodiscard]] std::size_t number() const { return number_; }
    [[nodiscard]] bool leads() const { return number_ == 0; }
    /** "rank 3 on HOST", of this rank. */
    [[nodiscard]] const std::string &name() const { return name_; }

    void send(std::size_t to, MessageTag tag, std::string_view bytes);

    /** Bytes that have not been taken yet. */
    [[nodiscard]] std::size_t unsent() const { return unsent_; }

    /** Wait for the next message of a rank, of this tag.
     * @throws Error    in rank 0: what any rank failed with; interrupted
     * @throws Stopped  in the others */
    [[nodiscard]] std::string receive(std::size_t from, MessageTag tag);

    /** Take in what has come. Throws as receive().
     * @return whether anything has */
    bool look();

    /** Wait as long as it is so. Throws as receive(). */
    void wait_while(const std::function<bool()> &so);

    /** Called for messages with the tag frames, which then go nowhere else. */
    void set_frame_reader(std::function<void(std::size_t from, std::string_view bytes)> reader) {
        frame_reader_ = std::move(reader);
    }

    /** Not in rank 0: tell it what went wrong. */
    void tell_failure(Fault fault, std::string_view what);
    /** Rank 0: tell the others to end. They: wait until they are told. Then leave MPI together.
     * @throws Error  internal if a rank is gone */
    void leave();
    /** End whatever is left of the program at once. */
    static void abandon(int exit_code);

private:
    using Inbox = std::map<std::pair<MessageTag, std::size_t>, std::deque<std::string>>;
    struct Sending {
        std::string bytes;
        MPI_Request request = MPI_REQUEST_NULL;
    };

    bool take_one();
    void take(MessageTag tag, std::size_t from, std::string bytes);
    void forget_sent();
    void meet();

    std::size_t size_ = 1;
    std::size_t number_ = 0;
    std::string name_;
    MPI_Comm messages_ = MPI_COMM_NULL;
    Inbox inbox_;
    std::deque<Sending> sending_;
    std::size_t unsent_ = 0;
    std::function<void(std::size_t, std::string_view)> frame_reader_;
    bool leaving_ = false;
    bool stopped_ = false;
    Heartbeat heartbeat_;
};

}  // namespace ullage::host

#endif
