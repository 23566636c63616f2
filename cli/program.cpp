// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Exit codes, and errors in words.

#include "program.h"

#include <fcntl.h>
#include <unistd.h>

#include <exception>
#include <new>
#include <string_view>

#include "talk.h"
#include "ullage/host/base/error.h"
#include "ullage/host/base/interrupt.h"
#include "ullage/host/run/run_commit.h"

namespace ullage::cli {
namespace {

/** The exit codes of sysexits, and those of a shell for signals. */
int exit_code(ullage::host::Fault fault) {
    using ullage::host::Fault;
    switch (fault) {
        case Fault::usage:
            return 64;
        case Fault::data:
            return 65;
        case Fault::no_input:
            return 66;
        case Fault::internal:
            return 70;
        case Fault::cannot_create:
            return 73;
        case Fault::closed_pipe:
            return 141;
        case Fault::interrupted:
            return 128 + ullage::host::interrupt_signal();
    }
    return 70;
}

/** Where memory runs out inside a library that cannot say so, the process ends; what it has begun to write goes. */
[[noreturn]] void end_at_once() {
    ullage::host::abandon_commit();
    constexpr std::string_view text = "ullage: the memory of this machine does not suffice\n";
    (void)!write(STDERR_FILENO, text.data(), text.size());
    _exit(70);
}

/** Fill standard streams that were closed, so that no file of ours takes their place. Writing to these fails. */
void fill_standard_streams() {
    int descriptor = 0;
    while (descriptor >= 0 && descriptor <= STDERR_FILENO) descriptor = open("/dev/null", O_RDONLY);
    if (descriptor >= 0) close(descriptor);
}

}  // namespace

void set_up_process() {
    std::set_terminate(end_at_once);
    fill_standard_streams();
}

int run_guarded(const std::function<int()> &work) {
    try {
        return work();
    } catch (const host::Error &error) {
        // Whoever closed the pipe has seen enough and wants no message.
        if (error.fault() != host::Fault::closed_pipe) say_error(error.what());
        return exit_code(error.fault());
    } catch (const std::bad_alloc &) {
        say_error("the memory of this machine does not suffice");
    } catch (const std::exception &error) {
        say_error(error.what());
    }
    return exit_code(host::Fault::internal);
}

}  // namespace ullage::cli
