// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// From the options to a table that is ready for the model.

#include "input.h"

#include "talk.h"

namespace ullage::cli {

Input load_input(const Options &options) {
    Input input;
    std::string bytes = host::read_file(options.input);
    const std::string source = options.input == "-" ? "standard input" : options.input;
    input.table = host::read_table(source, std::move(bytes), options.read, input.notices);
    host::apply_rules(input.table, options.rules, input.notices);
    say(options, input.notices);
    input.hidden = host::close_bounds(input.table);
    return input;
}

}  // namespace ullage::cli
