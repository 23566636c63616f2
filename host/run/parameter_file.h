// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The file of a run that keeps the draws of its parameters: parameters.csv.

#ifndef ULLAGE_HOST_RUN_PARAMETER_FILE_H
#define ULLAGE_HOST_RUN_PARAMETER_FILE_H

#include <string>
#include <vector>

#include "ullage/host/base/output_file.h"
#include "ullage/host/draw/impute.h"
#include "ullage/host/model/model_table.h"
#include "ullage/host/numbers/convergence.h"
#include "ullage/host/run/run_record.h"

namespace ullage::host {

/** parameters.csv. */
struct ParameterDraws {
    std::vector<std::string> names;          ///< mean(a), ..., var(a), cov(b,a), var(b), ...
    std::vector<std::vector<Chains>> draws;  ///< [level][parameter], levels in the order of RunRecord::levels
};

/**
 * Write the draws that count as CSV: .chain and .iteration (from 1, burn-in not counted), .level if there is a "by"
 * column, then one column per parameter_names().
 */
void write_parameters(OutputFile &file, const ModelTable &model, const Imputations &result);

/**
 * Read DIR/parameters.csv.
 *
 * @throws Error  no_input if there is no such file, data if it is broken or not of the run that the record describes:
 *                other parameters, chains, levels, or fewer iterations
 */
[[nodiscard]] ParameterDraws read_parameters(const std::string &directory, const RunRecord &record);

/** Whether the chains of a run begin with all draws of another, bit for bit. */
[[nodiscard]] bool is_beginning(const ParameterDraws &earlier, const ParameterDraws &longer);

}  // namespace ullage::host

#endif
