// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The results of one chain of a run, kept by a job of its own until all of them are put together.

#ifndef ULLAGE_HOST_RUN_CHAIN_PART_H
#define ULLAGE_HOST_RUN_CHAIN_PART_H

#include <string>
#include <vector>

#include "ullage/host/base/output_file.h"
#include "ullage/host/draw/impute.h"
#include "ullage/host/model/model_table.h"
#include "ullage/host/run/run_record.h"

namespace ullage::host {

/** The directory of a part, and its record, which has a chain. */
struct ChainPart {
    std::string directory;
    RunRecord record;
};

/**
 * Read the records of the parts of one run.
 *
 * @return one part for each chain, in the order of the chains
 * @throws Error  no_input or data if a directory holds no part, parts are not of one run, or a chain is missing or
 * there twice: which directories
 */
[[nodiscard]] std::vector<ChainPart> read_chain_parts(const std::vector<std::string> &directories);

/** Make sure that a run would be that of a part, were all of its chains run.
 * @param run  describe_run of the table, model and settings, with prior and "by"
 * @throws Error  data: what is not the same */
void check_part_of(const ChainPart &part, const RunRecord &run);

/**
 * Write what a run of one chain (ImputeSettings::only) gave: numbers as they lie in memory, first the draws of the
 * parameters, then the refused rows of each level, then the hidden cells of each imputation of the chain.
 */
void write_chain_part(OutputFile &file, const ImputeSettings &settings, const Imputations &imputations);

/** Put together what the parts of a run gave, as one run of all chains gives it.
 * @throws Error  as open_result; data if a file has not as many numbers as the model needs */
[[nodiscard]] Imputations gather_chain_parts(const std::vector<ChainPart> &parts, const ModelTable &model,
                                             const ImputeSettings &settings, const DrawPlace &place);

}  // namespace ullage::host

#endif
