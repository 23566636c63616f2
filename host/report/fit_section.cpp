// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// Whether the model fits: over-imputation, and columns against the normal distribution.

#include <fmt/format.h>

#include <algorithm>
#include <boost/math/distributions/binomial.hpp>
#include <boost/math/distributions/normal.hpp>
#include <cmath>

#include "ullage/host/base/interrupt.h"
#include "ullage/host/base/words.h"
#include "ullage/host/report/page_pieces.h"
#include "ullage/host/report/sections.h"

namespace ullage::host {
namespace {

constexpr std::size_t kMostColumns = 40;  // that are drawn
constexpr std::size_t kMostDots = 80;     // of a quantile plot
constexpr double kMiddle = 2.0;           // normal scores up to which the distance from the line is told
constexpr double kChance = 0.01;          // of a table that a right model gets a mark somewhere in

/** Whether so many of the cells lie within an interval as no right model is likely to bring about. */
bool is_unlikely(std::size_t within, std::size_t cells, double coverage, double chance) {
    const boost::math::binomial_distribution<double> right(static_cast<double>(cells), coverage);
    const auto count = static_cast<double>(within);
    const double fewer = cdf(right, count);
    const double more = within == 0 ? 1.0 : cdf(complement(right, count - 1.0));
    return std::min(fewer, more) < chance / 2.0;
}

/** A row for a column of words; whether the difference is more than chance explains. */
bool add_hits(const OverimputedColumn &column, double chance, std::vector<std::vector<Cell>> &rows) {
    const auto cells = static_cast<double>(column.cells);
    const double difference = std::fabs(column.hits->observed - column.hits->expected);
    const double limit = boost::math::quantile(complement(boost::math::normal(), chance / 2.0));
    const bool is_bad = difference > limit * column.hits->error;
    rows.push_back({{column.name},
                    {fmt::format("{}", column.cells)},
                    {percent(column.hits->observed, cells), is_bad},
                    {percent(column.hits->expected, cells)}});
    return is_bad;
}

std::string overimputation(const std::vector<OverimputedColumn> &columns) {
    if (columns.empty()) return paragraph("No column has observed cells enough to hide some of them.");
    const double chance = kChance / static_cast<double>(2 * columns.size());
    std::vector<std::vector<Cell>> rows;
    std::vector<std::vector<Cell>> word_rows;
    std::vector<std::string> bad;
    for (const OverimputedColumn &column : columns) {
        if (column.hits) {
            if (add_hits(column, chance, word_rows)) bad.push_back(column.name);
            continue;
        }
        const bool bad_50 = is_unlikely(column.in_50, column.cells, 0.5, chance);
        const bool bad_90 = is_unlikely(column.in_90, column.cells, 0.9, chance);
        if (bad_50 || bad_90) bad.push_back(column.name);
        const auto cells = static_cast<double>(column.cells);
        rows.push_back({{column.name},
                        {fmt::format("{}", column.cells)},
                        {percent(static_cast<double>(column.in_50), cells), bad_50},
                        {percent(static_cast<double>(column.in_90), cells), bad_90}});
    }
    std::string tables;
    if (!rows.empty()) {
        tables += make_table(
            "Observed cells that were hidden and imputed: how many lie within intervals of their imputations",
            {"Column", "Cells", "In the 50% interval", "In the 90% interval"}, rows);
    }
    if (!word_rows.empty()) {
        tables += make_table("Observed words that were hidden and imputed: how many imputations hit them",
                             {"Column", "Cells", "Hit", "Expected, as imputations agree"}, word_rows);
    }
    return verdict(!bad.empty(),
                   bad.empty()
                       ? "The imputations hold about as many of the hidden values as they should."
                       : fmt::format("The imputations of {} hold more or fewer of the hidden values than chance "
                                     "explains: look at the distribution below, and at --log and its like.",
                                     join_names(bad))) +
           tables +
           soft_paragraph(
               "A number is marked if a model that is right would come this far off in fewer than 1% of all tables.");
}

/** A column's values on the scale of the model, in standard deviations of the completed column from its mean, level by
 * level. */
class Standardised {
public:
    Standardised(const RunResults &results, std::size_t index)
        : column_(results.record.columns[index]), levels_(results.tables.level_of_row) {
        const CompletedColumn &column = results.tables.columns[results.tables.model[index]];
        const std::size_t levels = results.tables.levels.size();
        std::vector<double> counts(levels, 0.0);
        means_.assign(levels, 0.0);
        deviations_.assign(levels, 1.0);
        for_all(column, [&](std::size_t level, double, double weight) { counts[level] += weight; });
        std::vector<double> means(levels, 0.0);
        for_all(column, [&](std::size_t level, double value, double weight) {
            means[level] += weight / counts[level] * value;
        });
        means_ = std::move(means);
        std::vector<double> variances(levels, 0.0);
        for_all(column, [&](std::size_t level, double value, double weight) {
            variances[level] += weight / counts[level] * value * value;
        });
        for (std::size_t level = 0; level < levels; ++level) deviations_[level] = std::sqrt(variances[level]);
    }
    [[nodiscard]] double operator()(double value, std::size_t row) const {
        const auto level = static_cast<std::size_t>(levels_[row]);
        return (column_.transform(value) - means_[level]) / deviations_[level];
    }

private:
    /** Act on the standardised values of all cells, an imputed one being a part of a cell. */
    template <typename Act>
    void for_all(const CompletedColumn &column, const Act &act) const {
        check_interrupt();
        for (std::size_t row = 0; row < column.original.size(); ++row) {
            if (std::isnan(column.original[row])) continue;
            act(static_cast<std::size_t>(levels_[row]), (*this)(column.original[row], row), 1.0);
        }
        const double weight = 1.0 / static_cast<double>(column.imputed.size());
        for (std::size_t k = 0; k < column.imputed.size(); ++k) {
            const std::span<const double> imputation = column.imputed[k];
            check_interrupt();
            for (std::size_t h = 0; h < imputation.size(); ++h) {
                const auto row = static_cast<std::size_t>(column.hidden[h]);
                act(static_cast<std::size_t>(levels_[row]), (*this)(imputation[h], row), weight);
            }
        }
    }

