// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The command "ullage gather".

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <string>
#include <vector>

#include "command_line.h"
#include "commands.h"
#include "impute_run.h"
#include "input.h"
#include "option_words.h"
#include "ullage/host/base/error.h"
#include "ullage/host/run/chain_part.h"
#include "ullage/host/run/result_file.h"
#include "ullage/host/run/result_names.h"

namespace ullage::cli {

void add_gather_options(CLI::App &command, Options &options) {
    command.add_option("DIR", options.gather, "directories that ullage impute --chain wrote, one for each chain")
        ->required()
        ->type_name("...")
        ->configurable(false);
    command.add_option("-o,--output", options.impute.output, "directory for the results")
        ->required()
        ->type_name("DIR")
        ->group("Results");
    command.add_flag("--json", options.json, "print the run record to standard output")->group("Results");
    add_quiet(command, options);
    command.footer(R"(Run it where the parts were run: their input is read again.

Example:
  ullage gather part-1 part-2 part-3 part-4 -o results
    writes what one run with --chains 4 would have written.)");
}

namespace {

/** The command of a part as that of the whole run. */
std::vector<std::string> whole_command(const std::vector<std::string> &part, const std::string &output, int chains) {
    std::vector<std::string> words;
    for (std::size_t i = 0; i < part.size(); ++i) {
        const std::string &word = part[i];
        const bool has_next = i + 1 < part.size();
        if (word == "--chain" && has_next) {
            words.insert(words.end(), {"--chains", std::to_string(chains)});
            ++i;
        } else if (word.starts_with("--chain=")) {
            words.push_back(fmt::format("--chains={}", chains));
        } else if ((word == "-o" || word == "--output") && has_next) {
            words.insert(words.end(), {word, output});
            ++i;
        } else if (word.starts_with("--output=")) {
            words.push_back("--output=" + output);
        } else if (word.starts_with("-o") && word.size() > 2) {
            words.push_back("-o" + output);
        } else {
            words.push_back(word);
        }
    }
    return words;
}

/** The options of the whole run, of the command of one of its parts. */
Options whole_options(const Options &options, const host::ChainPart &part) {
    std::vector<std::string> words = part.record.command;
    std::vector<char *> argv;
    for (std::string &word : words) argv.push_back(word.data());
    CommandLine command = parse_command_line(static_cast<int>(argv.size()), argv.data());
    if (command.run != run_impute) {
        throw host::Error(host::Fault::data,
                          host::path_in(part.directory, host::kRecordName) + ": command is not that of ullage impute");
    }
    Options whole = std::move(command.options);
    whole.command = whole_command(part.record.command, options.impute.output, part.record.chains);
    whole.impute.output = options.impute.output;
    whole.impute.chain.reset();
    whole.impute.chains = part.record.chains;
    whole.quiet = options.quiet;
    whole.json = options.json;
    return whole;
}

}  // namespace

int run_gather(const Options &options) {
    if (options.impute.output == "-") throw host::Error(host::Fault::usage, "gather needs a directory for its results");
    const std::vector<host::ChainPart> parts = host::read_chain_parts(options.gather);
    std::vector<std::string> files;
    for (const host::ChainPart &part : parts) {
        files.push_back(host::path_in(part.directory, host::kPartName));
        files.push_back(host::path_in(part.directory, host::kRecordName));
    }
    const Options whole = whole_options(options, parts.front());
    impute_to_directory(whole, files, [&](const Run &run, const host::ResultDirectory &directory) {
        host::check_part_of(parts.front(), describe(whole, run, run.settings.thin, 0.0));
        Drawn drawn{host::gather_chain_parts(parts, run.model, run.settings, directory.draw_place())};
        for (const host::ChainPart &part : parts) drawn.seconds = std::max(drawn.seconds, part.record.seconds);
        return drawn;
    });
    return 0;
}

}  // namespace ullage::cli
