// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The values of a column of the model, by what was known of them.

#ifndef ULLAGE_HOST_REPORT_COLUMN_VALUES_H
#define ULLAGE_HOST_REPORT_COLUMN_VALUES_H

#include <cstddef>
#include <functional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "ullage/host/report/run_cells.h"
#include "ullage/host/report/svg_plot.h"
#include "ullage/host/run/run_results.h"

namespace ullage::host {

using Values = std::vector<double>;

/** Numbers that sum up values; all NaN if there are none. */
struct Summary {
    std::size_t count;
    double mean;
    double deviation;  ///< standard deviation; NaN of a single value
    double least;
    double low;  ///< 5% of the values are smaller
    double median;
    double high;  ///< 5% of the values are larger
    double most;
};

/** Values that are read in passes, part by part, so that those of many imputations are never held together. */
class ValuePasses {
public:
    using Act = std::function<void(std::span<const double>)>;

    ValuePasses() = default;
    /** @param pass  acts on all values, in the same order every time */
    ValuePasses(std::size_t size, std::function<void(const Act &)> pass) : size_(size), pass_(std::move(pass)) {}
    /** Values that are held elsewhere, and stay there. */
    explicit ValuePasses(std::span<const double> values)
        : ValuePasses(values.size(), [values](const Act &act) { act(values); }) {}

    [[nodiscard]] std::size_t size() const { return size_; }
    [[nodiscard]] bool empty() const { return size_ == 0; }
    /** @throws Error  as ImputedCells::operator[]; interrupted */
    void for_each_part(const Act &act) const;
    /** @throws Error  as for_each_part */
    template <typename OneAct>
    void for_each(const OneAct &act) const {
        for_each_part([&](std::span<const double> part) {
            for (const double value : part) act(value);
        });
    }

private:
    std::size_t size_ = 0;
    std::function<void(const Act &)> pass_;
};

/** Sum up values, in nine passes. Sums neither overflow nor underflow. */
[[nodiscard]] Summary sum_up(const ValuePasses &values);

/** Median and central 90%, in words of numbers. */
[[nodiscard]] std::string middle_words(const Summary &summary);

/**
 * The values of a column of the model, by what was known of them; those of hidden cells are of all imputations, and are
 * read from the column, which must outlive them.
 */
struct ColumnValues {
    const RunColumn *record;
    const CompletedColumn *column;
    ValuePasses observed;
    ValuePasses missing;
    ValuePasses bounded;
    Summary of_observed;
    Summary of_missing;
    Summary of_bounded;
    std::vector<const BoundedCell *> cells;  ///< the bounded ones
    std::vector<std::size_t> places;         ///< of those, in CompletedColumn::hidden
};

/** The draws of some hidden cells of a column, given by their places in CompletedColumn::hidden, one imputation after
 * the other. The column must outlive them. */
[[nodiscard]] ValuePasses draws_of(const CompletedColumn &column, std::vector<std::size_t> places);

[[nodiscard]] ColumnValues values_of(const RunResults &results, const RunCells &cells, std::size_t index);

/** An axis for all values of a column, whose edges of bins it ends at; on a log scale if the column is modelled so. */
struct BinnedAxis {
    Axis axis;
    Values edges;  ///< of at most 30 bins, at round numbers where the axis is plain
};

[[nodiscard]] BinnedAxis bin(const ColumnValues &values);

/** How many values each bin holds. Its lower edge belongs to it, and to the last one its upper edge too. */
[[nodiscard]] Values bin_counts(const ValuePasses &values, const Values &edges);

/** The outline of a histogram. */
[[nodiscard]] Line outline(const Values &edges, const Values &heights, std::string style);

}  // namespace ullage::host

#endif
