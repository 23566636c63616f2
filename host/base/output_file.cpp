// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Files that appear whole or not at all.

#include "ullage/host/base/output_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "ullage/host/base/error.h"
#include "ullage/host/base/interrupt.h"

namespace ullage::host {
namespace {

constexpr std::size_t kBufferSize = std::size_t{1} << 18;

[[noreturn]] void fail(const std::string &path) {
    const int reason = errno;
    const bool is_stdout = path == "-";
    if (is_stdout && reason == EPIPE) throw Error(Fault::closed_pipe, "standard output was closed");
    throw Error(Fault::cannot_create,
                fmt::format("{}: {}", is_stdout ? "standard output" : path, std::strerror(reason)));
}

}  // namespace

OutputFile::OutputFile(std::string path) : path_(std::move(path)) {
    buffer_.reserve(kBufferSize);
    if (path_ == "-") {
        descriptor_ = STDOUT_FILENO;
        return;
    }
    const std::filesystem::path target(path_);
    temporary_ = (target.parent_path() / fmt::format(".{}.XXXXXX", target.filename().string())).string();
    descriptor_ = mkostemp(temporary_.data(), O_CLOEXEC);
    if (descriptor_ < 0) {
        temporary_.clear();
        fail(path_);
    }
    // mkostemp gives a file to its owner alone; an output has the permissions of any new file.
    const mode_t mask = umask(0);
    umask(mask);
    (void)fchmod(descriptor_, 0666 & ~mask);
}

OutputFile::~OutputFile() {
    if (temporary_.empty()) return;
    if (descriptor_ >= 0) close(descriptor_);
    unlink(temporary_.c_str());
}

void OutputFile::write(std::string_view text) {
    if (buffer_.size() + text.size() > kBufferSize) flush();
    buffer_ += text;
}

void OutputFile::flush() {
    std::string_view rest = buffer_;
    while (!rest.empty()) {
        check_interrupt();
        const ssize_t written = ::write(descriptor_, rest.data(), rest.size());
        if (written < 0 && errno != EINTR) fail(path_);
        if (written > 0) rest.remove_prefix(static_cast<std::size_t>(written));
    }
    buffer_.clear();
}

void OutputFile::commit() {
    flush();
    if (temporary_.empty()) return;
    if (fsync(descriptor_) != 0) fail(path_);
    const int descriptor = descriptor_;
    descriptor_ = -1;
    if (close(descriptor) != 0) fail(path_);
    check_interrupt();
    if (std::rename(temporary_.c_str(), path_.c_str()) != 0) fail(path_);
    temporary_.clear();
    // The new name lies in the directory, which has its own way to the disk; not every file system lets it be asked.
    const std::filesystem::path parent = std::filesystem::path(path_).parent_path();
    const int directory = open(parent.empty() ? "." : parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directory >= 0) {
        (void)fsync(directory);
        close(directory);
    }
}

}  // namespace ullage::host
