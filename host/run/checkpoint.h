// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// What a run has drawn so far, kept so that another process can go on with it.

#ifndef ULLAGE_HOST_RUN_CHECKPOINT_H
#define ULLAGE_HOST_RUN_CHECKPOINT_H

#include <string>

#include "ullage/host/base/output_file.h"
#include "ullage/host/draw/impute.h"
#include "ullage/host/model/model_table.h"
#include "ullage/host/run/run_record.h"

namespace ullage::host {

/**
 * Write a checkpoint: a title, the length and the text of the run's record, numbers as they lie in memory, and the
 * SHA-256 checksum of all that. The numbers are lists, each behind its length: the iterations done; of each chain its
 * state, its draws of the parameters, its refused rows and its most sweeps; then the hidden cells of each imputation.
 *
 * @param record  describe_run of the run, with prior and "by"
 * @param state   of the chains, which have drawn the result so far
 * @throws Error  as OutputFile::write
 */
void write_checkpoint(OutputFile &file, const RunRecord &record, const ImputeSettings &settings, const RunState &state,
                      const Imputations &result);

/** The record of the run that a checkpoint is of.
 * @throws Error  no_input if there is no such file, data if it is no checkpoint or has been changed or cut off */
[[nodiscard]] RunRecord read_checkpoint_record(const std::string &path);

/**
 * Read a checkpoint.
 *
 * @param record  of the run that is to go on with it
 * @param result  empty, for its chains; takes what they had drawn. Of no use after an error
 * @return where the chains stand
 * @throws Error  as read_checkpoint_record; data also if it is that of another run: what is not the same
 */
[[nodiscard]] RunState read_checkpoint(const std::string &path, const RunRecord &record, const ModelTable &model,
                                       const ImputeSettings &settings, Imputations &result);

}  // namespace ullage::host

#endif
