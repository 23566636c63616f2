// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The program ullage-mpi: the commands of ullage, with chains that are drawn by the ranks of an MPI program.

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <exception>
#include <memory>
#include <new>

#include "command_line.h"
#include "commands.h"
#include "program.h"
#include "talk.h"
#include "ullage/host/base/error.h"
#include "ullage/host/base/interrupt.h"
#include "ullage/host/mpi/mpi_crew.h"
#include "ullage/host/mpi/ranks.h"

namespace {

using namespace ullage;

bool draws(const cli::CommandLine &command) {
    return command.run == cli::run_impute || command.run == cli::run_extend;
}

/** Rank 0: the whole command. */
int lead(host::Ranks &ranks, int argc, char **argv) {
    const int code = cli::run_guarded([&] {
        host::watch_interrupts();
        host::MpiCrew crew(ranks);
        cli::CommandLine command = cli::parse_command_line(argc, argv);
        if (draws(command)) command.options.crew = &crew;
        return command.run != nullptr ? command.run(command.options) : 0;
    });
    try {
        ranks.leave();
    } catch (const host::Error &error) {
        if (code == 0) cli::say_error(error.what());
        host::Ranks::abandon(code == 0 ? 70 : code);
    }
    return code;
}

/** Standard output and error, and signals that ask to stop, are rank 0's. */
void be_silent() {
    cli::mute();
    const int nowhere = open("/dev/null", O_WRONLY);
    if (nowhere >= 0) {
        dup2(nowhere, STDOUT_FILENO);
        close(nowhere);
    }
    for (const int signal_number : {SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGXFSZ}) std::signal(signal_number, SIG_IGN);
}

/** Another rank: what it draws, and what goes wrong with it, goes to rank 0. */
void follow(host::Ranks &ranks, int argc, char **argv) {
    const auto fail = [&](host::Fault fault, const std::string &what) {
        ranks.tell_failure(fault, fault == host::Fault::data ? what : ranks.name() + ": " + what);
    };
    try {
        host::MpiCrew crew(ranks);
        cli::CommandLine command = cli::parse_command_line(argc, argv);
        command.options.crew = &crew;
        if (draws(command)) command.run(command.options);
    } catch (const host::Stopped &) {
        // Rank 0 says why.
    } catch (const host::Error &error) {
        fail(error.fault(), error.what());
    } catch (const std::bad_alloc &) {
        fail(host::Fault::internal, "the memory of this machine does not suffice; nothing was written");
    } catch (const std::exception &error) {
        fail(host::Fault::internal, error.what());
    }
}

}  // namespace

int main(int argc, char **argv) {
    cli::set_up_process();
    std::unique_ptr<host::Ranks> ranks;
    const int code = cli::run_guarded([&] {
        ranks = std::make_unique<host::Ranks>(&argc, &argv);
        return 0;
    });
    if (!ranks) return code;
    if (ranks->leads()) return lead(*ranks, argc, argv);
    be_silent();
    try {
        follow(*ranks, argc, argv);
        ranks->leave();
    } catch (const host::Error &error) {
        cli::unmute();
        cli::say_error(error.what());
        host::Ranks::abandon(70);
    }
    return 0;
}
