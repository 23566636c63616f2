// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The command "ullage impute".

#include "ullage/host/draw/impute.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <random>
#include <set>
#include <thread>

#include "commands.h"
#include "input.h"
#include "progress_bar.h"
#include "talk.h"
#include "text_table.h"
#include "ullage/host/base/error.h"
#include "ullage/host/base/output_file.h"
#include "ullage/host/draw/overimpute.h"
#include "ullage/host/model/model_table.h"
#include "ullage/host/report/report.h"
#include "ullage/host/run/convergence_warnings.h"
#include "ullage/host/run/overimputation_file.h"
#include "ullage/host/run/parameter_file.h"
#include "ullage/host/run/run_record.h"
#include "ullage/host/run/write_stat_file.h"
#include "ullage/host/run/write_table.h"

namespace ullage::cli {
namespace {

namespace fs = std::filesystem;
using host::Error;
using host::Fault;
using host::OutputFile;

/** Whether impute gives a file this name in some runs and not in others. */
bool is_optional_result(std::string_view name) {
    constexpr std::string_view before = "imputation_";
    constexpr std::string_view behind = ".csv";
    if (name.starts_with(before) && name.ends_with(behind) && name.size() > before.size() + behind.size()) {
        name.remove_prefix(before.size());
        name.remove_suffix(behind.size());
        return name.find_first_not_of("0123456789") == std::string_view::npos;
    }
    return name == "imputations.csv" || name == "imputations.dta" || name == "imputations.sav" ||
           name == "overimputation.csv" || name == "report.html";
}

bool holds_run(const std::string &directory) {
    try {
        (void)host::read_run_record(directory);
        return true;
    } catch (const Error &) {
        return false;
    }
}

/** The directory of the results. If it was not there before, it goes again unless the run succeeds. */
class OutputDirectory {
public:
    explicit OutputDirectory(const std::string &path) : path_(path) {
        std::error_code error;
        created_ = fs::create_directories(path_, error);
        if (error || !fs::is_directory(path_)) {
            throw Error(Fault::cannot_create,
                        fmt::format("{}: cannot make this directory{}{}", path, error ? ": " : ", a file has its name",
                                    error ? error.message() : ""));
        }
        held_run_ = holds_run(path);
    }
    ~OutputDirectory() {
        std::error_code ignored;
        if (created_) fs::remove(path_, ignored);  // which it does only if it is empty
    }
    OutputDirectory(const OutputDirectory &) = delete;
    OutputDirectory &operator=(const OutputDirectory &) = delete;

    /** The path of a file that this run writes. */
    [[nodiscard]] std::string file(const std::string &name) {
        written_.insert(name);
        return (path_ / name).string();
    }

