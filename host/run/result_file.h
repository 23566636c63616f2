// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Reading a file of a run's directory, once it is known to be of that run.

#ifndef ULLAGE_HOST_RUN_RESULT_FILE_H
#define ULLAGE_HOST_RUN_RESULT_FILE_H

#include <memory>
#include <string>
#include <string_view>

#include "ullage/host/base/input_file.h"
#include "ullage/host/run/run_record.h"
#include "ullage/host/table/csv_rows.h"

namespace ullage::host {

/** DIR/name. */
[[nodiscard]] std::string path_in(const std::string &directory, std::string_view name);

/**
 * Open DIR/name, a file of the run that the record describes, whose size and checksum it has.
 *
 * @throws Error  no_input if there is no such file, data if it is not of that run
 */
[[nodiscard]] std::unique_ptr<InputFile> open_result(const std::string &directory, const RunRecord &record,
                                                     std::string_view name);

/** The rows of such a file of CSV, one after the other. */
class ResultRows {
public:
    /** @throws Error  as open_result, and those of CsvRows */
    ResultRows(const std::string &directory, const RunRecord &record, std::string_view name, char separator);

    [[nodiscard]] CsvRows &operator*() const { return *rows_; }
    [[nodiscard]] CsvRows *operator->() const { return rows_.get(); }
    /** Refuse a file that is too small for so many rows, before a number of run.json decides how much memory is taken.
     * @throws Error  data */
    void need_rows(double count) const;

private:
    std::unique_ptr<InputFile> file_;
    std::unique_ptr<CsvRows> rows_;
};

}  // namespace ullage::host

#endif
