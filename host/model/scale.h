// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The model's units: each column transformed, centred and scaled, and the way back that never leaves a cell's bounds.

#ifndef ULLAGE_HOST_MODEL_SCALE_H
#define ULLAGE_HOST_MODEL_SCALE_H

#include <span>
#include <vector>

#include "ullage/host/table/table.h"

namespace ullage::host {

/** From the units of the file to those of the model: (transformation(x) - centre) / scale. */
struct Scale {
    Transformation transformation = Transformation::none;
    double centre = 0.0;
    double scale = 1.0;  ///< above 0
};

/**
 * Choose the scale of every column.
 *
 * Columns that an order rule or a reference of any row ties together share one scale; they must have one transformation
 * (apply_rules sees to that). Centre and scale are the mean and the standard deviation of the transformed observed
 * values of the tied columns, taken over all rows. If fewer than two of these differ, the finite numbers that bound
 * hidden cells of the columns count as well. If that does not help either, the centre is what there is, or 0, and the
 * scale is 1.
 *
 * @return one scale per column
 * @throws Error  data with the column if a spread is below 1e-70 or above 1e70, or a bound is as far from the mean:
 *                results are made of squares of squares
 */
[[nodiscard]] std::vector<Scale> choose_scales(const Table &table, const HiddenCells &hidden);

/** A value, or a bound, in the model's units; where the transformation has its end, an infinity. */
[[nodiscard]] double to_model(const Scale &scale, double value);

/** A value of the model in the units of the file, rounded to the nearest; not yet kept between the bounds of a cell. */
[[nodiscard]] double from_model(const Scale &scale, double value);

/**
 * Bring one imputation back into the units of the file, in place.
 *
 * Every value then lies strictly between the bounds of its cell and in strict order with the cells that it refers to.
 * The draws obey the bounds in the model's units; where the way back rounds a value onto or past a bound, the next
 * double inside is taken.
 *
 * @param values  in: the draws in the model's units, one per hidden cell in the order of hidden.cells; out: values
 * @throws Error  internal if a draw is off its bounds by more than rounding, data if a value overflows
 */
void restore(const Table &table, const HiddenCells &hidden, std::span<const Scale> scales, std::span<double> values);

}  // namespace ullage::host

#endif