    const RunColumn &column_;
    const std::vector<std::int32_t> &levels_;
    std::vector<double> means_;
    std::vector<double> deviations_;
};

/**
 * Observed values against normal scores of their places in the completed column: a value with r of n cells below it,
 * on average over the imputations, has the score of (r + 1/2) / n. So cells below a limit count, though their values
 * are not known. Dots at about equal distances stand for all.
 */
Line quantile_dots(const CompletedColumn &column, const Standardised &standardised) {
    const boost::math::normal normal;
    std::vector<double> observed;
    for (std::size_t row = 0; row < column.original.size(); ++row) {
        const double value = standardised(column.original[row], row);
        if (std::isfinite(value)) observed.push_back(value);
    }
    check_interrupt();
    std::sort(observed.begin(), observed.end());
    Line dots{{}, {}, "dots observed"};
    std::vector<double> below;  // observed cells below each dot
    const auto n = static_cast<double>(observed.size());
    const double end = observed.empty() ? 0.0 : -quantile(normal, 0.5 / n);
    for (std::size_t k = 0; k < kMostDots && !observed.empty(); ++k) {
        const double score = end * (2.0 * static_cast<double>(k) / (kMostDots - 1.0) - 1.0);
        const double rank = std::clamp(std::floor(n * cdf(normal, score)), 0.0, n - 1.0);
        if (!below.empty() && rank == below.back()) continue;
        below.push_back(rank);
        dots.y.push_back(observed[static_cast<std::size_t>(rank)]);
    }
    std::vector<double> imputed_from(dots.y.size() + 1, 0.0);  // cells that lie between a dot and the one before
    for (std::size_t k = 0; k < column.imputed.size(); ++k) {
        const std::span<const double> imputation = column.imputed[k];
        check_interrupt();
        for (std::size_t h = 0; h < imputation.size(); ++h) {
            const double value = standardised(imputation[h], static_cast<std::size_t>(column.hidden[h]));
            ++imputed_from[static_cast<std::size_t>(std::lower_bound(dots.y.begin(), dots.y.end(), value) -
                                                    dots.y.begin())];
        }
    }
    const auto imputations = static_cast<double>(std::max<std::size_t>(1, column.imputed.size()));
    const double cells = n + static_cast<double>(column.hidden.size());
    double imputed = 0.0;
    for (std::size_t k = 0; k < below.size(); ++k) {
        imputed += imputed_from[k] / imputations;
        dots.x.push_back(quantile(normal, (below[k] + imputed + 0.5) / cells));
    }
    return dots;
}

std::string quantile_figure(const RunColumn &record, const CompletedColumn &column, const Standardised &standardised) {
    Plot plot;
    plot.dots.push_back(quantile_dots(column, standardised));
    const Line &dots = plot.dots.front();
    if (dots.x.size() < 3) return "";
    double off = 0.0;
    for (std::size_t k = 0; k < dots.x.size(); ++k) {
        if (std::fabs(dots.x[k]) <= kMiddle) off = std::max(off, std::fabs(dots.y[k] - dots.x[k]));
    }
    const double low = std::min(dots.x.front(), -1.0);
    const double high = std::max(dots.x.back(), 1.0);
    plot.x = {.label = "normal score", .low = low - 0.1, .high = high + 0.1};
    plot.y = {.label = "standard deviations",
              .low = std::min(low, dots.y.front()) - 0.1,
              .high = std::max(high, dots.y.back()) + 0.1};
    plot.lines.push_back({{low, high}, {low, high}, "mark"});
    plot.description = fmt::format(
        "Normal quantile plot of {}: observed values from {} to {} standard deviations off the mean; in the middle the "
        "largest distance from the line is {}.",
        record.transformed_name(), fixed(dots.y.front(), 2), fixed(dots.y.back(), 2), fixed(off, 2));
    plot.height = 230.0;
    return make_figure(plot, record.transformed_name(),
                       fmt::format("Up to {} off the line in the middle", fixed(off, 2)));
}

}  // namespace

std::string whether_the_model_fits(const RunResults &results) {
    const RunRecord &record = results.record;
    std::string html;
    if (results.overimputation) html += heading("Over-imputation") + overimputation(*results.overimputation);
    std::string figures;
    std::size_t drawn = 0;
    std::size_t of_numbers = 0;
    for (std::size_t c = 0; c < record.columns.size(); ++c) {
        if (record.columns[c].holds_words() || ++of_numbers > kMostColumns) continue;
        ++drawn;
        figures += quantile_figure(record.columns[c], results.tables.columns[results.tables.model[c]],
                                   Standardised(results, c));
    }
    if (figures.empty())
        return html + paragraph("There are too few observed values to compare with the normal distribution.");
    html += heading("Columns against the normal distribution") +
            soft_paragraph(fmt::format(
                "Observed values on the scale of the model, in standard deviations of the completed column from its "
                "mean{}, against the scores that a normal distribution has at their places in the completed column. "
                "{}; the ends scatter more than the middle (scores from \u22122 to 2).",
                record.by ? ", level by level" : "",
                record.components == 1 ? "Where the model fits they follow the line"
                                       : "Where one normal distribution would do in place of the mixture they follow "
                                         "the line"));
    if (drawn < of_numbers) html += paragraph(fmt::format("The first {} columns of numbers are drawn.", drawn));
    html += side_by_side(figures);
    if (!results.overimputation) {
        html += soft_paragraph(
            "With --overimpute, observed cells are hidden, imputed, and compared with what was there: a test of all "
            "columns together.");
    }
    return html;
}

}  // namespace ullage::host
