// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The command line, by CLI11.

#include "command_line.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>

#include "commands.h"
#include "ullage/host/base/error.h"

namespace ullage::cli {
namespace {

using host::Error;
using host::Fault;

struct Command {
    const char *name;
    const char *summary;
    void (*add_options)(CLI::App &command, Options &options);
    int (*run)(const Options &options);
};

constexpr Command kCommands[] = {
    {"check", "Show what is observed, missing and bounded, and look for contradictions", add_check_options, run_check},
    {"impute", "Complete the table by multiple imputation", add_impute_options, run_impute},
    {"gather", "Put the chains together that jobs of their own have run", add_gather_options, run_gather},
    {"diagnose", "Show whether the results of impute can be trusted", add_diagnose_options, run_diagnose},
    {"pool", "Give one answer from all completed tables, by Rubin's rules", add_pool_options, run_pool},
    {"report", "Write the report of a run again", add_report_options, run_report},
    {"apply", "Complete new rows under the parameters of a run", add_apply_options, run_apply},
    {"extend", "Make more imputations of a run", add_extend_options, run_extend},
};

constexpr const char *kExitCodes = R"(ullage help COMMAND tells the options of a command.

Exit codes:
   0  done
   1  diagnose --strict: the diagnostics are bad
  64  wrong options or rules
  65  the table, or what the rules make of it, is wrong
  66  an input cannot be read
  70  internal fault
  73  an output cannot be written
 129  interrupted by SIGHUP
 130  interrupted by Ctrl-C
 141  the reader of standard output went away
 143  interrupted by SIGTERM)";

/** A file with the same options as the command line, one "name = value" per line, for whichever command runs. */
class ConfigFile : public CLI::ConfigBase {
public:
    explicit ConfigFile(const CLI::App &app) : app_(app) {}

    std::vector<CLI::ConfigItem> from_config(std::istream &input) const override {
        std::vector<CLI::ConfigItem> given = ConfigBase::from_config(input);
        const std::vector<CLI::App *> chosen = app_.get_subcommands();
        if (chosen.empty()) return {};
        std::vector<CLI::ConfigItem> known;
        for (CLI::ConfigItem &item : given) {
            const std::string name = (item.name.size() == 1 ? "-" : "--") + item.name;
            if (item.parents.empty() && chosen.front()->get_option_no_throw(name) != nullptr) {
                item.parents = {chosen.front()->get_name()};
                known.push_back(std::move(item));
                continue;
            }
            // One file serves all commands: what only another command knows is not for this one.
            const auto all = app_.get_subcommands([](const CLI::App *) { return true; });
            if (!item.parents.empty() || std::none_of(all.begin(), all.end(), [&](const CLI::App *command) {
                    return command->get_option_no_throw(name) != nullptr;
                })) {
                throw CLI::ConfigError("there is no option " + item.fullname());
            }
        }
        return known;
    }

private:
    const CLI::App &app_;
};

/** "help COMMAND" is "COMMAND --help". The words are in reverse, as CLI11 takes them. */
std::vector<std::string> words_to_parse(int argc, char **argv) {
    std::vector<std::string> words(argv + 1, argv + argc);
    if (!words.empty() && words.front() == "help") {
        words.erase(words.begin());
        words.emplace_back("--help");
    }
    std::reverse(words.begin(), words.end());
    return words;
}

void set_up(CLI::App &app, Options &options) {
    app.name("ullage");
    app.set_version_flag("-V,--version", "ullage " ULLAGE_VERSION);
    app.require_subcommand(1);
    app.fallthrough();
    app.footer(kExitCodes);
    app.set_config("--config", "", "file with options, one name = value per line");
    app.get_config_ptr()->type_name("FILE");
    app.config_formatter(std::make_shared<ConfigFile>(app));
    app.allow_config_extras(CLI::config_extras_mode::error);
    for (const Command &command : kCommands) {
        command.add_options(*app.add_subcommand(command.name, command.summary), options);
    }
}

/** What is wrong with the words, told better than CLI11 does where it says little. */
Error explain(const CLI::ParseError &error, const CLI::App &app) {
    const std::vector<std::string> unknown = app.remaining(true);
    if (app.get_subcommands().empty() && !unknown.empty() && !unknown[0].starts_with('-')) {
        return {Fault::usage,
                fmt::format("there is no command \"{}\"; ullage --help shows those that there are", unknown[0])};
    }
    std::string what = error.what();
    if (app.get_subcommands().empty() && unknown.empty()) what = "a command is missing";
    if (!unknown.empty()) what = fmt::format("not expected: {}", fmt::join(unknown, " "));
    return {Fault::usage, what + "\nullage --help and ullage COMMAND --help tell more"};
}

}  // namespace

CommandLine parse_command_line(int argc, char **argv) {
    CommandLine result;
    CLI::App app(
        "Imputes cells that are missing, below or above a limit, within an interval, or known by their order.");
    set_up(app, result.options);
    try {
        app.parse(words_to_parse(argc, argv));
    } catch (const CLI::Success &success) {
        (void)app.exit(success);
        if (!std::cout.flush()) throw Error(Fault::cannot_create, "standard output cannot be written");
        return result;
    } catch (const CLI::ConfigError &error) {
        throw Error(Fault::usage, std::string("--config: ") + error.what());
    } catch (const CLI::FileError &error) {
        throw Error(Fault::no_input, error.what());
    } catch (const CLI::ParseError &error) {
        throw explain(error, app);
    }
    result.options.command.assign(argv, argv + argc);
    const auto chosen = std::find_if(std::begin(kCommands), std::end(kCommands),
                                     [&app](const Command &command) { return app.got_subcommand(command.name); });
    result.run = chosen->run;
    return result;
}

}  // namespace ullage::cli
