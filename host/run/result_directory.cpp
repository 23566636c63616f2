// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// What a run may replace, and the files that it leaves.

#include "ullage/host/run/result_directory.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <utility>

#include "ullage/host/base/error.h"
#include "ullage/host/base/input_file.h"
#include "ullage/host/run/result_file.h"
#include "ullage/host/run/result_names.h"

namespace ullage::host {
namespace {

namespace fs = std::filesystem;

/** Make a directory, and tell whether it was not there. */
bool make_directory(const std::string &path) {
    std::error_code error;
    const bool created = fs::create_directories(path, error);
    std::error_code ignored;
    if (error || !fs::is_directory(path, ignored)) {
        throw Error(Fault::cannot_create,
                    fmt::format("{}: cannot make this directory{}{}", path, error ? ": " : ", a file has its name",
                                error ? error.message() : ""));
    }
    return created;
}

bool is_there(const std::string &path) {
    struct stat status = {};
    return lstat(path.c_str(), &status) == 0;
}

/** Whether a file is still the one that its run recorded. */
bool is_unchanged(const std::string &directory, const FileFacts &facts) {
    const std::string path = path_in(directory, facts.name);
    struct stat status = {};
    if (lstat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode) || status.st_size != facts.bytes) return false;
    try {
        return InputFile(path).sha256() == facts.sha256;
    } catch (const Error &error) {
        if (error.fault() == Fault::interrupted) throw;
        return false;
    }
}

Error in_the_way(const std::string &path) {
    return {Fault::cannot_create,
            fmt::format("{}: this file is not as an earlier run left it, and the results would take its place; move it "
                        "away, or give another directory",
                        path)};
}

/** Whether two paths lead to one file; "-" is standard input. */
bool is_same_file(const std::string &first, const std::string &second) {
    struct stat one = {};
    struct stat other = {};
    const auto look = [](const std::string &path, struct stat &status) {
        return (path == "-" ? fstat(STDIN_FILENO, &status) : stat(path.c_str(), &status)) == 0;
    };
    return look(first, one) && look(second, other) && one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

}  // namespace

ResultDirectory::ResultDirectory(const std::string &path, std::vector<std::string> names,
                                 const std::vector<std::string> &inputs, bool resumes)
    : path_(path), names_(std::move(names)), created_(make_directory(path)) {
    try {
        commit_.emplace(path_);
        find_earlier_files();
        refuse_losses(inputs);
        if (!resumes) refuse_checkpoint();
    } catch (...) {
        commit_.reset();
        std::error_code ignored;
        if (created_) fs::remove(path_, ignored);
        throw;
    }
}

ResultDirectory::~ResultDirectory() {
    files_.clear();
    commit_.reset();
    std::error_code ignored;
    if (created_) fs::remove(path_, ignored);  // which it does only if it is empty
}

void ResultDirectory::find_earlier_files() {
    const std::string path = path_in(path_, kRecordName);
    if (!is_there(path)) return;
    RunRecord record;
    try {
        record = read_run_record(path_);
    } catch (const Error &error) {
        if (error.fault() == Fault::interrupted) throw;
        throw Error(
            Fault::cannot_create,
            fmt::format("{}; the results would take its place: move it away, or give another directory", error.what()));
    }
    earlier_.emplace_back(kRecordName);
    for (const FileFacts &facts : record.files) {
        if (is_unchanged(path_, facts)) {
            earlier_.push_back(facts.name);
        } else if (is_there(path_in(path_, facts.name))) {
            changed_.push_back(facts.name);
        }
    }
}

void ResultDirectory::refuse_losses(const std::vector<std::string> &inputs) const {
    std::vector<std::string> touched = names_;
    touched.insert(touched.end(), earlier_.begin(), earlier_.end());
    touched.emplace_back(kCheckpointName);
    for (const std::string &input : inputs) {
        for (const std::string &name : touched) {
            if (!is_same_file(input, path_in(path_, name))) continue;
            throw Error(Fault::cannot_create,
                        fmt::format("{}: the results would take the place of the input{}; give another directory",
                                    path_in(path_, name), input == "-" ? "" : " " + input));
        }
    }
    for (const std::string &name : names_) {
        const std::string path = path_in(path_, name);
        if (is_there(path) && std::find(earlier_.begin(), earlier_.end(), name) == earlier_.end()) {
            throw in_the_way(path);
        }
    }
}

void ResultDirectory::refuse_checkpoint() const {
    const std::string path = path_in(path_, kCheckpointName);
    if (!is_there(path)) return;
    throw Error(Fault::cannot_create,
                fmt::format("{}: a run that was interrupted left this checkpoint; go on with it by its command and "
                            "--resume, remove it, or give another directory",
                            path));
}

OutputFile &ResultDirectory::file(std::string_view name) {
    auto &file = files_.try_emplace(std::string(name)).first->second;
    if (!file) file = std::make_unique<OutputFile>(path_in(path_, name), commit_->new_place(std::string(name)));
    return *file;
}

void ResultDirectory::put_checkpoint(const std::function<void(OutputFile &file)> &write) {
    const std::string name(kCheckpointName);
    OutputFile file(path_in(path_, name), commit_->new_place(name));
    write(file);
    file.commit();
    commit_->put(name);
}

DrawPlace ResultDirectory::draw_place() const {
    return {commit_->new_place("draws"), path_};
}

std::vector<FileFacts> ResultDirectory::finish_files() {
    std::vector<FileFacts> facts;
    for (const std::string &name : names_) {
        OutputFile &of_name = file(name);
        of_name.commit();
        facts.push_back({name, of_name.size(), of_name.sha256()});
    }
    return facts;
}

std::string ResultDirectory::commit(RunRecord record) {
    record.files = finish_files();
    std::string text = run_record_text(record);
    OutputFile &of_record = file(kRecordName);
    of_record.write(text);
    of_record.commit();
    std::vector<std::string> new_names = names_;
    new_names.emplace_back(kRecordName);
    std::vector<std::string> old_names = earlier_;
    if (is_there(path_in(path_, kCheckpointName))) old_names.emplace_back(kCheckpointName);
    commit_->commit(new_names, old_names);
    created_ = false;
    return text;
}

void ResultDirectory::commit_files() {
    (void)finish_files();
    commit_->commit(names_, {});
    created_ = false;
}

std::vector<std::string> ResultDirectory::removed() const {
    std::vector<std::string> names;
    for (const std::string &name : earlier_) {
        if (name != kRecordName && std::find(names_.begin(), names_.end(), name) == names_.end()) names.push_back(name);
    }
    return names;
}

void replace_report(const std::string &directory, RunRecord record, std::string_view html) {
    RunCommit commit(directory);
    if (read_run_record(directory).files != record.files) {
        throw Error(Fault::cannot_create,
                    fmt::format("{}: a run replaced the results while the report was made; make it again", directory));
    }
    std::vector<std::string> old_names = {std::string(kRecordName)};
    const std::string path = path_in(directory, kReportName);
    if (is_there(path)) {
        const FileFacts *facts = record.file(kReportName);
        if (facts == nullptr || !is_unchanged(directory, *facts)) throw in_the_way(path);
        old_names.emplace_back(kReportName);
    }
    const auto write = [&](std::string_view name, std::string_view text) {
        OutputFile file(path_in(directory, name), commit.new_place(std::string(name)));
        file.write(text);
        file.commit();
        return FileFacts{std::string(name), file.size(), file.sha256()};
    };
    std::erase_if(record.files, [](const FileFacts &facts) { return facts.name == kReportName; });
    record.files.push_back(write(kReportName, html));
    write(kRecordName, run_record_text(record));
    commit.commit({std::string(kReportName), std::string(kRecordName)}, old_names);
}

void refuse_result(const std::string &directory, const RunRecord &record, const std::string &path) {
    const auto refuse = [&](std::string_view name) {
        if (path == "-" || !is_same_file(path, path_in(directory, name))) return;
        throw Error(Fault::cannot_create, fmt::format("{}: this is a file of the run; give another name", path));
    };
    refuse(kRecordName);
    for (const FileFacts &facts : record.files) refuse(facts.name);
}

}  // namespace ullage::host
