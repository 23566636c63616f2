// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The command "ullage report".

#include "ullage/host/report/report.h"

#include <fmt/format.h>

#include <filesystem>
#include <system_error>

#include "commands.h"
#include "option_words.h"
#include "talk.h"
#include "ullage/host/base/output_file.h"
#include "ullage/host/run/result_directory.h"
#include "ullage/host/run/result_file.h"
#include "ullage/host/run/result_names.h"
#include "ullage/host/run/run_results.h"

namespace ullage::cli {

void add_report_options(CLI::App &command, Options &options) {
    add_directory(command, options, true);
    command.add_option("-o,--output", options.report_output, "file to write instead of DIR/report.html, or -")
        ->type_name("FILE")
        ->group("Results");
    add_quiet(command, options);
    command.footer(R"(Example:
  ullage report results
    writes results/report.html again, as ullage impute does.)");
}

namespace {

/** Whether the report is to be written where "impute" writes it. */
bool is_that_of_the_run(const Options &options) {
    std::error_code ignored;
    return std::filesystem::weakly_canonical(options.report_output, ignored) ==
           std::filesystem::weakly_canonical(host::path_in(options.input, host::kReportName), ignored);
}

}  // namespace

int run_report(const Options &options) {
    const host::RunResults results = host::read_results(options.input);
    const std::string text = host::make_report(results);
    if (options.report_output.empty() || is_that_of_the_run(options)) {
        host::replace_report(options.input, results.record, text);
        say(options, fmt::format("report in {}", host::path_in(options.input, host::kReportName)));
        return 0;
    }
    host::refuse_result(options.input, results.record, options.report_output);
    host::OutputFile file(options.report_output);
    file.write(text);
    file.commit();
    if (options.report_output != "-") say(options, "report in " + options.report_output);
    return 0;
}

}  // namespace ullage::cli
