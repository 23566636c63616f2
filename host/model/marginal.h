// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
// The distribution of some variables of a normal one, apart from that of the others given them.

#ifndef ULLAGE_HOST_MODEL_MARGINAL_H
#define ULLAGE_HOST_MODEL_MARGINAL_H

#include <cstddef>
#include <span>

#include "ullage/host/model/posterior.h"
#include "ullage/host/numbers/moments.h"

namespace ullage::host {

/** The parameters of some variables.
 * @param variables  ascending, here and below */
[[nodiscard]] Parameters marginal_of(const Parameters &parameters, std::span<const std::size_t> variables);

/** The moments of some variables. */
[[nodiscard]] Moments marginal_of(const Moments &moments, std::span<const std::size_t> variables);

/** What a prior of n variables says of some that are none of its utilities. It says nothing of these together with how
 * the others depend on them, so that each can be drawn by itself (Schafer 1997, section 5.2).
 * @param n  number of variables of the prior */
[[nodiscard]] Prior marginal_of(const Prior &prior, std::span<const std::size_t> variables, std::size_t n);

/**
 * Give some variables other parameters, and leave as it is how the others depend on them.
 *
 * @param marginal  of the variables
 * @throws UnusableMoments  collinear, if a covariance has no root
 */
[[nodiscard]] Parameters with_marginal(const Parameters &parameters, std::span<const std::size_t> variables,
                                       const Parameters &marginal);

}  // namespace ullage::host

#endif
