// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The command "ullage report".

#include "ullage/host/report/report.h"

#include <filesystem>

#include "commands.h"
#include "option_words.h"
#include "talk.h"
#include "ullage/host/base/output_file.h"
#include "ullage/host/run/write_table.h"

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

int run_report(const Options &options) {
    const std::string text = host::make_report(host::read_results(options.input));
    const std::string path = options.report_output.empty()
                                 ? (std::filesystem::path(options.input) / "report.html").string()
                                 : options.report_output;
    host::OutputFile file(path);
    file.write(text);
    file.commit();
    if (path != "-") say(options, "report in " + path);
    return 0;
}

}  // namespace ullage::cli
