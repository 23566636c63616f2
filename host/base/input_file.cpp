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

}  // namespace ullage::host
