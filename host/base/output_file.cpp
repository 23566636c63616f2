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
#include <system_error>

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

/** The path that symbolic links lead to, also where nothing lies there yet. */
std::string behind_links(const std::string &path) {
    constexpr int most_links = 40;
    std::filesystem::path target = path;
    std::error_code failure;
    for (int link = 0; std::filesystem::is_symlink(target, failure); ++link) {
        if (link == most_links) failure = std::make_error_code(std::errc::too_many_symbolic_link_levels);
        if (!failure) target = target.parent_path() / std::filesystem::read_symlink(target, failure);
        if (failure) throw Error(Fault::cannot_create, fmt::format("{}: {}", path, failure.message()));
    }
    return target.string();
}

}  // namespace

OutputFile::OutputFile(std::string path) : path_(std::move(path)) {
    buffer_.reserve(kBufferSize);
    struct stat status = {};
    struct stat of_stdout = {};
    const bool exists = path_ != "-" && stat(path_.c_str(), &status) == 0;
    if (path_ == "-" || (exists && fstat(STDOUT_FILENO, &of_stdout) == 0 && status.st_dev == of_stdout.st_dev &&
                         status.st_ino == of_stdout.st_ino)) {
        descriptor_ = STDOUT_FILENO;
        return;
    }
    if (exists && !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode)) {
        // A FIFO opens when somebody reads it.
        while ((descriptor_ = open(path_.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY)) < 0 && errno == EINTR) {
            check_interrupt();
        }
        if (descriptor_ < 0) fail(path_);
        return;
    }
    target_ = behind_links(path_);
    const std::filesystem::path target(target_);
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

OutputFile::OutputFile(std::string path, std::string place) : path_(std::move(path)), temporary_(std::move(place)) {
    buffer_.reserve(kBufferSize);
    descriptor_ = open(temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor_ < 0) {
        temporary_.clear();
        fail(path_);
    }
}

OutputFile::~OutputFile() {
    if (descriptor_ >= 0 && descriptor_ != STDOUT_FILENO) close(descriptor_);
    if (!temporary_.empty()) unlink(temporary_.c_str());
}

void OutputFile::write(std::string_view text) {
    if (buffer_.size() + text.size() > kBufferSize) flush();
    buffer_ += text;
}

void OutputFile::flush() {
    std::string_view rest = buffer_;
    checksum_.add(rest);
    size_ += static_cast<std::int64_t>(rest.size());
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
    sha256_ = checksum_.finish();
    if (descriptor_ == STDOUT_FILENO) return;
    if (!temporary_.empty() && fsync(descriptor_) != 0) fail(path_);
    const int descriptor = descriptor_;
    descriptor_ = -1;
    if (close(descriptor) != 0) fail(path_);
    if (!target_.empty()) {
        check_interrupt();
        if (std::rename(temporary_.c_str(), target_.c_str()) != 0) fail(path_);
        sync_directory(std::filesystem::path(target_).parent_path().string());
    }
    temporary_.clear();
}

void sync_directory(const std::string &path) {
    const int directory = open(path.empty() ? "." : path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directory < 0) return;
    (void)fsync(directory);
    close(directory);
}

}  // namespace ullage::host
