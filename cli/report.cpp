// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The command "ullage report".

#include "ullage/host/report/report.h"

#include <filesystem>

#include "options.h"
#include "talk.h"
#include "ullage/host/base/output_file.h"
#include "ullage/host/run/write_table.h"

namespace ullage::cli {

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
