// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Lines to standard error.

#include "talk.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>

#include "ullage/host/base/words.h"

namespace ullage::cli {

namespace {

bool is_mute = false;

}  // namespace

void mute() {
    is_mute = true;
}

void unmute() {
    is_mute = false;
}

void write_stderr(std::string_view text) {
    if (is_mute) return;
    (void)std::fwrite(text.data(), 1, text.size(), stderr);
}

void say(const Options &options, std::string_view line) {
    if (!options.quiet) write_stderr(host::harmless(line, true) + '\n');
}

void say(const Options &options, const host::Notices &notices) {
    for (const host::Notice &notice : notices) {
        if (notice.is_warning) {
            write_stderr(fmt::format("ullage: warning: {}\n", host::harmless(notice.text)));
        } else {
            say(options, "ullage: note: " + notice.text);
        }
    }
}

void say_error(std::string_view text) {
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        write_stderr(fmt::format("ullage: {}\n", host::harmless(text.substr(0, end))));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
}

bool stderr_is_terminal() {
    return isatty(STDERR_FILENO) != 0;
}

}  // namespace ullage::cli
