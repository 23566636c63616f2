// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// A text as a cell of a CSV file.

#include "ullage/host/base/csv_quoting.h"

namespace ullage::host {

std::string quote_cell(std::string_view text, std::string_view separators) {
    if (text.find_first_of("\"\r\n") == std::string_view::npos &&
        text.find_first_of(separators) == std::string_view::npos) {
        return std::string(text);
    }
    std::string result = "\"";
    for (const char c : text) {
        if (c == '"') result += c;
        result += c;
    }
    return result + '"';
}

}  // namespace ullage::host
