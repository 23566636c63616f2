// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Reading a whole file or standard input.

#include "ullage/host/base/input_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <vector>

#include "ullage/host/base/checksum.h"
#include "ullage/host/base/error.h"
#include "ullage/host/base/interrupt.h"

namespace ullage::host {

std::string read_file(const std::string &path) {
    const bool is_stdin = path == "-";
    const auto failure = [&] {
        return Error(Fault::no_input, fmt::format("{}: {}", is_stdin ? "standard input" : path, std::strerror(errno)));
    };
    int descriptor = STDIN_FILENO;
    do {
        check_interrupt();
        if (!is_stdin) descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);  // which may wait for a writer of a FIFO
    } while (descriptor < 0 && errno == EINTR);
    if (descriptor < 0) throw failure();
    struct Close {
        int descriptor;
        ~Close() {
            if (descriptor != STDIN_FILENO) close(descriptor);
        }
    } const close_at_end{descriptor};
    std::string bytes;
    struct stat status = {};
    if (fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0) {
        bytes.reserve(static_cast<std::size_t>(status.st_size) + 1);
    }
    for (;;) {
        constexpr std::size_t chunk = std::size_t{1} << 20;
        const std::size_t size = bytes.size();
        bytes.resize(std::max(std::min(size + chunk, bytes.capacity()), size + 4096));
        const ssize_t got = ::read(descriptor, bytes.data() + size, bytes.size() - size);
        bytes.resize(size + (got > 0 ? static_cast<std::size_t>(got) : 0));
        check_interrupt();
        if (got == 0) return bytes;
        if (got < 0 && errno != EINTR) throw failure();
    }
}

std::string read_regular_file(const std::string &path) {
    return InputFile(path).read_all();
}

InputFile::InputFile(std::string path) : path_(std::move(path)) {
    // Without O_NONBLOCK opening a FIFO would wait for its writer.
    descriptor_ = open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (descriptor_ < 0) throw Error(Fault::no_input, fmt::format("{}: {}", path_, std::strerror(errno)));
    struct stat status = {};
    if (fstat(descriptor_, &status) != 0 || !S_ISREG(status.st_mode)) {
        close(descriptor_);
        throw Error(Fault::no_input, path_ + ": this is no regular file");
    }
    size_ = status.st_size;
}

InputFile::~InputFile() {
    close(descriptor_);
}

std::size_t InputFile::read(char *buffer, std::size_t size) {
    for (;;) {
        check_interrupt();
        const ssize_t got = ::read(descriptor_, buffer, size);
        if (got >= 0) return static_cast<std::size_t>(got);
        if (errno != EINTR) throw Error(Fault::no_input, fmt::format("{}: {}", path_, std::strerror(errno)));
    }
}

std::string InputFile::read_all() {
    std::string bytes;
    bytes.resize(static_cast<std::size_t>(size_) + 1);  // one more, so that a file of this size ends at once
    std::size_t size = 0;
    while (const std::size_t got = read(bytes.data() + size, bytes.size() - size)) {
        size += got;
        if (size == bytes.size()) bytes.resize(2 * size);
    }
    bytes.resize(size);
    return bytes;
}

std::string InputFile::sha256() {
    const auto rewind = [&] {
        if (lseek(descriptor_, 0, SEEK_SET) != 0) {
            throw Error(Fault::no_input, fmt::format("{}: {}", path_, std::strerror(errno)));
        }
    };
    rewind();
    std::vector<char> part(std::size_t{1} << 20);
    Checksum checksum;
    while (const std::size_t got = read(part.data(), part.size())) checksum.add(std::string_view(part.data(), got));
    rewind();
    return checksum.finish();
}

}  // namespace ullage::host
