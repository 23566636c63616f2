// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// A long CSV file in parts that are files themselves.

#ifndef ULLAGE_HOST_TABLE_CSV_PARTS_H
#define ULLAGE_HOST_TABLE_CSV_PARTS_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>

namespace ullage::host {

/** Some rows of a CSV file behind its header. */
struct CsvPart {
    std::string bytes;              ///< the header and the rows
    std::int64_t rows_before = 0;   ///< of the file
    std::int64_t lines_before = 0;  ///< between the header and the first of the rows
};

/** Takes a CSV file apart, and holds no more of it than a part. A line end within quotes does not end a row. */
class CsvParts {
public:
    /** Puts the next bytes of the file into a buffer; how many there were, 0 at the end. */
    using Read = std::function<std::size_t(char *buffer, std::size_t size)>;

    /** @param rows  of a part, but for the last, at least 1 */
    CsvParts(Read read, std::size_t rows) : read_(std::move(read)), rows_(rows) {}

    /** The next part; false behind the last. The first is there even if the file has no rows. */
    [[nodiscard]] bool next(CsvPart &part);

private:
    [[nodiscard]] bool take_line(std::string &row);

    Read read_;
    std::size_t rows_;
    bool is_first_ = true;
    std::string header_;
    std::string buffer_;
    std::size_t place_ = 0;  // in buffer_
    std::int64_t rows_before_ = 0;
    std::int64_t lines_before_ = 0;
};

}  // namespace ullage::host

#endif
