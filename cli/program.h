// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// What a program does around its command.

#ifndef ULLAGE_CLI_PROGRAM_H
#define ULLAGE_CLI_PROGRAM_H

#include <functional>

namespace ullage::cli {

/** Make the process ready: standard streams that are open, and an end in words where memory runs out. */
void set_up_process();

/** Run the work of a program; what it throws is said on standard error.
 * @return the exit code */
int run_guarded(const std::function<int()> &work);

}  // namespace ullage::cli

#endif
