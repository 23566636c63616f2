// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Signals that ask to stop, remembered in one flag.

#include "ullage/host/base/interrupt.h"

#include <csignal>

#include "ullage/host/base/error.h"

namespace ullage::host {
namespace {

volatile std::sig_atomic_t caught = 0;

void remember(int signal) {
    caught = signal;
}

}  // namespace

void watch_interrupts() {
    struct sigaction action = {};
    sigemptyset(&action.sa_mask);
    action.sa_handler = remember;
    // Without SA_RESTART a read that waits for a terminal or a pipe returns, and the second signal meets the default.
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaction(signal, &action, nullptr);
    for (const int signal : {SIGPIPE, SIGXFSZ}) std::signal(signal, SIG_IGN);
}

InterruptsWait::InterruptsWait() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&signals, signal);
    pthread_sigmask(SIG_BLOCK, &signals, &before_);
}

InterruptsWait::~InterruptsWait() {
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

int interrupt_signal() {
    return caught;
}

void check_interrupt() {
    if (caught != 0) throw Error(Fault::interrupted, "interrupted");
}

}  // namespace ullage::host
