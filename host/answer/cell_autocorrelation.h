// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Whether imputations of one chain resemble each other, seen in the hidden cells themselves.

#ifndef ULLAGE_HOST_ANSWER_CELL_AUTOCORRELATION_H
#define ULLAGE_HOST_ANSWER_CELL_AUTOCORRELATION_H

#include <cstddef>
#include <string>
#include <vector>

#include "ullage/host/run/completed_tables.h"
#include "ullage/host/run/run_record.h"

namespace ullage::host {

/** Hidden cells of a column whose rows have the same hidden columns. */
struct CellAutocorrelation {
    std::string column;
    std::vector<std::string> beside;  ///< the other columns that are hidden in their rows
    std::size_t cells;
    /** Of their draws, from one imputation of a chain to the next, about the mean of each cell over all imputations: so
     * chains whose cells stay apart count as well. Corrected for that mean, which is of the same draws. */
    double autocorrelation;
    double error;  ///< its standard error
};

/**
 * The autocorrelations of the cells in rows with several hidden ones, where these may be drawn one at a time.
 *
 * @return of each column of the model those cells that are worst off, at least kLeastCells of one pattern or all of
 *         rarer patterns together; the worst column first; none if fewer than 8 imputations follow another of their
 * chain
 * @throws Error  interrupted; as ImputedCells::operator[]
 */
[[nodiscard]] std::vector<CellAutocorrelation> cell_autocorrelations(const RunRecord &record,
                                                                     const CompletedTables &tables);

/** Cells of a pattern that are judged by themselves, at least. */
inline constexpr std::size_t kLeastCells = 10;

/** The most that cells may keep from one imputation of a chain to the next. */
inline constexpr double kWorstCells = 0.1;

/** Whether cells keep more than kWorstCells, beyond what chance gives the worst of many patterns. */
[[nodiscard]] bool keep_too_much(const CellAutocorrelation &cells);

}  // namespace ullage::host

#endif
