// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Pooled means and correlations.

#include <fmt/format.h>

#include <cmath>

#include "ullage/host/answer/pool_moments.h"
#include "ullage/host/base/error.h"
#include "ullage/host/base/words.h"
#include "ullage/host/report/page_pieces.h"
#include "ullage/host/report/sections.h"

namespace ullage::host {
namespace {

std::string pooled_table(const RunRecord &record, const std::string &caption, const std::vector<PooledRow> &pooled,
                         int decimals) {
    std::vector<std::vector<Cell>> rows;
    const auto show = [&](double value) { return decimals > 0 ? fixed(value, decimals) : number(value); };
    for (const PooledRow &row : pooled) {
        std::vector<Cell> cells;
        if (record.by) cells.push_back({row.level});
        cells.push_back({row.name});
        const Pooled &p = row.pooled;
        for (const double value : {p.estimate, p.standard_error, p.lower, p.upper}) cells.push_back({show(value)});
        cells.push_back({std::isfinite(p.df) ? fixed(p.df, 1) : number(p.df)});
        cells.push_back({fraction(p.fmi)});
        rows.push_back(std::move(cells));
    }
    std::vector<std::string> head = {"Quantity", "Estimate", "Standard error", "95% from", "to", "df", "FMI"};
    if (record.by) head.insert(head.begin(), *record.by);
    return make_table(caption, head, rows, record.by ? 2 : 1);
}

}  // namespace

std::string pooled_estimates(const RunResults &results, const Diagnosis &diagnosis) {
    const RunRecord &record = results.record;
    if (record.imputations < 2) return paragraph("Pooling needs at least 2 imputations, and there is one.");
    std::string html = paragraph(
        "Pooled over the completed tables by Rubin's rules, in the units of the file. FMI is the fraction of missing "
        "information: how much of the uncertainty is there because cells were not observed.");
    const auto add = [&](const std::string &caption, const PoolRequest &request, int decimals) {
        try {
            html += pooled_table(record, caption, pool_moments(results.tables, request), decimals);
        } catch (const Error &error) {
            html += paragraph(fmt::format("{}: {}.", caption, error.what()));
        }
    };
    PoolRequest means;
    means.means = true;
    add("Means", means, 0);
    PoolRequest correlations;
    correlations.correlations = true;
    if (record.columns.size() > 1) add("Correlations", correlations, 3);
    for (const WorstCombination &worst : diagnosis.worst) {
        if (!std::isfinite(worst.fmi)) continue;
        std::vector<std::string> terms;
        for (std::size_t c = 0; c < worst.weights.size(); ++c) {
            if (std::fabs(worst.weights[c]) < 0.1) continue;
            terms.push_back(fmt::format("{} {}", fixed(worst.weights[c], 2), record.columns[c].transformed_name()));
        }
        html += paragraph(fmt::format(
            "The combination of means that lost most, {} of its information{}: {}.", fraction(worst.fmi),
            record.by ? fmt::format(", in {} {}", quote(*record.by), quote(worst.level)) : "", join_names(terms)));
    }
    if (diagnosis.recommended > 0) {
        html +=
            paragraph(fmt::format("For standard errors that would come out the same within 5% in another run, {} are "
                                  "recommended (largest FMI "
                                  "of a mean {}, upper limit {}); there are {}.",
                                  count_words(diagnosis.recommended, "imputation"), fraction(diagnosis.largest_fmi),
                                  fraction(diagnosis.upper_fmi), diagnosis.imputations));
    }
    return html;
}

}  // namespace ullage::host
