// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Writing: files that appear whole or not at all, and tables completed by an imputation.

#ifndef ULLAGE_HOST_WRITE_TABLE_H
#define ULLAGE_HOST_WRITE_TABLE_H

#include <span>
#include <string>
#include <string_view>

#include "ullage/host/table.h"

namespace ullage::host {

/**
 * A file under construction. It lies under another name in the directory of its path until commit() has brought it to
 * the disk and renamed it; without a commit it is removed. The path "-" is standard output, written as it comes.
 * A forked process must not destroy the files that it inherits: it leaves by _exit.
 */
class OutputFile {
public:
    /** @throws Error  cannot_create */
    explicit OutputFile(std::string path);
    ~OutputFile();
    OutputFile(const OutputFile &) = delete;
    OutputFile &operator=(const OutputFile &) = delete;

    /** Add text at the end.
     * @throws Error  cannot_create if the disk is full or the like, closed_pipe if nobody reads standard output, or
     *                interrupted if a signal asked to stop */
    void write(std::string_view text);

    /** Bring the file to the disk and give it its name.
     * @throws Error  as write */
    void commit();

private:
    void flush();
    std::string path_;
    std::string temporary_;
    std::string buffer_;
    int descriptor_ = -1;
};

/** A number in the fewest decimal digits that read back as the same double. */
[[nodiscard]] std::string format_number(double value);

/** The header line of the output; in the long format ".imp" and ".id" are its last columns. */
void write_header(OutputFile &file, const Table &table, bool is_long);

/**
 * Write the rows of one imputation. Observed cells and columns carried along come byte for byte from the file.
 *
 * @param values      one per hidden cell, in the units of the file (restore); empty for the original table, whose
 *                    hidden cells are written as NA
 * @param imputation  for the column ".imp": 0 for the original table
 */
void write_rows(OutputFile &file, const Table &table, const HiddenCells &hidden, std::span<const double> values,
                int imputation, bool is_long);

}  // namespace ullage::host

#endif
