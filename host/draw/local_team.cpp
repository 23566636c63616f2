// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Teams of processes that meet in shared memory.

#include "ullage/host/draw/local_team.h"

#include <errno.h>
#include <fmt/format.h>
#include <linux/futex.h>
#include <signal.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <new>
#include <string>
#include <system_error>

#include "ullage/host/base/error.h"

namespace ullage::host {
namespace {

// Longer than two members that did the same work are apart, shorter than what anyone notices.
constexpr auto kSpin = std::chrono::microseconds(200);
constexpr long kSleepNanoseconds = 100'000'000;

/** The place of one member, on a cache line of its own. */
struct alignas(64) Seat {
    std::atomic<std::uint32_t> turn;    ///< exchanges that the member has put its numbers into
    std::uint32_t sleepers;             ///< not exact; only ever too large
    std::array<std::uint64_t, 2> size;  ///< numbers that it put in, in this turn and the one before or behind it
};
static_assert(std::atomic<std::uint32_t>::is_always_lock_free);

/** What went wrong first. */
struct Failure {
    std::atomic<std::uint32_t> state;  ///< 0 none, 1 being written, 2 told
    Fault fault;
    std::array<char, 4096> message;
};

/** Memory that this process and those forked from it see. */
class SharedMemory {
public:
    explicit SharedMemory(std::size_t bytes) : bytes_(bytes) {
        place_ = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (place_ == MAP_FAILED) throw std::bad_alloc();
    }
    ~SharedMemory() { munmap(place_, bytes_); }
    SharedMemory(const SharedMemory &) = delete;
    SharedMemory &operator=(const SharedMemory &) = delete;
    [[nodiscard]] char *place() const { return static_cast<char *>(place_); }

private:
    std::size_t bytes_;
    void *place_;
};

/** Where everything lies: the failure, the seats, two rooms for the numbers of each member, and the cells. */
class Meeting {
public:
    Meeting(std::size_t members, std::size_t capacity, std::size_t cells)
        : members_(members),
          capacity_(capacity),
          cells_(cells),
          memory_(seats_at() + members * sizeof(Seat) + (2 * members * capacity + cells) * sizeof(double)) {}

    [[nodiscard]] Failure &failure() const { return *reinterpret_cast<Failure *>(memory_.place()); }
    [[nodiscard]] Seat &seat(std::size_t member) const {
        return *reinterpret_cast<Seat *>(memory_.place() + seats_at() + member * sizeof(Seat));
    }
    /** Numbers of a member: while some still read those of one turn, others write those of the next. */
    [[nodiscard]] double *numbers(std::uint32_t turn, std::size_t member) const {
        return first_number() + ((turn & 1) * members_ + member) * capacity_;
    }
    [[nodiscard]] std::span<double> cells() const { return {first_number() + 2 * members_ * capacity_, cells_}; }
    [[nodiscard]] std::size_t members() const { return members_; }
    [[nodiscard]] std::size_t capacity() const { return capacity_; }

private:
    static constexpr std::size_t seats_at() { return (sizeof(Failure) + 63) / 64 * 64; }
    [[nodiscard]] double *first_number() const {
        return reinterpret_cast<double *>(memory_.place() + seats_at() + members_ * sizeof(Seat));
    }
    std::size_t members_;
    std::size_t capacity_;
    std::size_t cells_;
    SharedMemory memory_;
};

void tell_failure(const Meeting &meeting, Fault fault, std::string_view message) {
    Failure &failure = meeting.failure();
    std::uint32_t none = 0;
    if (!failure.state.compare_exchange_strong(none, 1)) return;  // another was first
    failure.fault = fault;
    const std::size_t length = std::min(message.size(), failure.message.size() - 1);
    std::copy_n(message.data(), length, failure.message.data());
    failure.message[length] = '\0';
    failure.state.store(2, std::memory_order_release);
}

void check_failure(const Meeting &meeting) {
    const Failure &failure = meeting.failure();
    if (failure.state.load(std::memory_order_acquire) != 2) return;
    throw Error(failure.fault, failure.message.data());
}

/** The processes of members 1, 2, ... as member 0 sees them. */
class Members {
public:
    Members() = default;
    Members(const Members &) = delete;
    Members &operator=(const Members &) = delete;
    ~Members() {
        for (const pid_t process : processes_) kill(process, SIGKILL);
        for (const pid_t process : processes_) {
            while (waitpid(process, nullptr, 0) < 0 && errno == EINTR) continue;
        }
    }
    void add(pid_t process) { processes_.push_back(process); }
    /** Look who has ended; whoever did so before its work was done has failed. */
    void look(const Meeting &meeting, int options) {
        for (auto process = processes_.begin(); process != processes_.end();) {
            int status = 0;
            const pid_t got = waitpid(*process, &status, options);
            if (got != *process) {
                ++process;
                continue;
            }
            process = processes_.erase(process);
            if (WIFSIGNALED(status)) {
                tell_failure(meeting, Fault::internal,
                             fmt::format("a process of the team was ended by signal {} ({}){}; nothing was written",
                                         WTERMSIG(status), strsignal(WTERMSIG(status)),
                                         WTERMSIG(status) == SIGKILL ? ", perhaps because memory ran out" : ""));
            } else if (WEXITSTATUS(status) != 0) {
                tell_failure(meeting, Fault::internal,
                             fmt::format("a process of the team ended with status {}; nothing was written",
                                         WEXITSTATUS(status)));
            }
        }
    }
    void wait_for_all(const Meeting &meeting) {
        while (!processes_.empty()) {
            look(meeting, 0);
            check_failure(meeting);
        }
    }

private:
    std::vector<pid_t> processes_;
};

/** A member of a team of several processes of this machine. */
class LocalTeam : public Team {
public:
    LocalTeam(const Meeting &meeting, std::size_t number, Members *members)
        : meeting_(meeting), number_(number), members_(members) {}

