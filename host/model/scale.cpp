// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The model's units and the way back.

#include "ullage/host/model/scale.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numeric>

#include "ullage/host/base/error.h"
#include "ullage/host/base/words.h"
#include "ullage/host/table/rules.h"

namespace ullage::host {
namespace {

double transform(Transformation transformation, double value) {
    switch (transformation) {
        case Transformation::log:
            return std::log(value);
        case Transformation::sqrt:
            return std::sqrt(value);
        case Transformation::logit:
            return std::log(value / (1.0 - value));
        case Transformation::none:
            break;
    }
    return value;
}

double transform_back(Transformation transformation, double value) {
    switch (transformation) {
        case Transformation::log:
            return std::exp(value);
        case Transformation::sqrt:
            return value * value;
        case Transformation::logit:
            return 1.0 / (1.0 + std::exp(-value));
        case Transformation::none:
            break;
    }
    return value;
}

/** Mean and standard deviation; the sums run over values divided by the largest, so they cannot overflow. */
Scale centre_and_scale(Transformation transformation, const std::vector<double> &values) {
    double largest = 0.0;
    for (const double value : values) largest = std::max(largest, std::fabs(value));
    if (largest == 0.0) return {transformation, 0.0, 1.0};
    const auto count = static_cast<double>(values.size());
    double sum = 0.0;
    for (const double value : values) sum += value / largest;
    const double mean = sum / count;
    double squares = 0.0;
    for (const double value : values) squares += (value / largest - mean) * (value / largest - mean);
    const double deviation = std::sqrt(squares / count) * largest;
    return {transformation, mean * largest, deviation > 0.0 ? deviation : 1.0};
}

/** Fourth powers of a spread in this range, which variances of variances are made of, are numbers. */
constexpr double kLeastSpread = 1e-70;
constexpr double kLargestSpread = 1e70;

void check_spread(const Table &table, std::size_t column, Transformation transformation,
                  const std::vector<double> &values) {
    const double spread = centre_and_scale(transformation, values).scale;
    if (spread >= kLeastSpread && spread <= kLargestSpread) return;
    throw Error(Fault::data,
                fmt::format("{}: column {}: {} have the standard deviation {:.3g}, whose fourth power is beyond "
                            "the range of double precision; give the column in other units",
                            table.file.source, quote(table.columns[column].name),
                            transformation == Transformation::none ? "its values" : "its transformed values", spread));
}

/** A cell whose bound lies farther out than any square could follow would be drawn there. */
void check_bounds(const Table &table, const HiddenCells &hidden, std::span<const Scale> scales) {
    for (const HiddenCell &cell : hidden.cells) {
        const auto column = static_cast<std::size_t>(cell.column);
        if (table.columns[column].holds_words()) continue;
        const double lower = to_model(scales[column], cell.lower);
        const double upper = to_model(scales[column], cell.upper);
        if (!(std::isfinite(lower) && lower > kLargestSpread) && !(std::isfinite(upper) && upper < -kLargestSpread)) {
            continue;
        }
        throw Error(Fault::data,
                    fmt::format("{}: its bound lies more than {} standard deviations from the mean of "
                                "the observed values; check it",
                                table.describe_cell(static_cast<std::size_t>(cell.row), column), kLargestSpread));
    }
}

bool are_equal(const std::vector<double> &values) {
    return std::all_of(values.begin(), values.end(), [&](double value) { return value == values.front(); });
}

/**
 * Whether a draw that came out on the wrong side of a limit is there by rounding alone: the two differ, in the model's
 * units, by less than 1e-9 of the numbers that the way back adds up.
 */
bool is_rounding(const Scale &scale, double value, double limit) {
    const double at_limit = to_model(scale, limit);
    if (!std::isfinite(at_limit)) return true;
    const double magnitude = 1.0 + std::fabs(at_limit) + std::fabs(scale.centre) / scale.scale;
    return std::fabs(to_model(scale, value) - at_limit) <= 1e-9 * magnitude;
}

/** The multiple of the column's step that is nearest to a value. */
double nearest_step(const Column &column, double value) {
    return std::round(value / column.step) * column.step;
}

/** The way back of one imputation, row by row. */
class Restoring {
public:
    Restoring(const Table &table, const HiddenCells &hidden, std::span<const Scale> scales, std::span<double> values)
        : table_(table), hidden_(hidden), scales_(scales), values_(values), place_(table.columns.size()) {}

    void restore_row(std::size_t row);

private:
    void bring_back(std::size_t i);
    void keep(std::size_t i, double limit, bool is_upper);
    void keep_all(std::size_t i, bool is_upper);
    void sort_rising(std::size_t begin, std::size_t end);

