// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// How a harness says that its oracle disagrees.

#ifndef ULLAGE_FUZZ_SUPPORT_FAILURE_H
#define ULLAGE_FUZZ_SUPPORT_FAILURE_H

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

// Print what is wrong and abort, which every fuzzing engine takes as a find. Standard output, because the engine's own
// complaints about its data fill standard error.
[[noreturn, gnu::format(printf, 1, 2)]] inline void fail(const char *format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::fputs("FAILURE: ", stdout);
    std::vprintf(format, arguments);
    std::fputs("\n", stdout);
    std::fflush(stdout);
    va_end(arguments);
    std::abort();
}

#endif
