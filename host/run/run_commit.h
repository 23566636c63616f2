// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// How the files of a run take the places of an earlier run's: all of them or none, whatever happens in between.

#ifndef ULLAGE_HOST_RUN_RUN_COMMIT_H
#define ULLAGE_HOST_RUN_RUN_COMMIT_H

#include <string>
#include <vector>

namespace ullage::host {

/**
 * HOW A DIRECTORY CHANGES FROM ONE RUN TO THE NEXT
 *
 * A run writes into DIR/.ullage-run, which it makes and locks:
 *
 *     lock      locked by the process that is at work; a process that dies gives the lock back
 *     new/      the files of the run, under the names that they will have
 *     old/      where the files that they replace are moved
 *     commit    the names of both, written when all files are on the disk: from here on the run is finished,
 *               not undone, by whoever comes next
 *
 * Then the old files are moved to old/, run.json first, and the new ones to DIR, run.json last; commit is removed, and
 * with it .ullage-run. A move that fails is undone with all before it. A process that dies leaves a directory in which
 * the next command, of any kind, takes the lock and finishes the moves, or removes what no commit speaks of.
 */

/** A directory that is locked for the files of a run. */
class RunCommit {
public:
    /**
     * Lock the directory, which must be there, and finish or remove what a process that died has left.
     *
     * @throws Error  cannot_create if another process is at work in it, nothing can be written in it, or an
     *                interrupted commit cannot be finished
     */
    explicit RunCommit(const std::string &directory);
    /** Removes what was not committed. */
    ~RunCommit();
    RunCommit(const RunCommit &) = delete;
    RunCommit &operator=(const RunCommit &) = delete;

    /** Where a file is to be written that will have this name. */
    [[nodiscard]] std::string new_place(const std::string &name) const;

    /** Give a file that is whole and on the disk at its new place its name at once, in the place of one that has it.
     * @throws Error  cannot_create; the directory is then as it was */
    void put(const std::string &name);

    /**
     * Give the new files their names and remove the old ones. Signals that ask to stop wait until it is done.
     *
     * @param new_names  of files that are whole and on the disk at their new places
     * @param old_names  of files in the directory that go; also those that a new file replaces
     * @throws Error  cannot_create; the directory then holds what it held before, or, where even that cannot be
     *                brought about, what the next command will finish
     */
    void commit(const std::vector<std::string> &new_names, const std::vector<std::string> &old_names);

private:
    std::string directory_;
    int lock_;
};

/**
 * Finish a commit that was interrupted in a directory, and remove what a run that died has left. A commit that is under
 * way is waited for. Does nothing in a directory that a run is drawing for, or that nobody may change.
 *
 * @throws Error  no_input if an interrupted commit cannot be finished
 */
void finish_interrupted_commit(const std::string &directory);

/** To be called when the process is about to end without its destructors: removes what is not committed. */
void abandon_commit() noexcept;

}  // namespace ullage::host

#endif
