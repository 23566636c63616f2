// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The bytes and rows of a file of results.

#include "ullage/host/run/result_file.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "ullage/host/base/error.h"
#include "ullage/host/base/input_file.h"

namespace ullage::host {

std::string path_in(const std::string &directory, const std::string &name) {
    return (std::filesystem::path(directory) / name).string();
}

namespace {

void check_directory(const std::string &directory) {
    std::error_code ignored;
    if (std::filesystem::is_directory(directory, ignored)) return;
    throw Error(Fault::no_input,
                fmt::format("{}: there is no such directory; give the one that ullage impute -o wrote", directory));
}

}  // namespace

std::string read_result(const std::string &directory, const std::string &name) {
    check_directory(directory);
    return read_file(path_in(directory, name));
}

ResultRows::ResultRows(const std::string &directory, const std::string &name, char separator) {
    check_directory(directory);
    const std::string path = path_in(directory, name);
    const std::shared_ptr<std::FILE> file(std::fopen(path.c_str(), "rbe"), [](std::FILE *open) {
        if (open != nullptr) std::fclose(open);
    });
    const auto failure = [path] { return Error(Fault::no_input, fmt::format("{}: {}", path, std::strerror(errno))); };
    if (file == nullptr) throw failure();
    bytes_ = static_cast<std::int64_t>(std::filesystem::file_size(path));
    const auto read = [file, failure](char *buffer, std::size_t size) {
        const std::size_t got = std::fread(buffer, 1, size, file.get());
        if (got < size && std::ferror(file.get()) != 0) throw failure();
        return got;
    };
    rows_ = std::make_unique<CsvRows>(path, read, separator);
}

void ResultRows::need_rows(double count) const {
    if (2.0 * count <= static_cast<double>(bytes_)) return;
    throw Error(Fault::data, fmt::format("{}: this file is too small for the {} rows of run.json; it is cut off, or "
                                         "not of that run",
                                         rows_->source(), count));
}

}  // namespace ullage::host
