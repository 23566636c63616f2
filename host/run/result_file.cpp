// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The bytes and cells of a file of results.

#include "ullage/host/run/result_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

#include "ullage/host/base/input_file.h"
#include "ullage/host/base/number_text.h"
#include "ullage/host/base/words.h"

namespace ullage::host {

std::string path_in(const std::string &directory, const std::string &name) {
    return (std::filesystem::path(directory) / name).string();
}

std::string read_result(const std::string &directory, const std::string &name) {
    std::error_code ignored;
    if (!std::filesystem::is_directory(directory, ignored)) {
        throw Error(Fault::no_input,
                    fmt::format("{}: there is no such directory; give the one that ullage impute -o wrote", directory));
    }
    return read_file(path_in(directory, name));
}

Error broken_row(const FileText &file, std::size_t row, const std::string &message) {
    return {Fault::data, fmt::format("{}: line {}: {}", file.source, file.line[row], message)};
}

std::string_view cell_of(const FileText &file, std::size_t row, std::size_t column, std::string &buffer) {
    const std::string_view raw = file.raw(row, column);
    if (!raw.starts_with('"')) return trim(raw);
    buffer = file.text(row, column);
    return trim(buffer);
}

double number_of(const FileText &file, std::size_t row, std::size_t column) {
    std::string buffer;
    const std::string_view text = cell_of(file, row, column, buffer);
    const auto number = parse_number(text);
    if (!number) {
        throw broken_row(file, row, fmt::format("column {}: {} is no number", quote(file.names[column]), quote(text)));
    }
    return *number;
}

std::size_t place_of(const FileText &file, const std::string &name, const char *why) {
    const auto found = std::find(file.names.begin(), file.names.end(), name);
    if (found == file.names.end()) {
        throw Error(Fault::data, fmt::format("{}: there is no column {}, {}", file.source, quote(name), why));
    }
    return static_cast<std::size_t>(found - file.names.begin());
}

}  // namespace ullage::host
