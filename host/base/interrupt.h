// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// A request to stop (Ctrl-C, a terminated session), noticed at safe points instead of wherever it strikes.

#ifndef ULLAGE_HOST_BASE_INTERRUPT_H
#define ULLAGE_HOST_BASE_INTERRUPT_H

#include <csignal>

namespace ullage::host {

/**
 * Catch SIGINT, SIGTERM and SIGHUP from here on, and ignore SIGPIPE and SIGXFSZ, so that a closed pipe
 * and a limit on the size of files are errors of the write.
 *
 * The first signal is remembered; a second one of its kind ends the process at once.
 */
void watch_interrupts();

/** As long as it lives, signals that ask to stop wait. */
class InterruptsWait {
public:
    InterruptsWait();
    ~InterruptsWait();
    InterruptsWait(const InterruptsWait &) = delete;
    InterruptsWait &operator=(const InterruptsWait &) = delete;

private:
    sigset_t before_;
};

/** The signal that asked to stop, or 0. */
[[nodiscard]] int interrupt_signal();

/** Throw Error (interrupted) if a signal asked to stop. Long loops call it at points where leaving is safe. */
void check_interrupt();

}  // namespace ullage::host

#endif
