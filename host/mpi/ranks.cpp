// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Messages that never block, and the end of all ranks.

#include "ullage/host/mpi/ranks.h"

#include <fmt/format.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <thread>

#include "ullage/host/base/interrupt.h"

namespace ullage::host {
namespace {

using Clock = std::chrono::steady_clock;

// Longer than two ranks that did the same work are apart; then others may need the processor.
constexpr auto kSpin = std::chrono::microseconds(200);
constexpr auto kShortSleep = std::chrono::microseconds(50);
constexpr auto kLongSleep = std::chrono::milliseconds(2);
constexpr auto kPatience = std::chrono::milliseconds(200);
constexpr auto kRest = std::chrono::milliseconds(50);
constexpr unsigned kAbandonSeconds = 5;
constexpr std::size_t kPiece = std::size_t{1} << 26;  // bytes of a message at most; more come in several

void check(int code, const char *what) {
    if (code == MPI_SUCCESS) return;
    std::array<char, MPI_MAX_ERROR_STRING> text{};
    int length = 0;
    MPI_Error_string(code, text.data(), &length);
    throw Error(Fault::internal, fmt::format("{}: {}", what, std::string_view(text.data(), length)));
}

}  // namespace

Ranks::Ranks(int *argc, char ***argv) {
    int provided = 0;
    check(MPI_Init_thread(argc, argv, MPI_THREAD_MULTIPLE, &provided), "cannot start MPI");
    MPI_Comm_set_errhandler(MPI_COMM_WORLD, MPI_ERRORS_RETURN);
    int size = 0;
    int number = 0;
    MPI_Comm_size(MPI_COMM_WORLD, &size);
    MPI_Comm_rank(MPI_COMM_WORLD, &number);
    size_ = static_cast<std::size_t>(size);
    number_ = static_cast<std::size_t>(number);
    std::array<char, MPI_MAX_PROCESSOR_NAME> host{};
    int length = 0;
    MPI_Get_processor_name(host.data(), &length);
    name_ = fmt::format("rank {} on {}", number, std::string_view(host.data(), static_cast<std::size_t>(length)));
    check(MPI_Comm_dup(MPI_COMM_WORLD, &messages_), "MPI_Comm_dup");
    MPI_Comm beats = MPI_COMM_NULL;
    check(MPI_Comm_dup(MPI_COMM_WORLD, &beats), "MPI_Comm_dup");
    if (provided == MPI_THREAD_MULTIPLE) heartbeat_.start(beats);
}

void Ranks::send(std::size_t to, MessageTag tag, std::string_view bytes) {
    do {
        const std::string_view piece = bytes.substr(0, kPiece);
        bytes.remove_prefix(piece.size());
        Sending &sending = sending_.emplace_back(Sending{std::string(piece)});
        unsent_ += piece.size();
        check(MPI_Isend(sending.bytes.data(), static_cast<int>(piece.size()), MPI_BYTE, static_cast<int>(to),
                        static_cast<int>(tag), messages_, &sending.request),
              "a message cannot be sent");
    } while (!bytes.empty());
    forget_sent();
}

void Ranks::forget_sent() {
    while (!sending_.empty()) {
        int done = 0;
        check(MPI_Test(&sending_.front().request, &done, MPI_STATUS_IGNORE), "a message cannot be sent");
        if (done == 0) return;
        unsent_ -= sending_.front().bytes.size();
        sending_.pop_front();
    }
}

bool Ranks::take_one() {
    int there = 0;
    MPI_Message message = MPI_MESSAGE_NULL;
    MPI_Status status;
    check(MPI_Improbe(MPI_ANY_SOURCE, MPI_ANY_TAG, messages_, &there, &message, &status), "no message can be received");
    if (there == 0) return false;
    int size = 0;
    MPI_Get_count(&status, MPI_BYTE, &size);
    std::string bytes(static_cast<std::size_t>(size), '\0');
    const auto tag = static_cast<MessageTag>(status.MPI_TAG);
    const auto from = static_cast<std::size_t>(status.MPI_SOURCE);
    check(MPI_Mrecv(bytes.data(), size, MPI_BYTE, &message, MPI_STATUS_IGNORE), "a message cannot be received");
    take(tag, from, std::move(bytes));
    return true;
}

void Ranks::take(MessageTag tag, std::size_t from, std::string bytes) {
    if (tag == MessageTag::stop) stopped_ = true;
    if (leaving_) return;
    if (tag == MessageTag::stop) throw Stopped();
    if (tag == MessageTag::failure) {
        throw Error(static_cast<Fault>(static_cast<unsigned char>(bytes.at(0))), bytes.substr(1));
    }
    if (tag == MessageTag::frames && frame_reader_) return frame_reader_(from, bytes);
    inbox_[{tag, from}].push_back(std::move(bytes));
}

bool Ranks::look() {
    forget_sent();
    bool any = false;
    while (take_one()) any = true;
    if (leads() && !leaving_) check_interrupt();
    if (const auto lost = heartbeat_.lost()) {
        throw Error(Fault::internal,
                    fmt::format("{} has heard nothing of rank {} for {} seconds: the machine or the connection is "
                                "gone; nothing was written",
                                name_, *lost, Heartbeat::kSilence));
    }
    return any;
}

void Ranks::wait_while(const std::function<bool()> &so) {
    Clock::time_point last = Clock::now();
    while (so()) {
        if (look()) {
            last = Clock::now();
            continue;
        }
        const auto waited = Clock::now() - last;
        if (waited > kSpin) std::this_thread::sleep_for(waited > kPatience ? kLongSleep : kShortSleep);
    }
}

std::string Ranks::receive(std::size_t from, MessageTag tag) {
    std::deque<std::string> &messages = inbox_[{tag, from}];
    wait_while([&] { return messages.empty(); });
    std::string bytes = std::move(messages.front());
    messages.pop_front();
    return bytes;
}

void Ranks::tell_failure(Fault fault, std::string_view what) {
    std::string bytes(1, static_cast<char>(fault));
    bytes += what.substr(0, kPiece - 1);
    send(0, MessageTag::failure, bytes);
}

// All have come here when it ends. Messages go on being taken in, or those who send them would never come.
void Ranks::meet() {
    MPI_Request all_here = MPI_REQUEST_NULL;
    check(MPI_Ibarrier(messages_, &all_here), "MPI_Ibarrier");
    int done = 0;
    wait_while([&] {
        MPI_Test(&all_here, &done, MPI_STATUS_IGNORE);
        return done == 0;
    });
}

void Ranks::leave() {
    leaving_ = true;
    if (leads()) {
        for (std::size_t rank = 1; rank < size_; ++rank) send(rank, MessageTag::stop, {});
    } else {
        wait_while([&] { return !stopped_; });
    }
    wait_while([&] { return !sending_.empty(); });
    meet();
    heartbeat_.stop();
    wait_while([&] { return !heartbeat_.ended(); });
    // In MPI_Finalize() a rank asks all others to close their connections and doesn't answer once it is through. One
    // that has answered before it asks itself can wait for ever, so none may listen while others may be there already.
    if (size_ > 1) std::this_thread::sleep_for(kRest);
    MPI_Finalize();
}

void Ranks::abandon(int exit_code) {
    // Cut off from those that started it, MPI may wait for them for ever.
    std::signal(SIGALRM, SIG_DFL);
    alarm(kAbandonSeconds);
    MPI_Abort(MPI_COMM_WORLD, exit_code);
}

}  // namespace ullage::host
