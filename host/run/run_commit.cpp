// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Locking a directory of results, the journal of a commit, and its moves.

#include "ullage/host/run/run_commit.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <thread>

#include "ullage/host/base/error.h"
#include "ullage/host/base/input_file.h"
#include "ullage/host/base/interrupt.h"
#include "ullage/host/base/output_file.h"
#include "ullage/host/run/result_names.h"

namespace ullage::host {
namespace {

namespace fs = std::filesystem;

constexpr const char *kStaging = ".ullage-run";
constexpr std::string_view kJournalTitle = "ullage commit 1\n";
constexpr std::string_view kJournalEnd = "end\n";
constexpr auto kPause = std::chrono::milliseconds(50);
constexpr int kPausesForLock = 20;     // a killed run's workers need a moment to end
constexpr int kPausesForCommit = 200;  // moves take no time, but a disk may be slow to answer

fs::path staging_of(const fs::path &directory) {
    return directory / kStaging;
}

Error cannot(const fs::path &path, const char *what, int reason) {
    return {Fault::cannot_create, fmt::format("{}: cannot {}: {}", path.string(), what, std::strerror(reason))};
}

bool is_there(const fs::path &path) {
    struct stat status = {};
    return lstat(path.c_str(), &status) == 0;
}

enum class Lock { held, busy, absent };

/** Take the lock of a staging directory, or find that another process has it, or that there is none. */
Lock take_lock(const fs::path &staging, bool make, int &descriptor) {
    const fs::path path = staging / "lock";
    for (;;) {
        if (make && mkdir(staging.c_str(), 0777) != 0 && errno != EEXIST) {
            throw cannot(staging.parent_path(), "write in this directory", errno);
        }
        struct stat status = {};
        if (lstat(staging.c_str(), &status) == 0 && !S_ISDIR(status.st_mode)) {
            throw cannot(staging, "keep unfinished results here", ENOTDIR);
        }
        bool is_ours = false;
        descriptor = open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW);
        if (descriptor < 0 && errno == ENOENT && make) {
            descriptor = open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
            is_ours = descriptor >= 0;
            if (descriptor < 0 && (errno == ENOENT || errno == EEXIST)) continue;  // somebody came or left meanwhile
        }
        if (descriptor < 0 && !make) return Lock::absent;
        if (descriptor < 0) throw cannot(path, "lock this directory of results", errno);
        int failure = 0;
        if (flock(descriptor, LOCK_EX | LOCK_NB) != 0) failure = errno;
        if (failure == 0 && fstat(descriptor, &status) == 0 && status.st_nlink > 0) return Lock::held;
        // On a file system without locks, who made the file has it.
        if (failure != 0 && failure != EWOULDBLOCK && failure != EINTR && is_ours) return Lock::held;
        close(descriptor);
        descriptor = -1;
        // The file that was locked may have been removed before: then the lock is of no use.
        if (failure != 0 && failure != EINTR) return Lock::busy;
    }
}

struct Journal {
    std::vector<std::string> new_names;  // run.json is the last
    std::vector<std::string> old_names;  // run.json is the first
};

/** The journal of a directory's commit, if there is one. */
std::optional<Journal> read_journal(const fs::path &staging) {
    if (!is_there(staging / "commit")) return std::nullopt;
    const std::string bytes = read_regular_file((staging / "commit").string());
    std::string_view rest = bytes;
    Journal journal;
    bool is_whole = rest.starts_with(kJournalTitle) && rest.ends_with(kJournalEnd);
    if (is_whole) rest = rest.substr(kJournalTitle.size(), rest.size() - kJournalTitle.size() - kJournalEnd.size());
    while (is_whole && !rest.empty()) {
        const std::string_view line = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(line.size() + 1);
        const std::string name(line.substr(std::min<std::size_t>(line.size(), 4)));
        is_whole = is_result_name(name) || name == kRecordName || name == kCheckpointName;
        (line.starts_with("new ") ? journal.new_names : journal.old_names).push_back(name);
        is_whole = is_whole && (line.starts_with("new ") || line.starts_with("old "));
    }
    if (is_whole) return journal;
    throw Error(Fault::data, fmt::format("{}: this is not the journal of a commit; remove it if you know that the "
                                         "results beside it are whole",
                                         (staging / "commit").string()));
}

void move_file(const fs::path &from, const fs::path &to) {
    if (std::rename(from.c_str(), to.c_str()) != 0) throw cannot(to, "move a file of the results here", errno);
}

/** Make all moves that are not made yet. */
void finish_moves(const fs::path &directory, const Journal &journal) {
    const fs::path staging = staging_of(directory);
    const auto is_placed = [&](const std::string &name) {
        return std::find(journal.new_names.begin(), journal.new_names.end(), name) != journal.new_names.end() &&
               !is_there(staging / "new" / name);
    };
    for (const std::string &name : journal.old_names) {
        if (is_there(directory / name) && !is_there(staging / "old" / name) && !is_placed(name)) {
            move_file(directory / name, staging / "old" / name);
        }
    }
    for (const std::string &name : journal.new_names) {
        if (is_there(staging / "new" / name)) move_file(staging / "new" / name, directory / name);
    }
    sync_directory(directory.string());
}

/** Take all moves back that are made. */
void undo_moves(const fs::path &directory, const Journal &journal) {
    const fs::path staging = staging_of(directory);
    for (auto name = journal.new_names.rbegin(); name != journal.new_names.rend(); ++name) {
        if (!is_there(staging / "new" / *name)) move_file(directory / *name, staging / "new" / *name);
    }
    for (auto name = journal.old_names.rbegin(); name != journal.old_names.rend(); ++name) {
        if (is_there(staging / "old" / *name)) move_file(staging / "old" / *name, directory / *name);
    }
    sync_directory(directory.string());
}

void forget_journal(const fs::path &staging) {
    if (unlink((staging / "commit").c_str()) != 0) throw cannot(staging / "commit", "remove this file", errno);
    sync_directory(staging.string());
}

/** Remove a staging directory whose lock is held, the lock last. What cannot be removed is left to the next command. */
void remove_staging(const fs::path &staging) {
    std::error_code failure;
    for (const char *name : {"new", "old", "commit.part", "lock"}) {
        fs::remove_all(staging / name, failure);
        if (failure) return;
    }
    fs::remove(staging, failure);
}

/** Finish what a process that died has committed and not moved. The lock is held. */
void settle(const fs::path &directory) {
    const auto journal = read_journal(staging_of(directory));
    if (!journal) return;
    finish_moves(directory, *journal);
    forget_journal(staging_of(directory));
}

/** What abandon_commit needs: the staging directory that is at work, whose it is, and memory to give back first. */
std::string at_work;
pid_t owner = -1;
std::unique_ptr<char[]> memory_to_leave;

}  // namespace

