// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// What is wrong with a table, for other programs.

#ifndef ULLAGE_CLI_PROBLEMS_JSON_H
#define ULLAGE_CLI_PROBLEMS_JSON_H

#include <nlohmann/json.hpp>

#include "ullage/host/base/error.h"

namespace ullage::cli {

/** The members "problems" and "problem_count" of what a command prints; empty and 0 without an error. */
[[nodiscard]] nlohmann::ordered_json problems_as_json(const host::DataError *error);

}  // namespace ullage::cli

#endif
