// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// A message a second, and a look at the clock.

#include "ullage/host/mpi/heartbeat.h"

#include <chrono>
#include <numeric>

namespace ullage::host {
namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kBetweenBeats = std::chrono::seconds(1);
constexpr auto kBetweenLooks = std::chrono::milliseconds(50);
constexpr auto kPause = std::chrono::seconds(5);  // this process was stopped itself, and others perhaps with it

}  // namespace

void Heartbeat::start(MPI_Comm beats) {
    beats_ = beats;
    int size = 0;
    int number = 0;
    MPI_Comm_size(beats, &size);
    MPI_Comm_rank(beats, &number);
    others_.assign(number == 0 ? static_cast<std::size_t>(size) - 1 : 1, 0);
    if (number == 0) std::iota(others_.begin(), others_.end(), std::size_t{1});
    sending_.assign(others_.size(), MPI_REQUEST_NULL);
    heard_.assign(others_.size(), Clock::now());
    going_on_ = others_.size();
    if (size > 1) thread_ = std::thread([this] { beat(); });
}

void Heartbeat::stop() {
    stopping_ = true;
    if (thread_.joinable()) thread_.join();
}

bool Heartbeat::ended() {
    while (take_one()) continue;
    int done = 0;
    MPI_Testall(static_cast<int>(sending_.size()), sending_.data(), &done, MPI_STATUSES_IGNORE);
    if (done != 0 && !sent_last_) {
        send(Tag::last);
        sent_last_ = true;
        return false;
    }
    return done != 0 && going_on_ == 0;
}

std::optional<std::size_t> Heartbeat::lost() const {
    const int rank = lost_;
    if (rank < 0) return std::nullopt;
    return static_cast<std::size_t>(rank);
}

// To each one message at a time: a way that is gone must not fill the memory.
void Heartbeat::send(Tag tag) {
    for (std::size_t i = 0; i < others_.size(); ++i) {
        int done = 0;
        MPI_Test(&sending_[i], &done, MPI_STATUS_IGNORE);
        if (done == 0) continue;
        MPI_Isend(nullptr, 0, MPI_BYTE, static_cast<int>(others_[i]), static_cast<int>(tag), beats_, &sending_[i]);
    }
}

bool Heartbeat::take_one() {
    int there = 0;
    MPI_Message message = MPI_MESSAGE_NULL;
    MPI_Status status;
    if (beats_ != MPI_COMM_NULL) MPI_Improbe(MPI_ANY_SOURCE, MPI_ANY_TAG, beats_, &there, &message, &status);
    if (there == 0) return false;
    MPI_Mrecv(nullptr, 0, MPI_BYTE, &message, MPI_STATUS_IGNORE);
    heard_[others_.size() == 1 ? 0 : static_cast<std::size_t>(status.MPI_SOURCE) - 1] = Clock::now();
    if (status.MPI_TAG == static_cast<int>(Tag::last)) --going_on_;
    return true;
}

void Heartbeat::beat() {
    Clock::time_point sent = Clock::now() - kBetweenBeats;
    Clock::time_point looked = Clock::now();
    while (!stopping_) {
        while (take_one()) continue;
        const Clock::time_point now = Clock::now();
        if (now - looked > kPause) heard_.assign(heard_.size(), now);
        looked = now;
        for (std::size_t i = 0; i < others_.size(); ++i) {
            if (now - heard_[i] > std::chrono::seconds(kSilence)) lost_ = static_cast<int>(others_[i]);
        }
        if (now - sent >= kBetweenBeats) {
            send(Tag::beat);
            sent = now;
        }
        std::this_thread::sleep_for(kBetweenLooks);
    }
}

}  // namespace ullage::host
