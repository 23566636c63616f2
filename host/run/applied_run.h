// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Completing new rows under what a run has drawn.

#ifndef ULLAGE_HOST_RUN_APPLIED_RUN_H
#define ULLAGE_HOST_RUN_APPLIED_RUN_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "ullage/host/base/notice.h"
#include "ullage/host/model/posterior.h"
#include "ullage/host/run/parameter_file.h"
#include "ullage/host/run/run_record.h"
#include "ullage/host/table/csv_text.h"
#include "ullage/host/table/read_options.h"
#include "ullage/host/table/table.h"

namespace ullage::host {

/** New rows with their hidden cells. */
struct NewRows {
    Table table;
    HiddenCells hidden;
};

/**
 * A run that completes new rows: imputation i has the parameters from which the chain of the run's imputation i went on
 * behind it; none is drawn again. Names, kinds and words, scales, bounds, rules and levels are those of the record.
 */
class AppliedRun {
public:
    /** Both must outlive the object.
     * @throws Error  data if the run is a mixture, or the record is of an older version that does not hold what is
     * needed */
    AppliedRun(const RunRecord &record, const ParameterDraws &draws);

    /**
     * Read rows and put the run's rules into them.
     *
     * @param options  how cells are written; which columns there are, and what they hold, the record says
     * @param notices  what the rows have besides what the run had
     * @throws DataError  as read_table and apply_rules; also if a level or a word is none of the run, or a word is
     * hidden in a column whose words were all known in the run, so that they were taken as they stood
     * @throws Error      data if a column of the model is not there
     */
    [[nodiscard]] NewRows read(InputText text, ReadOptions options, Notices &notices) const;

    /**
     * Complete rows.
     *
     * @param imputations  that are asked for, at most those of the run
     * @param seed, part   name the streams (complete_rows)
     * @param take         called for each imputation (from 0) with the hidden cells in the units of the file
     * @throws Error  as complete_rows
     */
    void complete(const NewRows &rows, std::size_t imputations, std::uint64_t seed, std::uint64_t part,
                  const std::function<void(std::size_t imputation, std::span<const double> values)> &take) const;

private:
    [[nodiscard]] std::vector<Scale> scales_of(const Table &table) const;
    [[nodiscard]] Variables lay_out(const Table &table, const std::vector<Scale> &scales) const;
    [[nodiscard]] Parameters parameters_of(const Variables &variables, std::size_t imputation, std::size_t level) const;
    void check_new(const Table &table, Notices &notices) const;

    const RunRecord &record_;
    const ParameterDraws &draws_;
};

}  // namespace ullage::host

#endif
