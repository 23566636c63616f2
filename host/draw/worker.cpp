// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Forking, pipes, and the end of workers.

#include "ullage/host/draw/worker.h"

#include <fmt/format.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <new>
#include <system_error>

#include "ullage/host/base/error.h"
#include "ullage/host/base/interrupt.h"

namespace ullage::host {
namespace {

constexpr std::size_t kLongestMessage = 32 << 10;
constexpr int kPollMilliseconds = 200;

std::string system_message(int error) {
    return std::generic_category().message(error);
}

// A worker process as its parent sees it.
struct Worker {
    enum class State { working, resting, called };  // called: for another round, as soon as its turn comes

    std::size_t piece = 0;
    pid_t process = -1;
    int descriptor = -1;
    FrameReader frames;
    State state = State::working;
    bool ended = false;

    Worker() = default;
    Worker(const Worker &) = delete;
    Worker &operator=(const Worker &) = delete;
    ~Worker() {
        if (descriptor >= 0) close(descriptor);
        if (process > 0) {
            kill(process, SIGKILL);
            (void)reap();
        }
    }
    // Wait for the process; its status.
    int reap() {
        int status = 0;
        while (waitpid(process, &status, 0) < 0 && errno == EINTR) continue;
        process = -1;
        return status;
    }
};

// What a worker says goes through its socket. A worker whose reader is gone ends itself.
class SocketWriter : public FrameWriter {
public:
    explicit SocketWriter(int descriptor) : descriptor_(descriptor) {}

private:
    void put(std::string_view bytes) override {
        while (!bytes.empty()) {
            const ssize_t written = ::write(descriptor_, bytes.data(), bytes.size());
            if (written < 0 && errno != EINTR) _exit(1);  // the parent is gone
            if (written > 0) bytes.remove_prefix(static_cast<std::size_t>(written));
        }
    }
    [[nodiscard]] bool wait_for_word() override {
        char word = 0;
        ssize_t got = 0;
        while ((got = read(descriptor_, &word, 1)) < 0 && errno == EINTR) continue;
        if (got != 1) _exit(1);  // the parent is gone
        return word != 0;
    }
    int descriptor_;
};

using Workers = std::vector<std::unique_ptr<Worker>>;

// The life of a worker, which has no way back into its copy of the caller. Signals that stop the run are its parent's
// business: the terminal sends them to both.
[[noreturn]] void be_worker(std::size_t piece, int descriptor, pid_t parent,
                            const std::function<void(std::size_t, FrameWriter &)> &work) noexcept {
    // It ends with its parent, also with one that has no time to say so.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(1);
    for (const int signal_number : {SIGINT, SIGTERM, SIGHUP}) signal(signal_number, SIG_IGN);
    SocketWriter writer(descriptor);
    const auto fail = [&](Fault fault, std::string_view message) {
        writer.write(FrameKind::failure, static_cast<std::uint32_t>(fault), message.substr(0, kLongestMessage));
    };
    try {
        work(piece, writer);
        writer.write(FrameKind::end, 0);
    } catch (const Error &error) {
        fail(error.fault(), error.what());
    } catch (const std::bad_alloc &) {
        fail(Fault::internal,
             "the memory of this machine does not suffice; nothing was written. Fewer chains at a time "
             "(--jobs) need less");
    } catch (const std::exception &error) {
        fail(Fault::internal, error.what());
    }
    writer.flush();
    _exit(0);  // the parent's objects are not the worker's to destroy
}

std::unique_ptr<Worker> start_worker(std::size_t piece, const Workers &others,
                                     const std::function<void(std::size_t, FrameWriter &)> &work) {
    auto worker = std::make_unique<Worker>();
    worker->piece = piece;
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()) != 0) {
        throw Error(Fault::internal, "cannot make a pair of sockets: " + system_message(errno));
    }
    worker->descriptor = ends[0];
    std::fflush(nullptr);  // or the worker's copy of what is buffered would be written a second time
    const pid_t parent = getpid();
    worker->process = fork();
    if (worker->process == 0) {
        close(ends[0]);
        for (const auto &other : others) close(other->descriptor);
        be_worker(piece, ends[1], parent, work);
    }
    const int error = errno;
    close(ends[1]);
    if (worker->process < 0) throw Error(Fault::internal, "cannot start a worker process: " + system_message(error));
    return worker;
}

