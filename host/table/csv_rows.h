// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The rows of a CSV file one after the other, without holding the file.

#ifndef ULLAGE_HOST_TABLE_CSV_ROWS_H
#define ULLAGE_HOST_TABLE_CSV_ROWS_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ullage/host/base/error.h"

struct csv_parser;

namespace ullage::host {

/** Reads a CSV file of results from its first row to its last. find_cells() reads the tables of users. */
class CsvRows {
public:
    /** Puts the next bytes of the file into a buffer; how many there were, 0 at the end. */
    using Read = std::function<std::size_t(char *buffer, std::size_t size)>;

    /**
     * Read the header.
     *
     * @param source     name of the file, for messages
     * @param separator  between cells
     * @throws Error  data if there is none
     */
    CsvRows(std::string source, Read read, char separator);
    ~CsvRows();
    CsvRows(const CsvRows &) = delete;
    CsvRows &operator=(const CsvRows &) = delete;

    [[nodiscard]] const std::string &source() const { return source_; }
    /** The cells of the header, without blanks at their ends. */
    [[nodiscard]] const std::vector<std::string> &names() const { return names_; }
    /** The place of the column of that name.
     * @throws Error  data if there is none; why is the end of the sentence */
    [[nodiscard]] std::size_t place_of(std::string_view name, std::string_view why) const;

    /** Go to the next row; false behind the last one.
     * @throws Error  data if quotes do not match or the row has not as many cells as the header */
    [[nodiscard]] bool next();
    /** A cell of the present row, without its quotes; valid up to next(). */
    [[nodiscard]] std::string_view cell(std::size_t column) const {
        const std::size_t end = rows_[row_].first_cell + column;
        const std::size_t begin = end == 0 ? 0 : ends_[end - 1];
        return std::string_view(text_).substr(begin, ends_[end] - begin);
    }
    /** The number in a cell.
     * @throws Error  data if it is none */
    [[nodiscard]] double number(std::size_t column) const;
    /** What is wrong with the present row, with its line. */
    [[nodiscard]] Error broken(std::string_view message) const;

private:
    struct Row {
        std::size_t first_cell;  // in ends_
        std::int64_t line;
    };

    void fill();
    void keep_unfinished_row();
    void parse(std::size_t size);

    std::string source_;
    Read read_;
    std::unique_ptr<csv_parser, void (*)(csv_parser *)> parser_;
    std::vector<std::string> names_;
    std::vector<char> bytes_;        // a part of the file
    std::string text_;               // the cells of that part, one behind the other
    std::vector<std::size_t> ends_;  // of each cell, in text_
    std::vector<Row> rows_;          // of that part; the last one is not finished
    std::size_t row_ = 0;            // the present one
    bool at_end_ = false;
    bool out_of_memory_ = false;
};

}  // namespace ullage::host

#endif
