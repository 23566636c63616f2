// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The command "ullage extend": more imputations of a run, by drawing its chains again and going on.

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

#include "command_line.h"
#include "commands.h"
#include "option_words.h"
#include "ullage/host/base/checksum.h"
#include "ullage/host/base/error.h"
#include "ullage/host/run/run_record.h"
#include "ullage/host/table/read_stat_file.h"

namespace ullage::cli {

void add_extend_options(CLI::App &command, Options &options) {
    add_directory(command, options, true);
    command.add_option("FILE", options.extend.input, "the input of the run, where it is no longer at its place")
        ->type_name("")
        ->configurable(false);
    command.add_option("-m,--imputations", options.extend.imputations, "completed tables, with those that are there")
        ->required()
        ->transform(whole_number(1))
        ->type_name("N")
        ->configurable(false);
    command.add_option("-j,--jobs", options.impute.jobs, "processes that share the work")
        ->transform(whole_number(1))
        ->type_name("N");
    add_quiet(command, options);
    command.footer(R"(Example:
  ullage extend results -m 50
    makes 50 completed tables of those in results, of which the first stay as
    they are. The chains are drawn again from the seed, and go on.)");
}

namespace {

using host::Error;
using host::Fault;

/** The words of a command without those that say how long the chains are and where the results go. */
std::vector<std::string> without_lengths(const std::vector<std::string> &words) {
    constexpr std::array<std::string_view, 13> names = {
        "-m", "--imputations", "--seed",       "--burn-in",   "--thin",          "--chains", "-o", "--output",
        "-j", "--jobs",        "--rhat-below", "--ess-above", "--max-iterations"};
    std::vector<std::string> kept;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string &word = words[i];
        if (word.starts_with("--until-converged") && word != "--until-converged=false") continue;
        if (std::ranges::count(names, std::string_view(word)) > 0) {
            ++i;  // its value
            continue;
        }
        const bool has_value = std::ranges::any_of(names, [&](std::string_view name) {
            return word.starts_with(name) && (name.size() == 2 || word.substr(name.size()).starts_with('='));
        });
        if (!has_value) kept.push_back(word);
    }
    return kept;
}

/** The command that gives the run with so many imputations. */
std::vector<std::string> longer_command(const host::RunRecord &record, const Options &options) {
    std::vector<std::string> words = without_lengths(record.command);
    const auto command = std::ranges::find(words, "impute");
    if (command == words.end()) {
        throw Error(Fault::data, fmt::format("{}: run.json has no command of ullage impute, so it cannot be repeated",
                                             options.input));
    }
    std::vector<std::string> lengths = {"-m",        std::to_string(options.extend.imputations),
                                        "--seed",    std::to_string(record.seed),
                                        "--chains",  std::to_string(record.chains),
                                        "--burn-in", std::to_string(record.burn_in),
                                        "--thin",    std::to_string(record.thin),
                                        "-o",        options.input};
    // The rounds have been: the thinning is theirs. A file of options may ask for them too.
    if (record.until_converged) lengths.emplace_back("--until-converged=false");
    words.insert(command + 1, lengths.begin(), lengths.end());
    if (!options.extend.input.empty()) std::ranges::replace(words, record.input_name, options.extend.input);
    return words;
}

void check_input(const std::string &directory, const host::RunRecord &record, const Options &again) {
    if (again.input == "-") {
        throw Error(Fault::usage,
                    fmt::format("the run was given its input on standard input; save it in a file and run "
                                "ullage impute on that, with --seed {}",
                                record.seed));
    }
    std::string bytes;
    try {
        bytes = host::read_input(again.input).bytes;
    } catch (const Error &error) {
        if (error.fault() != Fault::no_input) throw;
        throw Error(Fault::no_input, fmt::format("{}; ullage extend {} FILE says where the input of the run is now",
                                                 error.what(), directory));
    }
    if (host::sha256(bytes) == record.input_sha256) return;
    throw Error(Fault::data, fmt::format("{} has changed since the run, so its chains cannot be drawn again; ullage "
                                         "impute makes a new run of it",
                                         again.input));
}

}  // namespace

int run_extend(const Options &options) {
    const host::RunRecord record = host::read_run_record(options.input);
    if (options.extend.imputations <= record.imputations) {
        throw Error(Fault::usage,
                    fmt::format("-m: {} has {} imputations already; give more", options.input, record.imputations));
    }
    std::vector<std::string> words = longer_command(record, options);
    std::vector<char *> arguments;
    for (std::string &word : words) arguments.push_back(word.data());
    CommandLine again = parse_command_line(static_cast<int>(arguments.size()), arguments.data());
    check_input(options.input, record, again.options);
    again.options.crew = options.crew;
    again.options.quiet = options.quiet;
    again.options.json = false;
    again.options.impute.jobs = options.impute.jobs;
    again.options.impute.extends = true;
    again.options.impute.checkpoint.reset();
    again.options.impute.renew_every = record.renew_every;
    return run_impute(again.options);
}

}  // namespace ullage::cli
