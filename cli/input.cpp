// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// From the options to a table that is ready for the model.

#include "input.h"

#include "talk.h"
#include "ullage/host/base/error.h"
#include "ullage/host/table/closure.h"
#include "ullage/host/table/read_stat_file.h"
#include "ullage/host/table/read_table.h"

namespace ullage::cli {

Input load_input(const Options &options) {
    Input input;
    input.table = host::read_table(host::read_input(options.input), options.read, input.notices);
    host::apply_rules(input.table, options.rules, input.notices);
    say(options, input.notices);
    for (const std::string &name : input.table.file.names) {
        if (options.impute.format == Format::files || (name != ".imp" && name != ".id")) continue;
        throw host::Error(host::Fault::data, input.table.file.source + ": the long format adds a column " + name +
                                                 ", and there is one already; rename it, or use --format files");
    }
    input.hidden = host::close_bounds(input.table);
    return input;
}

}  // namespace ullage::cli
