// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Writing columns of arrays, as Python and R have them, as the CSV table that the program reads.

#ifndef ULLAGE_HOST_TABLE_WRITE_COLUMNS_H
#define ULLAGE_HOST_TABLE_WRITE_COLUMNS_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <variant>
#include <vector>

namespace ullage::host {

/** Numbers; where one is NaN, the cell says what the limits say: NaN there is an open end. */
struct Numbers {
    std::span<const double> values;
    std::span<const double> lower;  ///< as many as values, or none
    std::span<const double> upper;  ///< as many as values, or none
};

/** Cells by the places of their texts; below 0 a cell is missing. */
struct Words {
    std::span<const std::int64_t> places;
    std::vector<std::string> words;
};

using WholeNumbers = std::span<const std::int64_t>;
using Cells = std::variant<Numbers, WholeNumbers, Words>;

/**
 * Write a CSV table with commas. Numbers have the fewest digits that read back as the same number, so nothing is lost.
 *
 * @param path     of a file that is written anew
 * @param names    of the columns
 * @param rows     of each of the columns
 * @param decimal  mark of the numbers, a point or a comma: the one that the words of the table have
 * @throws Error  cannot_create if the file cannot be written
 */
void write_columns(const std::string &path, const std::vector<std::string> &names, const std::vector<Cells> &columns,
                   std::size_t rows, char decimal = '.');

}  // namespace ullage::host

#endif
