// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The command "ullage impute".

#include "ullage/host/draw/impute.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <optional>
#include <random>
#include <thread>
#include <utility>
#include <vector>

#include "commands.h"
#include "impute_run.h"
#include "input.h"
#include "progress_bar.h"
#include "rounds.h"
#include "talk.h"
#include "text_table.h"
#include "ullage/host/answer/diagnostics.h"
#include "ullage/host/base/error.h"
#include "ullage/host/base/input_file.h"
#include "ullage/host/base/output_file.h"
#include "ullage/host/draw/overimpute.h"
#include "ullage/host/model/model_table.h"
#include "ullage/host/model/propriety.h"
#include "ullage/host/report/report.h"
#include "ullage/host/run/chain_part.h"
#include "ullage/host/run/checkpoint.h"
#include "ullage/host/run/overimputation_file.h"
#include "ullage/host/run/parameter_file.h"
#include "ullage/host/run/result_directory.h"
#include "ullage/host/run/result_file.h"
#include "ullage/host/run/result_names.h"
#include "ullage/host/run/run_record.h"
#include "ullage/host/run/run_results.h"
#include "ullage/host/run/write_stat_file.h"
#include "ullage/host/run/write_table.h"

namespace ullage::cli {
namespace {

using host::Error;
using host::Fault;
using host::OutputFile;

constexpr std::size_t kMostKinds = 40;  // columns whose kinds are said

host::ImputeSettings settings_of(const ImputeOptions &options, const host::ModelTable &model) {
    host::ImputeSettings settings = host::default_settings(model, options.imputations, options.chains);
    // A chosen seed is one that people can copy.
    settings.seed = options.seed ? *options.seed : std::random_device()() & 0x7fffffffU;
    if (options.burn_in) settings.burn_in = *options.burn_in;
    if (options.thin) settings.thin = *options.thin;
    settings.sweeps = options.sweeps;
    if (settings.sweeps && model.mixture) {
        throw Error(Fault::usage, "--sweeps: the cells of a mixture are drawn once in an iteration; leave it out");
    }
    const int processors = std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
    settings.jobs = options.jobs > 0 ? options.jobs : processors;
    if (options.chain) settings.only = *options.chain - 1;
    settings.renew_every = options.renew_every;
    if (options.checkpoint && !settings.renew_every) settings.renew_every = kRenewEvery;
    if (settings.renew_every && model.mixture) {
        throw Error(Fault::usage, "--checkpoint: the cells of a mixture cannot be drawn anew; leave it out");
    }
    return settings;
}

/** The package of a format, if it is that of one. */
std::optional<host::StatFormat> stat_format(Format format) {
    if (format == Format::dta) return host::StatFormat::dta;
    if (format == Format::sav) return host::StatFormat::sav;
    return std::nullopt;
}

std::string stat_file_name(host::StatFormat format) {
    return format == host::StatFormat::dta ? "imputations.dta" : "imputations.sav";
}

/** What cannot be done together. */
void check_output(const Options &options) {
    if (options.impute.chain) {
        const auto refuse = [](const char *why) { throw Error(Fault::usage, std::string("--chain: ") + why); };
        if (!options.impute.seed) refuse("all chains need one seed: give --seed");
        if (options.impute.output == "-") refuse("a chain needs a directory for its results: leave out -o -");
        if (options.input == "-") refuse("ullage gather reads the table again: give a file, not standard input");
        if (options.impute.until_converged)
            refuse("only all chains together can converge: leave out --until-converged");
        if (options.impute.overimpute) refuse("one chain cannot be judged by --overimpute: leave it out");
    }
    if (options.impute.checkpoint && options.impute.until_converged) {
        throw Error(Fault::usage, "--checkpoint: rounds go on from chains in memory; leave out --until-converged");
    }
    if (options.impute.output != "-") return;
    if (options.impute.checkpoint) {
        throw Error(Fault::usage, "--checkpoint needs a directory: leave out -o -");
    }
    if (options.impute.format != Format::long_table) {
        throw Error(Fault::usage, "only the long format can be written to standard output: leave out --format");
    }
    if (options.impute.overimpute) {
        throw Error(Fault::usage, "--overimpute needs a directory for its result: leave out -o -");
    }
    if (options.json) {
        throw Error(Fault::usage, "standard output takes either the tables (-o -) or the run record (--json)");
    }
}

std::string checkpoint_of(const Options &options) {
    return host::path_in(options.impute.output, host::kCheckpointName);
}

bool has_checkpoint(const Options &options) {
    std::error_code ignored;  // a directory that cannot be looked into is refused when it is locked
    return std::filesystem::exists(checkpoint_of(options), ignored);
}

/** The command as it is recorded: a run that was resumed is the one that was not interrupted. */
std::vector<std::string> recorded(std::vector<std::string> command) {
    std::erase_if(command, [](const std::string &word) { return word == "--resume" || word.starts_with("--resume="); });
    return command;
}

/** The files that the run writes besides run.json. */
std::vector<std::string> result_names(const ImputeOptions &options) {
    if (options.chain) return {std::string(host::kPartName)};
    std::vector<std::string> names;
    if (options.format == Format::files) {
        const auto count = static_cast<std::size_t>(options.imputations);
        for (std::size_t i = 1; i <= count; ++i) names.push_back(host::imputation_name(i, count));
    } else if (options.format == Format::cells) {
        names.emplace_back(host::kOriginalName);
        names.emplace_back(host::kCellsName);
    } else {
        names.emplace_back(host::kLongTableName);
    }
    if (const auto format = stat_format(options.format)) names.push_back(stat_file_name(*format));
    names.emplace_back(host::kParametersName);
    names.emplace_back(host::kBoundsName);
    if (options.overimpute) names.emplace_back(host::kOverimputationName);
    if (options.report) names.emplace_back(host::kReportName);
    return names;
}

Drawn draw(const Options &options, const Run &run, const host::DrawPlace &place = {},
           const host::RunKeeper *keeper = nullptr) {
    say(options, fmt::format("seed {}", run.settings.seed));
    std::string kinds = kinds_in_words(run.input.table, kMostKinds);
    kinds.pop_back();
    say(options, kinds);
    if (run.input.hidden.cells.empty()) {
        say(options, "note: no cell is missing or bounded; all completed tables are the same");
    }
    Drawn drawn;
    ProgressBar bar(options);
    host::GoesOn goes_on;
    if (run.until) {
        goes_on = [&, judge_round = make_rounds(options, run)](const host::Imputations &so_far) {
            bar.clear();
            return judge_round(so_far);
        };
    }
    host::ImputeSettings settings = run.settings;
    settings.keeper = keeper;
    drawn.imputations = host::impute(
        run.model, settings, [&](const host::ImputeProgress &progress) { bar.show(progress); }, place, goes_on);
    drawn.seconds = bar.seconds();
    return drawn;
}

/** Draw, and keep checkpoints in the directory if the options ask for them. */
Drawn draw_to_directory(const Options &options, const Run &run, host::ResultDirectory &directory) {
    if (!options.impute.checkpoint) return draw(options, run, directory.draw_place());
    using Clock = std::chrono::steady_clock;
    const host::RunRecord record = describe(options, run, run.settings.thin, 0.0);
    const std::string path = checkpoint_of(options);
    const std::chrono::duration<double, std::ratio<60>> between(*options.impute.checkpoint);
    Clock::time_point kept = Clock::now();
    bool can_resume = false;
    host::RunKeeper keeper;
    keeper.restore = [&](host::Imputations &result) {
        if (!has_checkpoint(options)) {
            if (options.impute.resume) say(options, fmt::format("{} is not there: the run begins at its start", path));
            return host::RunState{0, std::vector<std::vector<double>>(result.draws.size())};
        }
        host::RunState state = host::read_checkpoint(path, record, run.model, run.settings, result);
        can_resume = true;
        say(options, fmt::format("resumed behind iteration {} of {}", state.iterations, run.settings.total()));
        return state;
    };
    keeper.keep = [&](const host::RunState &state, const host::Imputations &result) {
        if (Clock::now() - kept < between) return;
        directory.put_checkpoint(
            [&](OutputFile &file) { host::write_checkpoint(file, record, run.settings, state, result); });
        kept = Clock::now();
        can_resume = true;
    };
    try {
        return draw(options, run, directory.draw_place(), &keeper);
    } catch (const Error &) {
        if (can_resume) say(options, fmt::format("{} is kept: the same command with --resume goes on with it", path));
        throw;
    }
}

/** The results, with what their diagnosis gives cause to warn of. */
host::RunResults judge(const Options &options, const Run &run, const Drawn &drawn) {
    host::RunResults results = host::gather_results(describe(options, run, drawn.imputations.thin, drawn.seconds),
                                                    run.model, drawn.imputations);
    host::Diagnosis diagnosis = host::diagnose(results.record, results.draws, &results.tables);
    results.record.convergence = host::convergence_of(diagnosis);
    if (auto &until = results.record.until_converged) {
        until->converged = host::has_converged(diagnosis.parameters, until->target);
    }
    results.record.warnings = std::move(diagnosis.warnings);
    return results;
}

/** Call a function for each imputation, from 1, with its values and derived columns. */
template <typename Write>
void for_each_imputation(const Run &run, const host::Imputations &result, const Write &write) {
    for (std::size_t k = 1; k <= result.values.size(); ++k) {
        const std::vector<double> values = result.values[k - 1];
        write(static_cast<int>(k), values, run.deriver.of(k, values));
    }
}

void write_original(OutputFile &file, const Run &run, bool is_long) {
    host::write_header(file, run.input.table, run.deriver.original(), is_long);
    host::write_rows(file, run.input.table, run.input.hidden, {}, run.deriver.original(), 0, is_long);
}

void write_long(OutputFile &file, const Run &run, const host::Imputations &result) {
    write_original(file, run, true);
    for_each_imputation(run, result, [&](int k, const auto &values, host::DerivedColumns derived) {
        host::write_rows(file, run.input.table, run.input.hidden, values, derived, k, true);
    });
}

void write_cells(host::ResultDirectory &directory, const Run &run, const host::Imputations &result) {
    write_original(directory.file(host::kOriginalName), run, false);
    OutputFile &cells = directory.file(host::kCellsName);
    host::write_cells_header(cells, run.input.table);
    for_each_imputation(run, result, [&](int k, const auto &values, host::DerivedColumns derived) {
        host::write_cells(cells, run.input.table, run.input.hidden, values, derived, k);
    });
}

void write_files(host::ResultDirectory &directory, const Run &run, const host::Imputations &result) {
    for_each_imputation(run, result, [&](int k, const auto &values, host::DerivedColumns derived) {
        OutputFile &file = directory.file(host::imputation_name(static_cast<std::size_t>(k), result.values.size()));
        host::write_header(file, run.input.table, derived, false);
        host::write_rows(file, run.input.table, run.input.hidden, values, derived, k, false);
    });
}

void write_tables(host::ResultDirectory &directory, Format format, const Run &run, const host::Imputations &result) {
    if (format == Format::files) {
        write_files(directory, run, result);
    } else if (format == Format::cells) {
        write_cells(directory, run, result);
    } else {
        write_long(directory.file(host::kLongTableName), run, result);
    }
    if (const auto stat = stat_format(format)) {
        host::write_stat_file(directory.file(stat_file_name(*stat)), *stat, run.input.table, run.input.hidden,
                              result.values, [&](std::size_t k, std::span<const double> values) {
                                  return k == 0 ? run.deriver.original() : run.deriver.of(k, values);
                              });
    }
}

std::vector<host::OverimputedColumn> overimpute(const Options &options, const Input &input,
                                                const host::PriorChoice &prior, const host::ImputeSettings &settings,
                                                const host::DrawPlace &place) {
    ProgressBar bar(options);
    return host::overimpute(
        input.table, prior, settings, [&](const host::ImputeProgress &progress) { bar.show(progress); }, place,
        options.components);
}

void say_overimputation(const Options &options, const std::vector<host::OverimputedColumn> &columns) {
    if (columns.empty()) {
        say(options, "note: no column has 10 observed cells, so none was hidden for over-imputation");
        return;
    }
    TextTable numbers = {{"over-imputation", "cells", "in 50% interval", "in 90% interval"}};
    TextTable words = {{"words", "cells", "hit", "expected"}};
    for (const host::OverimputedColumn &column : columns) {
        const auto percent = [&](double count) {
            return fmt::format("{:.0f}%", 100.0 * count / static_cast<double>(column.cells));
        };
        const std::string cells = std::to_string(column.cells);
        if (column.hits) {
            words.push_back({column.name, cells, percent(column.hits->observed), percent(column.hits->expected)});
        } else {
            numbers.push_back({column.name, cells, percent(static_cast<double>(column.in_50)),
                               percent(static_cast<double>(column.in_90))});
        }
    }
    std::string text = numbers.size() > 1 ? in_columns(numbers, 1) : "";
    if (words.size() > 1) text += in_columns(words, 1);
    text.pop_back();
    say(options, text);
}

void say_end(const Options &options, const host::RunRecord &record) {
    say(options,
        fmt::format("{} completed tables from {} chains of {} iterations in {:.1f} s{}", record.imputations,
                    record.chains, record.iterations, record.seconds,
                    options.impute.output == "-" ? "" : fmt::format("; results in {}", options.impute.output)));
    double refused = 0.0;
    for (const host::RunLevel &level : record.levels) refused = std::fmax(refused, level.refused);
    if (refused > 0.0) {
        say(options, fmt::format("rules: {:.1f}% of the rows of the fitted normal distribution {}break them",
                                 100.0 * refused, record.levels.size() > 1 ? "(at most, of a level) " : ""));
    }
    if (record.components > 1) {
        say(options, fmt::format("mixture: {:.1f} of the {} components hold rows, on average over the draws",
                                 record.levels[0].filled, record.components));
    }
    const host::Convergence worst = host::worst_of(record.convergence);
    if (!std::isnan(worst.ess_bulk)) {
        say(options, fmt::format("convergence: worst R-hat {:.3f}, least effective size {:.0f}", worst.rhat,
                                 std::fmin(worst.ess_bulk, worst.ess_tail)));
    }
    host::Notices notices;
    for (const std::string &warning : record.warnings) notices.push_back({true, warning});
    say(options, notices);
}

void impute_to_stdout(const Options &options) {
    const Run run(options);
    OutputFile file("-");
    const Drawn drawn = draw(options, run);
    write_long(file, run, drawn.imputations);
    file.commit();
    say_end(options, judge(options, run, drawn).record);
}

void say_what_went(const Options &options, const host::ResultDirectory &directory) {
    if (const auto names = directory.removed(); !names.empty()) {
        say(options, fmt::format("removed from {}, as an earlier run wrote them: {}", options.impute.output,
                                 fmt::join(names, ", ")));
    }
    if (const auto &names = directory.changed(); !names.empty()) {
        say(options, {{true, fmt::format("left in {}, as they were changed after an earlier run wrote them: {}",
                                         options.impute.output, fmt::join(names, ", "))}});
    }
}

/** Refuse to put a run in the place of its own beginning if it is none. */
void check_beginning(const std::string &path, const host::ParameterDraws &earlier, const host::ParameterDraws &longer) {
    if (host::is_beginning(earlier, longer)) return;
    throw Error(
        Fault::data,
        fmt::format("{}: the chains drawn again are not those of the run, as after a change of the program, the "
                    "C library or a file of its options; nothing was changed. Run ullage impute anew",
                    path));
}

/** Bring a run's files in place, and say so. */
void finish(const Options &options, host::ResultDirectory &directory, const host::RunRecord &record) {
    const std::string text = directory.commit(record);
    say_what_went(options, directory);
    if (options.json) {
        OutputFile out("-");
        out.write(text);
        out.commit();
    }
}

void write_part(const Options &options, host::ResultDirectory &directory, const Run &run, Drawn drawn) {
    host::write_chain_part(directory.file(host::kPartName), run.settings, drawn.imputations);
    host::RunRecord record = describe(options, run, run.settings.thin, drawn.seconds);
    record.most_sweeps = std::ranges::max(drawn.imputations.sweeps);
    drawn.imputations = {};
    finish(options, directory, record);
    say(options, fmt::format("chain {} of {} in {:.1f} s; ullage gather puts {} and the others together",
                             *options.impute.chain, options.impute.chains, drawn.seconds, options.impute.output));
}

}  // namespace

Run::Run(const Options &options)
    : derivations(host::parse_derivations(options.impute.derive)),
      prior(host::parse_prior(options.impute.prior)),
      input(load_input(options)),
      deriver(input.table, input.hidden, derivations),
      model(host::prepare_model(input.table, input.hidden, prior, options.components)),
      settings(settings_of(options.impute, model)),
      until(until_converged(options.impute, settings)) {
    settings.crew = options.crew;
    const host::Notices doubts = host::doubts_of_propriety(model);
    say(options, doubts);
    input.notices.insert(input.notices.end(), doubts.begin(), doubts.end());
    if (const auto format = stat_format(options.impute.format)) {
        host::check_stat_file(*format, input.table, deriver.original(),
                              static_cast<std::size_t>(options.impute.imputations));
    }
    if (options.crew == nullptr) return;
    const host::RunRecord record = describe(options, *this, settings.thin, 0.0);
    settings.seed = options.crew->agree(
        settings.seed, fmt::format("{} {} {} {}", ULLAGE_VERSION, record.input_sha256, record.prior_sha256.value_or(""),
                                   fmt::join(record.command, " ")));
}

host::RunRecord describe(const Options &options, const Run &run, int thin, double seconds) {
    host::ImputeSettings settings = run.settings;
    settings.thin = thin;
    host::RunRecord record = host::describe_run(run.model, settings);
    record.until_converged = run.until;
    record.command = recorded(options.command);
    record.prior = options.impute.prior;
    record.by = options.read.by;
    record.reading = options.read;
    record.seconds = seconds;
    record.chain = options.impute.chain;
    for (const host::Derivation &derivation : run.derivations)
        record.derived.push_back({derivation.name, derivation.text});
    if (run.prior.kind == host::PriorChoice::Kind::file && std::filesystem::is_regular_file(options.impute.prior)) {
        record.prior_sha256 = host::InputFile(options.impute.prior).sha256();
    }
    for (const host::Notice &notice : run.input.notices) {
        if (notice.is_warning) record.input_warnings.push_back(notice.text);
    }
    return record;
}

void impute_to_directory(const Options &options, std::vector<std::string> inputs,
                         const std::function<Drawn(const Run &run, host::ResultDirectory &directory)> &draw) {
    const Run run(options);
    std::optional<host::ParameterDraws> earlier;
    if (options.impute.extends) {
        earlier = host::read_parameters(options.impute.output, host::read_run_record(options.impute.output));
    }
    // Made before the work, so that a place where nothing can be written is known at once.
    inputs.push_back(options.input);
    if (run.prior.kind == host::PriorChoice::Kind::file) inputs.push_back(options.impute.prior);
    host::ResultDirectory directory(options.impute.output, result_names(options.impute), inputs, options.impute.resume);
    Drawn drawn = draw(run, directory);
    if (options.impute.chain) return write_part(options, directory, run, std::move(drawn));
    write_tables(directory, options.impute.format, run, drawn.imputations);
    host::RunResults results = judge(options, run, drawn);
    if (earlier) check_beginning(options.impute.output, *earlier, results.draws);
    if (options.impute.overimpute) {
        host::ImputeSettings settings = run.settings;
        settings.thin = results.record.thin;
        results.overimputation = overimpute(options, run.input, run.prior, settings, directory.draw_place());
        host::write_overimputation(directory.file(host::kOverimputationName), *results.overimputation);
    }
    host::write_parameters(directory.file(host::kParametersName), run.model, drawn.imputations);
    host::write_bounded_cells(directory.file(host::kBoundsName), run.input.table, results.bounds);
    if (options.impute.report) directory.file(host::kReportName).write(host::make_report(results));
    // The file of the drawn values goes before the directory that it lies in.
    results.tables = {};
    drawn = {};
    finish(options, directory, results.record);
    say_end(options, results.record);
    if (results.overimputation) say_overimputation(options, *results.overimputation);
}

/** What a process does in a run that another leads: it draws its part. */
void help_to_draw(const Options &options) {
    const Run run(options);
    const Drawn drawn = draw(options, run);
    if (!options.impute.overimpute) return;
    host::ImputeSettings settings = run.settings;
    settings.thin = drawn.imputations.thin;
    (void)overimpute(options, run.input, run.prior, settings, {});
}

int run_impute(const Options &given) {
    check_output(given);
    Options options = given;
    if (options.impute.resume && !options.impute.seed && has_checkpoint(options)) {
        options.impute.seed = host::read_checkpoint_record(checkpoint_of(options)).seed;
    }
    if (options.crew != nullptr && options.input == "-") {
        throw Error(Fault::usage, "every rank reads the table itself: give a file, not standard input");
    }
    if (options.crew != nullptr && !options.crew->leads()) {
        help_to_draw(options);
    } else if (options.impute.output == "-") {
        impute_to_stdout(options);
    } else {
        impute_to_directory(options, {}, [&](const Run &run, host::ResultDirectory &directory) {
            return draw_to_directory(options, run, directory);
        });
    }
    return 0;
}

}  // namespace ullage::cli