    /** Remove what an earlier run wrote and this one does not, so that nothing mixes the two; but never the input. */
    void remove_earlier_results(const Options &options) const {
        if (!held_run_) return;
        std::vector<std::string> names;
        std::error_code failure;
        fs::directory_iterator entries(path_, failure);
        for (; !failure && entries != fs::directory_iterator(); entries.increment(failure)) {
            const fs::directory_entry &entry = *entries;
            std::error_code ignored;
            const std::string name = entry.path().filename().string();
            if (!is_optional_result(name) || written_.contains(name)) continue;
            if (entry.symlink_status(ignored).type() != fs::file_type::regular) continue;
            if (!fs::equivalent(entry.path(), options.input, ignored)) names.push_back(name);
        }
        std::sort(names.begin(), names.end());
        for (const std::string &name : names) {
            if (!failure) fs::remove(path_ / name, failure);
        }
        if (failure) {
            throw Error(Fault::cannot_create, fmt::format("{}: cannot remove the files of an earlier run: {}",
                                                          path_.string(), failure.message()));
        }
        if (!names.empty()) {
            say(options, fmt::format("removed from {}, as an earlier run wrote them: {}", path_.string(),
                                     fmt::join(names, ", ")));
        }
    }

private:
    fs::path path_;
    bool created_ = false;
    bool held_run_ = false;
    std::set<std::string> written_;
};

host::ImputeSettings settings_of(const ImputeOptions &options) {
    host::ImputeSettings settings;
    // A chosen seed is one that people can copy.
    settings.seed = options.seed ? *options.seed : std::random_device()() & 0x7fffffffU;
    settings.imputations = options.imputations;
    settings.burn_in = options.burn_in;
    settings.thin = options.thin;
    settings.chains = options.chains;
    const int processors = std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
    settings.jobs = options.jobs > 0 ? options.jobs : processors;
    return settings;
}

void write_long(OutputFile &file, const Input &input, const host::Imputations &result) {
    host::write_header(file, input.table, true);
    host::write_rows(file, input.table, input.hidden, {}, 0, true);
    for (std::size_t i = 0; i < result.values.size(); ++i) {
        host::write_rows(file, input.table, input.hidden, result.values[i], static_cast<int>(i) + 1, true);
    }
    file.commit();
}

void write_files(OutputDirectory &directory, const Input &input, const host::Imputations &result) {
    const std::size_t digits = std::to_string(result.values.size()).size();
    for (std::size_t i = 0; i < result.values.size(); ++i) {
        OutputFile file(directory.file(fmt::format("imputation_{:0{}}.csv", i + 1, digits)));
        host::write_header(file, input.table, false);
        host::write_rows(file, input.table, input.hidden, result.values[i], static_cast<int>(i) + 1, false);
        file.commit();
    }
}

void say_convergence(const Options &options, const std::vector<host::ParameterConvergence> &parameters,
                     const std::vector<std::string> &warnings) {
    double rhat = 0.0;
    double size = host::kOpen;
    for (const host::ParameterConvergence &parameter : parameters) {
        if (std::isnan(parameter.convergence.ess_bulk)) continue;
        rhat = std::max(rhat, parameter.convergence.rhat);
        size = std::min(size, parameter.convergence.ess_bulk);
    }
    if (rhat > 0.0) {
        say(options, fmt::format("convergence: worst R-hat {:.3f}, least effective size {:.0f}", rhat, size));
    }
    host::Notices notices;
    for (const std::string &warning : warnings) notices.push_back({true, warning});
    say(options, notices);
}

void write_stat(OutputFile &file, Format format, const Input &input, const host::Imputations &result) {
    host::write_stat_file(file, format == Format::dta ? host::StatFormat::dta : host::StatFormat::sav, input.table,
                          input.hidden, result.values);
    file.commit();
}

std::vector<host::OverimputedColumn> run_overimpute(const Options &options, const Input &input,
                                                    const host::PriorChoice &prior,
                                                    const host::ImputeSettings &settings) {
    ProgressBar bar(options);
    return host::overimpute(input.table, prior, settings,
                            [&](const host::ImputeProgress &progress) { bar.show(progress); });
}

void say_overimputation(const Options &options, const std::vector<host::OverimputedColumn> &columns) {
    if (columns.empty()) {
        say(options, "note: no column has 10 observed cells, so none was hidden for over-imputation");
        return;
    }
    TextTable table = {{"over-imputation", "cells", "in 50% interval", "in 90% interval"}};
    for (const host::OverimputedColumn &column : columns) {
        const auto percent = [&](std::size_t count) {
            return fmt::format("{:.0f}%", 100.0 * static_cast<double>(count) / static_cast<double>(column.cells));
        };
        table.push_back({column.name, std::to_string(column.cells), percent(column.in_50), percent(column.in_90)});
    }
    std::string text = in_columns(table, 1);
    text.pop_back();
    say(options, text);
}

}  // namespace

int run_impute(const Options &options) {
    const bool to_stdout = options.impute.output == "-";
    if (to_stdout && options.impute.format != Format::long_table) {
        throw Error(Fault::usage, "only the long format can be written to standard output: leave out --format");
    }
    if (to_stdout && options.impute.overimpute) {
        throw Error(Fault::usage, "--overimpute needs a directory for its result: leave out -o -");
    }
    if (to_stdout && options.json) {
        throw Error(Fault::usage, "standard output takes either the tables (-o -) or the run record (--json)");
    }
    const host::ImputeSettings settings = settings_of(options.impute);
    const host::PriorChoice prior = host::parse_prior(options.impute.prior);
    const Input input = load_input(options);
    const host::ModelTable model = host::prepare_model(input.table, input.hidden, prior);
    // Made before the work, so that a place where nothing can be written is known at once.
    std::optional<OutputDirectory> directory;
    std::optional<OutputFile> tables;
    std::optional<OutputFile> parameters;
    std::optional<OutputFile> bounds;
    std::optional<OutputFile> record;
    std::optional<OutputFile> report;
    if (!to_stdout) {
        directory.emplace(options.impute.output);
        parameters.emplace(directory->file("parameters.csv"));
        bounds.emplace(directory->file("bounds.csv"));
        record.emplace(directory->file("run.json"));
        if (options.impute.report) report.emplace(directory->file("report.html"));
    }
    if (options.impute.format != Format::files) {
        tables.emplace(to_stdout ? "-" : directory->file("imputations.csv"));
    }
    std::optional<OutputFile> stat_tables;
    if (options.impute.format == Format::dta) stat_tables.emplace(directory->file("imputations.dta"));
    if (options.impute.format == Format::sav) stat_tables.emplace(directory->file("imputations.sav"));
    std::optional<OutputFile> overimputation;
    if (options.impute.overimpute) overimputation.emplace(directory->file("overimputation.csv"));

    say(options, fmt::format("seed {}", settings.seed));
    std::vector<std::string> modelled;
    for (const host::Column &column : input.table.columns) modelled.push_back(column.name);
    say(options, fmt::format("modelled: {}", fmt::join(modelled, ", ")));
    if (input.hidden.cells.empty())
        say(options, "note: no cell is missing or bounded; all completed tables are the same");
    host::RunFacts facts{options.command, settings, options.impute.prior, options.read.by, 0.0};
    for (const host::Notice &notice : input.notices) {
        if (notice.is_warning) facts.input_warnings.push_back(notice.text);
    }
    host::Imputations result;
    {
        ProgressBar bar(options);
        result = host::impute(model, settings, [&](const host::ImputeProgress &progress) { bar.show(progress); });
        facts.seconds = bar.seconds();
    }
    std::optional<std::vector<host::OverimputedColumn>> overimputed;
    if (overimputation) {
        overimputed = run_overimpute(options, input, prior, settings);
        host::write_overimputation(*overimputation, *overimputed);
        overimputation->commit();
    }
    const auto convergence = host::judge_parameters(model, result);
    const auto warnings = host::convergence_warnings(convergence, settings.chains);

    if (tables) {
        write_long(*tables, input, result);
    } else {
        write_files(*directory, input, result);
    }
    if (stat_tables) write_stat(*stat_tables, options.impute.format, input, result);
    if (!to_stdout) {
        const std::string text = host::run_record(model, facts, convergence, warnings);
        host::write_parameters(*parameters, model, result);
        parameters->commit();
        host::write_bounded_cells(*bounds, input.table, host::find_bounded_cells(input.table, input.hidden));
        bounds->commit();
        record->write(text);
        record->commit();
        if (report) {
            const auto written = host::read_run_record(options.impute.output);
            host::RunResults results = host::gather_results(written, model, result);
            results.overimputation = overimputed;
            report->write(host::make_report(results));
            report->commit();
        }
        directory->remove_earlier_results(options);
        if (options.json) {
            OutputFile out("-");
            out.write(text);
            out.commit();
        }
    }
    say(options, fmt::format("{} completed tables from {} chains of {} iterations in {:.1f} s{}", settings.imputations,
                             settings.chains, settings.total(), facts.seconds,
                             to_stdout ? "" : fmt::format("; results in {}", options.impute.output)));
    say_convergence(options, convergence, warnings);
    if (overimputed) say_overimputation(options, *overimputed);
    return 0;
}

}  // namespace ullage::cli
