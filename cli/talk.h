// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// What the program says besides its results: one line at a time, to standard error.

#ifndef ULLAGE_CLI_TALK_H
#define ULLAGE_CLI_TALK_H

#include <string_view>

#include "options.h"
#include "ullage/host/base/notice.h"

namespace ullage::cli {

/** Write to standard error. Where nobody listens, on a full disk or with the stream closed, the text is lost, and the
 * work goes on. */
void write_stderr(std::string_view text);

/** Write nothing to standard error from now on: another process of the run speaks. */
void mute();
void unmute();

/** Say one line, unless --quiet was given. */
void say(const Options &options, std::string_view line);

/** Say notices, warnings as such. Warnings are said also with --quiet. */
void say(const Options &options, const host::Notices &notices);

/** Say what ended the program: "ullage: ..." before every line. */
void say_error(std::string_view text);

/** Whether a person sees standard error: a progress bar may be drawn there. */
[[nodiscard]] bool stderr_is_terminal();

}  // namespace ullage::cli

#endif
