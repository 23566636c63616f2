// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// How often an iteration draws the cells of rows whose cells are drawn one at a time.

#ifndef ULLAGE_HOST_DRAW_SWEEPS_H
#define ULLAGE_HOST_DRAW_SWEEPS_H

#include <span>
#include <vector>

#include "ullage/host/model/model_table.h"
#include "ullage/host/model/posterior.h"

namespace ullage::host {

/** The most sweeps of an iteration that the program chooses by itself. */
inline constexpr int kMostSweeps = 100;

/**
 * Sweeps of an iteration that each block needs, so that over some iterations the cells of its rows keep at most 5% of
 * where they were; at most kMostSweeps.
 *
 * The hidden cells of a row of which one is bounded are a Gibbs chain, and go slowly where they are close to
 * combinations of each other. Of a normal distribution a sweep keeps the largest eigenvalue of I - (D + L)^-1 Q, where
 * Q = L + D + L' is the precision of the hidden cells given the others (Roberts and Sahu 1997, JRSS B 59, 291-317,
 * equation 14). A cell between two limits adds 12 / width^2 to its element of D, the precision of a uniform number
 * there. What other bounds do is left out: they make the distribution narrower, and the chain faster.
 *
 * @param parameters  of each level, in the model's units
 * @return one number per block, 1 where nothing more is needed
 */
[[nodiscard]] std::vector<int> needed_sweeps(const ModelTable &model, std::span<const Parameters> parameters,
                                             int iterations);

/** The share of the slowest direction that one sweep keeps.
 * @param precision  packed, of all variables
 * @param free       those that are drawn, ascending
 * @param added      to the element of each of them on the diagonal */
[[nodiscard]] double kept_by_sweep(std::span<const double> precision, std::span<const std::size_t> free,
                                   std::span<const double> added);

}  // namespace ullage::host

#endif