    const Table &table_;
    const HiddenCells &hidden_;
    std::span<const Scale> scales_;
    std::span<double> values_;
    std::vector<std::size_t> place_;   // of each hidden column of the row in values
    std::vector<std::size_t> rising_;  // the cells of a row, each behind those that it lies above
};

/** Bring a draw back into the units of the file. */
void Restoring::bring_back(std::size_t i) {
    const HiddenCell &cell = hidden_.cells[i];
    const auto column = static_cast<std::size_t>(cell.column);
    place_[column] = i;
    if (table_.columns[column].holds_words()) return;  // the place of a word already
    values_[i] = from_model(scales_[column], values_[i]);
    if (std::isfinite(values_[i])) return;
    throw Error(Fault::data, fmt::format("{}: an imputed value is too large for a number; check the column's "
                                         "transformation, or give it an --upper limit",
                                         table_.describe_cell(static_cast<std::size_t>(cell.row), column)));
}

/** Keep a value on its side of a limit. */
void Restoring::keep(std::size_t i, double limit, bool is_upper) {
    double &value = values_[i];
    if (is_upper ? value < limit : value > limit) return;
    const HiddenCell &cell = hidden_.cells[i];
    const auto column = static_cast<std::size_t>(cell.column);
    if (!is_rounding(scales_[column], value, limit)) {
        throw Error(Fault::internal, fmt::format("{}: the draw {} is not {} {}",
                                                 table_.describe_cell(static_cast<std::size_t>(cell.row), column),
                                                 value, is_upper ? "below" : "above", limit));
    }
    value = std::nextafter(limit, is_upper ? -kOpen : kOpen);
}

/** Keep a value on its side of the number and of all cells that bound it from one side. */
void Restoring::keep_all(std::size_t i, bool is_upper) {
    const HiddenCell &cell = hidden_.cells[i];
    keep(i, is_upper ? cell.upper : cell.lower, is_upper);
    for (const Reference &reference : hidden_.references_of(cell)) {
        if (reference.is_upper == is_upper) {
            keep(i, values_[place_[static_cast<std::size_t>(reference.column)]], is_upper);
        }
    }
}

void Restoring::sort_rising(std::size_t begin, std::size_t end) {
    // The references are closed: a cell lies above more cells than any cell below it does.
    rising_.resize(end - begin);
    std::iota(rising_.begin(), rising_.end(), begin);
    const auto has_references = [&](std::size_t i) { return hidden_.cells[i].reference_count > 0; };
    if (std::ranges::none_of(rising_, has_references)) return;
    const auto count_below = [&](std::size_t i) {
        const auto references = hidden_.references_of(hidden_.cells[i]);
        return std::ranges::count(references, false, &Reference::is_upper);
    };
    std::ranges::stable_sort(rising_, {}, count_below);
}

void Restoring::restore_row(std::size_t row) {
    const std::size_t begin = hidden_.row_begin[row];
    const std::size_t end = hidden_.row_begin[row + 1];
    for (std::size_t i = begin; i < end; ++i) bring_back(i);
    sort_rising(begin, end);
    for (const std::size_t i : rising_) keep_all(i, false);
    std::for_each(rising_.rbegin(), rising_.rend(), [&](std::size_t i) { keep_all(i, true); });
    for (std::size_t i = begin; i < end; ++i) {
        const Column &column = table_.columns[static_cast<std::size_t>(hidden_.cells[i].column)];
        if (column.kind == ColumnKind::stepped) values_[i] = nearest_step(column, values_[i]);
    }
}

}  // namespace

std::vector<Scale> choose_scales(const Table &table, const HiddenCells &hidden) {
    const std::vector<std::size_t> tie = tied_columns(table);
    std::vector<Scale> scales(table.columns.size());
    std::vector<double> values;
    std::vector<double> in_file;  // the same before the transformation, where there is one
    for (std::size_t first = 0; first < table.columns.size(); ++first) {
        if (tie[first] != first) continue;
        const Transformation transformation = table.columns[first].transformation;
        const auto add = [&](double value) {
            const double transformed = transform(transformation, value);
            if (std::isfinite(transformed)) values.push_back(transformed);
            if (transformation != Transformation::none && std::isfinite(value)) in_file.push_back(value);
        };
        values.clear();
        in_file.clear();
        for (std::size_t c = first; c < table.columns.size(); ++c) {
            if (tie[c] != first) continue;
            for (std::size_t row = 0; row < table.row_count(); ++row) {
                if (!table.is_hidden(row, c)) add(table.columns[c].values[row]);
            }
        }
        if (values.empty() || are_equal(values)) {
            for (const HiddenCell &cell : hidden.cells) {
                if (tie[static_cast<std::size_t>(cell.column)] != first) continue;
                add(cell.lower);
                add(cell.upper);
            }
        }
        const Scale scale = centre_and_scale(transformation, values);
        if (!table.columns[first].holds_words()) {
            check_spread(table, first, transformation, values);
            // Answers are about the file's units, too.
            if (transformation != Transformation::none) check_spread(table, first, Transformation::none, in_file);
        }
        for (std::size_t c = first; c < table.columns.size(); ++c) {
            if (tie[c] == first) scales[c] = scale;
        }
    }
    check_bounds(table, hidden, scales);
    return scales;
}

double to_model(const Scale &scale, double value) {
    return (transform(scale.transformation, value) - scale.centre) / scale.scale;
}

double from_model(const Scale &scale, double value) {
    return transform_back(scale.transformation, value * scale.scale + scale.centre);
}

void restore(const Table &table, const HiddenCells &hidden, std::span<const Scale> scales, std::span<double> values) {
    if (values.size() != hidden.cells.size()) throw Error(Fault::internal, "an imputation of the wrong length");
    Restoring restoring(table, hidden, scales, values);
    for (std::size_t row = 0; row < table.row_count(); ++row) restoring.restore_row(row);
}

}  // namespace ullage::host
