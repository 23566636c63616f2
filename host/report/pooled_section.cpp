// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Pooled means and correlations.

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <span>

#include "ullage/host/answer/pool_moments.h"
#include "ullage/host/base/error.h"
#include "ullage/host/base/words.h"
#include "ullage/host/report/page_pieces.h"
#include "ullage/host/report/sections.h"

namespace ullage::host {
namespace {

constexpr std::size_t kMostMatrixColumns = 60;  // of a picture of correlations; more are not told apart
constexpr std::size_t kWrittenColumns = 20;     // up to it the squares have numbers
constexpr std::size_t kMostMatrices = 6;        // levels that are drawn
constexpr std::size_t kStrongest = 20;          // correlations of the table

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
        cells.push_back({degrees_of_freedom(p.df)});
        cells.push_back({fraction(p.fmi)});
        rows.push_back(std::move(cells));
    }
    std::vector<std::string> head = {"Quantity", "Estimate", "Standard error", "95% from", "to", "df", "FMI"};
    if (record.by) head.insert(head.begin(), *record.by);
    return make_table(caption, head, rows, record.by ? 2 : 1);
}

/** "0.83" as ".83", which a small square has room for. */
std::string short_correlation(double r) {
    std::string text = fixed(r, 2);
    if (const std::size_t zero = text.find("0."); zero != std::string::npos) text.erase(zero, 1);
    return text;
}

/** The correlations of one level as squares below the diagonal.
 * @param pairs  column by column, each with those before it */
std::string correlation_matrix(const RunRecord &record, const std::vector<std::string> &names,
                               std::span<const PooledRow> pairs) {
    const std::size_t n = names.size();
    const bool is_written = n <= kWrittenColumns;
    Plot plot;
    for (std::size_t c = 0; c + 1 < n; ++c) plot.x.categories.push_back(names[c]);
    for (std::size_t c = 1; c < n; ++c) plot.y.categories.push_back(names[c]);
    std::size_t next = 0;
    for (std::size_t second = 1; second < n; ++second) {
        for (std::size_t first = 0; first < second; ++first) {
            const double r = pairs[next++].pooled.estimate;
            const auto x = static_cast<double>(first);
            const auto y = static_cast<double>(second) - 1.0;
            plot.bars.push_back({x, x + 1.0, y, y + 1.0, r < 0.0 ? "square negative" : "square positive",
                                 is_written ? short_correlation(r) : std::string(), std::fabs(r)});
        }
    }
    const double side = is_written ? 32.0 : 18.0;
    const auto squares = static_cast<double>(n - 1);
    plot.width = 200.0 + squares * side;
    plot.height = 110.0 + squares * (is_written ? 24.0 : side);
    const std::string of_level =
        record.by ? fmt::format("{}: {}", *record.by, pairs.front().level) : std::string("All rows");
    plot.description = fmt::format(
        "Correlations of {} columns as squares, the stronger the deeper. {}. The table below has the "
        "strongest in numbers.",
        n, of_level);
    return make_figure(plot, record.by ? of_level : std::string());
}

std::string correlations(const RunResults &results, const std::vector<std::string> &names) {
    const RunRecord &record = results.record;
    if (names.size() > kMostMatrixColumns) {
        return paragraph(
            fmt::format("{} columns have too many correlations for a page; ullage pool --correlations "
                        "gives them all.",
                        names.size()));
    }
    PoolRequest request;
    request.correlations = true;
    std::vector<PooledRow> pooled = pool_moments(results.tables, request);
    const std::size_t pairs = names.size() * (names.size() - 1) / 2;
    const std::size_t levels = record.levels.size();
    std::string figures;
    for (std::size_t level = 0; level < std::min(levels, kMostMatrices); ++level) {
        figures += correlation_matrix(record, names, std::span(pooled).subspan(level * pairs, pairs));
    }
    const std::size_t all = pooled.size();
    std::stable_sort(pooled.begin(), pooled.end(), [](const PooledRow &a, const PooledRow &b) {
        return std::fabs(a.pooled.estimate) > std::fabs(b.pooled.estimate);
    });
    pooled.resize(std::min(all, kStrongest));
    std::string html =
        make_keys({{"square positive", "positive"}, {"square negative", "negative; the deeper the stronger"}});
    if (levels > kMostMatrices)
        html += paragraph(fmt::format("The first {} of {} levels are drawn.", kMostMatrices, levels));
    const std::string caption = pooled.size() < all
                                    ? fmt::format("The {} strongest of {} correlations", pooled.size(), all)
                                    : std::string("Correlations, the strongest first");
    return html + "<div class=\"beside\">\n" + figures + pooled_table(record, caption, pooled, 3) + "</div>\n";
}

/** What pooling gives, or why it gives nothing. */
template <typename Pool>
std::string or_reason(const char *what, const Pool &pool) {
    try {
        return pool();
    } catch (const Error &error) {
        if (error.fault() == Fault::interrupted) throw;
        return paragraph(fmt::format("{}: {}.", what, error.what()));
    }
}

/** The combinations of means that hidden cells hurt most, and how many imputations the means need. */
std::string missing_information(const RunRecord &record, const Diagnosis &diagnosis) {
    std::string html;
    for (const WorstCombination &worst : diagnosis.worst) {
        if (!std::isfinite(worst.fmi)) continue;
        std::vector<std::string> terms;
        for (const MeanWeight &weight : worst.weights) {
            if (std::fabs(weight.weight) < 0.1) continue;
            terms.push_back(fmt::format("{} {}", fixed(weight.weight, 2), weight.variable));
        }
        html += paragraph(fmt::format(
            "The combination of means that lost most, {} of its information{}: {}.", fraction(worst.fmi),
            record.by ? fmt::format(", in {} {}", quote(*record.by), quote(worst.level)) : "", join_names(terms)));
    }
    if (diagnosis.recommended == 0) return html;
    const bool is_transformed = std::any_of(record.columns.begin(), record.columns.end(), [](const RunColumn &column) {
        return column.transformation != Transformation::none;
    });
    return html + paragraph(fmt::format(
                      "For standard errors that would come out the same within 5% in another run, {} are recommended "
                      "(largest FMI of a mean{} {}, upper limit {}); there are {}.",
                      count_words(diagnosis.recommended, "imputation"),
                      is_transformed ? " on the scale of the model, which is after transformations," : "",
                      fraction(diagnosis.largest_fmi), fraction(diagnosis.upper_fmi), diagnosis.imputations));
}

}  // namespace

std::string pooled_estimates(const RunResults &results, const Diagnosis &diagnosis) {
    const RunRecord &record = results.record;
    if (record.imputations < 2) return paragraph("Pooling needs at least 2 imputations, and there is one.");
    std::string html = paragraph(
        "Pooled over the completed tables by Rubin's rules, in the units of the file. FMI is the fraction of missing "
        "information: how much of the uncertainty is there because cells were not observed.");
    std::vector<std::string> numbers;
    for (const RunColumn &column : record.columns) {
        if (!column.holds_words()) numbers.push_back(column.name);
    }
    const char *means = numbers.size() == record.columns.size() ? "Means" : "Means, and shares of words";
    html += or_reason(means, [&] {
        PoolRequest request;
        request.means = true;
        return pooled_table(record, means, pool_moments(results.tables, request), 0);
    });
    html += missing_information(record, diagnosis);
    if (numbers.size() < 2) return html;
    return html + heading("Correlations") + or_reason("Correlations", [&] { return correlations(results, numbers); });
}

}  // namespace ullage::host
