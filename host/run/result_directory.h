// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The directory in which a run leaves its results, in place of an earlier run's.

#ifndef ULLAGE_HOST_RUN_RESULT_DIRECTORY_H
#define ULLAGE_HOST_RUN_RESULT_DIRECTORY_H

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ullage/host/base/output_file.h"
#include "ullage/host/draw/drawn_cells.h"
#include "ullage/host/run/run_commit.h"
#include "ullage/host/run/run_record.h"

namespace ullage::host {

/**
 * The directory of a run that is at work. Nothing is seen of its files before commit(). Of what lies there only files
 * are replaced or removed that an earlier run wrote, by its run.json, and that have not changed since.
 */
class ResultDirectory {
public:
    /**
     * Make the directory if it is not there, lock it, and make sure that the results can take their places.
     *
     * @param names    of the files that the run will write besides run.json
     * @param inputs   paths of files that must not be lost; "-" is standard input
     * @param resumes  whether a checkpoint that lies there is that of this run
     * @throws Error  cannot_create if nothing can be written, another run is at work, or a file would be lost that is
     *                an input, no earlier run's, or the checkpoint of another run
     */
    ResultDirectory(const std::string &path, std::vector<std::string> names, const std::vector<std::string> &inputs,
                    bool resumes = false);
    /** A directory that was not there before goes again unless the run was committed. */
    ~ResultDirectory();
    ResultDirectory(const ResultDirectory &) = delete;
    ResultDirectory &operator=(const ResultDirectory &) = delete;

    /** The file that will have this name, one of those of the constructor.
     * @throws Error  cannot_create */
    [[nodiscard]] OutputFile &file(std::string_view name);

    /** Put a checkpoint into the directory, in the place of the one before; commit() removes it.
     * @throws Error  as OutputFile::write and cannot_create; the one before is then still there */
    void put_checkpoint(const std::function<void(OutputFile &file)> &write);

    /** Where the run may keep its drawn values until it commits. */
    [[nodiscard]] DrawPlace draw_place() const;

    /**
     * Bring the files to the disk and in place of the earlier ones, and with them run.json, which lists them.
     *
     * @return the text of run.json
     * @throws Error  as OutputFile::write and RunCommit::commit; the directory is then as it was
     */
    std::string commit(RunRecord record);

    /**
     * The same for files that are no run: there is no run.json, and nothing of an earlier run goes.
     *
     * @pre no earlier run is in the directory
     */
    void commit_files();

    /** The files of an earlier run that commit() removes without a new one of the name. */
    [[nodiscard]] std::vector<std::string> removed() const;
    /** Those that commit() leaves, as they were changed since. */
    [[nodiscard]] const std::vector<std::string> &changed() const { return changed_; }

private:
    [[nodiscard]] std::vector<FileFacts> finish_files();
    void find_earlier_files();
    void refuse_losses(const std::vector<std::string> &inputs) const;
    void refuse_checkpoint() const;

    std::string path_;
    std::vector<std::string> names_;
    bool created_;
    std::optional<RunCommit> commit_;
    std::vector<std::string> earlier_;  // of an earlier run and not changed since
    std::vector<std::string> changed_;  // of an earlier run, but changed
    std::map<std::string, std::unique_ptr<OutputFile>, std::less<>> files_;
};

/**
 * Put a report into the directory of a run, and its checksum into run.json.
 *
 * @param record  of the run whose report it is, as it was read
 * @throws Error  cannot_create if the directory holds another run by now, or a report that is not by this program
 */
void replace_report(const std::string &directory, RunRecord record, std::string_view html);

/** Refuse to write to a path that is one of a run's files.
 * @throws Error  cannot_create */
void refuse_result(const std::string &directory, const RunRecord &record, const std::string &path);

}  // namespace ullage::host

#endif
