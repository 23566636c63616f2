// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The rows that a normal distribution gives besides those that obey the rules.

#ifndef ULLAGE_HOST_DRAW_REFUSED_ROWS_H
#define ULLAGE_HOST_DRAW_REFUSED_ROWS_H

#include <cstddef>
#include <stdexcept>
#include <vector>

#include "ullage/host/model/model_table.h"
#include "ullage/host/model/posterior.h"
#include "ullage/host/model/region.h"
#include "ullage/host/numbers/moments.h"
#include "ullage/host/numbers/random_stream.h"

namespace ullage::host {

/** Nearly all rows of a normal distribution break the rules, so that drawing them comes to no end. */
class TooManyRefused : public std::runtime_error {
public:
    TooManyRefused() : std::runtime_error("too many refused rows") {}
};

/**
 * Draw the rows that break the rules, in the number in which they come before so many that obey (Rao, Lin and Dunson
 * 2016, Biometrika 103, 319-335; O'Malley and Zaslavsky 2008, JASA 103, 1405-1418).
 *
 * Together with the rows that obey they are rows of the normal distribution without rules, so that its parameters given
 * all of them have their ordinary posterior distribution.
 *
 * @param parameters  of the variables of the region
 * @return the moments of the refused rows
 * @throws TooManyRefused
 * @throws UnusableMoments  collinear, if the covariance has no root
 */
[[nodiscard]] Moments draw_refused_rows(const Region &region, const Parameters &parameters, std::size_t obeying,
                                        RandomStream &random);

/**
 * About what share of the rows of the fitted normal distribution will break the rules, of each level: from the rows in
 * which the columns with rules are observed. NaN if they are too few, 1 if it is more than 99%.
 *
 * @param model  with at least one rule
 */
[[nodiscard]] std::vector<double> estimate_refused(const ModelTable &model);

}  // namespace ullage::host

#endif
