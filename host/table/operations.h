// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The operators and functions of expressions.

#ifndef ULLAGE_HOST_TABLE_OPERATIONS_H
#define ULLAGE_HOST_TABLE_OPERATIONS_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace ullage::host {

/** An operator or a function of numbers. */
struct Operation {
    std::string_view name;
    std::size_t operands;
    double (*apply)(const double *operands);
};

/** The operation of that name with so many operands; null if there is none. */
[[nodiscard]] const Operation *find_operation(std::string_view name, std::size_t operands);

/** The names of all functions, for messages. */
[[nodiscard]] std::vector<std::string> function_names();

}  // namespace ullage::host

#endif
