// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The report of a run: one page for a reader who must decide whether to trust it.

#ifndef ULLAGE_HOST_REPORT_REPORT_H
#define ULLAGE_HOST_REPORT_REPORT_H

#include <string>

#include "ullage/host/run/run_results.h"

namespace ullage::host {

/**
 * Make the report: a page of HTML that needs nothing besides itself, neither files, nor a network, nor scripts.
 *
 * Its sections: what was read, the patterns of missingness, what was assumed, whether the chains converged, what was
 * imputed, pairs of columns, whether the model fits, pooled means and correlations, warnings, how to reproduce the run.
 * Where there are too few imputations or rows to pool, the section says so. Of tables with very many rows, columns or
 * levels the page draws a part, the same every time, and says which. The same results give the same bytes.
 *
 * @throws Error  interrupted
 */
[[nodiscard]] std::string make_report(const RunResults &results);

}  // namespace ullage::host

#endif
