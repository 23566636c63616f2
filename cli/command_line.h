// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// From the words of the command line to the options of a command.

#ifndef ULLAGE_CLI_COMMAND_LINE_H
#define ULLAGE_CLI_COMMAND_LINE_H

#include <optional>

#include "options.h"

namespace ullage::cli {

struct CommandLine {
    Options options;
    int (*run)(const Options &) = nullptr;  ///< the command; null if help or the version was printed
};

/**
 * Read the command line and the file of --config.
 *
 * @throws host::Error  usage, or no_input for a configuration file that cannot be read
 */
[[nodiscard]] CommandLine parse_command_line(int argc, char **argv);

}  // namespace ullage::cli

#endif
