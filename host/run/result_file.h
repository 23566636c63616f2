// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Reading a file of a run's directory: its bytes, and its cells with messages that say where.

#ifndef ULLAGE_HOST_RUN_RESULT_FILE_H
#define ULLAGE_HOST_RUN_RESULT_FILE_H

#include <cstddef>
#include <string>
#include <string_view>

#include "ullage/host/base/error.h"
#include "ullage/host/table/table.h"

namespace ullage::host {

/** DIR/name. */
[[nodiscard]] std::string path_in(const std::string &directory, const std::string &name);

/**
 * The bytes of DIR/name.
 *
 * @throws Error  no_input if there is no such directory or file
 */
[[nodiscard]] std::string read_result(const std::string &directory, const std::string &name);

/** A row of the file that something is wrong with. */
[[nodiscard]] Error broken_row(const FileText &file, std::size_t row, const std::string &message);

/** The text of a cell without blanks; buffer holds it if it had quotes. */
[[nodiscard]] std::string_view cell_of(const FileText &file, std::size_t row, std::size_t column, std::string &buffer);

/** The number in a cell.
 * @throws Error  data if it is none */
[[nodiscard]] double number_of(const FileText &file, std::size_t row, std::size_t column);

/** The place of the column of that name.
 * @throws Error  data if there is none; why is the end of the sentence */
[[nodiscard]] std::size_t place_of(const FileText &file, const std::string &name, const char *why);

}  // namespace ullage::host

#endif
