// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Drawing the progress bar.

#include "progress_bar.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <string>

#include "talk.h"

namespace ullage::cli {
namespace {

constexpr auto kBetweenBars = std::chrono::milliseconds(100);
constexpr auto kBetweenLines = std::chrono::milliseconds(500);
constexpr std::int64_t kBarWidth = 30;

std::string time_left(double seconds) {
    const std::chrono::seconds whole(static_cast<std::int64_t>(seconds + 0.5));
    return whole < std::chrono::hours(1) ? fmt::format("{:%M:%S}", whole) : fmt::format("{:%H:%M:%S}", whole);
}

}  // namespace

ProgressBar::ProgressBar(const Options &options) : form_(Form::none) {
    if (options.progress == Progress::json) form_ = Form::json;
    if (options.progress == Progress::automatic && !options.quiet && stderr_is_terminal()) form_ = Form::bar;
}

void ProgressBar::clear() {
    if (drawn_) write_stderr("\r\x1b[K");
    drawn_ = false;
}

double ProgressBar::seconds() const {
    return std::chrono::duration<double>(Clock::now() - start_).count();
}

void ProgressBar::show(const host::ImputeProgress &progress) {
    if (form_ == Form::none) return;
    const Clock::time_point now = Clock::now();
    const bool last = progress.done == progress.total;
    if (!last && now - shown_ < (form_ == Form::bar ? kBetweenBars : kBetweenLines)) return;
    shown_ = now;
    const double elapsed = seconds();
    const double rate = elapsed > 0.0 ? static_cast<double>(progress.done - progress.resumed) / elapsed : 0.0;
    const double left = rate > 0.0 ? static_cast<double>(progress.total - progress.done) / rate : 0.0;
    if (form_ == Form::json) {
        write_stderr(fmt::format("{{\"done\": {}, \"total\": {}, \"rate\": {:.1f}, \"seconds_left\": {:.3f}}}\n",
                                 progress.done, progress.total, rate, left));
        return;
    }
    const auto full = static_cast<std::size_t>(kBarWidth * progress.done / progress.total);
    write_stderr(fmt::format("\r[{:.<{}}] {:3}%  {:.0f} iterations/s, {} left\x1b[K", std::string(full, '#'), kBarWidth,
                             100 * progress.done / progress.total, rate, time_left(left)));
    drawn_ = true;
}

}  // namespace ullage::cli
