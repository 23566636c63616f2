// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The program ullage: one command, and its exit code.

#include "command_line.h"
#include "program.h"
#include "ullage/host/base/interrupt.h"

int main(int argc, char **argv) {
    using namespace ullage;
    cli::set_up_process();
    return cli::run_guarded([&] {
        host::watch_interrupts();
        const cli::CommandLine command = cli::parse_command_line(argc, argv);
        return command.run != nullptr ? command.run(command.options) : 0;
    });
}
