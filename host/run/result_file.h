// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Reading a file of a run's directory: its bytes, or its rows.

#ifndef ULLAGE_HOST_RUN_RESULT_FILE_H
#define ULLAGE_HOST_RUN_RESULT_FILE_H

#include <cstdint>
#include <memory>
#include <string>

#include "ullage/host/table/csv_rows.h"

namespace ullage::host {

/** DIR/name. */
[[nodiscard]] std::string path_in(const std::string &directory, const std::string &name);

/**
 * The bytes of DIR/name.
 *
 * @throws Error  no_input if there is no such directory or file
 */
[[nodiscard]] std::string read_result(const std::string &directory, const std::string &name);

/** The rows of a CSV file DIR/name, one after the other. */
class ResultRows {
public:
    /** @throws Error  as read_result, and those of CsvRows */
    ResultRows(const std::string &directory, const std::string &name, char separator);

    [[nodiscard]] CsvRows &operator*() const { return *rows_; }
    [[nodiscard]] CsvRows *operator->() const { return rows_.get(); }
    /** Refuse a file that is too small for so many rows, before a number of run.json decides how much memory is taken.
     * @throws Error  data */
    void need_rows(double count) const;

private:
    std::int64_t bytes_ = 0;
    std::unique_ptr<CsvRows> rows_;
};

}  // namespace ullage::host

#endif
