// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The file of a run that keeps how over-imputation came out: overimputation.csv.

#ifndef ULLAGE_HOST_RUN_OVERIMPUTATION_FILE_H
#define ULLAGE_HOST_RUN_OVERIMPUTATION_FILE_H

#include <optional>
#include <string>
#include <vector>

#include "ullage/host/base/output_file.h"
#include "ullage/host/draw/overimpute.h"
#include "ullage/host/run/run_record.h"

namespace ullage::host {

/** Write overimputation.csv: column, cells, in_50 and in_90, one line per column. */
void write_overimputation(OutputFile &file, const std::vector<OverimputedColumn> &columns);

/**
 * Read DIR/overimputation.csv, which a run without over-imputation does not leave: then nothing is given.
 *
 * @throws Error  data if the file is broken or not of the run that the record describes
 */
[[nodiscard]] std::optional<std::vector<OverimputedColumn>> read_overimputation(const std::string &directory,
                                                                                const RunRecord &record);

}  // namespace ullage::host

#endif
