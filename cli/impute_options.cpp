// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The options of "ullage impute".

#include <charconv>
#include <filesystem>

#include "commands.h"
#include "impute_run.h"
#include "option_words.h"
#include "rounds.h"
#include "ullage/host/base/error.h"

namespace ullage::cli {
namespace {

constexpr const char *kHelp = R"(--config FILE reads these options from a file, one name = value per line.

Example:
  ullage impute examples/airquality.csv -o results --seed 1 --log Ozone
    completes the table 20 times and writes results/imputations.csv,
    results/parameters.csv, results/run.json and results/report.html.)";

void add_result_options(CLI::App &command, Options &options) {
    ImputeOptions &impute = options.impute;
    command
        .add_option("-o,--output", impute.output, "directory for the results; - writes the tables to standard output")
        ->required()
        ->type_name("DIR")
        ->group("Results");
    const std::map<std::string, Format> formats = {{"long", Format::long_table},
                                                   {"cells", Format::cells},
                                                   {"files", Format::files},
                                                   {"dta", Format::dta},
                                                   {"sav", Format::sav}};
    command
        .add_option(
            "--format", impute.format,
            "long: one file with .imp and .id; cells: the original once, and the hidden cells of all imputations; "
            "files: one per imputation; dta, sav: long, and for Stata or SPSS besides")
        ->transform(word_of(formats))
        ->type_name("long|cells|files|dta|sav")
        ->group("Results");
    add_list(command, "--derive", "NAME=EXPR",
             "compute a column in every table, such as 'bmi = wgt / hgt^2'; it is no part of the model", "Results",
             [&impute](const std::vector<std::string> &words) { impute.derive = words; });
    command.add_flag("--json", options.json, "print the run record to standard output")->group("Results");
    // The help would show a flag that is bound to the value as --no-report{false}.
    command
        .add_flag_callback(
            "--no-report", [&impute] { impute.report = false; }, "do not write report.html")
        ->group("Results");
}

void take_prior(const std::string &prior, ImputeOptions &impute) {
    std::error_code ignored;
    if (prior != "default" && prior != "jeffreys" && prior != "-" && !prior.starts_with("ridge") &&
        !std::filesystem::exists(prior, ignored)) {
        throw host::Error(
            host::Fault::no_input,
            fmt::format("--prior: \"{}\" is none of default, jeffreys and ridge=CASES, and there is no such file",
                        prior));
    }
    impute.prior = prior;
}

void take_chain(const std::string &text, ImputeOptions &impute) {
    int chain = 0;
    int chains = 0;
    const char *end = text.data() + text.size();
    const auto first = std::from_chars(text.data(), end, chain);
    const bool has_slash = first.ec == std::errc() && first.ptr != end && *first.ptr == '/';
    const auto second = has_slash ? std::from_chars(first.ptr + 1, end, chains) : first;
    if (!has_slash || second.ec != std::errc() || second.ptr != end || chain < 1 || chain > chains) {
        throw host::Error(host::Fault::usage,
                          fmt::format("--chain: \"{}\" is not K/N, such as 1/4 for the first of 4 chains", text));
    }
    impute.chain = chain;
    impute.chains = chains;
}

void add_rounds(CLI::App &command, ImputeOptions &impute) {
    CLI::Option *until =
        command
            .add_flag("--until-converged", impute.until_converged,
                      "double the iterations between two imputations until all parameters have converged")
            ->group("Imputation");
    const auto add_number = [&](const std::string &name, double &target, double least, const std::string &text) {
        command
            .add_option_function<std::string>(
                name,
                [name, &target, least](const std::string &value) {
                    target = number_of(name, value);
                    if (target > least) return;
                    throw host::Error(host::Fault::usage, fmt::format("{} must be above {}", name, least));
                },
                text)
            ->needs(until)
            ->type_name("NUMBER")
            ->default_str(fmt::format("{}", target))
            ->group("Imputation");
    };
    add_number("--rhat-below", impute.target.rhat_below, 1.0, "converged: R-hat of every parameter");
    add_number("--ess-above", impute.target.ess_above, 0.0, "converged: effective size of every parameter");
    command
        .add_option("--max-iterations", impute.max_iterations,
                    fmt::format("iterations of each chain that rounds may reach (default: {}, or what the "
                                "imputations take without --until-converged)",
                                kMostIterations))
        ->transform(whole_number(1))
        ->needs(until)
        ->type_name("N")
        ->group("Imputation");
}

void add_checkpoints(CLI::App &command, ImputeOptions &impute) {
    const char *group = "Long runs";
    CLI::Option *checkpoint = command
                                  .add_option_function<std::string>(
                                      "--checkpoint",
                                      [&impute](const std::string &text) {
                                          impute.checkpoint = number_of("--checkpoint", text);
                                          if (*impute.checkpoint >= 0.0) return;
                                          throw host::Error(host::Fault::usage, "--checkpoint must be at least 0");
                                      },
                                      "keep in DIR what is drawn, about every so many minutes; 0 as often as can be")
                                  ->type_name("MINUTES")
                                  ->group(group);
    command
        .add_option("--renew-every", impute.renew_every,
                    fmt::format("iterations between two points that a run can be resumed from, at which its cells are "
                                "drawn anew from the parameters (default: {})",
                                kRenewEvery))
        ->transform(whole_number(1))
        ->needs(checkpoint)
        ->type_name("N")
        ->group(group);
    command
        .add_flag("--resume", impute.resume, "go on from the checkpoint in DIR; begin at the start if there is none")
        ->needs(checkpoint)
        ->configurable(false)
        ->group(group);
}

void add_imputation_options(CLI::App &command, ImputeOptions &impute) {
    const char *group = "Imputation";
    const auto add_count = [&](const std::string &name, int &target, const std::string &text, int least) {
        CLI::Option *option =
            command.add_option(name, target, text)->transform(whole_number(least))->type_name("N")->group(group);
        if (target > 0) option->capture_default_str();
    };
    add_count("-m,--imputations", impute.imputations, "completed tables", 1);
    command.add_option("--seed", impute.seed, "of the random numbers (default: chosen, printed and recorded)")
        ->transform(whole_number<std::uint64_t>(0))
        ->type_name("N")
        ->group(group);
    const auto add_length = [&](const std::string &name, std::optional<int> &target, const std::string &text,
                                int least) {
        command.add_option(name, target, text)->transform(whole_number(least))->type_name("N")->group(group);
    };
    add_length("--burn-in", impute.burn_in,
               "iterations of each chain before its first imputation (default: 200; 1000 where words are hidden, and "
               "for mixtures)",
               0);
    add_length(
        "--thin", impute.thin,
        "iterations between two imputations of a chain (default: 50, where words are hidden or for mixtures 200; more "
        "with few imputations)",
        1);
    add_length(
        "--sweeps", impute.sweeps,
        "draws in each iteration of cells that are drawn one at a time (default: chosen at the end of the burn-in)", 1);
    add_count("--chains", impute.chains, "independent chains", 1);
    command
        .add_option_function<std::string>(
            "--chain", [&impute](const std::string &text) { take_chain(text, impute); },
            "run only the K-th of N chains; ullage gather puts all of them together")
        ->excludes(command.get_option("--chains"))
        ->type_name("K/N")
        ->group(group);
    add_count("-j,--jobs", impute.jobs, "processes that share the work (default: one per processor)", 1);
    command
        .add_option_function<std::string>(
            "--prior", [&impute](const std::string &prior) { take_prior(prior, impute); },
            "default, jeffreys, ridge=CASES, or a file with a full prior")
        ->type_name("PRIOR")
        ->default_str(impute.prior)
        ->group(group);
    add_rounds(command, impute);
    command
        .add_flag("--overimpute", impute.overimpute,
                  "hide observed cells in turn, impute them too, and say how often the intervals cover them")
        ->group(group);
}

}  // namespace

void add_impute_options(CLI::App &command, Options &options) {
    add_table_options(command, options);
    add_components(command, options);
    add_result_options(command, options);
    add_imputation_options(command, options.impute);
    add_checkpoints(command, options.impute);
    add_quiet(command, options);
    const std::map<std::string, Progress> kinds = {
        {"auto", Progress::automatic}, {"none", Progress::none}, {"json", Progress::json}};
    command.add_option("--progress", options.progress, "on standard error (default: auto, a bar on a terminal)")
        ->transform(word_of(kinds))
        ->type_name("auto|none|json")
        ->group("Talk");
    command.footer(kHelp);
}

}  // namespace ullage::cli
