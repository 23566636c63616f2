// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// How far a run has come, on standard error.

#ifndef ULLAGE_CLI_PROGRESS_BAR_H
#define ULLAGE_CLI_PROGRESS_BAR_H

#include <chrono>

#include "options.h"
#include "ullage/host/draw/impute.h"

namespace ullage::cli {

/** A bar with rate and time left where a person looks on, lines of JSON if they were asked for, otherwise nothing. */
class ProgressBar {
public:
    explicit ProgressBar(const Options &options);
    ~ProgressBar() { clear(); }
    ProgressBar(const ProgressBar &) = delete;
    ProgressBar &operator=(const ProgressBar &) = delete;

    /** Show how far it is; called as often as one likes. */
    void show(const host::ImputeProgress &progress);
    /** Take the bar off the terminal until it is shown again. */
    void clear();
    /** Seconds since the bar was made. */
    [[nodiscard]] double seconds() const;

private:
    enum class Form { none, bar, json };
    using Clock = std::chrono::steady_clock;

    Form form_;
    bool drawn_ = false;
    Clock::time_point start_ = Clock::now();
    Clock::time_point shown_ = start_;
};

}  // namespace ullage::cli

#endif
