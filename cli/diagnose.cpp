// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The command "ullage diagnose": whether the results of a run can be trusted.

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <nlohmann/json.hpp>

#include "commands.h"
#include "option_words.h"
#include "talk.h"
#include "text_table.h"
#include "ullage/host/answer/diagnostics.h"
#include "ullage/host/base/output_file.h"
#include "ullage/host/base/words.h"
#include "ullage/host/model/parameter_names.h"
#include "ullage/host/run/write_table.h"

namespace ullage::cli {
namespace {

constexpr std::size_t kMostParameters = 40;  // in the text; JSON has them all
constexpr std::size_t kMostColumns = 8;      // whose cells are told
constexpr std::array<const char *, 4> kKinds = {"mean", "variance", "correlation", "mixture"};

std::string fixed(double number, int digits) {
    return std::isnan(number) ? "-" : fmt::format("{:.{}f}", number, digits);
}

std::string in_words(const host::RunRecord &record, const host::Diagnosis &diagnosis) {
    const std::size_t draws = diagnosis.parameters.front().chains.front().size();
    std::string text =
        fmt::format("{} imputations from {} chains of {} draws\n\n", record.imputations, record.chains, draws);
    TextTable table = {{"parameter", "R-hat", "ESS bulk", "ESS tail", "mean", "std.dev", "MCSE", "acf 1",
                        fmt::format("acf {}", record.thin), "FMI", ""}};
    if (record.by) table[0].insert(table[0].begin(), "level");
    for (const host::ParameterDiagnosis &parameter : diagnosis.parameters) {
        if (table.size() > kMostParameters) break;
        table.push_back({parameter.name, fixed(parameter.convergence.rhat, 3), fixed(parameter.convergence.ess_bulk, 0),
                         fixed(parameter.convergence.ess_tail, 0), short_number(parameter.mean),
                         short_number(parameter.deviation), short_number(parameter.error),
                         fixed(parameter.autocorrelation, 2), fixed(parameter.autocorrelation_thin, 2),
                         fixed(parameter.fmi, 3), parameter.bad ? "bad" : ""});
        if (record.by) table.back().insert(table.back().begin(), parameter.level);
    }
    text += in_columns(table, record.by ? 2 : 1);
    if (diagnosis.parameters.size() + 1 > table.size()) {
        text +=
            fmt::format("and {} better ones (--json has them all)\n", diagnosis.parameters.size() + 1 - table.size());
    }
    text += '\n';
    for (const host::WorstCombination &worst : diagnosis.worst) {
        text += fmt::format("worst linear combination of the means{}: FMI {}",
                            worst.level.empty() ? "" : fmt::format(" in level {}", worst.level), fixed(worst.fmi, 3));
        for (std::size_t i = 0; i < worst.weights.size(); ++i) {
            text +=
                fmt::format("{}{:.2f} {}", i == 0 ? " (" : ", ", worst.weights[i].weight, worst.weights[i].variable);
        }
        text += worst.weights.empty() ? "\n" : ")\n";
    }
    for (std::size_t i = 0; i < std::min(kMostColumns, diagnosis.cells.size()); ++i) {
        const host::CellAutocorrelation &cells = diagnosis.cells[i];
        text += fmt::format("{}{} {} ({})", i == 0 ? "autocorrelation of hidden cells at --thin: " : ", ", cells.column,
                            fixed(cells.autocorrelation, 2), host::count_of(cells.cells, "cell"));
    }
    if (!diagnosis.cells.empty()) text += diagnosis.cells.size() > kMostColumns ? ", ...\n" : "\n";
    if (diagnosis.needed > 0) {
        text += fmt::format(
            "imputations: {}; {} for the largest FMI of a mean, {:.3f}; {} for the upper end of its 95% "
            "interval, {:.3f}\n",
            diagnosis.imputations, diagnosis.needed, diagnosis.largest_fmi, diagnosis.recommended, diagnosis.upper_fmi);
    }
    return text;
}

nlohmann::ordered_json as_json(const host::Diagnosis &diagnosis) {
    nlohmann::ordered_json json;
    json["bad"] = diagnosis.bad;
    json["parameters"] = nlohmann::ordered_json::array();
    for (const host::ParameterDiagnosis &parameter : diagnosis.parameters) {
        json["parameters"].push_back({{"level", parameter.level},
                                      {"name", parameter.name},
                                      {"kind", kKinds[static_cast<std::size_t>(parameter.kind)]},
                                      {"rhat", number_or_null(parameter.convergence.rhat)},
                                      {"ess_bulk", number_or_null(parameter.convergence.ess_bulk)},
                                      {"ess_tail", number_or_null(parameter.convergence.ess_tail)},
                                      {"mean", number_or_null(parameter.mean)},
                                      {"standard_deviation", number_or_null(parameter.deviation)},
                                      {"mcse", number_or_null(parameter.error)},
                                      {"autocorrelation", number_or_null(parameter.autocorrelation)},
                                      {"autocorrelation_thin", number_or_null(parameter.autocorrelation_thin)},
                                      {"fmi", number_or_null(parameter.fmi)},
                                      {"bad", parameter.bad}});
    }
    json["worst_combinations"] = nlohmann::ordered_json::array();
    for (const host::WorstCombination &worst : diagnosis.worst) {
        nlohmann::ordered_json weights = nlohmann::ordered_json::object();
        for (const host::MeanWeight &weight : worst.weights) weights[weight.variable] = weight.weight;
        json["worst_combinations"].push_back(
            {{"level", worst.level}, {"fmi", number_or_null(worst.fmi)}, {"weights", std::move(weights)}});
    }
    json["cells"] = nlohmann::ordered_json::array();
    for (const host::CellAutocorrelation &cells : diagnosis.cells) {
        json["cells"].push_back({{"column", cells.column},
                                 {"beside", cells.beside},
                                 {"cells", cells.cells},
                                 {"autocorrelation_thin", number_or_null(cells.autocorrelation)},
                                 {"error", number_or_null(cells.error)},
                                 {"bad", host::keep_too_much(cells)}});
    }
    const auto count_or_null = [](int count) {
        return count > 0 ? nlohmann::ordered_json(count) : nlohmann::ordered_json(nullptr);
    };
    json["imputations"] = {{"there", diagnosis.imputations},
                           {"largest_fmi", number_or_null(diagnosis.largest_fmi)},
                           {"needed", count_or_null(diagnosis.needed)},
                           {"upper_fmi", number_or_null(diagnosis.upper_fmi)},
                           {"recommended", count_or_null(diagnosis.recommended)}};
    json["warnings"] = diagnosis.warnings;
    return json;
}

}  // namespace

void add_diagnose_options(CLI::App &command, Options &options) {
    add_directory(command, options, true);
    command.add_flag("--strict", options.strict, "exit with code 1 if the diagnostics are bad")->group("Results");
    command.add_flag("--json", options.json, "print everything as JSON")->group("Results");
    add_quiet(command, options);
    command.footer(R"(The exit code is 0, also if the diagnostics are bad; with --strict it is then 1.

Example:
  ullage diagnose results --strict
    shows R-hat, effective sample sizes and missing information of every
    parameter, the worst first, and how many imputations are needed.)");
}

int run_diagnose(const Options &options) {
    const host::RunRecord record = host::read_run_record(options.input);
    const host::ParameterDraws draws = host::read_parameters(options.input, record);
    const host::CompletedTables tables = host::read_completed_tables(options.input, record);
    const host::Diagnosis diagnosis = host::diagnose(record, draws, &tables);
    host::OutputFile out("-");
    out.write(options.json ? as_json(diagnosis).dump(2) + "\n" : in_words(record, diagnosis));
    out.commit();
    host::Notices notices;
    for (const std::string &warning : diagnosis.warnings) notices.push_back({true, warning});
    say(options, notices);
    return options.strict && diagnosis.bad ? 1 : 0;
}

}  // namespace ullage::cli