void take_frame(Worker &worker, const Frame &frame, const std::function<void(std::size_t, const Frame &)> &take) {
    switch (frame.head.kind) {
        case FrameKind::failure:
            throw Error(static_cast<Fault>(frame.head.argument), std::string(frame.bytes));
        case FrameKind::end:
            worker.ended = true;
            break;
        case FrameKind::rest:
            worker.state = Worker::State::resting;
            break;
        default:
            take(worker.piece, frame);
    }
}

// Read what there is; false at the end.
bool receive(Worker &worker, const std::function<void(std::size_t, const Frame &)> &take) {
    static std::array<char, 1 << 18> part;
    const ssize_t got = read(worker.descriptor, part.data(), part.size());
    if (got < 0 && errno == ECONNRESET) return false;  // it died before it read a word
    if (got < 0 && errno != EINTR) throw Error(Fault::internal, "cannot read from a worker: " + system_message(errno));
    if (got > 0) {
        worker.frames.take({part.data(), static_cast<std::size_t>(got)},
                           [&](const Frame &frame) { take_frame(worker, frame, take); });
    }
    return got != 0;
}

// Tell a worker that rests whether there is another round. If it is gone, the next look at it says so.
void answer(Worker &worker, bool goes_on) {
    const char word = goes_on ? 1 : 0;
    (void)send(worker.descriptor, &word, 1, MSG_NOSIGNAL);
    worker.state = Worker::State::working;
}

// When all rest, ask for another round.
void end_round(const Workers &workers, const std::function<bool()> &again) {
    const bool goes_on = again && again();
    for (const auto &worker : workers) {
        if (goes_on) {
            worker->state = Worker::State::called;
        } else {
            answer(*worker, false);
        }
    }
}

// The worker has closed its end: it is done, or it died.
void finish(Worker &worker) {
    const int status = worker.reap();
    if (worker.ended) return;
    check_interrupt();
    const std::string cause =
        WIFSIGNALED(status) ? fmt::format("was ended by signal {} ({})", WTERMSIG(status), strsignal(WTERMSIG(status)))
                            : fmt::format("ended with status {}", WEXITSTATUS(status));
    const bool killed = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
    throw Error(Fault::internal, fmt::format("the worker of chain {} {}{}; nothing was written", worker.piece + 1,
                                             cause, killed ? ", perhaps because memory ran out" : ""));
}

}  // namespace

void run_workers(std::size_t first, std::size_t count, std::size_t jobs,
                 const std::function<void(std::size_t, FrameWriter &)> &work,
                 const std::function<void(std::size_t, const Frame &)> &take, const std::function<bool()> &again) {
    using State = Worker::State;
    Workers workers;
    std::size_t started = first;
    const std::size_t end = first + count;
    const auto in_state = [&](State state) {
        return static_cast<std::size_t>(
            std::ranges::count_if(workers, [&](const auto &worker) { return worker->state == state; }));
    };
    while (started < end || !workers.empty()) {
        check_interrupt();
        for (const auto &worker : workers) {
            if (worker->state == State::called && in_state(State::working) < jobs) answer(*worker, true);
        }
        while (started < end && in_state(State::working) < jobs) {
            workers.push_back(start_worker(started++, workers, work));
        }
        std::vector<pollfd> waiting;
        for (const auto &worker : workers) waiting.push_back({worker->descriptor, POLLIN, 0});
        if (poll(waiting.data(), waiting.size(), kPollMilliseconds) < 0) {
            if (errno == EINTR) continue;
            throw Error(Fault::internal, "cannot wait for the workers: " + system_message(errno));
        }
        for (std::size_t i = waiting.size(); i-- > 0;) {
            if (waiting[i].revents == 0) continue;
            Worker &worker = *workers[i];
            if (!receive(worker, take)) {
                finish(worker);
                workers.erase(workers.begin() + static_cast<std::ptrdiff_t>(i));
            }
        }
        if (started == end && !workers.empty() && in_state(State::resting) == workers.size()) {
            end_round(workers, again);
        }
    }
}

}  // namespace ullage::host
