// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Holding a file of results against the record, and its rows.

#include "ullage/host/run/result_file.h"

#include <fmt/format.h>

#include <filesystem>

#include "ullage/host/base/error.h"
#include "ullage/host/run/result_names.h"

namespace ullage::host {

std::string path_in(const std::string &directory, std::string_view name) {
    return (std::filesystem::path(directory) / name).string();
}

std::unique_ptr<InputFile> open_result(const std::string &directory, const RunRecord &record, std::string_view name) {
    const std::string of_record = path_in(directory, kRecordName);
    if (record.chain && name != kPartName) {
        throw Error(Fault::data, fmt::format("{}: these are the results of chain {} of {} alone; ullage gather puts "
                                             "those of all chains together",
                                             directory, *record.chain, record.chains));
    }
    auto file = std::make_unique<InputFile>(path_in(directory, name));
    const FileFacts *facts = record.file(name);
    if (facts == nullptr) {
        throw Error(Fault::data,
                    fmt::format("{}: it is not among the files of the run of {}", file->path(), of_record));
    }
    if (file->size() == facts->bytes && file->sha256() == facts->sha256) return file;
    // Either a run has just replaced its directory, or somebody has changed the file.
    if (read_run_record(directory).files != record.files) {
        throw Error(
            Fault::data,
            fmt::format("{}: a run replaced the results while they were read; start this command again", directory));
    }
    throw Error(Fault::data,
                fmt::format("{}: this file is not as the run of {} left it: it was changed, cut off, or comes from "
                            "another run. Bring the file of that run back, or run ullage impute again",
                            file->path(), of_record));
}

ResultRows::ResultRows(const std::string &directory, const RunRecord &record, std::string_view name, char separator)
    : file_(open_result(directory, record, name)),
      rows_(std::make_unique<CsvRows>(
          file_->path(), [file = file_.get()](char *buffer, std::size_t size) { return file->read(buffer, size); },
          separator)) {}

void ResultRows::need_rows(double count) const {
    if (2.0 * count <= static_cast<double>(file_->size())) return;
    throw Error(Fault::data, fmt::format("{}: this file is too small for the {} rows of run.json; it is cut off, or "
                                         "not of that run",
                                         rows_->source(), count));
}

}  // namespace ullage::host