    [[nodiscard]] std::size_t size() const override { return meeting_.members(); }
    [[nodiscard]] std::size_t number() const override { return number_; }

    [[nodiscard]] std::vector<std::span<const double>> exchange(std::span<const double> own) override {
        if (own.size() > meeting_.capacity())
            throw Error(Fault::internal, "too many numbers for one exchange of a team");
        ++turn_;
        std::ranges::copy(own, meeting_.numbers(turn_, number_));
        Seat &seat = meeting_.seat(number_);
        seat.size[turn_ & 1] = own.size();
        seat.turn.store(turn_, std::memory_order_seq_cst);
        if (std::atomic_ref(seat.sleepers).load(std::memory_order_seq_cst) > 0) wake(seat);
        std::vector<std::span<const double>> all;
        for (std::size_t member = 0; member < size(); ++member) {
            wait_for(meeting_.seat(member));
            all.emplace_back(meeting_.numbers(turn_, member), meeting_.seat(member).size[turn_ & 1]);
        }
        return all;
    }

    // The first member reads the cells before it comes to the next exchange, without which none puts in others.
    [[nodiscard]] std::span<const double> gather_cells(std::size_t before, std::span<const double> own) override {
        const std::span<double> all = meeting_.cells();
        if (own.size() > all.size() || before > all.size() - own.size())
            throw Error(Fault::internal, "too many cells for a team");
        std::ranges::copy(own, all.begin() + static_cast<std::ptrdiff_t>(before));
        (void)exchange({});
        return number_ == 0 ? std::span<const double>(all) : std::span<const double>();
    }

private:
    static void wake(Seat &seat) { syscall(SYS_futex, &seat.turn, FUTEX_WAKE, INT32_MAX, nullptr, nullptr, 0); }
    void wait_for(Seat &seat) {
        if (spin_for(seat)) return;
        std::atomic_ref sleepers(seat.sleepers);
        sleepers.fetch_add(1, std::memory_order_seq_cst);
        for (std::uint32_t seen = seat.turn.load(); seen < turn_; seen = seat.turn.load()) {
            const timespec patience{0, kSleepNanoseconds};
            syscall(SYS_futex, &seat.turn, FUTEX_WAIT, seen, &patience, nullptr, 0);
            if (members_ != nullptr) members_->look(meeting_, WNOHANG);
            check_failure(meeting_);
        }
        sleepers.fetch_sub(1, std::memory_order_seq_cst);
    }
    [[nodiscard]] bool spin_for(const Seat &seat) const {
        const auto end = std::chrono::steady_clock::now() + kSpin;
        while (std::chrono::steady_clock::now() < end) {
            for (int i = 0; i < 64; ++i) {
                if (seat.turn.load(std::memory_order_acquire) >= turn_) return true;
                __builtin_ia32_pause();
            }
        }
        return false;
    }

    const Meeting &meeting_;
    std::size_t number_;
    Members *members_;  // of member 0
    std::uint32_t turn_ = 0;
};

void do_work(Team &team, const Meeting &meeting, const std::function<void(Team &)> &work) {
    try {
        work(team);
    } catch (const Error &error) {
        tell_failure(meeting, error.fault(), error.what());
        throw;
    } catch (const std::bad_alloc &) {
        tell_failure(meeting, Fault::internal, "the memory of this machine does not suffice; nothing was written");
        throw;
    } catch (const std::exception &error) {
        tell_failure(meeting, Fault::internal, error.what());
        throw;
    }
}

}  // namespace

void run_team(std::size_t members, std::size_t capacity, std::size_t cells, const std::function<void(Team &)> &work) {
    const Meeting meeting(members, capacity, cells);
    Members others;
    std::fflush(nullptr);  // or a member's copy of what is buffered would be written a second time
    const pid_t leader = getpid();
    for (std::size_t number = 1; number < members; ++number) {
        const pid_t process = fork();
        if (process < 0) {
            throw Error(Fault::internal, "cannot start a process of a team: " + std::generic_category().message(errno));
        }
        if (process > 0) {
            others.add(process);
            continue;
        }
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != leader) _exit(1);
        try {
            LocalTeam team(meeting, number, nullptr);
            do_work(team, meeting, work);
        } catch (...) {
            _exit(0);  // what went wrong is told
        }
        _exit(0);
    }
    LocalTeam team(meeting, 0, &others);
    do_work(team, meeting, work);
    others.wait_for_all(meeting);
}

}  // namespace ullage::host
