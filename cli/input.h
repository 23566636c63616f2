// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// From the options to a table that is ready for the model.

#ifndef ULLAGE_CLI_INPUT_H
#define ULLAGE_CLI_INPUT_H

#include <cstddef>
#include <string>

#include "options.h"
#include "ullage/host/table/table.h"

namespace ullage::cli {

struct Input {
    host::Table table;
    host::HiddenCells hidden;
    host::Notices notices;  ///< already said
};

/** One line for each column of the output: its name, its kind and why; of many the first ones. */
[[nodiscard]] std::string kinds_in_words(const host::Table &table, std::size_t most);

/** Read the input file, apply the rules, close the bounds, and say what was noticed. */
[[nodiscard]] Input load_input(const Options &options);

}  // namespace ullage::cli

#endif
