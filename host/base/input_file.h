// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The bytes of a file.

#ifndef ULLAGE_HOST_BASE_INPUT_FILE_H
#define ULLAGE_HOST_BASE_INPUT_FILE_H

#include <string>

namespace ullage::host {

/**
 * Read a whole file, or standard input if the path is "-".
 *
 * @throws Error  no_input if there is no such file or it cannot be read
 */
[[nodiscard]] std::string read_file(const std::string &path);

}  // namespace ullage::host

#endif
