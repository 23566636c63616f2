// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Finding the ends of rows.

#include "ullage/host/table/csv_parts.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace ullage::host {

/** A row with its line end; false if there is none left. */
bool CsvParts::take_line(std::string &row) {
    constexpr std::size_t kPiece = 1 << 16;
    row.clear();
    bool is_quoted = false;
    for (;;) {
        if (place_ == buffer_.size()) {
            buffer_.resize(kPiece);
            buffer_.resize(read_(buffer_.data(), kPiece));
            place_ = 0;
            if (buffer_.empty()) return !row.empty();
        }
        const std::size_t begin = place_;
        while (place_ < buffer_.size()) {
            const char c = buffer_[place_++];
            if (c == '"') is_quoted = !is_quoted;
            if (c != '\n' || is_quoted) continue;
            row.append(buffer_, begin, place_ - begin);
            return true;
        }
        row.append(buffer_, begin, place_ - begin);
    }
}

namespace {

/** An empty line is no row, but a line. */
bool is_blank(std::string_view line) {
    return line.find_first_not_of("\r\n") == std::string_view::npos;
}

}  // namespace

bool CsvParts::next(CsvPart &part) {
    const bool is_first = std::exchange(is_first_, false);
    for (std::string line; is_first && is_blank(header_) && take_line(line);) header_ += line;
    part = {header_, rows_before_, lines_before_};
    std::size_t rows = 0;
    for (std::string row; rows < rows_ && take_line(row);) {
        if (!is_blank(row)) ++rows;
        lines_before_ += std::count(row.begin(), row.end(), '\n');
        part.bytes += row;
    }
    rows_before_ += static_cast<std::int64_t>(rows);
    return is_first || rows > 0;
}

}  // namespace ullage::host