RunCommit::RunCommit(const std::string &directory) : directory_(directory), lock_(-1) {
    const fs::path staging = staging_of(directory);
    for (int pause = 0; take_lock(staging, true, lock_) == Lock::busy; ++pause) {
        check_interrupt();
        if (pause == kPausesForLock) {
            throw Error(Fault::cannot_create,
                        fmt::format("{}: another run is writing its results here; wait for its end, or give another "
                                    "directory (if no run is at work, remove {})",
                                    directory, staging.string()));
        }
        std::this_thread::sleep_for(kPause);
    }
    try {
        settle(directory);
        std::error_code ignored;
        for (const char *name : {"new", "old"}) {
            fs::remove_all(staging / name, ignored);
            if (mkdir((staging / name).c_str(), 0777) != 0) throw cannot(staging / name, "make a directory", errno);
        }
        memory_to_leave = std::make_unique<char[]>(std::size_t{1} << 20);
        at_work = staging.string();
        owner = getpid();
    } catch (...) {
        if (!is_there(staging / "commit")) remove_staging(staging);
        close(lock_);
        throw;
    }
}

RunCommit::~RunCommit() {
    // A journal that stands is for the next command.
    if (!is_there(staging_of(directory_) / "commit")) remove_staging(staging_of(directory_));
    at_work.clear();
    memory_to_leave.reset();
    close(lock_);
}

std::string RunCommit::new_place(const std::string &name) const {
    return (staging_of(directory_) / "new" / name).string();
}

void RunCommit::put(const std::string &name) {
    move_file(new_place(name), fs::path(directory_) / name);
    sync_directory(directory_);
}

void RunCommit::commit(const std::vector<std::string> &new_names, const std::vector<std::string> &old_names) {
    const fs::path staging = staging_of(directory_);
    Journal journal{new_names, old_names};
    const auto is_record = [](const std::string &name) { return name == kRecordName; };
    std::stable_partition(journal.old_names.begin(), journal.old_names.end(), is_record);
    std::stable_partition(journal.new_names.begin(), journal.new_names.end(), std::not_fn(is_record));
    sync_directory((staging / "new").string());
    OutputFile file((staging / "commit").string(), (staging / "commit.part").string());
    file.write(kJournalTitle);
    for (const std::string &name : journal.old_names) file.write(fmt::format("old {}\n", name));
    for (const std::string &name : journal.new_names) file.write(fmt::format("new {}\n", name));
    file.write(kJournalEnd);
    file.commit();
    const InterruptsWait until_done;
    move_file(staging / "commit.part", staging / "commit");
    sync_directory(staging.string());
    try {
        finish_moves(directory_, journal);
    } catch (const Error &error) {
        try {
            undo_moves(directory_, journal);
            forget_journal(staging);
        } catch (const Error &) {
            throw Error(Fault::cannot_create,
                        fmt::format("{}; the next command in {} goes on with it", error.what(), directory_));
        }
        throw Error(Fault::cannot_create, fmt::format("{}; the results there are as they were", error.what()));
    }
    try {
        forget_journal(staging);
    } catch (const Error &) {  // all is in place; the next command finds nothing left to move
    }
}

void finish_interrupted_commit(const std::string &directory) {
    const fs::path staging = staging_of(directory);
    int descriptor = -1;
    Lock lock = Lock::busy;
    for (int pause = 0; lock == Lock::busy; ++pause) {
        lock = take_lock(staging, false, descriptor);
        if (lock == Lock::held) break;
        std::error_code ignored;
        if (lock == Lock::absent) fs::remove(staging, ignored);  // if nothing else is in it either
        // A run that is drawing has not touched the results, and one that is done has left.
        if (!is_there(staging / "commit")) return;
        check_interrupt();
        if (lock == Lock::absent || pause == kPausesForCommit) {
            throw Error(Fault::no_input,
                        fmt::format("{}: a run was stopped while it put its results in place, and this command cannot "
                                    "finish it; run it as a user who may write in this directory",
                                    directory));
        }
        std::this_thread::sleep_for(kPause);
    }
    try {
        settle(directory);
        remove_staging(staging);
    } catch (const Error &error) {
        close(descriptor);
        throw Error(Fault::no_input, error.what());
    }
    close(descriptor);
}

void abandon_commit() noexcept {
    memory_to_leave.reset();
    if (at_work.empty() || owner != getpid()) return;  // a forked worker has no files of its own
    try {
        if (!is_there(fs::path(at_work) / "commit")) remove_staging(at_work);
    } catch (...) {  // then the next command removes it
    }
}

}  // namespace ullage::host
