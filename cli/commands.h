// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The commands: the options of each, and what it does.

#ifndef ULLAGE_CLI_COMMANDS_H
#define ULLAGE_CLI_COMMANDS_H

#include "options.h"

namespace CLI {
class App;
}

namespace ullage::cli {

/** Add the options of a command to its part of the command line. They stand beside the command or, where they
 * are many, in COMMAND_options.cpp. */
void add_check_options(CLI::App &command, Options &options);
void add_impute_options(CLI::App &command, Options &options);
void add_gather_options(CLI::App &command, Options &options);
void add_diagnose_options(CLI::App &command, Options &options);
void add_pool_options(CLI::App &command, Options &options);
void add_report_options(CLI::App &command, Options &options);
void add_apply_options(CLI::App &command, Options &options);
void add_extend_options(CLI::App &command, Options &options);

/** Run a command. Each gives the exit code of success; failures are thrown as host::Error. */
int run_check(const Options &options);
int run_impute(const Options &options);
int run_gather(const Options &options);
/** The exit code is 1 with --strict and bad diagnostics. */
int run_diagnose(const Options &options);
int run_pool(const Options &options);
int run_report(const Options &options);
int run_apply(const Options &options);
int run_extend(const Options &options);

}  // namespace ullage::cli

#endif
